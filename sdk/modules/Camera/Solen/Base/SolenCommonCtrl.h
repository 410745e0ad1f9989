// Settings and maintenance of the Solen cameras: short text requests ("ARG WRITE:E=03",
// "ARG READ:SN=", "I2C WRITE:K=3508:00"), each written with its terminating zero and
// answered by one text reply. This class carries them over the camera's USB bulk pair
// (OUT 0x02, IN 0x82); SolenSerialCtrl carries them over a tty.
#pragma once

#include <string>

#include "ICommand.h"
#include "SolenTypes.h"
#include "qv_camera_sdk_types.h"

struct libusb_context;
struct libusb_device_handle;

class SolenCommonCtrl : public ICommand {
public:
    static constexpr unsigned char kReadEndpoint = 0x82;
    static constexpr unsigned char kWriteEndpoint = 0x02;
    static constexpr int kReplySize = 100;            // reply buffer of every setting
    static constexpr unsigned kTransferTimeoutMs = 1000;
    static constexpr int kDefaultDelayMs = 100;       // the wait of delayMs = -1

    // The USB identity of the device to open: vendor, product, bus number, address.
    SolenCommonCtrl(int vid, int pid, int bus, int address);
    ~SolenCommonCtrl() override;
    SolenCommonCtrl(const SolenCommonCtrl&) = delete;
    SolenCommonCtrl& operator=(const SolenCommonCtrl&) = delete;

    // ---- byte transport and exchange
    // One transfer of up to length bytes; the number of bytes received, or -1.
    virtual int read(unsigned char* buf, unsigned int length, unsigned int timeoutMs);
    // The whole buffer; 0, or -1.
    virtual int write(unsigned char const* buf, unsigned int length, unsigned int timeoutMs);
    // Writes request and its zero, waits delayMs (-1: 100 ms, 0: none), reads one reply
    // into reply (zero-filled first, its last byte then zeroed); 0, or -1.
    virtual int response(std::string const& request, void* reply, int replyLength, int delayMs);
    // Finds, opens and claims the device; 0, or -1.
    virtual int init();
    // The camera's video function, kept for the driver.
    virtual int initVideoAttr(QV_CAM_ATTR const& attr);
    // Drops what an earlier reply left unread (the tail of a reply split across two reads).
    virtual void discardStaleInput();

    // ---- settings ("%.2d" values)
    virtual int setAeMode(int mode);
    virtual int getAeMode(int& mode);
    virtual int setClMode(int mode);
    virtual int getClMode(int& mode);
    virtual int setPwmDuty(int duty);
    virtual int getPwmDuty(int& duty);
    virtual int setLightingTime(int value);
    virtual int getLightingTime(int& value);
    virtual int setHimaxSdLevel(int level);
    virtual int getHimaxSdLevel(int& level);
    virtual int setHimaxTd(int value);
    virtual int getHimaxTd(int& value);
    // The factory calibration block: its text (after "PA=") into buf, zero-terminated.
    virtual int getPA(unsigned char* buf, int length);
    // Sensor gain: high byte to register 0x3508, low byte to 0x3509.
    virtual int setSensorMultiGain(int gain);
    virtual int setCameraParameter(CAM_Parameter const& parameter);
    // One register of the image sensor: "I2C WRITE:K=RRRR:VV" (hexadecimal).
    virtual int setOV9282(int reg, int value);
    virtual int setFps(SOLEN_FPS_TYPE_E fps);
    virtual int setTemperatureCompensation(bool const& enable);
    virtual int setStreamType(qvSTREAM_OPTION_E type);
    // Depth intrinsics of the PA block (colour = depth, no rotation or translation).
    virtual int getOriCamParam(CAM_Parameter* parameter);

    // ---- ICommand
    int reboot() override;
    int setSn(std::string const& sn) override;
    int getSn(std::string& sn) override;
    int getFwVersion(std::string& version) override;
    int getHimaxVersion(std::string& version) override;

    const QV_CAM_ATTR& videoAttr() const { return m_videoAttr; }

protected:
    // write, wait, read and terminate: the steps of response after the stale input is gone.
    int exchange(std::string const& request, void* reply, int replyLength, int delayMs);

    int m_vid;
    int m_pid;
    int m_bus;
    int m_address;

private:
    static std::string settingRequest(const std::string& key, const std::string& value);
    // A request and the success test of its reply; caller names the operation in log lines
    // ("response err." instead of "response error <code>" when shortFailureText).
    int writeSetting(const char* caller, const std::string& request, bool shortFailureText = false);
    // "ARG READ:<key>=" and the success test.
    int readReply(const char* caller, const std::string& key, char (&reply)[kReplySize]);
    // ... read as the number at index 8.
    int readNumber(const char* caller, const std::string& key, int& value);
    // ... read as the text after the key.
    int readText(const char* caller, const std::string& key, std::string& value);
    void closeDevice();

    libusb_context* m_context = nullptr;
    libusb_device_handle* m_device = nullptr;
    QV_CAM_ATTR m_videoAttr{};
};
