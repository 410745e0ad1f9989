#include "V4L2Camera.h"

#include "Logger.h"

V4L2Camera::V4L2Camera(int vid, int pid, int bus, int address) : m_vid(vid), m_pid(pid), m_bus(bus), m_address(address)
{
}

int V4L2Camera::open()
{
    QV_LOGE("the V4L2 transport is not supported by this release");
    return -1;
}
