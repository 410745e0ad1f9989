// Validation of an RGB-D camera's calibration before the filter chain uses it:
// implausible intrinsics and missing extrinsics are replaced by fixed defaults.
#pragma once

#include "IrRgbParameter.h"

namespace orrindale {

struct CalibrationDefaults {
    // fx, fy, cx, cy
    static constexpr float kDepth[4] = {425.0f, 425.0f, 320.0f, 200.0f};
    static constexpr float kColor[4] = {380.0f, 380.0f, 320.0f, 180.0f};
    static constexpr float kTolerance = 100.0f;
};

// Returns the calibration with each implausible part replaced by its default (reference
// intrinsics; identity rotation and zero translation), logging one warning per part.
ir_rgb_Parameter validateCalibration(const ir_rgb_Parameter& calib);

}  // namespace orrindale
