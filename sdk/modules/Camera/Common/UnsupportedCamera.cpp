#include "UnsupportedCamera.h"

#include <cstring>

#include "Logger.h"

UnsupportedCamera::UnsupportedCamera(const QV_CAM_ATTR& attr, void* handle, const char* className)
    : m_className(className)
{
    std::memcpy(&m_attr, &attr, sizeof attr);
    m_handle = handle;
    // Maintenance commands answer "not support to <operation>"; there is no transport
    // to build for a model that cannot stream.
    m_command = std::make_unique<ICommand>();
}

int UnsupportedCamera::notSupported(const char* operation) const
{
    QV_LOGW(m_className, " does not support ", operation);
    return -1;
}

int UnsupportedCamera::open(char const*)
{
    QV_LOGE(m_className, " is not supported by this release");
    return -2;
}

// Never opened, so there is nothing to close.
int UnsupportedCamera::close() { return 0; }

ICommand* UnsupportedCamera::cmd() { return m_command.get(); }
ICapture* UnsupportedCamera::capture() { return nullptr; }

int UnsupportedCamera::registerDataCallback(STREAM_CALLBACK_S*) { return notSupported("registerDataCallback"); }
int UnsupportedCamera::registerInnerDataCallback(STREAM_CALLBACK_INNER_S*)
{
    return notSupported("registerInnerDataCallback");
}
int UnsupportedCamera::startStreaming(int) { return notSupported("startStreaming"); }
int UnsupportedCamera::stopStreaming(int) { return notSupported("stopStreaming"); }
int UnsupportedCamera::getSerialNo(std::string&) { return notSupported("getSerialNo"); }
int UnsupportedCamera::getCameraParameter(CAM_Parameter*) { return notSupported("getCameraParameter"); }
int UnsupportedCamera::getCapability(MEDIA_TYPE_E, std::vector<STREAM_PARAM_S>&)
{
    return notSupported("getCapability");
}
int UnsupportedCamera::setStreamParam(MEDIA_TYPE_E, STREAM_PARAM_S const*) { return notSupported("setStreamParam"); }
int UnsupportedCamera::getStreamParam(STREAM_PARAM_S*) { return notSupported("getStreamParam"); }
int UnsupportedCamera::getTofMode(TOFMode&) { return notSupported("getTofMode"); }
int UnsupportedCamera::setTimeStampType(TIME_STAMP_TYPE) { return notSupported("setTimeStampType"); }
int UnsupportedCamera::logCameraCfg() { return notSupported("logCameraCfg"); }
int UnsupportedCamera::getConfigInfo(QV_CONFIG_INFO&) { return notSupported("getConfigInfo"); }
int UnsupportedCamera::setDevNetAttrs(NET_DEV_ATTRS) { return notSupported("setDevNetAttrs"); }
int UnsupportedCamera::getDevNetAttrs(NET_DEV_ATTRS&) { return notSupported("getDevNetAttrs"); }
int UnsupportedCamera::controlTransferRead(unsigned char, unsigned char*, unsigned int, int)
{
    return notSupported("controlTransferRead");
}
int UnsupportedCamera::controlTransferWrite(unsigned char, unsigned char*, unsigned int, int)
{
    return notSupported("controlTransferWrite");
}
int UnsupportedCamera::bulkTransferRead(unsigned char*, unsigned int, int) { return notSupported("bulkTransferRead"); }
int UnsupportedCamera::bulkTransferWrite(unsigned char*, unsigned int, int)
{
    return notSupported("bulkTransferWrite");
}
