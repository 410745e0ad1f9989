// The static scene an emulated Fl30c looks at, in depth-camera millimetres (x right,
// y down, z forward): a floor 600 mm below the camera, a back wall 2,800 mm ahead that
// ends 1,000 mm above the camera (nothing is seen above it), a box standing on the
// floor to the left and a sphere resting on the floor to the right. Ray casting through
// a camera's intrinsics gives the depth, IR and colour images and their ground truth.
#pragma once

#include <array>
#include <cstdint>

#include "Fl30cCalibration.h"

namespace orrindale::emulator {

enum class SceneSurface { None, Floor, BackWall, Box, Sphere };

struct ScenePlane {
    std::array<double, 3> normal;  // unit normal
    double offset;                 // normal . p + offset = 0
};

struct SceneBox {
    std::array<double, 3> min;
    std::array<double, 3> max;
};

struct SceneSphere {
    std::array<double, 3> centre;
    double radius;
};

struct SceneHit {
    SceneSurface surface = SceneSurface::None;
    std::array<double, 3> point{};  // depth-camera millimetres
    double depthMm = 0;             // z of the point; 0 when nothing was hit
};

class Fl30cScene {
public:
    static ScenePlane floor() { return {{0, -1, 0}, 600}; }  // y = 600
    static ScenePlane backWall() { return {{0, 0, -1}, 2800}; }  // z = 2800
    static constexpr double kWallTop = -1000;  // the wall spans y from -1000 to the floor
    static SceneBox box() { return {{-550, 200, 1500}, {-150, 600, 1900}}; }
    static SceneSphere sphere() { return {{350, 350, 1700}, 250}; }

    // Colour (RGB) and IR brightness of each surface; None is black and dark.
    static std::array<uint8_t, 3> colourOf(SceneSurface surface);
    static uint8_t irOf(SceneSurface surface);

    // First hit of the ray from `origin` along `direction` (depth-camera coordinates).
    static SceneHit cast(const std::array<double, 3>& origin, const std::array<double, 3>& direction);
    // What depth/IR pixel (u, v) of an image with intrinsics `depth` sees.
    static SceneHit atDepthPixel(double u, double v, const CameraIntrinsics& depth);
    // What colour pixel (u, v) sees, through the colour intrinsics and the extrinsics.
    static SceneHit atColourPixel(double u, double v, const CameraIntrinsics& colour, const Fl30cCalibration& calibration);
    // The raw 16-bit depth word of a hit: round(depth_mm * 16), 0 for no depth or beyond range.
    static uint16_t rawDepth(const SceneHit& hit);
    // Millimetres a host makes of a raw word: (raw >> 4) + ((raw >> 3) & 1).
    static int hostMillimetres(uint16_t raw) { return (raw >> 4) + ((raw >> 3) & 1); }
};

}  // namespace orrindale::emulator
