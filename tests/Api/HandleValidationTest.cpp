#include <functional>

#include "ApiFixture.h"

using orrtest::countLogLines;
using orrtest::StdoutCapture;

namespace {

struct PerCameraCall {
    const char* name;
    std::function<int(void*)> call;
    // Message and code when the camera is not open; null when the call works on a closed camera.
    const char* notOpenMessage;
};

std::vector<PerCameraCall> perCameraCalls()
{
    static STREAM_CALLBACK_S cb{};
    static STREAM_CALLBACK_INNER_S inner{};
    return {
        {"QV_SDK_IsHandleExist", [](void* h) { return QV_SDK_IsHandleExist(h); }, nullptr},
        {"QV_SDK_GetCameraAttrs",
         [](void* h) {
             QV_CAM_ATTR a;
             return QV_SDK_GetCameraAttrs(h, a);
         },
         nullptr},
        {"QV_SDK_OpenCamera", [](void* h) { return QV_SDK_OpenCamera(h, nullptr); }, nullptr},
        {"QV_SDK_CloseCamera", [](void* h) { return QV_SDK_CloseCamera(h); }, nullptr},
        {"QV_SDK_RegisterStreamCallback", [](void* h) { return QV_SDK_RegisterStreamCallback(h, &cb); },
         "register callback failed, please open camera first"},
        {"QV_SDK_RegisterInnerStreamCallback", [](void* h) { return QV_SDK_RegisterInnerStreamCallback(h, &inner); },
         "register callback failed, please open camera first"},
        {"QV_SDK_StartStream", [](void* h) { return QV_SDK_StartStream(h, 0); }, "please open camera first"},
        {"QV_SDK_StopStream", [](void* h) { return QV_SDK_StopStream(h, 0); }, "please open camera first"},
        {"QV_SDK_GetCameraHandle",
         [](void* h) {
             ICameraOps* ops = nullptr;
             return QV_SDK_GetCameraHandle(h, ops, nullptr);
         },
         "please open camera first"},
        {"QV_SDK_DestoryCamHandle", [](void* h) { return QV_SDK_DestoryCamHandle(h); }, nullptr},
    };
}

}  // namespace

TEST_F(ApiFixture, NullHandleIsRefusedWithoutALogLine)
{
    for (const PerCameraCall& c : perCameraCalls()) {
        StdoutCapture capture;
        EXPECT_EQ(c.call(nullptr), -100) << c.name;
        EXPECT_EQ(capture.text(), "") << c.name;
    }
}

TEST_F(ApiFixture, UnknownHandleIsRefusedWithTheCallersName)
{
    int notAHandle = 0;
    for (const PerCameraCall& c : perCameraCalls()) {
        StdoutCapture capture;
        EXPECT_EQ(c.call(&notAHandle), -83) << c.name;
        EXPECT_EQ(countLogLines(capture.text(), "ERROR", "qv_camera_sdk_api", c.name, "This camera handle not exist"), 1)
            << c.name;
    }
}

TEST_F(ApiFixture, CallsThatNeedAnOpenCameraSayHowToFixIt)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    for (const PerCameraCall& c : perCameraCalls()) {
        if (c.notOpenMessage == nullptr) continue;
        StdoutCapture capture;
        EXPECT_EQ(c.call(handle(0)), -101) << c.name;
        EXPECT_EQ(countLogLines(capture.text(), "ERROR", "qv_camera_sdk_api", c.name, c.notOpenMessage), 1) << c.name;
    }
    EXPECT_EQ(script.opens + script.starts + script.stops + script.registrations, 0);
}
