#include "NetCameraList.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <list>

#include "Logger.h"
#include "NetDevMng.h"
#include "SocketNet.h"

namespace {

constexpr size_t kRequestSize = 64;

struct NetModel {
    const char* name;
    CAMERA_MODEL_E model;
};

// Searched in this order: a text naming two models gets the first.
constexpr NetModel kNetModels[] = {
    {"Fl30cn", CAMERA_MODEL_FL30CN},
    {"Pellam", CAMERA_MODEL_PELLAM_NET},
    {"Virene", CAMERA_MODEL_VIRENE},
    {"Morvik", CAMERA_MODEL_MORVIK},
};

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// The text between open and close when both are present in that order.
bool between(const std::string& text, const char* open, const char* close, std::string& inside)
{
    const size_t begin = text.find(open);
    if (begin == std::string::npos) return false;
    const size_t from = begin + std::strlen(open);
    const size_t end = text.find(close, from);
    if (end == std::string::npos) return false;
    inside = text.substr(from, end - from);
    return true;
}

void copyIp(const std::string& ip, QV_CAM_ATTR& attr)
{
    std::memset(attr.attr.netAttrs.ip, 0, QV_NET_IP_SIZE);
    std::memcpy(attr.attr.netAttrs.ip, ip.data(), std::min(ip.size(), size_t(QV_NET_IP_SIZE - 1)));
}

}  // namespace

std::vector<unsigned char> getBroadcastData()
{
    std::vector<unsigned char> request(kRequestSize, 0);
    request[0] = 0xFF;
    request[1] = 0x01;
    request[2] = 0x02;
    return request;
}

int getCameraAttrFromKeyInfo(const std::string& senderIp, const std::string& keyInfo, QV_CAM_ATTR& attr)
{
    std::memset(&attr, 0, sizeof attr);
    const std::string text = upper(keyInfo);
    std::string ip;
    if (between(text, "IP[", "]IP", ip))
        QV_LOGI("get ip info from key_info, ip ", ip);
    else
        ip = senderIp;
    copyIp(ip, attr);
    if (text.find("TYPE:") == std::string::npos) {
        QV_LOGE("can not find key info 'Type:', key_info size ", text.size());
        return -1;
    }
    attr.type = QV_CAM_ATTR_NET;
    const NetModel* found = nullptr;
    for (const NetModel& m : kNetModels)
        if (found == nullptr && text.find(upper(m.name)) != std::string::npos) found = &m;
    if (found == nullptr) {
        QV_LOGE("find undefined error camera, recieve msg ", text);
        return -1;
    }
    attr.attr.netAttrs.model = found->model;
    std::string port;
    if (between(text, "PORT[", "]PORT", port)) {
        const long value = std::strtol(port.c_str(), nullptr, 10);
        attr.attr.netAttrs.port = static_cast<int32_t>(std::clamp<long>(value, INT32_MIN, INT32_MAX));
        copyIp(ip, attr);
    }
    return 0;
}

int getNetCameraAttrsList(std::vector<QV_CAM_ATTR>& out)
{
    std::list<rcv_msg_info> answers;
    const int ret = NetDevMng::getInstance().broadcastListInfo(getBroadcastData(), answers);
    if (ret != 0) {
        QV_LOGE("broadcast list info fail");
        return ret;
    }
    const size_t first = out.size();
    for (const rcv_msg_info& answer : answers) {
        QV_CAM_ATTR attr;
        if (getCameraAttrFromKeyInfo(answer.ip, answer.keyInfo, attr) != 0) continue;
        // A camera heard on two interfaces (or twice on one) is one camera.
        const bool known = std::any_of(out.begin() + static_cast<long>(first), out.end(), [&](const QV_CAM_ATTR& a) {
            return std::strncmp(a.attr.netAttrs.ip, attr.attr.netAttrs.ip, QV_NET_IP_SIZE) == 0;
        });
        if (!known) out.push_back(attr);
    }
    return 0;
}

int recvBroadcast(SocketNet& socket, std::vector<QV_CAM_ATTR>& out)
{
    unsigned char buffer[NetDevMng::kDatagramSize] = {};
    std::string sender;
    const int n = socket.receive(buffer, NetDevMng::kDatagramSize, sender);
    if (n < 0) return -1;
    std::string keyInfo;
    QV_CAM_ATTR attr;
    if (!NetDevMng::acceptAnswer(buffer, n, keyInfo) || getCameraAttrFromKeyInfo(sender, keyInfo, attr) != 0) return 0;
    out.push_back(attr);
    return 1;
}
