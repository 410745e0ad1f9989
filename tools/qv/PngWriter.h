// Writes 8-bit grey, 16-bit grey and 8-bit BGR/RGB images as PNG files (libpng).
#pragma once

#include <cstdint>
#include <string>

namespace qv {

class PngWriter {
public:
    // rows packed; false with a message in error when the file cannot be written.
    static bool writeGray8(const std::string& path, const uint8_t* pixels, int width, int height, std::string& error);
    static bool writeGray16(const std::string& path, const uint16_t* pixels, int width, int height, std::string& error);
    // bgr: B, G, R bytes per pixel (as the library delivers colour); stored as RGB.
    static bool writeBgr(const std::string& path, const uint8_t* bgr, int width, int height, std::string& error);
    static bool writeRgb(const std::string& path, const uint8_t* rgb, int width, int height, std::string& error);
};

}  // namespace qv
