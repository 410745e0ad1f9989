// One emulated USB device in a test bed: its place in sysfs and /dev, the usbdevfs
// requests it serves (through umockdev) and the test's handles on it: unplug and
// re-plug, the record of control requests, and requests made to fail.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "UsbControlTypes.h"
#include "UsbLocation.h"

namespace orrindale::emulator {

class UsbDeviceModel;
class TestBedCore;

class EmulatedUsbDevice {
public:
    EmulatedUsbDevice(TestBedCore& bed, const UsbLocation& location, std::string sysfsDevicePath,
                      std::unique_ptr<UsbDeviceModel> model);
    EmulatedUsbDevice(const EmulatedUsbDevice&) = delete;
    EmulatedUsbDevice& operator=(const EmulatedUsbDevice&) = delete;
    ~EmulatedUsbDevice();

    const UsbLocation& location() const;
    int bus() const;
    int address() const;
    // "/sys/devices/.../usb1/1-1/1-1.4" as processes under the preload see it.
    std::string sysfsPath() const;
    // "/dev/bus/usb/001/005".
    std::string deviceNode() const;
    bool plugged() const;
    UsbDeviceModel& model() const;

    // Plugs the device in (done by the test bed when it is added). False, with a log
    // line, when umockdev refuses.
    bool plug();
    // Unplugs it: pending transfers end with NO_DEVICE, further requests fail with
    // ENODEV, a "remove" uevent goes out, and its sysfs entry and /dev node disappear.
    bool unplug();
    // Plugs it in again at the same place ("add" uevent); `address` 0 keeps the old one.
    bool replug(int address = 0);

    // Every control request the device received, in order, standard ones included
    // (also those the kernel sends for CLEAR_HALT, SETINTERFACE and SETCONFIGURATION).
    std::vector<ControlRecord> controlRecord() const;
    void clearControlRecord();
    // Requests matching `match` fail as `fault` until cleared (checked before answering).
    void setControlFault(const ControlMatch& match, ControlFault fault);
    void clearControlFaults();
    // Halts an endpoint: its transfers STALL until the host clears the halt.
    void haltEndpoint(uint8_t endpoint);
    UsbdevfsStatistics statistics() const;

    // What lives below the device in sysfs (an interface with its tty or video node):
    // `added` runs after every plug-in, `leaving` before the device leaves (children go
    // first, as the kernel removes them). Runs now when the device is plugged in.
    void addChildHooks(std::function<void()> added, std::function<void()> leaving);

    // For models: offer pending transfers to the model again at `when` (thread safe).
    void scheduleService(std::chrono::steady_clock::time_point when);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace orrindale::emulator
