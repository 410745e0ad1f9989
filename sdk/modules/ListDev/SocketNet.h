// One IPv4 UDP socket, closed with the object.
#pragma once

#include <netinet/in.h>

#include <memory>
#include <string>

class SocketNet {
public:
    // A socket bound to localIp (any free port) that may broadcast and waits at most
    // timeoutMs per receive; null with one log line when any step fails.
    static std::unique_ptr<SocketNet> openBroadcast(const std::string& localIp, int timeoutMs);
    // A socket bound to 0.0.0.0:port shared with other listeners (SO_REUSEADDR); null
    // with one log line when any step fails.
    static std::unique_ptr<SocketNet> openListening(int port, int timeoutMs);

    explicit SocketNet(int fd) : m_fd(fd) {}
    ~SocketNet();
    SocketNet(const SocketNet&) = delete;
    SocketNet& operator=(const SocketNet&) = delete;

    int fd() const { return m_fd; }
    // One datagram into buffer (at most capacity bytes); its length, or -1 on time-out or error.
    int receive(unsigned char* buffer, int capacity, std::string& senderIp);
    // Drops every datagram already queued.
    void drain();

private:
    int m_fd;
};
