// The serial port of an emulated USB device, as the kernel's USB serial driver shows it:
// the interface "<device>:1.0" with its modalias and below it the tty "ttyUSB<n>", whose
// /dev node is a pseudo terminal. This class is the far end of that terminal: a thread
// of its own hands the host's bytes to `input` and writes back what it answers. While
// the device is unplugged the tty is gone and its line hung up (the host's reads fail).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace orrindale::emulator {

class EmulatedUsbDevice;
class TestBedCore;

class EmulatedTty {
public:
    // Bytes for the host, written in order; with `afterHostRead` only once the host has
    // read everything written before (a reply that reaches the host in two reads).
    struct Output {
        std::vector<uint8_t> bytes;
        bool afterHostRead = false;
    };
    using Input = std::function<std::vector<Output>(const uint8_t* data, size_t length)>;

    // A tty below `device`, plugged in and out with it; each plug-in takes the test bed's
    // next number (ttyUSB0, ttyUSB1, ...).
    EmulatedTty(TestBedCore& bed, EmulatedUsbDevice& device, Input input);
    ~EmulatedTty();
    EmulatedTty(const EmulatedTty&) = delete;
    EmulatedTty& operator=(const EmulatedTty&) = delete;

    std::string name() const;  // "ttyUSB0" (of the current plug-in)
    std::string node() const;  // "/dev/ttyUSB0"
    // Everything the host's input caused has been written.
    bool idle() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace orrindale::emulator
