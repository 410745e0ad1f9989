#include "LiteUsb.h"

#include "Logger.h"

LiteUsb::LiteUsb(int vid, int pid, int bus, int address, int packetSize, int transferSize, int frameSize)
    : m_vid(vid),
      m_pid(pid),
      m_bus(bus),
      m_address(address),
      m_packetSize(packetSize),
      m_transferSize(transferSize),
      m_frameSize(frameSize)
{
}

int LiteUsb::open()
{
    QV_LOGE("the bulk USB transport is not supported by this release");
    return -1;
}
