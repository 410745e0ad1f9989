// ICapture over plain USB bulk endpoints (vendor stream protocol).
// Not carried by this release: open fails with an ERROR line.
#pragma once

#include "PendingTransport.h"

class LiteUsb : public PendingTransport {
public:
    LiteUsb(int vid, int pid, int bus, int address, int packetSize, int transferSize, int frameSize);
    int open() override;

private:
    int m_vid, m_pid, m_bus, m_address;
    int m_packetSize, m_transferSize, m_frameSize;
};
