#include "NetworkNamespace.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "EmulatorLog.h"

namespace orrindale::emulator {

namespace {

bool bringLoopbackUp()
{
    const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (s < 0) return false;
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    bool ok = ioctl(s, SIOCGIFFLAGS, &request) == 0;
    request.ifr_flags |= IFF_UP;
    ok = ok && ioctl(s, SIOCSIFFLAGS, &request) == 0;
    close(s);
    return ok;
}

// Runs body on a short-lived thread (namespace changes stay with that thread).
template <typename Body>
void onOwnThread(Body body)
{
    std::thread(body).join();
}

}  // namespace

bool NetworkNamespace::enterFresh(bool withLoopback)
{
    if (unshare(CLONE_NEWNET) != 0) {
        emulatorLog("a network namespace cannot be made: %s (it needs root)", std::strerror(errno));
        return false;
    }
    if (withLoopback && !bringLoopbackUp()) {
        emulatorLog("the loopback interface of a new namespace cannot be brought up: %s", std::strerror(errno));
        return false;
    }
    return true;
}

std::unique_ptr<NetworkNamespace> NetworkNamespace::create()
{
    int fd = -1;
    onOwnThread([&] {
        if (enterFresh()) fd = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    });
    if (fd < 0) return nullptr;
    return std::unique_ptr<NetworkNamespace>(new NetworkNamespace(fd));
}

std::unique_ptr<NetworkNamespace> NetworkNamespace::ofThisThread()
{
    const int fd = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    return std::unique_ptr<NetworkNamespace>(new NetworkNamespace(fd));
}

NetworkNamespace::~NetworkNamespace() { close(m_fd); }

std::string NetworkNamespace::path() const
{
    return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(m_fd);
}

bool NetworkNamespace::run(const std::vector<std::string>& argv) const
{
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    const pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        if (setns(m_fd, CLONE_NEWNET) != 0) _exit(126);
        execvp(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
    std::string command;
    for (const std::string& a : argv) command += " " + a;
    emulatorLog("\"%s\" failed in a network namespace (status %d)", command.c_str() + 1, status);
    return false;
}

int NetworkNamespace::openSocket(int type) const
{
    int fd = -1;
    onOwnThread([&] {
        if (setns(m_fd, CLONE_NEWNET) == 0) fd = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    });
    return fd;
}

}  // namespace orrindale::emulator
