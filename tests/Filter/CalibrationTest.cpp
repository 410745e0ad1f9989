// Calibration records: copying between the two layouts, the plausibility checks and the
// validation with its warnings and defaults.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

#include "CalibrationValidation.h"
#include "ExtrinsicsChecker.h"
#include "IntrinsicsChecker.h"
#include "LogCapture.h"
#include "ParameterTransfer.h"

using namespace orrindale;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> floats(const ir_rgb_Parameter& c) { return std::vector<float>(&c.depthFx, &c.depthFx + 20); }

}  // namespace

TEST(CalibrationChecks, IntrinsicsCompareTruncatedValuesAndExtrinsicsFailOnlyWhenZeroOrNaN)
{
    const struct {
        float fx, fy, cx, cy;
        bool pass;
    } intrinsics[] = {{525.0f, 425, 320, 200, true},  {325.0f, 425, 320, 200, true},  {525.9f, 425, 320, 200, true},
                      {526.0f, 425, 320, 200, false}, {324.9f, 425, 320, 200, false}, {425, 425, 420.99f, 100, true},
                      {425, 425, 320, 99.5f, false},  {425, 526.5f, 320, 200, false}, {kNaN, 425, 320, 200, false},
                      {425, 425, kNaN, 200, false},   {3e20f, 425, 320, 200, false}};
    for (const auto& c : intrinsics)
        EXPECT_EQ(IntrinsicsChecker(c.fx, c.fy, c.cx, c.cy, 425, 425, 320, 200).check(100, 100, 100, 100), c.pass)
            << c.fx << " " << c.fy << " " << c.cx << " " << c.cy;

    const struct {
        float v[12];
        bool pass;
    } extrinsics[] = {{{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, false},
                      {{1e-7f, 0, -1e-7f, 0, 0, 0, 0, 0, 0, 0, 0, 5e-7f}, false},
                      {{0, 0, 0, 0, 0, 0, 0, 0, 0.001f, 0, 0, 0}, true},
                      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -30.0f}, true},
                      {{kNaN, 0, 0, 0, 1, 0, 0, 0, 1, -25, 0, 0}, false},
                      {{1, 0, 0, kNaN, 1, 0, 0, 0, 1, -25, 0, 0}, false},
                      {{1, 0, 0, 0, 1, 0, kNaN, 0, 1, -25, 0, 0}, false},
                      {{1, 0, 0, 0, 1, 0, 0, 0, 1, kNaN, 0, 0}, false},
                      {{0, kNaN, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, true}};  // only four places are tested for NaN
    for (const auto& c : extrinsics) EXPECT_EQ(ExtrinsicsChecker(c.v, c.v + 9).check(), c.pass);
}

TEST(ValidateCalibration, ReplacesEachImplausiblePartWithItsDefaultAndWarns)
{
    ir_rgb_Parameter plausible{430.5f, 431.0f, 318.2f, 205.9f, 390.0f, 389.5f, 322.0f, 179.0f,
                               {0.9999f, 0.01f, -0.002f, -0.01f, 0.9999f, 0.003f, 0.002f, -0.003f, 1.0f},
                               {-24.9f, 0.3f, 0.1f}};
    CAM_Parameter cam{};
    transferPara(plausible, cam, true);
    ir_rgb_Parameter copy{};
    transferPara(copy, cam, false);
    EXPECT_EQ(floats(copy), floats(plausible));
    EXPECT_EQ(cam.translation[0], -24.9f);
    EXPECT_EQ(cam.rgbCy, 179.0f);

    const std::string warnings[] = {"depth camera intrinsics not in range, use default intrinsics",
                                    "color camera intrinsics not in range, use default intrinsics",
                                    "depth and color camera extrinsics is close to zero, use default extrinsics"};
    for (int failing = 0; failing < 4; ++failing) {
        ir_rgb_Parameter in = plausible;
        if (failing == 0) in.depthCy = 301.0f;
        if (failing == 1) in.rgbCx = 421.0f;  // truncates to 421 > 320 + 100
        if (failing == 2) std::memset(in.rotation, 0, sizeof in.rotation + sizeof in.translation);
        orrtest::StdoutCapture capture;
        const ir_rgb_Parameter out = validateCalibration(in);
        const std::string log = capture.text();
        EXPECT_EQ(orrtest::countAnyLogLines(log), failing < 3 ? 1 : 0) << log;
        std::vector<float> expected = floats(in);
        const float depthDefaults[4] = {425, 425, 320, 200}, colorDefaults[4] = {380, 380, 320, 180};
        if (failing == 0) std::copy_n(depthDefaults, 4, expected.begin());
        if (failing == 1) std::copy_n(colorDefaults, 4, expected.begin() + 4);
        if (failing == 2) expected[8] = expected[12] = expected[16] = 1.0f;
        if (failing < 3) {
            EXPECT_EQ(orrtest::countLogLines(log, "WARN", "CalibrationValidation", "validateCalibration",
                                             warnings[failing]),
                      1);
        }
        EXPECT_EQ(floats(out), expected) << "failing part " << failing;
    }
}
