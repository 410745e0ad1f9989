// Calibration of an RGB-D camera as the image filters use it: the same 20 floats,
// in the same order, as CAM_Parameter.
#pragma once

namespace orrindale {

struct ir_rgb_Parameter {
    float depthFx, depthFy, depthCx, depthCy;  // depth (infrared) camera intrinsics
    float rgbFx, rgbFy, rgbCx, rgbCy;          // colour camera intrinsics
    float rotation[9];                         // depth to colour, row by row
    float translation[3];                      // depth to colour, millimetres
};

static_assert(sizeof(ir_rgb_Parameter) == 20 * sizeof(float), "ir_rgb_Parameter is 20 floats");

}  // namespace orrindale
