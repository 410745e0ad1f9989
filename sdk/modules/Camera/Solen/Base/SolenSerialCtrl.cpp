#include "SolenSerialCtrl.h"

#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Logger.h"

namespace {

speed_t speedOf(unsigned baud) { return baud == 921600 ? B921600 : B115200; }

}  // namespace

SolenSerialCtrl::SolenSerialCtrl(int vid, int pid, int bus, int address, std::string devNode)
    : SolenCommonCtrl(vid, pid, bus, address), m_devNode(std::move(devNode))
{
}

SolenSerialCtrl::~SolenSerialCtrl() { closeTty(); }

void SolenSerialCtrl::closeTty()
{
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

unsigned SolenSerialCtrl::baudRate(int pid)
{
    // The first bridge firmware (0x5722) runs at 115200; the later ones at 921600.
    return pid == 0x5723 || pid == 0x5724 ? 921600 : 115200;
}

int SolenSerialCtrl::init()
{
    closeTty();
    m_fd = ::open(m_devNode.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_fd < 0) {
        QV_LOGE("open ", m_devNode, " fail: ", std::strerror(errno));
        return -1;
    }
    termios tio{};
    if (tcgetattr(m_fd, &tio) != 0) {
        QV_LOGE("tcgetattr ", m_devNode, " fail: ", std::strerror(errno));
        closeTty();
        return -1;
    }
    const speed_t speed = speedOf(baudRate(m_pid));
    cfsetispeed(&tio, speed);
    cfsetospeed(&tio, speed);
    // Raw 8N1 without flow control: replies are text ended by a zero byte, never lines.
    tio.c_cflag &= ~(PARENB | CSTOPB | CSIZE | CRTSCTS);
    tio.c_cflag |= CS8 | CLOCAL | CREAD;
    tio.c_lflag &= ~(ICANON | ECHO | ECHOE | ECHONL | ISIG | IEXTEN);
    tio.c_iflag &= ~(IXON | IXOFF | IXANY | ICRNL | INLCR | IGNCR | ISTRIP | BRKINT | PARMRK | INPCK);
    tio.c_oflag &= ~OPOST;
    tio.c_cc[VMIN] = 0;
    tio.c_cc[VTIME] = 0;
    if (tcsetattr(m_fd, TCSANOW, &tio) != 0) {
        QV_LOGE("tcsetattr ", m_devNode, " fail: ", std::strerror(errno));
        closeTty();
        return -1;
    }
    return 0;
}

int SolenSerialCtrl::write(unsigned char const* buf, unsigned int length, unsigned int)
{
    unsigned written = 0;
    ssize_t ret = -1;
    while (m_fd >= 0 && buf != nullptr && written < length) {
        ret = ::write(m_fd, buf + written, length - written);
        if (ret < 0 && errno == EINTR) continue;
        if (ret <= 0) break;
        written += static_cast<unsigned>(ret);
    }
    if (written != length || buf == nullptr) {
        QV_LOGE("write fail, ret ", ret);
        return -1;
    }
    return 0;
}

int SolenSerialCtrl::read(unsigned char* buf, unsigned int length, unsigned int timeoutMs)
{
    if (m_fd < 0 || buf == nullptr) {
        QV_LOGE("read fail");
        return -1;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(m_fd, &readable);
    timeval timeout{static_cast<time_t>(timeoutMs / 1000), 0};
    const int ret = select(m_fd + 1, &readable, nullptr, nullptr, &timeout);
    if (ret < 0) {
        std::printf("%s select uart err:%d, fd:%d\n", m_devNode.c_str(), errno, m_fd);
        std::fflush(stdout);
        return -1;
    }
    if (ret == 0) {
        std::printf("select timeout[%d]:%d,fd:%d\n", static_cast<int>(timeoutMs / 1000), ret, m_fd);
        std::fflush(stdout);
        return -1;
    }
    const ssize_t received = ::read(m_fd, buf, length);
    if (received <= 0) {  // readable with nothing to read: the line hung up
        QV_LOGE("read fail");
        return -1;
    }
    return static_cast<int>(received);
}

void SolenSerialCtrl::discardStaleInput()
{
    if (m_fd >= 0) tcflush(m_fd, TCIFLUSH);
}
