#include "SolenCommonCtrl.h"

#include <libusb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "Logger.h"
#include "SolenPaBlock.h"
#include "SolenReply.h"

namespace {

constexpr int kInterface = 0;
constexpr unsigned kPacketSize = 512;
constexpr unsigned kDrainTimeoutMs = 1;  // libusb reads 0 as "no time-out"
constexpr int kDrainReads = 16;
constexpr size_t kMaxSerialLength = 63;
constexpr int kPaBufferSize = 128;

// A log line in the name of the operation a helper works for.
template <typename... Parts>
void logAs(const char* level, int line, const char* caller, const Parts&... parts)
{
    orrindale::log::line(level, orrindale::log::sourceName(__FILE__), line, caller, parts...);
}

std::string format(const char* pattern, int value)
{
    char text[16];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

// The success test, with its log line in the name of caller.
bool acceptReply(const char* caller, const char* reply)
{
    if (SolenReply(reply).accepted()) return true;
    logAs("ERROR", __LINE__, caller, "Read return value failed.Return value is null or failed the string is: ", reply);
    return false;
}

bool printableSerial(const std::string& sn)
{
    return std::all_of(sn.begin(), sn.end(), [](char c) { return c > 0x20 && c < 0x7F; });
}

}  // namespace

SolenCommonCtrl::SolenCommonCtrl(int vid, int pid, int bus, int address)
    : m_vid(vid), m_pid(pid), m_bus(bus), m_address(address)
{
}

SolenCommonCtrl::~SolenCommonCtrl() { closeDevice(); }

void SolenCommonCtrl::closeDevice()
{
    if (m_device != nullptr) {
        libusb_release_interface(m_device, kInterface);
        libusb_close(m_device);
        m_device = nullptr;
    }
    if (m_context != nullptr) {
        libusb_exit(m_context);
        m_context = nullptr;
    }
}

int SolenCommonCtrl::init()
{
    closeDevice();
    if (libusb_init(&m_context) < 0) {
        m_context = nullptr;
        QV_LOGE("Init fail");
        return -1;
    }
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(m_context, &list);
    if (count <= 0) {
        if (count == 0) libusb_free_device_list(list, 1);
        QV_LOGE("No usb device.");
        closeDevice();
        return -1;
    }
    libusb_device* match = nullptr;
    for (ssize_t i = 0; i < count && match == nullptr; ++i) {
        libusb_device_descriptor descriptor{};
        if (libusb_get_device_descriptor(list[i], &descriptor) < 0) continue;
        if (descriptor.idVendor == m_vid && descriptor.idProduct == m_pid && libusb_get_bus_number(list[i]) == m_bus &&
            libusb_get_device_address(list[i]) == m_address)
            match = list[i];
    }
    if (match == nullptr) {
        libusb_free_device_list(list, 1);
        QV_LOGE("Match no device");
        closeDevice();
        return -1;
    }
    const int ret = libusb_open(match, &m_device);
    libusb_free_device_list(list, 1);
    if (ret < 0) {
        m_device = nullptr;
        QV_LOGE("## open device fail. ret = ", ret);
        closeDevice();
        return -1;
    }
    libusb_set_auto_detach_kernel_driver(m_device, 1);
    if (libusb_claim_interface(m_device, kInterface) < 0) {
        QV_LOGE("## libusb_claim_interface fail");
        libusb_close(m_device);
        m_device = nullptr;
        closeDevice();
        return -1;
    }
    return 0;
}

int SolenCommonCtrl::initVideoAttr(QV_CAM_ATTR const& attr)
{
    m_videoAttr = attr;
    return 0;
}

int SolenCommonCtrl::write(unsigned char const* buf, unsigned int length, unsigned int timeoutMs)
{
    int transferred = 0;
    int ret = LIBUSB_ERROR_NO_DEVICE;
    if (m_device != nullptr && buf != nullptr)
        ret = libusb_bulk_transfer(m_device, kWriteEndpoint, const_cast<unsigned char*>(buf), static_cast<int>(length),
                                   &transferred, timeoutMs);
    if (ret < 0 || transferred != static_cast<int>(length)) {
        QV_LOGE("write fail, ret ", ret);
        return -1;
    }
    return 0;
}

int SolenCommonCtrl::read(unsigned char* buf, unsigned int length, unsigned int timeoutMs)
{
    if (m_device == nullptr || buf == nullptr) {
        QV_LOGE("read fail");
        return -1;
    }
    // Whole packets: a reply longer than the buffer is cut here instead of ending the
    // transfer in an overflow.
    std::vector<unsigned char> packets((std::max(length, 1u) + kPacketSize - 1) / kPacketSize * kPacketSize);
    int transferred = 0;
    const int ret = libusb_bulk_transfer(m_device, kReadEndpoint, packets.data(), static_cast<int>(packets.size()),
                                         &transferred, timeoutMs);
    if (ret < 0) {
        QV_LOGE("read fail");
        return -1;
    }
    const unsigned received = std::min(static_cast<unsigned>(transferred), length);
    std::memcpy(buf, packets.data(), received);
    return static_cast<int>(received);
}

void SolenCommonCtrl::discardStaleInput()
{
    if (m_device == nullptr) return;
    unsigned char packet[kPacketSize];
    size_t dropped = 0;
    for (int i = 0; i < kDrainReads; ++i) {
        int transferred = 0;
        if (libusb_bulk_transfer(m_device, kReadEndpoint, packet, sizeof packet, &transferred, kDrainTimeoutMs) != 0)
            break;
        dropped += static_cast<size_t>(transferred);
    }
    if (dropped > 0) QV_LOGW("discarded ", dropped, " bytes of an earlier reply");
}

int SolenCommonCtrl::response(std::string const& request, void* reply, int replyLength, int delayMs)
{
    discardStaleInput();
    return exchange(request, reply, replyLength, delayMs);
}

int SolenCommonCtrl::exchange(std::string const& request, void* reply, int replyLength, int delayMs)
{
    if (reply == nullptr || replyLength < 1) {
        QV_LOGE("reply buffer is nullptr or empty");
        return -1;
    }
    std::vector<unsigned char> bytes(request.begin(), request.end());
    bytes.push_back(0);
    if (write(bytes.data(), static_cast<unsigned>(bytes.size()), kTransferTimeoutMs) != 0) return -1;
    const int waitMs = delayMs == -1 ? kDefaultDelayMs : std::max(delayMs, 0);
    if (waitMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
    auto* out = static_cast<unsigned char*>(reply);
    std::memset(out, 0, static_cast<size_t>(replyLength));
    if (read(out, static_cast<unsigned>(replyLength), kTransferTimeoutMs) < 0) return -1;
    out[replyLength - 1] = 0;
    return 0;
}

int SolenCommonCtrl::writeSetting(const char* caller, const std::string& request, bool shortFailureText)
{
    char reply[kReplySize];
    const int ret = response(request, reply, kReplySize, -1);
    if (ret != 0) {
        if (shortFailureText)
            logAs("ERROR", __LINE__, caller, "response err.");
        else
            logAs("ERROR", __LINE__, caller, "response error ", ret);
        return -1;
    }
    return acceptReply(caller, reply) ? 0 : -1;
}

int SolenCommonCtrl::readReply(const char* caller, const std::string& key, char (&reply)[kReplySize])
{
    const int ret = response("ARG READ:" + key + "=", reply, kReplySize, -1);
    if (ret != 0) {
        logAs("ERROR", __LINE__, caller, "response error ", ret);
        return -1;
    }
    return acceptReply(caller, reply) ? 0 : -1;
}

int SolenCommonCtrl::readNumber(const char* caller, const std::string& key, int& value)
{
    char reply[kReplySize];
    if (readReply(caller, key, reply) != 0) return -1;
    if (!SolenReply(reply).number(value)) {
        logAs("ERROR", __LINE__, caller, "no number at index 8 of the reply: ", reply);
        return -1;
    }
    return 0;
}

int SolenCommonCtrl::readText(const char* caller, const std::string& key, std::string& value)
{
    char reply[kReplySize];
    if (readReply(caller, key, reply) != 0) return -1;
    if (!SolenReply(reply).textAfterKey(key, value)) {
        logAs("ERROR", __LINE__, caller, "the reply names no ", key, ": ", reply);
        return -1;
    }
    return 0;
}

std::string SolenCommonCtrl::settingRequest(const std::string& key, const std::string& value)
{
    return "ARG WRITE:" + key + "=" + value;
}

int SolenCommonCtrl::setAeMode(int mode) { return writeSetting(__func__, settingRequest("E", format("%.2d", mode)), true); }
int SolenCommonCtrl::getAeMode(int& mode) { return readNumber(__func__, "E", mode); }
int SolenCommonCtrl::setClMode(int mode) { return writeSetting(__func__, settingRequest("C", format("%.2d", mode))); }
int SolenCommonCtrl::getClMode(int& mode) { return readNumber(__func__, "C", mode); }
int SolenCommonCtrl::setPwmDuty(int duty) { return writeSetting(__func__, settingRequest("P", format("%.2d", duty))); }
int SolenCommonCtrl::getPwmDuty(int& duty) { return readNumber(__func__, "P", duty); }
int SolenCommonCtrl::setLightingTime(int value)
{
    return writeSetting(__func__, settingRequest("T", format("%.2d", value)));
}
int SolenCommonCtrl::getLightingTime(int& value) { return readNumber(__func__, "T", value); }
int SolenCommonCtrl::setHimaxSdLevel(int level)
{
    return writeSetting(__func__, settingRequest("SD", format("%.2d", level)));
}
int SolenCommonCtrl::getHimaxSdLevel(int& level) { return readNumber(__func__, "SD", level); }
int SolenCommonCtrl::setHimaxTd(int value) { return writeSetting(__func__, settingRequest("TD", format("%.2d", value))); }
int SolenCommonCtrl::getHimaxTd(int& value) { return readNumber(__func__, "TD", value); }

int SolenCommonCtrl::setTemperatureCompensation(bool const& enable)
{
    return writeSetting(__func__, settingRequest("TF", enable ? "1" : "0"));
}

int SolenCommonCtrl::setFps(SOLEN_FPS_TYPE_E fps) { return writeSetting(__func__, settingRequest("F", format("%d", fps))); }

int SolenCommonCtrl::setStreamType(qvSTREAM_OPTION_E type)
{
    return writeSetting(__func__, settingRequest("S", format("%d", type)));
}

int SolenCommonCtrl::setOV9282(int reg, int value)
{
    if (reg < 0 || reg > 0xFFFF || value < 0 || value > 0xFF) {
        QV_LOGE("register ", reg, " or value ", value, " out of range (register 0..0xFFFF, value 0..0xFF)");
        return -1;
    }
    char request[32];
    std::snprintf(request, sizeof request, "I2C WRITE:K=%04X:%02X", reg, value);
    return writeSetting(__func__, request);
}

int SolenCommonCtrl::setSensorMultiGain(int gain)
{
    if (gain < 0 || gain > 0xFFFF) {
        QV_LOGE("gain ", gain, " out of range 0..65535");
        return -1;
    }
    if (setOV9282(0x3508, gain >> 8) != 0 || setOV9282(0x3509, gain & 0xFF) != 0) {
        QV_LOGE("set ov9282 fail.");
        return -1;
    }
    return 0;
}

int SolenCommonCtrl::setCameraParameter(CAM_Parameter const&)
{
    QV_LOGE("not support to setCameraParameter");
    return -1;
}

int SolenCommonCtrl::getPA(unsigned char* buf, int length)
{
    if (buf == nullptr || length < 2) {
        QV_LOGE("buffer is nullptr or shorter than 2 bytes");
        return -1;
    }
    const int ret = response("ARG READ:PA=", buf, length, -1);
    if (ret != 0) {
        QV_LOGE("response error ", ret);
        return -1;
    }
    const char* reply = reinterpret_cast<const char*>(buf);
    if (!acceptReply(__func__, reply)) return -1;
    std::string block;
    if (!SolenReply(reply).textAfterKey("PA", block)) {
        QV_LOGE("the reply names no PA: ", reply);
        return -1;
    }
    std::memcpy(buf, block.c_str(), block.size() + 1);  // shorter than the reply it came from
    return 0;
}

int SolenCommonCtrl::getOriCamParam(CAM_Parameter* parameter)
{
    if (parameter == nullptr) {
        QV_LOGE("parameter is nullptr");
        return -1;
    }
    unsigned char text[kPaBufferSize];
    if (getPA(text, sizeof text) != 0) return -1;
    SolenPaBlock block;
    if (!SolenPaBlock::parse(reinterpret_cast<const char*>(text), block)) {
        QV_LOGE("calibration block is not <width>,<height>,<fx>,<fy>,<cx>,<cy>: ", reinterpret_cast<const char*>(text));
        return -1;
    }
    *parameter = block.parameterAt(block.width, block.height);
    return 0;
}

int SolenCommonCtrl::reboot() { return writeSetting(__func__, settingRequest("RST", "")); }

int SolenCommonCtrl::setSn(std::string const& sn)
{
    if (sn.empty() || sn.size() > kMaxSerialLength || !printableSerial(sn)) {
        QV_LOGE("serial number must be 1 to ", kMaxSerialLength, " printable characters without blanks");
        return -1;
    }
    return writeSetting(__func__, settingRequest("SN", sn));
}

int SolenCommonCtrl::getSn(std::string& sn) { return readText(__func__, "SN", sn); }

int SolenCommonCtrl::getFwVersion(std::string& version)
{
    if (readText(__func__, "V", version) != 0) return -1;
    std::replace(version.begin(), version.end(), ',', '+');
    return 0;
}

int SolenCommonCtrl::getHimaxVersion(std::string& version) { return readText(__func__, "HF", version); }
