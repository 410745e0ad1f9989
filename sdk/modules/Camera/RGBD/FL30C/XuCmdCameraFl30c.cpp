#include "XuCmdCameraFl30c.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Logger.h"
#include "UsbControlRequest.h"

namespace {

constexpr unsigned char kSetHimaxStream = 0x20;
constexpr unsigned char kLightingTime = 0x22;
constexpr unsigned char kAeMode = 0x23;
constexpr unsigned char kConfidenceLevel = 0x24;
constexpr unsigned char kTemperature0 = 0x26;
constexpr unsigned char kFwVersion = 0x27;
constexpr unsigned char kHimaxVersion = 0x28;
constexpr unsigned char kSerialNumber = 0x29;
constexpr unsigned char kTemperature1 = 0x2C;
constexpr unsigned char kReboot = 0x33;
constexpr unsigned char kCurrentIntensity = 0x36;
constexpr unsigned char kTemperature2 = 0x37;
constexpr unsigned char kGain = 0x47;
constexpr unsigned char kTemperatureDrift = 0x48;
constexpr unsigned char kTemporalDenoise = 0x51;
constexpr unsigned char kSpatialDenoise = 0x52;
constexpr unsigned char kFrameRate = 0x54;

constexpr uint16_t kXuValue = 0x0100;
constexpr uint16_t kXuIndex = 0x0A00;  // extension unit 10 on interface 0

// Sensor register pairs (coarse, fine) for gains 1..28.
constexpr unsigned char kGainTable[28][2] = {
    {0x03, 0x20}, {0x23, 0x24}, {0x23, 0x35}, {0x27, 0x24}, {0x27, 0x2D}, {0x27, 0x35}, {0x27, 0x3E},
    {0x2F, 0x24}, {0x2F, 0x28}, {0x2F, 0x2D}, {0x2F, 0x31}, {0x2F, 0x35}, {0x2F, 0x3A}, {0x2F, 0x3E},
    {0x3F, 0x22}, {0x3F, 0x24}, {0x3F, 0x26}, {0x3F, 0x28}, {0x3F, 0x2A}, {0x3F, 0x2D}, {0x3F, 0x2F},
    {0x3F, 0x31}, {0x3F, 0x33}, {0x3F, 0x35}, {0x3F, 0x38}, {0x3F, 0x3A}, {0x3F, 0x3C}, {0x3F, 0x3E},
};

bool parseInt(const char* text, int& value) { return std::sscanf(text, "%d", &value) == 1; }

// An ERROR line in the name of the operation a helper works for.
void logFailure(int line, const char* caller, const char* text)
{
    orrindale::log::line("ERROR", orrindale::log::sourceName(__FILE__), line, caller, text);
}

}  // namespace

XuCmdCameraFl30c::XuCmdCameraFl30c(ICapture* capture, void* handle, QV_CAM_ATTR_TYPE type)
    : m_capture(capture), m_upgrade(std::make_unique<Upgrade>(capture, handle, type)), m_handle(handle)
{
}

XuCmdCameraFl30c::~XuCmdCameraFl30c() = default;

int XuCmdCameraFl30c::xucmd_write(unsigned char code, unsigned char* payload, unsigned int length)
{
    usb_ctrl_request_s request{0x21, code, kXuValue, kXuIndex, payload, static_cast<uint16_t>(length), kTimeoutMs};
    const int ret = m_capture ? m_capture->cmdMsg(&request) : -1;
    if (ret < 0) {
        QV_LOGE("write command, ret: ", ret);
        return QV_SDK_ERR_CMD_WRITE;
    }
    return 0;
}

int XuCmdCameraFl30c::xucmd_read(unsigned char code, unsigned char* reply, unsigned int length)
{
    usb_ctrl_request_s request{0xA1, code, kXuValue, kXuIndex, reply, static_cast<uint16_t>(length), kTimeoutMs};
    const int ret = m_capture ? m_capture->cmdMsg(&request) : -1;
    if (ret < 0) {
        QV_LOGE("read command, ret: ", ret);
        return QV_SDK_ERR_CMD_READ;
    }
    return 0;
}

