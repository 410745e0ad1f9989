// The checks every QV_FL30C_ call makes before it reaches the camera: null and unknown
// handles, a camera that is not open, and an open camera of another model; and that an
// Fl30c's calls reach its command channel (a real driver on a transport double).
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ApiFixture.h"
#include "CameraFl30c.h"
#include "FakeCapture.h"
#include "qv_camera_sdk_fl30c.h"

using orrtest::countLogLines;
using orrtest::StdoutCapture;

namespace {

constexpr const char* kSource = "Fl30c_api_ex";

// Every QV_FL30C_ call, with arguments that would be accepted.
std::vector<FamilyCall> everyCall()
{
    static char text[64];
    static unsigned char data[64];
    static int value;
    static float celsius;
    return {
        {"QV_FL30C_GetHimaxVersion", [](void* h) { return QV_FL30C_GetHimaxVersion(h, text, 64); }},
        {"QV_FL30C_CustomRead", [](void* h) { return QV_FL30C_CustomRead(h, 0x22, data, 64); }},
        {"QV_FL30C_CustomWrite", [](void* h) { return QV_FL30C_CustomWrite(h, 0x22, data, 64); }},
        {"QV_FL30C_SetGain", [](void* h) { return QV_FL30C_SetGain(h, 8); }},
        {"QV_FL30C_GetGain", [](void* h) { return QV_FL30C_GetGain(h, value); }},
        {"QV_FL30C_SetAeMode", [](void* h) { return QV_FL30C_SetAeMode(h, 1); }},
        {"QV_FL30C_GetAeMode", [](void* h) { return QV_FL30C_GetAeMode(h, value); }},
        {"QV_FL30C_SetLightingTime", [](void* h) { return QV_FL30C_SetLightingTime(h, 1000); }},
        {"QV_FL30C_GetLightingTime", [](void* h) { return QV_FL30C_GetLightingTime(h, value); }},
        {"QV_FL30C_SetCurrentIntensity", [](void* h) { return QV_FL30C_SetCurrentIntensity(h, 5); }},
        {"QV_FL30C_GetCurrentIntensity", [](void* h) { return QV_FL30C_GetCurrentIntensity(h, value); }},
        {"QV_FL30C_SetConfidenceLevel", [](void* h) { return QV_FL30C_SetConfidenceLevel(h, 3); }},
        {"QV_FL30C_GetConfidenceLevel", [](void* h) { return QV_FL30C_GetConfidenceLevel(h, value); }},
        {"QV_FL30C_SetSdLevel", [](void* h) { return QV_FL30C_SetSdLevel(h, 2); }},
        {"QV_FL30C_GetSdLevel", [](void* h) { return QV_FL30C_GetSdLevel(h, value); }},
        {"QV_FL30C_SetTd", [](void* h) { return QV_FL30C_SetTd(h, 1); }},
        {"QV_FL30C_GetTd", [](void* h) { return QV_FL30C_GetTd(h, value); }},
        {"QV_FL30C_SetTemperatureDriftCompensation",
         [](void* h) { return QV_FL30C_SetTemperatureDriftCompensation(h, true); }},
        {"QV_FL30C_SetFrameRate", [](void* h) { return QV_FL30C_SetFrameRate(h, 15); }},
        {"QV_FL30C_GetTemperature", [](void* h) { return QV_FL30C_GetTemperature(h, 0, celsius); }},
    };
}

class Fl30cCallChecksTest : public ApiFixture {};

}  // namespace

TEST_F(Fl30cCallChecksTest, EveryCallChecksTheHandleAndTheModelFirst)
{
    expectFamilyChecks(everyCall(), kSource, "FL30C");
}

TEST_F(Fl30cCallChecksTest, AnFl30csCallsReachItsCommandChannel)
{
    apitest::World& w = apitest::world();
    w.attached.push_back(apitest::usbCamera(0x3482, 0x6723, 1, 5, "4"));
    orrtest::FakeCapture* capture = nullptr;
    w.makeDriver = [&capture](const QV_CAM_ATTR& attr, void* h) -> ICameraOps* {
        auto fake = std::make_unique<orrtest::FakeCapture>();
        capture = fake.get();
        fake->replyText(0x27, "FL30C:V1.0.8:H01:20241021");
        fake->replyText(0x47, "21");
        fake->replyText(0x28, "HX2.1.7");
        return new CameraFl30c(attr, h, std::move(fake));
    };
    ASSERT_EQ(QV_SDK_GetCameraList(list), 1);
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    ASSERT_NE(capture, nullptr);
    capture->clear();

    ASSERT_EQ(QV_FL30C_SetAeMode(handle(0), 2), 0);
    int gain = 0;
    ASSERT_EQ(QV_FL30C_GetGain(handle(0), gain), 0);  // the command's 1 becomes 0
    EXPECT_EQ(gain, 21);
    char text[8];
    ASSERT_EQ(QV_FL30C_GetHimaxVersion(handle(0), text, 8), 0);
    EXPECT_STREQ(text, "HX2.1.7");
    {
        StdoutCapture out;
        EXPECT_EQ(QV_FL30C_GetHimaxVersion(handle(0), nullptr, 8), -1);
        capture->fail(0x28, -2);
        EXPECT_EQ(QV_FL30C_GetHimaxVersion(handle(0), text, 8), -89);
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "ERROR", kSource, "QV_FL30C_GetHimaxVersion", "buffer is nullptr"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kSource, "QV_FL30C_GetHimaxVersion", "get Himax version fail."), 1);
    }
    const auto reqs = capture->requests();
    ASSERT_EQ(reqs.size(), 4u);
    EXPECT_EQ(reqs[0].requestType, 0x21);
    EXPECT_EQ(reqs[0].request, 0x23);
    EXPECT_EQ(reqs[0].text(), "2");
    EXPECT_EQ(reqs[1].requestType, 0xA1);
    EXPECT_EQ(reqs[1].request, 0x47);
    EXPECT_EQ(reqs[2].request, 0x28);
    EXPECT_EQ(reqs[3].request, 0x28);
}
