#include "CalibrationValidation.h"

#include "ExtrinsicsChecker.h"
#include "IntrinsicsChecker.h"
#include "Logger.h"

namespace orrindale {

namespace {

bool intrinsicsPlausible(float fx, float fy, float cx, float cy, const float (&ref)[4])
{
    IntrinsicsChecker checker(fx, fy, cx, cy, ref[0], ref[1], ref[2], ref[3]);
    const float tol = CalibrationDefaults::kTolerance;
    return checker.check(tol, tol, tol, tol);
}

}  // namespace

ir_rgb_Parameter validateCalibration(const ir_rgb_Parameter& calib)
{
    ir_rgb_Parameter out = calib;
    const auto& depthRef = CalibrationDefaults::kDepth;
    const auto& colorRef = CalibrationDefaults::kColor;
    if (!intrinsicsPlausible(calib.depthFx, calib.depthFy, calib.depthCx, calib.depthCy, depthRef)) {
        QV_LOGW("depth camera intrinsics not in range, use default intrinsics");
        out.depthFx = depthRef[0];
        out.depthFy = depthRef[1];
        out.depthCx = depthRef[2];
        out.depthCy = depthRef[3];
    }
    if (!intrinsicsPlausible(calib.rgbFx, calib.rgbFy, calib.rgbCx, calib.rgbCy, colorRef)) {
        QV_LOGW("color camera intrinsics not in range, use default intrinsics");
        out.rgbFx = colorRef[0];
        out.rgbFy = colorRef[1];
        out.rgbCx = colorRef[2];
        out.rgbCy = colorRef[3];
    }
    ExtrinsicsChecker extrinsics(calib.rotation, calib.translation);
    if (!extrinsics.check()) {
        QV_LOGW("depth and color camera extrinsics is close to zero, use default extrinsics");
        for (int i = 0; i < 9; ++i) out.rotation[i] = (i % 4 == 0) ? 1.0f : 0.0f;
        for (float& t : out.translation) t = 0.0f;
    }
    return out;
}

}  // namespace orrindale