int XuCmdCameraFl30c::xucmd_write_clear_feature()
{
    // Standard request to an endpoint: CLEAR_FEATURE(ENDPOINT_HALT) on 0x85 (IN 5). Bounded like
    // every command: a camera that never answers must not hold the open (and the handle) for good.
    usb_ctrl_request_s request{0x02, 0x01, 0, 0x85, nullptr, 0, kTimeoutMs};
    const int ret = m_capture ? m_capture->cmdMsg(&request) : -1;
    if (ret < 0) QV_LOGE("xucmd write fail");
    return ret < 0 ? ret : 0;
}

int XuCmdCameraFl30c::readReply(unsigned char code, char (&reply)[kPayloadSize + 1])
{
    std::memset(reply, 0, sizeof reply);  // the last byte stays a terminator whatever the device sends
    return xucmd_read(code, reinterpret_cast<unsigned char*>(reply), kPayloadSize);
}

int XuCmdCameraFl30c::writeNumber(unsigned char code, int value, const char* failure, const char* caller)
{
    unsigned char payload[kPayloadSize] = {};
    std::snprintf(reinterpret_cast<char*>(payload), sizeof payload, "%d", value);
    if (xucmd_write(code, payload, kPayloadSize) != 0) {
        if (failure != nullptr) logFailure(__LINE__, caller, failure);
        return QV_SDK_ERR_CMD_WRITE;
    }
    return 0;
}

int XuCmdCameraFl30c::readEchoed(unsigned char code, char (&reply)[kPayloadSize + 1], const char* transferFailure,
                                 const char* echoFailure, const char* caller)
{
    const int ret = readReply(code, reply);
    if (ret != 0) {
        logFailure(__LINE__, caller, transferFailure);
        return ret;
    }
    if (static_cast<unsigned char>(reply[0]) != code) {
        logFailure(__LINE__, caller, echoFailure);
        return QV_SDK_ERR_NO_SUCH_CAMERA;
    }
    return 0;
}

int XuCmdCameraFl30c::readEchoedNumber(unsigned char code, int& value, const char* transferFailure,
                                       const char* echoFailure, const char* caller)
{
    char reply[kPayloadSize + 1];
    if (int ret = readEchoed(code, reply, transferFailure, echoFailure, caller); ret != 0) return ret;
    if (!parseInt(reply + 1, value)) {
        logFailure(__LINE__, caller, echoFailure);
        return QV_SDK_ERR_CMD_READ;
    }
    return 0;
}

int XuCmdCameraFl30c::readSetting(unsigned char code, int& value, const char* transferFailure,
                                  const char* replyFailure, const char* caller)
{
    const int ret = readEchoedNumber(code, value, transferFailure, replyFailure, caller);
    return ret == 0 ? 0 : QV_SDK_ERR_CMD_READ;
}

// ---------------------------------------------------------------- ICommand

int XuCmdCameraFl30c::upgrade(std::string const& packagePath, CAM_UPGRADE_DEV_S* progress)
{
    const int ret = m_upgrade->upgrade(packagePath, progress);
    if (ret < 0) QV_LOGE("upgrade fail.");
    return ret;
}

int XuCmdCameraFl30c::reboot()
{
    unsigned char payload[kPayloadSize] = {};
    if (xucmd_write(kReboot, payload, kPayloadSize) != 0) {
        QV_LOGE("send reboot to camera failed");
        return QV_SDK_ERR_CMD_WRITE;
    }
    return 0;
}

