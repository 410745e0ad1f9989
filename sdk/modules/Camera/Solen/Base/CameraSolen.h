// The driver design every Solen camera shares (Gm80, G700, Fl30, Fl30v): the picture
// comes through the camera's video function (a V4L2 node of 16-bit words: depth, infrared,
// or both stacked), the settings through its control function (the text requests over
// the USB bulk pair, or over the tty of the serial bridge whose USB device has the
// control function's bus and address). The video function is found when the camera is
// opened: the transport is made then, not at construction.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "CameraDriverBase.h"
#include "SolenCommonCtrl.h"
#include "SolenConf.h"
#include "SolenFrameAssembler.h"
#include "SolenPaBlock.h"

struct SolenModelInfo {
    const char* className;   // "CameraGm80"
    const char* moduleName;  // module of the configuration document, "QV_CAM_GM80"
};

class CameraSolen : public CameraDriverBase {
public:
    static constexpr int kDefaultFps = 15;

    CameraSolen(const QV_CAM_ATTR& attr, void* handle, SolenModelInfo model);
    ~CameraSolen() override;

    int open(char const* attrs) override;
    int startStreaming(int mediaMask) override;
    int getSerialNo(std::string& serial) override;
    int getCameraParameter(CAM_Parameter* parameter) override;
    int getCapability(MEDIA_TYPE_E type, std::vector<STREAM_PARAM_S>& list) override;
    int setStreamParam(MEDIA_TYPE_E type, STREAM_PARAM_S const* param) override;
    // param[0] colour (none), param[1] depth, param[2] infrared.
    int getStreamParam(STREAM_PARAM_S* param) override;
    int getTofMode(TOFMode& mode) override;
    int logCameraCfg() override;
    int getConfigInfo(QV_CONFIG_INFO& info) override;
    int setDevNetAttrs(NET_DEV_ATTRS attrs) override;
    int getDevNetAttrs(NET_DEV_ATTRS& attrs) override;
    int controlTransferRead(unsigned char request, unsigned char* data, unsigned int length, int timeout) override;
    int controlTransferWrite(unsigned char request, unsigned char* data, unsigned int length, int timeout) override;
    // Raw bytes on the control channel (bulk pair or tty).
    int bulkTransferRead(unsigned char* data, unsigned int length, int timeout) override;
    int bulkTransferWrite(unsigned char* data, unsigned int length, int timeout) override;

    SolenCommonCtrl* solenCommand() const { return static_cast<SolenCommonCtrl*>(m_command.get()); }
    // What the stream type of a media mask is: depth, infrared or both.
    static qvSTREAM_OPTION_E streamTypeFor(uint32_t mediaMask);

protected:
    int readConfiguration(char const* path) override;
    int sendStartupCommand() override;
    int applySettings() override;
    uint32_t defaultMediaMask() const override { return QV_MEDIA_DEPTH | QV_MEDIA_POINTCLOUD; }
    bool supportsMediaMask(uint32_t mask) const override;
    void forceIrDepthSize() override {}  // depth and infrared come at one size
    bool checkFpsCfg() override { return true; }  // one rate for both, checked when set
    int buildVideoCfg(video_cfg& cfg) override;
    void preStart() override {}
    void postStart() override {}
    void applyDeferredSetting() override {}
    int frameSkipCount() const override { return 0; }
    std::atomic<int>& frameSkipCounter() override;
    bool fillInnerFrames(const frame_info&, unsigned char*, unsigned char*, CAM_DATA_INNER&) override { return false; }
    int processRawData(const frame_info& frame) override;

private:
    // The control function's USB identity (the tty's USB device for a serial attachment).
    bool controlPosition(int& vid, int& pid, int& bus, int& address) const;
    // Finds the video function and makes the transport for it.
    int makeTransport();
    int notSupported(const char* operation) const;

    SolenModelInfo m_model;
    orrindale::sdk::Solen::solen_config_para m_config;
    std::string m_configPath;
    bool m_configApplied = false;
    std::string m_serial, m_firmware, m_himax;
    SolenPaBlock m_pa;
    bool m_paLoaded = false;
    std::atomic<int> m_width{640};
    std::atomic<int> m_height{400};
    std::atomic<int> m_fps{kDefaultFps};
    std::atomic<int> m_streamType{QV_STREAM_DEPTH};
    SolenFrameAssembler m_assembler;
};
