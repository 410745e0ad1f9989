// Commands of the Fl30c over the UVC extension unit (unit 10, interface 0): every
// command is ASCII text in a 64-byte payload, the command code in bRequest.
#pragma once

#include <memory>
#include <string>

#include "ICapture.h"
#include "ICommand.h"
#include "Upgrade.h"
#include "qv_camera_sdk_types.h"

// Temperature sensors of the camera.
enum DEV_TYPE_E : int32_t {
    DEV_TYPE_DEPTH_PROCESSOR = 0,  // command 0x26
    DEV_TYPE_PROJECTOR = 1,        // command 0x2C
    DEV_TYPE_IMAGE_SENSOR = 2,     // command 0x37
};

class XuCmdCameraFl30c : public ICommand {
public:
    static constexpr unsigned kPayloadSize = 64;
    static constexpr unsigned kTimeoutMs = 3000;

    XuCmdCameraFl30c(ICapture* capture, void* handle, QV_CAM_ATTR_TYPE type);
    ~XuCmdCameraFl30c() override;

    // ---- transfers
    int xucmd_write(unsigned char code, unsigned char* payload, unsigned int length);
    int xucmd_read(unsigned char code, unsigned char* reply, unsigned int length);
    // CLEAR_FEATURE(ENDPOINT_HALT) on the video endpoint 0x85.
    virtual int xucmd_write_clear_feature();

    // ---- ICommand
    int upgrade(std::string const& packagePath, CAM_UPGRADE_DEV_S* progress) override;
    int reboot() override;
    int setSn(std::string const& sn) override;
    int getSn(std::string& sn) override;
    int getFwVersion(std::string& version) override;
    int getHimaxVersion(std::string& version) override;

    // ---- settings
    int setHimaxStream(int mode);
    int setLightingTime(int value);
    int getLightingTime(int& value);
    int setAeMode(int mode);
    int getAeMode(int& mode);
    virtual int setHimaxConfidenceLevel(int level);
    int getHimaxConfidenceLevel(int& level);
    int readTemperature(DEV_TYPE_E device, float& temperature);
    int setCurrentIntensity(int value);
    int getCurrentIntensity(int& value);
    int getItoValue(int& value);
    int setGain(int gain);
    int getGain(int& gain);  // 1 on success
    int setTemperatureDrifgingCompensation(bool enable);
    int setHimaxTd(int value);
    int getHimaxTd(int& value);
    int setHimaxSdLevel(int level);
    int getHimaxSdLevel(int& level);
    virtual int setFrameRate(int fps);
    // Size of the compressed colour image, from the third ':' field of the firmware version.
    virtual int getMjpegSize(unsigned int& width, unsigned int& height);

protected:
    // Writes value as "%d"; logs failure (when non-null) and returns -88 on failure.
    int writeNumber(unsigned char code, int value, const char* failure, const char* caller);
    // Reads the reply of code into a terminated buffer; returns the transfer's code.
    int readReply(unsigned char code, char (&reply)[kPayloadSize + 1]);
    // readReply, then the echo check: logs transferFailure or echoFailure as `caller` and
    // returns the transfer's code or -2 (wrong echo); 0 when the reply is the command's.
    int readEchoed(unsigned char code, char (&reply)[kPayloadSize + 1], const char* transferFailure,
                   const char* echoFailure, const char* caller);
    // readEchoed and a decimal number; a reply that is no number logs echoFailure and
    // returns -89.
    int readEchoedNumber(unsigned char code, int& value, const char* transferFailure, const char* echoFailure,
                         const char* caller);
    // readEchoedNumber with every failure answered -89.
    int readSetting(unsigned char code, int& value, const char* transferFailure, const char* replyFailure,
                    const char* caller);

    ICapture* m_capture;  // borrowed from the driver
    std::unique_ptr<Upgrade> m_upgrade;
    void* m_reserved[2] = {nullptr, nullptr};
    void* m_handle;
};
