// A camera driver: one concrete class per camera model.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ICapture.h"
#include "ICommand.h"
#include "qv_camera_sdk_types.h"

class ICameraOps {
public:
    virtual ~ICameraOps() = default;

    virtual int registerDataCallback(STREAM_CALLBACK_S* callback) = 0;
    virtual int registerInnerDataCallback(STREAM_CALLBACK_INNER_S* callback) = 0;
    virtual int open(char const* attrs) = 0;
    virtual int close() = 0;
    virtual int startStreaming(int mediaMask) = 0;
    virtual int setStreamCfg(video_cfg const&) { return -1; }
    virtual int getStreamCfg(video_cfg&) { return -1; }
    virtual int stopStreaming(int mediaMask) = 0;
    virtual int getSerialNo(std::string& serial) = 0;
    virtual int getCameraParameter(CAM_Parameter* parameter) = 0;
    virtual int getCapability(MEDIA_TYPE_E type, std::vector<STREAM_PARAM_S>& list) = 0;
    virtual int setStreamParam(MEDIA_TYPE_E type, STREAM_PARAM_S const* param) = 0;
    virtual int getStreamParam(STREAM_PARAM_S* param) = 0;
    virtual ICommand* cmd() = 0;
    virtual ICapture* capture() = 0;
    virtual int getTofMode(TOFMode& mode) = 0;
    virtual int setTimeStampType(TIME_STAMP_TYPE type) = 0;
    virtual int logCameraCfg() = 0;
    virtual int getConfigInfo(QV_CONFIG_INFO& info) = 0;
    virtual int setDevNetAttrs(NET_DEV_ATTRS attrs) = 0;
    virtual int getDevNetAttrs(NET_DEV_ATTRS& attrs) = 0;
    virtual int controlTransferRead(unsigned char request, unsigned char* data, unsigned int length, int timeout) = 0;
    virtual int controlTransferWrite(unsigned char request, unsigned char* data, unsigned int length, int timeout) = 0;
    virtual int bulkTransferRead(unsigned char* data, unsigned int length, int timeout) = 0;
    virtual int bulkTransferWrite(unsigned char* data, unsigned int length, int timeout) = 0;

protected:
    // Destruction order of the owned objects: command first, then the transport it borrows.
    std::unique_ptr<ICapture> m_capture;
    std::unique_ptr<ICommand> m_command;
    void* m_handle = nullptr;  // passed back as the first argument of every stream callback
};
