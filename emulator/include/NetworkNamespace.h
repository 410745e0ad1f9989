// Linux network namespaces for emulated network cameras: traffic between the library
// and the cameras never leaves the namespaces a test or tool made. Needs root
// (CAP_SYS_ADMIN and CAP_NET_ADMIN).
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace orrindale::emulator {

class NetworkNamespace {
public:
    // Moves the calling thread into a fresh namespace; threads it starts later share it.
    // With withLoopback its loopback is up (127.0.0.1), otherwise it has no IPv4
    // address at all. False, with a log line, when the system refuses.
    static bool enterFresh(bool withLoopback = true);
    // A fresh namespace no thread is in, its loopback up; null when refused.
    static std::unique_ptr<NetworkNamespace> create();
    // The namespace of the calling thread.
    static std::unique_ptr<NetworkNamespace> ofThisThread();

    NetworkNamespace(const NetworkNamespace&) = delete;
    NetworkNamespace& operator=(const NetworkNamespace&) = delete;
    ~NetworkNamespace();

    // A path that names this namespace to programs such as ip ("netns <path>").
    std::string path() const;
    // Runs a program inside this namespace; true when it exited with 0.
    bool run(const std::vector<std::string>& argv) const;
    // A socket of this namespace (it stays there whichever thread uses it); -1 on failure.
    int openSocket(int type) const;

private:
    explicit NetworkNamespace(int fd) : m_fd(fd) {}
    int m_fd;
};

}  // namespace orrindale::emulator
