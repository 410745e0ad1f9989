#include "EmulatedNetCamera.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>

#include "EmulatorLog.h"
#include "NetworkNamespace.h"

namespace orrindale::emulator {

namespace {

constexpr uint16_t kDiscoveryPort = 5678;
constexpr uint16_t kAnnouncePort = 9000;
constexpr size_t kHeaderSize = 12;

sockaddr_in endpoint(const std::string& ip, uint16_t port)
{
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    inet_pton(AF_INET, ip.c_str(), &a.sin_addr);
    return a;
}

bool bindTo(int fd, const sockaddr_in& a)
{
    return bind(fd, reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0;
}

bool isRequest(const uint8_t* d, ssize_t n)
{
    return n == 64 && d[0] == 0xFF && d[1] == 0x01 && d[2] == 0x02 &&
           std::all_of(d + 3, d + 64, [](uint8_t b) { return b == 0; });
}

}  // namespace

EmulatedNetCamera::EmulatedNetCamera(const NetworkNamespace& ns, std::string address, NetCameraConfig config)
    : m_address(std::move(address)), m_config(std::move(config))
{
    m_listen = ns.openSocket(SOCK_DGRAM);
    m_reply = ns.openSocket(SOCK_DGRAM);
    const int on = 1;
    const bool ok = m_listen >= 0 && m_reply >= 0 &&
                    setsockopt(m_listen, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                    bindTo(m_listen, endpoint("0.0.0.0", kDiscoveryPort)) &&
                    setsockopt(m_reply, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) == 0 &&
                    bindTo(m_reply, endpoint(m_address, 0));
    if (!ok) {
        emulatorLog("network camera %s cannot open its sockets", m_address.c_str());
        if (m_listen >= 0) close(m_listen);
        if (m_reply >= 0) close(m_reply);
        m_listen = m_reply = -1;
        return;
    }
    m_thread = std::thread(&EmulatedNetCamera::serve, this);
}

EmulatedNetCamera::~EmulatedNetCamera()
{
    m_stop = true;
    if (m_thread.joinable()) m_thread.join();
    if (m_listen >= 0) close(m_listen);
    if (m_reply >= 0) close(m_reply);
}

std::vector<uint8_t> EmulatedNetCamera::lastDatagram() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_last;
}

std::vector<uint8_t> EmulatedNetCamera::answer() const
{
    const std::string ip = m_config.namedIp.empty() ? m_address : m_config.namedIp;
    const std::string port = " PORT[" + std::to_string(m_config.port) + "]PORT";
    std::string text;
    switch (m_config.fault) {
    case NetAnswerFault::NoType: text = "MODEL=" + m_config.model + " IP[" + ip + "]IP" + port; break;
    case NetAnswerFault::UnknownModel: text = "TYPE:Qx900 IP[" + ip + "]IP" + port; break;
    case NetAnswerFault::IpMarkersReversed: text = "TYPE:" + m_config.model + " ]IP" + ip + "IP[" + port; break;
    case NetAnswerFault::NoIpMarkers: text = "TYPE:" + m_config.model + port; break;
    default: text = "TYPE:" + m_config.model + " IP[" + ip + "]IP" + port; break;
    }
    if (m_config.fault == NetAnswerFault::LowerCase)
        std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    std::string datagram(kHeaderSize, '\0');
    datagram[0] = static_cast<char>(m_config.fault == NetAnswerFault::NotFE ? 0xFD : 0xFE);
    if (m_config.fault != NetAnswerFault::TwelveBytes) datagram += text + '\0';
    return std::vector<uint8_t>(datagram.begin(), datagram.end());
}

void EmulatedNetCamera::setAnnouncing(bool on)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_announcing = on;
}

std::chrono::steady_clock::time_point EmulatedNetCamera::lastAnnouncement() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastAnnouncement;
}

void EmulatedNetCamera::announce()
{
    // Under the lock, so that once setAnnouncing(false) returns no announcement follows.
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_announcing) return;
    const std::vector<uint8_t> datagram = answer();
    const sockaddr_in to = endpoint("255.255.255.255", kAnnouncePort);
    m_lastAnnouncement = std::chrono::steady_clock::now();
    sendto(m_reply, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

void EmulatedNetCamera::serve()
{
    auto nextAnnouncement = std::chrono::steady_clock::now();
    while (!m_stop) {
        if (m_config.announceEvery.count() > 0 && std::chrono::steady_clock::now() >= nextAnnouncement) {
            announce();
            nextAnnouncement += m_config.announceEvery;
        }
        pollfd p{m_listen, POLLIN, 0};
        if (poll(&p, 1, 20) <= 0) continue;
        uint8_t buffer[1500];
        sockaddr_in from{};
        socklen_t length = sizeof from;
        const ssize_t n = recvfrom(m_listen, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &length);
        if (n < 0) continue;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_last.assign(buffer, buffer + n);
        }
        if (!isRequest(buffer, n)) continue;
        ++m_requests;
        if (!m_answering) continue;
        const std::vector<uint8_t> datagram = answer();
        sendto(m_reply, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&from), length);
    }
}

}  // namespace orrindale::emulator
