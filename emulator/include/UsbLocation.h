// Where an emulated device sits on the USB: bus, port chain and device address.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace orrindale::emulator {

struct UsbLocation {
    int bus = 1;
    std::vector<int> ports;  // from the root hub down, e.g. {1, 4} for port path 1.4
    int address = 0;         // device address on the bus; 0 takes the lowest free one from 2 up
    // The device is listed by libusb but its port path cannot be read: it sits at port 0
    // of the hub at `ports` (sysfs name "1-3.0", or "1-0" under the root hub), so libusb
    // reports port number 0 and libusb_get_port_numbers returns 0.
    bool hiddenPortPath = false;

    UsbLocation() = default;
    UsbLocation(int busNumber, std::vector<int> portChain, int deviceAddress = 0)
        : bus(busNumber), ports(std::move(portChain)), address(deviceAddress)
    {
    }

    // "1-1.4" (bus-ports), optionally with "@5" for the address.
    static std::optional<UsbLocation> parse(const std::string& text);

    // The kernel's device name in sysfs, e.g. "1-1.4" (the root hub is "usb1").
    std::string sysfsName() const;
    // Port numbers joined by ".", as libusb reports them ("" when hidden).
    std::string portPathText() const;
    // Checks ranges (bus 1..255, ports 1..255, at most 7 levels, address 0..127).
    bool valid(std::string* why = nullptr) const;
};

}  // namespace orrindale::emulator
