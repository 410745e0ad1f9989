#include "NetDevMng.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "Logger.h"

namespace {

constexpr int kDiscoveryPort = 5678;
constexpr int kReceiveTimeoutMs = 20;
constexpr auto kCollectTime = std::chrono::milliseconds(80);
constexpr int kAttempts = 3;
constexpr auto kInterfacePause = std::chrono::milliseconds(5);
constexpr int kKeyInfoOffset = 12;
constexpr unsigned char kAnswerMark = 0xFE;

}  // namespace

NetDevMng& NetDevMng::getInstance()
{
    static NetDevMng instance;
    return instance;
}

NetDevMng::NetDevMng()
{
    m_destination.sin_family = AF_INET;
    m_destination.sin_port = htons(kDiscoveryPort);
    m_destination.sin_addr.s_addr = htonl(INADDR_BROADCAST);
}

int NetDevMng::getLocalIpList(std::list<std::string>& ips)
{
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) return -1;
    for (ifaddrs* i = all; i != nullptr; i = i->ifa_next) {
        if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET) continue;
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(i->ifa_addr)->sin_addr, text, sizeof text);
        ips.emplace_back(text);
    }
    freeifaddrs(all);
    return 0;
}

bool NetDevMng::acceptAnswer(const unsigned char* datagram, int length, std::string& keyInfo)
{
    if (length <= kKeyInfoOffset || datagram[0] != kAnswerMark) return false;
    // The text ends at its terminator or at the end of the datagram, whichever comes first.
    const char* text = reinterpret_cast<const char*>(datagram + kKeyInfoOffset);
    keyInfo.assign(text, strnlen(text, static_cast<size_t>(length - kKeyInfoOffset)));
    return true;
}

SocketNet* NetDevMng::getBroadcastNetSvr(const std::string& localIp)
{
    auto found = m_sockets.find(localIp);
    if (found != m_sockets.end()) return found->second.get();
    std::unique_ptr<SocketNet> net = SocketNet::openBroadcast(localIp, kReceiveTimeoutMs);
    if (!net) return nullptr;
    return m_sockets.emplace(localIp, std::move(net)).first->second.get();
}

int NetDevMng::sendBroadcast(const std::vector<unsigned char>& request, const std::string& localIp,
                             std::list<rcv_msg_info>& answers)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    SocketNet* net = getBroadcastNetSvr(localIp);
    if (net == nullptr) {
        QV_LOGE("cannot get broadcast net svr");
        return -1;
    }
    // Late answers to an earlier round belong to that round.
    net->drain();
    if (m_count != 0) {
        QV_LOGW("NetDevMng m_count ", m_count);
    } else {
        const ssize_t ret = sendto(net->fd(), request.data(), request.size(), 0,
                                   reinterpret_cast<const sockaddr*>(&m_destination), sizeof m_destination);
        if (ret < 0) {
            const int error = errno;
            QV_LOGE("broadcast send data failed, ret ", ret, ", errno ", error);
            m_sockets.erase(localIp);  // made afresh next time (the address may have changed)
            return -1;
        }
    }
    const auto start = std::chrono::steady_clock::now();
    unsigned char buffer[kDatagramSize];
    while (std::chrono::steady_clock::now() - start < kCollectTime) {
        std::fill(std::begin(buffer), std::end(buffer), 0);
        std::string sender;
        const int n = net->receive(buffer, kDatagramSize, sender);
        std::string keyInfo;
        if (acceptAnswer(buffer, n, keyInfo)) answers.push_back({sender, keyInfo});
    }
    return 0;
}

int NetDevMng::broadcastListInfo(const std::vector<unsigned char>& request, std::list<rcv_msg_info>& answers)
{
    std::list<std::string> ips;
    getLocalIpList(ips);
    if (ips.empty()) {
        QV_LOGE("cannot get avail src ip");
        return -1;
    }
    bool first = true;
    for (const std::string& ip : ips) {
        if (!first) std::this_thread::sleep_for(kInterfacePause);
        first = false;
        for (int attempt = 1; attempt <= kAttempts; ++attempt) {
            const size_t before = answers.size();
            sendBroadcast(request, ip, answers);
            if (answers.size() > before) break;
            if (attempt < kAttempts) QV_LOGW("retry to send broadcast, retryCnt ", attempt);
        }
    }
    return 0;
}

void NetDevMng::holdBroadcast()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_count;
}

void NetDevMng::releaseBroadcast()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_count > 0) --m_count;
}
