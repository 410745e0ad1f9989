// ICapture over a kernel video node (/dev/video*) of one USB device.
// Not carried by this release: open fails with an ERROR line.
#pragma once

#include "PendingTransport.h"

class V4L2Camera : public PendingTransport {
public:
    V4L2Camera(int vid, int pid, int bus, int address);
    int open() override;

private:
    int m_vid, m_pid, m_bus, m_address;
};