int XuCmdCameraFl30c::setSn(std::string const& sn)
{
    if (sn.size() > kPayloadSize - 1) {
        QV_LOGE("serial number longer than ", kPayloadSize - 1, " characters");
        return -1;
    }
    unsigned char payload[kPayloadSize] = {};
    std::memcpy(payload, sn.data(), sn.size());
    if (xucmd_write(kSerialNumber, payload, kPayloadSize) != 0) {
        QV_LOGE("set sn failed");
        return QV_SDK_ERR_CMD_WRITE;
    }
    return 0;
}

int XuCmdCameraFl30c::getSn(std::string& sn)
{
    char reply[kPayloadSize + 1];
    if (int ret = readEchoed(kSerialNumber, reply, "get sn failed", "error get sn", __func__); ret != 0) return ret;
    char serial[kPayloadSize] = {};
    if (std::sscanf(reply + 1, "SN=%63s", serial) == 1) sn = serial;
    return 0;
}

int XuCmdCameraFl30c::getFwVersion(std::string& version)
{
    char reply[kPayloadSize + 1];
    if (int ret = readEchoed(kFwVersion, reply, "get fw version failed", "error get fw version", __func__); ret != 0)
        return ret;
    std::string text;
    for (unsigned i = 1; i < kPayloadSize && std::isprint(static_cast<unsigned char>(reply[i])); ++i) text += reply[i];
    version = text;
    return 0;
}

int XuCmdCameraFl30c::getHimaxVersion(std::string& version)
{
    char reply[kPayloadSize + 1];
    const int ret = readReply(kHimaxVersion, reply);
    if (ret != 0) {
        QV_LOGE("himax version failed");
        return ret;
    }
    version = std::string(reply + 1);
    return 0;
}

// ---------------------------------------------------------------- settings

int XuCmdCameraFl30c::setHimaxStream(int mode) { return writeNumber(kSetHimaxStream, mode, nullptr, __func__); }

int XuCmdCameraFl30c::setFrameRate(int fps) { return writeNumber(kFrameRate, fps, nullptr, __func__); }

int XuCmdCameraFl30c::setLightingTime(int value)
{
    return writeNumber(kLightingTime, value, "set LightingTime(T) failed", __func__);
}

int XuCmdCameraFl30c::setAeMode(int mode) { return writeNumber(kAeMode, mode, "set AE mode failed", __func__); }

int XuCmdCameraFl30c::setHimaxConfidenceLevel(int level)
{
    return writeNumber(kConfidenceLevel, level, "set confidence level failed", __func__);
}

int XuCmdCameraFl30c::setCurrentIntensity(int value)
{
    return writeNumber(kCurrentIntensity, value, "set current intensity failed", __func__);
}

int XuCmdCameraFl30c::setHimaxTd(int value)
{
    return writeNumber(kTemporalDenoise, value, "set time denoise failed", __func__);
}

int XuCmdCameraFl30c::setHimaxSdLevel(int level)
{
    return writeNumber(kSpatialDenoise, level, "set sd  level failed", __func__);
}

int XuCmdCameraFl30c::setTemperatureDrifgingCompensation(bool enable)
{
    return writeNumber(kTemperatureDrift, enable ? 1 : 0, "set confidence level failed", __func__);
}

int XuCmdCameraFl30c::getLightingTime(int& value)
{
    char reply[kPayloadSize + 1];
    const int ret = readReply(kLightingTime, reply);
    if (ret != 0) return ret;
    if (static_cast<unsigned char>(reply[0]) != kLightingTime) {
        QV_LOGE("error getLightingTime");  // lenient: reported, the value stays
        return ret;
    }
    parseInt(reply + 1, value);
    return 0;
}

int XuCmdCameraFl30c::getAeMode(int& mode)
{
    char reply[kPayloadSize + 1];
    const int ret = readReply(kAeMode, reply);
    if (ret != 0) return ret;
    if (static_cast<unsigned char>(reply[0]) != kAeMode) {
        QV_LOGE("error getAeMode");
        return ret;
    }
    parseInt(reply + 1, mode);
    return 0;
}

int XuCmdCameraFl30c::getHimaxConfidenceLevel(int& level)
{
    return readSetting(kConfidenceLevel, level, "get confidence level failed", "get confidence level failed", __func__);
}

