// The calibration an emulated Fl30c reports in every transfer header and renders its
// images with: pinhole intrinsics of the depth/IR camera and of the colour camera for
// each image size, and the extrinsics (colour = R * depth + T, millimetres).
#pragma once

#include <array>

namespace orrindale::emulator {

struct CameraIntrinsics {
    float fx = 0;
    float fy = 0;
    float cx = 0;
    float cy = 0;
    int width = 0;
    int height = 0;

    // The same camera binned or scaled to width x height (pixel centres kept aligned).
    CameraIntrinsics scaledTo(int newWidth, int newHeight) const;
};

struct Fl30cCalibration {
    CameraIntrinsics depth;        // at 640 x 480
    CameraIntrinsics colourWide;   // at 1280 x 720 (also 640 x 360, scaled)
    CameraIntrinsics colourFourThree;  // at 640 x 480
    std::array<float, 9> rotation{};   // row by row
    std::array<float, 3> translation{};  // millimetres

    static Fl30cCalibration defaults();

    CameraIntrinsics depthFor(int width, int height) const { return depth.scaledTo(width, height); }
    CameraIntrinsics colourFor(int width, int height) const;
    // The 20 floats of the header: depth fx, fy, cx, cy; colour fx, fy, cx, cy; R; T.
    std::array<float, 20> headerFloats(int depthWidth, int depthHeight, int colourWidth, int colourHeight) const;
};

}  // namespace orrindale::emulator
