// Base of the transports this release does not carry yet: they construct without
// touching a device, and open reports the missing transport.
#pragma once

#include "ICapture.h"

class PendingTransport : public ICapture {
public:
    int close() override { return 0; }
    int getCapability(std::vector<video_attr_s>&) override { return 0; }
    int start(video_cfg const&) override { return -1; }
    int stop() override { return 0; }
    int cmdMsg(void*) override { return -1; }
    int read(void*, int, int) override { return 0; }
};
