// Keeps three libusb calls that libuvc makes on an unplugged device from breaking the process.
//
// - libusb 1.0.26's libusb_set_interface_alt_setting, once libusb has seen a device leave,
//   answers LIBUSB_ERROR_NO_DEVICE after unlocking the handle's mutex, which it never locked.
//   The mutex is left with a negative user count; libusb_close then fails to destroy it and
//   aborts the process. libuvc sets interfaces back to setting 0 whenever it stops a stream
//   or closes a device.
// - libusb_cancel_transfer answers LIBUSB_ERROR_NO_DEVICE for a transfer of a departed device
//   that libusb still holds and will complete ("ready to be reaped"); libuvc's stream stop
//   frees such a transfer at once, and libusb later completes freed memory (a hang or a crash).
// - libuvc resubmits a completed transfer from its callback and ignores a refusal: after an
//   unplug the refused transfer is never completed, and libuvc's stream stop waits for it.
//   When the device leaves just before a start, libuvc's start fails at its first transfer
//   and stops a stream none of whose transfers was submitted: that stop would wait too.
//
// The library defines these functions itself (DepartedDeviceGuard.cpp, exported by the shared
// library): the first answers a departed device without touching the mutex, the second tells
// libuvc to wait for the completion (LIBUSB_ERROR_NOT_FOUND, as for any transfer already
// completing, but lets it free transfers a failed start never submitted), the third completes
// a refused resubmission with the device's end; everything else goes to libusb unchanged.
// That only helps when the dynamic linker finds our definitions before libusb's.
#pragma once

#include <libusb.h>

class DepartedDeviceGuard {
public:
    // True when libuvc's calls reach our definitions. Decided once per process; when they do
    // not, one WARN line says that unplugged cameras' sessions are kept.
    static bool reached();

    // Undoes libusb's stray unlock on handle when the device left between our check and libusb's
    // own (the mutex shows exactly one unlock too many); otherwise changes nothing.
    static void rebalance(libusb_device_handle* handle);

    // While one lives on a thread, libuvc's submissions there are the caller's own (open, start):
    // a refusal is answered, not completed.
    class DirectCall {
    public:
        DirectCall();
        ~DirectCall();
        DirectCall(const DirectCall&) = delete;
        DirectCall& operator=(const DirectCall&) = delete;
    };
};
