// Copies calibration between the interface record and the filters' record.
#pragma once

#include "IrRgbParameter.h"
#include "qv_camera_sdk_types.h"

namespace orrindale {

// toCamParameter false: camParam -> irRgb; true: irRgb -> camParam. All 20 values,
// one for one.
void transferPara(ir_rgb_Parameter& irRgb, CAM_Parameter& camParam, bool toCamParameter);

}  // namespace orrindale
