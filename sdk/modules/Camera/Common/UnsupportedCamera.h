// Driver of a camera model this release knows but does not drive: it is found,
// listed and named, and open reports "<class> is not supported by this release".
#pragma once

#include <string>

#include "ICameraOps.h"

class UnsupportedCamera : public ICameraOps {
public:
    UnsupportedCamera(const QV_CAM_ATTR& attr, void* handle, const char* className);

    int registerDataCallback(STREAM_CALLBACK_S*) override;
    int registerInnerDataCallback(STREAM_CALLBACK_INNER_S*) override;
    int open(char const* attrs) override;
    int close() override;
    int startStreaming(int) override;
    int stopStreaming(int) override;
    int getSerialNo(std::string&) override;
    int getCameraParameter(CAM_Parameter*) override;
    int getCapability(MEDIA_TYPE_E, std::vector<STREAM_PARAM_S>&) override;
    int setStreamParam(MEDIA_TYPE_E, STREAM_PARAM_S const*) override;
    int getStreamParam(STREAM_PARAM_S*) override;
    ICommand* cmd() override;
    ICapture* capture() override;
    int getTofMode(TOFMode&) override;
    int setTimeStampType(TIME_STAMP_TYPE) override;
    int logCameraCfg() override;
    int getConfigInfo(QV_CONFIG_INFO&) override;
    int setDevNetAttrs(NET_DEV_ATTRS) override;
    int getDevNetAttrs(NET_DEV_ATTRS&) override;
    int controlTransferRead(unsigned char, unsigned char*, unsigned int, int) override;
    int controlTransferWrite(unsigned char, unsigned char*, unsigned int, int) override;
    int bulkTransferRead(unsigned char*, unsigned int, int) override;
    int bulkTransferWrite(unsigned char*, unsigned int, int) override;

    const std::string& className() const { return m_className; }

protected:
    int notSupported(const char* operation) const;

private:
    QV_CAM_ATTR m_attr;
    std::string m_className;
};
