// The umockdev description of one USB device (sysfs attributes, udev properties, the
// binary "descriptors" attribute and the /dev node) in the text form that
// umockdev_testbed_add_from_string() takes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orrindale::emulator {

struct UsbSysfsFacts {
    std::string devicePath;  // under /sys, e.g. "/devices/pci0000:00/0000:00:14.0/usb1/1-1"
    int bus = 1;
    int address = 1;
    std::string devpath;  // the kernel's "devpath" attribute: port path, "0" for a root hub
    int speedMbps = 480;
    std::vector<uint8_t> descriptors;
    std::string manufacturer;
    std::string product;
    std::string serial;
};

class UsbSysfsRecord {
public:
    static std::string build(const UsbSysfsFacts& facts);
    // "/dev/bus/usb/001/005".
    static std::string deviceNode(int bus, int address);
};

}  // namespace orrindale::emulator
