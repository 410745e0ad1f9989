// The checks every QV_Solen_ call on a camera makes before it reaches the camera: null,
// unknown and closed handles, and a camera of another model.
#include <gtest/gtest.h>

#include <vector>

#include "ApiFixture.h"
#include "qv_camera_sdk_solen.h"

namespace {

constexpr const char* kSource = "Solen_api_ex";

std::vector<FamilyCall> everyCall()
{
    static char text[16];
    static unsigned char data[16];
    static int value;
    return {
        {"QV_Solen_GetHimaxVersion", [](void* h) { return QV_Solen_GetHimaxVersion(h, text, 16); }},
        {"QV_Solen_CustomWrite", [](void* h) { return QV_Solen_CustomWrite(h, data, 16, 1000); }},
        {"QV_Solen_CustomRead", [](void* h) { return QV_Solen_CustomRead(h, data, 16, 1000); }},
        {"QV_Solen_SetAeMode", [](void* h) { return QV_Solen_SetAeMode(h, 1); }},
        {"QV_Solen_GetAeMode", [](void* h) { return QV_Solen_GetAeMode(h, value); }},
        {"QV_Solen_SetClMode", [](void* h) { return QV_Solen_SetClMode(h, 1); }},
        {"QV_Solen_GetClMode", [](void* h) { return QV_Solen_GetClMode(h, value); }},
        {"QV_Solen_SetPwmDuty", [](void* h) { return QV_Solen_SetPwmDuty(h, 50); }},
        {"QV_Solen_GetPwmDuty", [](void* h) { return QV_Solen_GetPwmDuty(h, value); }},
        {"QV_Solen_SetLightingTime", [](void* h) { return QV_Solen_SetLightingTime(h, 20); }},
        {"QV_Solen_GetLightingTime", [](void* h) { return QV_Solen_GetLightingTime(h, value); }},
        {"QV_Solen_SetSdLevel", [](void* h) { return QV_Solen_SetSdLevel(h, 2); }},
        {"QV_Solen_GetSdLevel", [](void* h) { return QV_Solen_GetSdLevel(h, value); }},
        {"QV_Solen_SetTd", [](void* h) { return QV_Solen_SetTd(h, 1); }},
        {"QV_Solen_GetTd", [](void* h) { return QV_Solen_GetTd(h, value); }},
        {"QV_Solen_SetTemperatureCompensation", [](void* h) { return QV_Solen_SetTemperatureCompensation(h, true); }},
        {"QV_Solen_SetFrameRate", [](void* h) { return QV_Solen_SetFrameRate(h, 15); }},
    };
}

class SolenCallChecksTest : public ApiFixture {};

}  // namespace

TEST_F(SolenCallChecksTest, EveryCallChecksTheHandleAndTheModelFirst)
{
    expectFamilyChecks(everyCall(), kSource, "Solen");
    EXPECT_EQ(QV_Solen_SetUsbDevMatch(true), 0);
    EXPECT_EQ(QV_Solen_SetUsbDevMatch(false), 0);
}
