// 16-bit depth frames of the known room (Fl30cScene: floor, back wall, box, sphere) for
// the video function of a depth camera: each pixel is the depth in millimetres of what
// it sees through the given intrinsics (scaled to the requested size), little-endian,
// 0 where nothing is seen. Every frame is the same picture.
#pragma once

#include <cstdint>
#include <vector>

#include "Fl30cCalibration.h"
#include "VideoFrameSource.h"

namespace orrindale::emulator {

class VideoDepthScene {
public:
    static VideoFrameSource source(const CameraIntrinsics& intrinsics);
    // The millimetres of each pixel at width x height, row by row.
    static std::vector<uint16_t> render(const CameraIntrinsics& intrinsics, int width, int height);
};

}  // namespace orrindale::emulator
