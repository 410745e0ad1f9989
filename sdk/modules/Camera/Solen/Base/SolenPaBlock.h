// The factory calibration a Solen camera keeps (its "PA" block): the text
// "<width>,<height>,<fx>,<fy>,<cx>,<cy>", the depth sensor's intrinsics at the image
// size it names.
#pragma once

#include <string>

#include "qv_camera_sdk_types.h"

struct SolenPaBlock {
    int width = 0;
    int height = 0;
    float fx = 0, fy = 0, cx = 0, cy = 0;

    // False unless all six fields are there, the size positive and the focal lengths too.
    static bool parse(const std::string& text, SolenPaBlock& out);
    // The intrinsics scaled to an image of width x height; colour = depth, identity
    // rotation, no translation (the camera has one sensor).
    CAM_Parameter parameterAt(int imageWidth, int imageHeight) const;
};
