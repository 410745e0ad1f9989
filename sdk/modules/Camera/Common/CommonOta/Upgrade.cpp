#include "Upgrade.h"

#include "Logger.h"

Upgrade::Upgrade(ICapture* capture, void* handle, QV_CAM_ATTR_TYPE type)
    : m_capture(capture), m_handle(handle), m_type(type)
{
}

int Upgrade::upgrade(std::string const&, CAM_UPGRADE_DEV_S* progress)
{
    if (progress != nullptr) progress->status = -1;
    QV_LOGE("upgrade is not supported by this release");
    return -1;
}
