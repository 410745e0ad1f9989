// Point clouds as binary little-endian PLY, with per-point colour when given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qv {

class PointCloudFiles {
public:
    // points: count x (x, y, z) floats; rgb: count x (r, g, b) bytes or null.
    static bool writePly(const std::string& path, const float* points, size_t count, const uint8_t* rgb,
                         std::string& error);
};

}  // namespace qv
