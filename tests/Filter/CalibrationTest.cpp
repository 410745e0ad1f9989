// Calibration records: copying between the two layouts, the plausibility checks and
// the validation with its warnings and defaults.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>
#include <limits>

#include "CalibrationValidation.h"
#include "ExtrinsicsChecker.h"
#include "IntrinsicsChecker.h"
#include "LogCapture.h"
#include "ParameterTransfer.h"

using namespace orrindale;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

ir_rgb_Parameter plausible()
{
    ir_rgb_Parameter c{};
    c.depthFx = 430.5f;
    c.depthFy = 431.0f;
    c.depthCx = 318.2f;
    c.depthCy = 205.9f;
    c.rgbFx = 390.0f;
    c.rgbFy = 389.5f;
    c.rgbCx = 322.0f;
    c.rgbCy = 179.0f;
    const float r[9] = {0.9999f, 0.01f, -0.002f, -0.01f, 0.9999f, 0.003f, 0.002f, -0.003f, 1.0f};
    for (int i = 0; i < 9; ++i) c.rotation[i] = r[i];
    c.translation[0] = -24.9f;
    c.translation[1] = 0.3f;
    c.translation[2] = 0.1f;
    return c;
}

bool depthWithin(float fx, float fy = 425, float cx = 320, float cy = 200)
{
    return IntrinsicsChecker(fx, fy, cx, cy, 425, 425, 320, 200).check(100, 100, 100, 100);
}

bool extrinsicsPass(const float (&v)[12])
{
    return ExtrinsicsChecker(v, v + 9).check();
}

}  // namespace

TEST(TransferPara, CopiesAllTwentyValuesInBothDirections)
{
    CAM_Parameter cam{};
    float* c = &cam.depthFx;
    for (int i = 0; i < 20; ++i) c[i] = 1.5f * i + 0.25f;
    ir_rgb_Parameter ir{};
    transferPara(ir, cam, false);
    const float* p = &ir.depthFx;
    for (int i = 0; i < 20; ++i) EXPECT_EQ(p[i], 1.5f * i + 0.25f) << i;
    EXPECT_EQ(ir.rotation[4], cam.rotation[4]);
    EXPECT_EQ(ir.translation[2], cam.translation[2]);

    ir.translation[1] = -7.0f;
    ir.rgbCy = 99.0f;
    transferPara(ir, cam, true);
    EXPECT_EQ(cam.translation[1], -7.0f);
    EXPECT_EQ(cam.rgbCy, 99.0f);
}

TEST(IntrinsicsCheckerTest, ComparesTruncatedValuesWithinTheTolerance)
{
    EXPECT_TRUE(depthWithin(525.0f));
    EXPECT_TRUE(depthWithin(325.0f));
    EXPECT_TRUE(depthWithin(525.9f)) << "truncates to 525";
    EXPECT_FALSE(depthWithin(526.0f));
    EXPECT_FALSE(depthWithin(324.9f)) << "truncates to 324";
    EXPECT_TRUE(depthWithin(425, 425, 420.99f, 100.0f));
    EXPECT_FALSE(depthWithin(425, 425, 320, 99.5f));
    EXPECT_FALSE(depthWithin(425, 525.5f + 1.0f));
    EXPECT_FALSE(depthWithin(kNaN));
    EXPECT_FALSE(depthWithin(425, 425, kNaN));
    EXPECT_FALSE(depthWithin(3e20f)) << "beyond the 32-bit range";
    EXPECT_FALSE(depthWithin(-std::numeric_limits<float>::infinity()));
}

TEST(ExtrinsicsCheckerTest, FailsOnlyForAllZeroOrNaNInTheTestedPlaces)
{
    EXPECT_FALSE(extrinsicsPass({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_FALSE(extrinsicsPass({1e-7f, 0, -1e-7f, 0, 0, 0, 0, 0, 0, 0, 0, 5e-7f})) << "nearly zero";
    EXPECT_TRUE(extrinsicsPass({0, 0, 0, 0, 0, 0, 0, 0, 0.001f, 0, 0, 0}));
    EXPECT_TRUE(extrinsicsPass({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -30.0f}));
    EXPECT_TRUE(extrinsicsPass({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
    for (int i : {0, 3, 6, 9}) {
        float v[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, -25, 0, 0};
        v[i] = kNaN;
        EXPECT_FALSE(extrinsicsPass(v)) << "NaN at " << i;
    }
    // Other places are not tested for NaN: a NaN there reads as a non-zero value.
    EXPECT_TRUE(extrinsicsPass({0, kNaN, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(ValidateCalibration, KeepsAPlausibleCalibrationSilently)
{
    const ir_rgb_Parameter in = plausible();
    orrtest::StdoutCapture capture;
    const ir_rgb_Parameter out = validateCalibration(in);
    EXPECT_EQ(orrtest::countAnyLogLines(capture.text()), 0);
    EXPECT_EQ(std::memcmp(&in, &out, sizeof in), 0);
}

TEST(ValidateCalibration, ReplacesEachImplausiblePartWithItsDefaultAndWarns)
{
    ir_rgb_Parameter in = plausible();
    in.depthCy = 301.0f;
    in.rgbFx = kNaN;
    for (float& r : in.rotation) r = 0.0f;
    for (float& t : in.translation) t = 0.0f;
    orrtest::StdoutCapture capture;
    const ir_rgb_Parameter out = validateCalibration(in);
    const std::string log = capture.text();
    EXPECT_EQ(orrtest::countLogLines(log, "WARN", "CalibrationValidation", "validateCalibration",
                                     "depth camera intrinsics not in range, use default intrinsics"),
              1);
    EXPECT_EQ(orrtest::countLogLines(log, "WARN", "CalibrationValidation", "validateCalibration",
                                     "color camera intrinsics not in range, use default intrinsics"),
              1);
    EXPECT_EQ(orrtest::countLogLines(log, "WARN", "CalibrationValidation", "validateCalibration",
                                     "depth and color camera extrinsics is close to zero, use default extrinsics"),
              1);
    EXPECT_EQ(orrtest::countAnyLogLines(log), 3);
    const float depth[4] = {out.depthFx, out.depthFy, out.depthCx, out.depthCy};
    const float color[4] = {out.rgbFx, out.rgbFy, out.rgbCx, out.rgbCy};
    EXPECT_EQ(std::vector<float>(depth, depth + 4), (std::vector<float>{425, 425, 320, 200}));
    EXPECT_EQ(std::vector<float>(color, color + 4), (std::vector<float>{380, 380, 320, 180}));
    EXPECT_EQ(std::vector<float>(out.rotation, out.rotation + 9), (std::vector<float>{1, 0, 0, 0, 1, 0, 0, 0, 1}));
    EXPECT_EQ(std::vector<float>(out.translation, out.translation + 3), (std::vector<float>{0, 0, 0}));
}

TEST(ValidateCalibration, ReplacesOnlyTheFailingPart)
{
    ir_rgb_Parameter in = plausible();
    in.rgbCx = 421.0f;  // truncates to 421 > 320 + 100
    orrtest::StdoutCapture capture;
    const ir_rgb_Parameter out = validateCalibration(in);
    EXPECT_EQ(orrtest::countAnyLogLines(capture.text()), 1);
    EXPECT_EQ(out.rgbCx, 320.0f);
    EXPECT_EQ(out.rgbFx, 380.0f);
    EXPECT_EQ(out.depthFx, in.depthFx);
    EXPECT_EQ(out.translation[0], in.translation[0]);
}
