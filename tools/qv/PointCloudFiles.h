// Point clouds as binary little-endian PLY, with per-point colour when given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qv {

// Point-cloud programs (PCL, Open3D, ROS) take coordinates in metres; the library's are
// millimetres.
enum class CloudUnits { Metres, Millimetres };

class PointCloudFiles {
public:
    // points: count x (x, y, z) floats in units; rgb: count x (r, g, b) bytes or null.
    static bool writePly(const std::string& path, const float* points, size_t count, const uint8_t* rgb,
                         CloudUnits units, std::string& error);
};

}  // namespace qv
