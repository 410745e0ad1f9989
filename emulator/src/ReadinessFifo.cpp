#include "ReadinessFifo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "EmulatorLog.h"

namespace orrindale::emulator {

ReadinessFifo::~ReadinessFifo()
{
    if (m_fd >= 0) ::close(m_fd);
}

bool ReadinessFifo::create(const std::string& path)
{
    ::unlink(path.c_str());
    if (::mkfifo(path.c_str(), 0666) != 0) {
        emulatorLog("mkfifo %s failed: %s", path.c_str(), std::strerror(errno));
        return false;
    }
    m_fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0) {
        emulatorLog("opening the readiness FIFO %s failed: %s", path.c_str(), std::strerror(errno));
        return false;
    }
    // One page: a single parked byte then fills the only slot and clears POLLOUT.
    if (::fcntl(m_fd, F_SETPIPE_SZ, 4096) < 0) {
        emulatorLog("F_SETPIPE_SZ on %s failed: %s", path.c_str(), std::strerror(errno));
        ::close(m_fd);
        m_fd = -1;
        return false;
    }
    setReady(false);
    return true;
}

void ReadinessFifo::setReady(bool ready)
{
    if (m_fd < 0) return;
    char byte = 'x';
    if (ready && m_blocked) {
        if (::read(m_fd, &byte, 1) == 1) m_blocked = false;
    } else if (!ready && !m_blocked) {
        if (::write(m_fd, &byte, 1) == 1) m_blocked = true;
    }
}

}  // namespace orrindale::emulator
