// What a UVC device model declares: its identity, its video formats with frame sizes
// and rates, and how it streams.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orrindale::emulator {

enum class UvcPixelFormat { Yuy2, Mjpeg };

struct UvcFrameSize {
    uint16_t width = 0;
    uint16_t height = 0;
    std::vector<int> fps;  // offered rates, first is the default

    // Frame interval in 100 ns units as UVC carries it (10,000,000 / fps).
    static uint32_t interval(int fps) { return fps > 0 ? uint32_t(10000000 / fps) : 0; }
};

struct UvcFormat {
    UvcPixelFormat pixelFormat = UvcPixelFormat::Yuy2;
    std::vector<UvcFrameSize> frames;
};

struct UvcIdentity {
    uint16_t vendorId = 0;
    uint16_t productId = 0;
    uint16_t bcdDevice = 0x0100;
    std::string manufacturer;
    std::string product;
    std::string serialNumber;  // empty: the device has no serial-number string
};

struct UvcStreaming {
    std::vector<UvcFormat> formats;
    uint8_t endpoint = 0x81;  // IN endpoint of the video data
    bool isochronous = false;  // bulk when false
    // dwMaxPayloadTransferSize; 0 takes the largest frame plus its header for bulk and
    // 3 x 1024 for isochronous endpoints.
    uint32_t maxPayloadTransferSize = 0;
};

// The stream the host committed.
struct UvcStreamSelection {
    int formatIndex = 1;  // 1-based, as in the descriptors
    int frameIndex = 1;
    UvcPixelFormat pixelFormat = UvcPixelFormat::Yuy2;
    int width = 0;
    int height = 0;
    uint32_t interval = 0;  // 100 ns units
};

}  // namespace orrindale::emulator