int XuCmdCameraFl30c::getHimaxSdLevel(int& level)
{
    return readSetting(kSpatialDenoise, level, "get sd level failed", "get sd failed", __func__);
}

int XuCmdCameraFl30c::getHimaxTd(int& value)
{
    return readSetting(kTemporalDenoise, value, "get td level failed", "get td failed", __func__);
}

int XuCmdCameraFl30c::getGain(int& gain)
{
    const int ret = readSetting(kGain, gain, "get confidence level failed", "get gain failed", __func__);
    return ret == 0 ? 1 : ret;  // the number of values read
}

int XuCmdCameraFl30c::getCurrentIntensity(int& value)
{
    return readEchoedNumber(kCurrentIntensity, value, "get current intensity failed", "error get current intensity",
                            __func__);
}

// The same command and reply as the current intensity, under its own name and texts.
int XuCmdCameraFl30c::getItoValue(int& value)
{
    return readEchoedNumber(kCurrentIntensity, value, "get ito failed", "error get ito", __func__);
}

int XuCmdCameraFl30c::setGain(int gain)
{
    if (gain < 1 || gain > 28) {
        QV_LOGE("gain not in range 1 to 28");
        return -1;
    }
    const char* registers[2] = {"S=C0,R2=3e08,D=%02x", "S=C0,R2=3e09,D=%02x"};
    for (int i = 0; i < 2; ++i) {
        unsigned char payload[kPayloadSize] = {};
        const int n = std::snprintf(reinterpret_cast<char*>(payload), sizeof payload, registers[i],
                                    kGainTable[gain - 1][i]);
        if (xucmd_write(kGain, payload, static_cast<unsigned>(n) + 1) != 0) {
            QV_LOGE("set Gain(G) failed");
            return QV_SDK_ERR_CMD_WRITE;
        }
    }
    return 0;
}

int XuCmdCameraFl30c::readTemperature(DEV_TYPE_E device, float& temperature)
{
    unsigned char code = 0;
    switch (device) {
    case DEV_TYPE_DEPTH_PROCESSOR: code = kTemperature0; break;
    case DEV_TYPE_PROJECTOR: code = kTemperature1; break;
    case DEV_TYPE_IMAGE_SENSOR: code = kTemperature2; break;
    default:
        QV_LOGE("not support device");
        return -1;
    }
    char reply[kPayloadSize + 1];
    if (int ret = readEchoed(code, reply, "get temperature failed", "error get temperature", __func__); ret != 0)
        return ret;
    try {
        temperature = std::stof(std::string(reply + 1));
    } catch (const std::exception&) {
        QV_LOGE("error get temperature, not a number: ", reply + 1);
        return QV_SDK_ERR_CMD_READ;
    }
    return 0;
}

int XuCmdCameraFl30c::getMjpegSize(unsigned int& width, unsigned int& height)
{
    std::string version;
    const int ret = getFwVersion(version);  // virtual: a model's own version answer is used
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t colon; (colon = version.find(':', start)) != std::string::npos; start = colon + 1)
        fields.push_back(version.substr(start, colon - start));
    fields.push_back(version.substr(start));
    if (ret != 0 || fields.size() < 3) {
        QV_LOGE("can't found info in the fw version string");
        return -1;
    }
    const std::string kind = fields[2].substr(0, 3);
    int result = 0;
    if (kind == "H01" || kind == "H02" || kind == "L01" || kind == "L02") {
        width = 640;
        height = 480;
    } else if (kind == "H03" || kind == "H04" || kind == "L03" || kind == "L04") {
        width = 640;
        height = 360;
    } else if (kind == "001") {
        width = 1280;
        height = 720;
    } else {
        QV_LOGE("get mjpeg from xu command failed");
        result = -1;
    }
    QV_LOGI("mjpeg size:", width, "x", height);
    return result;
}
