// The device node as a one-slot FIFO whose POLLOUT tells the host that a transfer can
// be reaped. A plain-file node is always "writable", which makes libusb's event loop
// poll REAPURBNDELAY without pause; with one byte parked in a 4096-byte pipe the node
// is not writable, and draining it wakes the host exactly when something completed.
#pragma once

#include <string>

namespace orrindale::emulator {

class ReadinessFifo {
public:
    ReadinessFifo() = default;
    ReadinessFifo(const ReadinessFifo&) = delete;
    ReadinessFifo& operator=(const ReadinessFifo&) = delete;
    ~ReadinessFifo();

    // Replaces the file at `path` by a FIFO, not ready.
    bool create(const std::string& path);
    void setReady(bool ready);
    bool active() const { return m_fd >= 0; }

private:
    int m_fd = -1;
    bool m_blocked = false;
};

}  // namespace orrindale::emulator
