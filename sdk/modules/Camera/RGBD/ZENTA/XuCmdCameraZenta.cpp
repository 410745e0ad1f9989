#include "XuCmdCameraZenta.h"

#include <cstdio>
#include <cstring>

#include "Logger.h"

namespace {
constexpr unsigned char kConfidenceLevel = 0x24;
constexpr unsigned char kSePacket = 0x90;
constexpr unsigned char kSeSdkVersion = 0x9F;
constexpr unsigned char kSeCosVersion = 0x95;
constexpr unsigned char kSeSerial = 0x96;
constexpr unsigned kMaxSePackets = 64;
}  // namespace

XuCmdCameraZenta::XuCmdCameraZenta(ICapture* capture, void* handle, QV_CAM_ATTR_TYPE type)
    : XuCmdCameraFl30c(capture, handle, type)
{
}

int XuCmdCameraZenta::setHimaxConfidenceLevel(int level)
{
    // The Zenta firmware counts confidence levels from 0.
    return writeNumber(kConfidenceLevel, level - 1, "set confidence level failed", __func__);
}

int XuCmdCameraZenta::setFrameRate(int)
{
    QV_LOGE("not support to setFrameRate");
    return -1;
}

int XuCmdCameraZenta::xucmd_write_clear_feature()
{
    QV_LOGE("not support to xucmd_write_clear_feature");
    return -1;
}

int XuCmdCameraZenta::getMjpegSize(unsigned int&, unsigned int&)
{
    QV_LOGE("not support to getMjpegSize");
    return -1;
}

// Query reply: byte 0 echo, byte 1 status (0 = ready), byte 2 packet count.
// Packet reply: byte 0 echo 0x90, byte 1 packet index, byte 2 packet count,
// byte 3 payload length (at most 60), bytes 4..63 payload.
int XuCmdCameraZenta::se_read(unsigned char query, std::vector<unsigned char>& answer)
{
    unsigned char reply[kPayloadSize] = {};
    int ret = xucmd_read(query, reply, kPayloadSize);
    if (ret != 0) return ret;
    if (reply[0] != query || reply[1] != 0) {
        std::printf("SE error, ret[#%02x][%02x]\n", reply[0], reply[1]);
        std::fflush(stdout);
        return -2;
    }
    const unsigned count = reply[2];
    if (count == 0 || count > kMaxSePackets) {
        std::printf("SE:get packet info error\n");
        std::fflush(stdout);
        return -2;
    }
    std::vector<unsigned char> data;
    for (unsigned i = 0; i < count; ++i) {
        std::memset(reply, 0, sizeof reply);
        ret = xucmd_read(kSePacket, reply, kPayloadSize);
        if (ret != 0) return ret;
        if (reply[0] != kSePacket || reply[1] != i || reply[2] != count || reply[3] > kSePacketPayload) {
            std::printf("get pack error:%u/%u\n", i, count);
            std::fflush(stdout);
            return -2;
        }
        data.insert(data.end(), reply + 4, reply + 4 + reply[3]);
    }
    answer = std::move(data);
    return 0;
}

namespace {
std::string asText(const std::vector<unsigned char>& bytes)
{
    std::string text(bytes.begin(), bytes.end());
    const auto nul = text.find('\0');
    return nul == std::string::npos ? text : text.substr(0, nul);
}
}  // namespace

int XuCmdCameraZenta::getSeSdkVersion(std::string& version)
{
    std::vector<unsigned char> answer;
    const int ret = se_read(kSeSdkVersion, answer);
    if (ret == 0) version = asText(answer);
    return ret;
}

int XuCmdCameraZenta::getSeCosVersion(std::string& version)
{
    std::vector<unsigned char> answer;
    const int ret = se_read(kSeCosVersion, answer);
    if (ret == 0) version = asText(answer);
    return ret;
}

int XuCmdCameraZenta::getSeSerial(std::string& serial)
{
    std::vector<unsigned char> answer;
    const int ret = se_read(kSeSerial, answer);
    if (ret == 0) serial = asText(answer);
    return ret;
}
