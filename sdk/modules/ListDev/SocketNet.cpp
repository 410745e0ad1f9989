#include "SocketNet.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Logger.h"

namespace {

bool setTimeout(int fd, int timeoutMs)
{
    timeval timeout{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
    return setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) == 0;
}

}  // namespace

SocketNet::~SocketNet() { close(m_fd); }

std::unique_ptr<SocketNet> SocketNet::openBroadcast(const std::string& localIp, int timeoutMs)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        QV_LOGE("socket net fail");
        return nullptr;
    }
    auto net = std::make_unique<SocketNet>(fd);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = 0;
    if (inet_pton(AF_INET, localIp.c_str(), &address.sin_addr) != 1 ||
        bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        QV_LOGE("ipAddr ", localIp, ", bind fail ");
        return nullptr;
    }
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) {
        QV_LOGE("set socket broadcast option fail");
        return nullptr;
    }
    if (!setTimeout(fd, timeoutMs)) {
        QV_LOGE("set receive timeout fail");
        return nullptr;
    }
    return net;
}

std::unique_ptr<SocketNet> SocketNet::openListening(int port, int timeoutMs)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        QV_LOGE("socket net fail");
        return nullptr;
    }
    auto net = std::make_unique<SocketNet>(fd);
    const int on = 1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        QV_LOGE("ipAddr 0.0.0.0:", port, ", bind fail ");
        return nullptr;
    }
    if (!setTimeout(fd, timeoutMs)) {
        QV_LOGE("set receive timeout fail");
        return nullptr;
    }
    return net;
}

int SocketNet::receive(unsigned char* buffer, int capacity, std::string& senderIp)
{
    sockaddr_in from{};
    socklen_t length = sizeof from;
    const ssize_t n = recvfrom(m_fd, buffer, static_cast<size_t>(capacity), 0, reinterpret_cast<sockaddr*>(&from), &length);
    if (n < 0) return -1;
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
    senderIp = text;
    return static_cast<int>(n);
}

void SocketNet::drain()
{
    unsigned char scrap[1];
    while (recv(m_fd, scrap, sizeof scrap, MSG_DONTWAIT) >= 0) {
    }
}
