// Depth image to packed (x, y, z) float triples through pinhole intrinsics:
// x = (u - cx) * d / fx, y = (v - cy) * d / fy, z = d, in single precision with the
// subtraction first, then the product, then the division.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrindale {

struct PinholeIntrinsics {
    float fx, fy, cx, cy;
};

class PointCloudProjector {
public:
    // Depth words above this are dropped from an unorganized cloud.
    static constexpr uint16_t kMaxDepth = 5000;

    // Organized: one point per pixel in raster order. Otherwise only pixels with
    // 0 < d <= kMaxDepth. `points` needs room for 3 * width * height + 1 floats (the
    // vector path stores whole 4-float registers). Returns the number of points.
    static std::size_t project(const uint16_t* depth, int width, int height, const PinholeIntrinsics& k,
                               bool organized, float* points);
    static std::size_t projectScalar(const uint16_t* depth, int width, int height, const PinholeIntrinsics& k,
                                     bool organized, float* points);
};

}  // namespace orrindale
