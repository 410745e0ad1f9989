// The frames of an emulated Solen camera's video function, chosen by the stream type its
// firmware was last set to ("S"): 0 the depth in millimetres (VideoDepthScene), 1 the
// infrared brightness (Fl30cScene::irOf of the surface seen, times 256), 2 both in one
// frame of twice the height, depth rows first. 16-bit little-endian words, rendered once
// per size through the intrinsics of the camera's calibration block.
#pragma once

#include <memory>
#include <vector>

#include "Fl30cCalibration.h"
#include "SolenFirmware.h"
#include "VideoFrameSource.h"

namespace orrindale::emulator {

class SolenVideoFrames {
public:
    static std::vector<uint16_t> depth(const CameraIntrinsics& intrinsics, int width, int height);
    static std::vector<uint16_t> infrared(const CameraIntrinsics& intrinsics, int width, int height);
    // The intrinsics of a calibration block "<w>,<h>,<fx>,<fy>,<cx>,<cy>" (zeros when it is none).
    static CameraIntrinsics intrinsicsOf(const std::string& calibration);
    // The source of a camera with this firmware (read at every frame).
    static VideoFrameSource source(std::shared_ptr<const SolenFirmware> firmware);
};

}  // namespace orrindale::emulator
