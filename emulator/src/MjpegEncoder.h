// Compresses 24-bit RGB images to baseline JPEG with TurboJPEG (4:2:0), the colour
// image format of the emulated cameras.
#pragma once

#include <cstdint>
#include <vector>

namespace orrindale::emulator {

class MjpegEncoder {
public:
    MjpegEncoder();
    MjpegEncoder(const MjpegEncoder&) = delete;
    MjpegEncoder& operator=(const MjpegEncoder&) = delete;
    ~MjpegEncoder();

    // Empty, with a log line, on failure.
    std::vector<uint8_t> encode(const std::vector<uint8_t>& rgb, int width, int height, int quality);

private:
    void* m_handle;
};

}  // namespace orrindale::emulator
