// The umockdev description of a video function's VideoControl interface and its two
// video4linux nodes, as uvcvideo registers them below the USB device: the interface
// (with its modalias), then videoN (index 0) and videoN+1 (index 1), each with a device
// link to the interface and a /dev node backed by a regular file (mmap needs one).
#pragma once

#include <cstdint>
#include <string>

namespace orrindale::emulator {

struct VideoNodeFacts {
    std::string devicePath;  // the USB device below /sys
    std::string sysfsName;   // "1-2.2"
    uint16_t vendorId = 0;
    uint16_t productId = 0;
    uint16_t bcdDevice = 0;
    std::string product;
    std::string serial;
    int firstMinor = 0;
};

class VideoNodeRecord {
public:
    static std::string build(const VideoNodeFacts& facts);
    // Below /sys: the interface, and node `n` (0 or 1) of the function.
    static std::string interfacePath(const VideoNodeFacts& facts);
    static std::string nodePath(const VideoNodeFacts& facts, int n);
    static std::string modalias(const VideoNodeFacts& facts);
};

}  // namespace orrindale::emulator
