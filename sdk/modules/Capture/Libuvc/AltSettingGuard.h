// Keeps libusb 1.0.26's alternate-setting call from breaking an unplugged device's handle.
//
// Once libusb has seen a device leave, its libusb_set_interface_alt_setting answers
// LIBUSB_ERROR_NO_DEVICE after unlocking the handle's mutex, which it never locked. The mutex is
// left with a negative user count; libusb_close then fails to destroy it and aborts the process.
// libuvc sets interfaces back to setting 0 whenever it stops a stream or closes a device, so
// without a guard an unplugged UVC camera could never be closed.
//
// The library defines libusb_set_interface_alt_setting itself (AltSettingGuard.cpp): for a
// departed device it answers as libusb would without touching the mutex, otherwise it forwards
// to libusb. That only helps when the dynamic linker finds our definition before libusb's.
#pragma once

#include <libusb.h>

class AltSettingGuard {
public:
    // True when libuvc's alternate-setting calls reach our definition. Decided once per process;
    // when they do not, one WARN line says that unplugged cameras' sessions are kept.
    static bool reached();

    // Undoes libusb's stray unlock on handle when the device left between our check and libusb's
    // own (the mutex shows exactly one unlock too many); otherwise changes nothing.
    static void rebalance(libusb_device_handle* handle);
};
