// The model-specific call families: each checking pattern (model, sensor index, handle)
// answers its paths with its codes and lines. The cameras are the
// real driver classes of models this release cannot open, opened by doubles behind the
// factory, with their real command objects or scripted ones.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "ApiFixture.h"
#include "CameraOstrelB.h"
#include "CameraPellam.h"
#include "CameraSelvarA.h"
#include "CameraSelvarC.h"
#include "CameraVireneA.h"
#include "Eventually.h"
#include "qv_camera_sdk_ostrel_b.h"
#include "qv_camera_sdk_pellam.h"
#include "qv_camera_sdk_selvar_a.h"
#include "qv_camera_sdk_selvar_c.h"
#include "qv_camera_sdk_virene.h"

using orrtest::countAnyLogLines;
using orrtest::countLogLines;
using orrtest::countMessages;
using orrtest::StdoutCapture;

namespace {

// A driver of a model this release cannot open that opens anyway (it touches no device);
// the Pellam's sensor 0 answers at 0x21 and its sensor 1 did not answer.
template <typename Driver>
class Opened : public Driver {
public:
    Opened(const QV_CAM_ATTR& attr, void* handle, ICommand* command) : Driver(attr, handle)
    {
        if (command != nullptr) this->m_command.reset(command);
    }
    int open(char const*) override
    {
        if constexpr (std::is_same_v<Driver, CameraPellam>) this->m_tofAddresses = {0x21, -1};
        return 0;
    }
};

// The cameras of the tests, listed in this order.
enum Camera { kSelvarA, kSelvarC, kPellam, kOstrelB, kVireneA, kCameras };

using Make = ICameraOps* (*)(const QV_CAM_ATTR&, void*, ICommand*);

template <typename Driver>
ICameraOps* make(const QV_CAM_ATTR& attr, void* handle, ICommand* command)
{
    return new Opened<Driver>(attr, handle, command);
}

const struct {
    uint32_t pid;
    Make make;
} kModels[kCameras] = {{0x636D, make<CameraSelvarA>},
                       {0x7723, make<CameraSelvarC>},
                       {0x8723, make<CameraPellam>},
                       {0x278A, make<CameraOstrelB>},
                       {0x278B, make<CameraVireneA>}};

// Command objects answering one operation with a scripted code; seen holds its arguments.
struct SelvarAScript : SelvarACmd {
    int setPwmDuty(int duty) override
    {
        seen = std::to_string(duty);
        return result;
    }
    std::string seen;
    int result = 0;
};
struct PellamScript : PellamCmd {
    int setIntegDura(uint32_t sensor, float duration, bool keep) override
    {
        seen = std::to_string(sensor) + " " + std::to_string(duration) + " " + std::to_string(keep);
        return result;
    }
    std::string seen;
    int result = 0;
};
struct OstrelBScript : OstrelBCmd {
    int setExposeTime(uint8_t ir, uint8_t rgb) override
    {
        seen = std::to_string(ir) + " " + std::to_string(rgb);
        return result;
    }
    std::string seen;
    int result = 0;
};

class ModelFamiliesTest : public ApiFixture {
protected:
    // Lists one camera of each model; scripted[c] (owned by its driver) replaces the command
    // object of camera c at its next open.
    void SetUp() override
    {
        ApiFixture::SetUp();
        apitest::World& w = apitest::world();
        for (size_t c = 0; c < kCameras; ++c)
            w.attached.push_back(apitest::usbCamera(c == kSelvarA ? 0x0C45 : 0x3482, kModels[c].pid, 1, 5 + int(c), "1"));
        w.makeDriver = [this](const QV_CAM_ATTR& attr, void* h) -> ICameraOps* {
            const size_t c = size_t(attr.attr.usbAttrs.dev - 5);
            return kModels[c].make(attr, h, std::exchange(scripted[c], nullptr));
        };
        ASSERT_EQ(QV_SDK_GetCameraList(list), int(kCameras));
    }
    void TearDown() override
    {
        ApiFixture::TearDown();
        for (ICommand* c : scripted) delete c;
    }
    void open(Camera c) { ASSERT_EQ(QV_SDK_OpenCamera(handle(c), nullptr), 0); }

    ICommand* scripted[kCameras] = {};
};

int32_t i32;

}  // namespace

TEST_F(ModelFamiliesTest, ModelCheckedCalls)
{
    int unknown = 0;
    {
        StdoutCapture out;
        EXPECT_EQ(QV_SA_SetPWM(&unknown, 50), -1);          // no model for a handle not listed
        EXPECT_EQ(QV_SA_SetPWM(handle(kSelvarA), 50), -1);  // not open
        EXPECT_EQ(QV_SA_SetPWM(handle(kSelvarC), 50), -2);
        EXPECT_EQ(QV_SC_SetPWM(handle(kSelvarA), 50), -2);
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "ERROR", "SelvarA_api_ex", "QV_SA_SetPWM", "get camera model fail."), 1);
        EXPECT_EQ(countMessages(log, "ERROR", "This camera handle not exist"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", "SelvarA_api_ex", "QV_SA_SetPWM", "get camera handle fail."), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", "qv_camera_sdk_api", "QV_SDK_GetCameraHandle", "please open camera first"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", "SelvarA_api_ex", "QV_SA_SetPWM",
                                "This camera is not SELVAR-A camera and does not support this interface !"),
                  1);
        EXPECT_EQ(countLogLines(log, "ERROR", "SelvarC_api_ex", "QV_SC_SetPWM",
                                "This camera is not SELVAR-C camera and does not support this interface !"),
                  1);
        EXPECT_EQ(countAnyLogLines(log), 6);
    }
    auto* script = new SelvarAScript;
    scripted[kSelvarA] = script;
    open(kSelvarA);
    script->result = 7;  // a command's positive answer is success
    EXPECT_EQ(QV_SA_SetPWM(handle(kSelvarA), 55), 0);
    EXPECT_EQ(script->seen, "55");
    StdoutCapture out;
    script->result = -89;
    EXPECT_EQ(QV_SA_SetPWM(handle(kSelvarA), 56), -89);
    EXPECT_EQ(countLogLines(out.text(), "ERROR", "SelvarA_api_ex", "QV_SA_SetPWM", "set PwmDuty fail."), 1);
    EXPECT_EQ(countAnyLogLines(out.text()), 1);
}

// A camera closed after a model-checked call found it open, before the call locked it.
TEST_F(ModelFamiliesTest, ModelCheckedCallOnACameraClosedMeanwhileAnswersMinus101)
{
    std::atomic<bool> done{false};
    std::thread churn([&] {
        while (!done) {
            QV_SDK_OpenCamera(handle(kSelvarA), nullptr);
            QV_SDK_CloseCamera(handle(kSelvarA));
        }
    });
    StdoutCapture out;
    EXPECT_TRUE(orrtest::eventually([&] { return QV_SA_GetPWM(handle(kSelvarA), i32) == -101; }, std::chrono::seconds(120)));
    done = true;
    churn.join();
    EXPECT_GE(countLogLines(out.text(), "ERROR", "SelvarA_api_ex", "QV_SA_GetPWM", "please open camera first"), 1);
}

TEST_F(ModelFamiliesTest, SensorIndexCheckedCalls)
{
    int unknown = 0;
    auto* script = new PellamScript;
    scripted[kPellam] = script;
    StdoutCapture out;
    EXPECT_EQ(QV_PD_SetIntegDura(nullptr, 0, 1.f, true), -100);
    EXPECT_EQ(QV_PD_SetIntegDura(&unknown, 0, 1.f, true), -83);
    EXPECT_EQ(QV_PD_SetIntegDura(handle(kPellam), 0, 1.f, true), -101);
    open(kPellam);
    open(kSelvarA);
    EXPECT_EQ(QV_PD_SetIntegDura(handle(kSelvarA), 0, 1.f, true), -2);
    EXPECT_EQ(QV_PD_SetIntegDura(handle(kPellam), 2, 1.f, true), -2);  // the camera has sensors 0 and 1
    EXPECT_EQ(QV_PD_SetIntegDura(handle(kPellam), 1, 1.f, true), -1);  // sensor 1 has no address
    script->result = 5;
    EXPECT_EQ(QV_PD_SetIntegDura(handle(kPellam), 0, 2.5f, true), 5);
    EXPECT_EQ(script->seen, "33 2.500000 1");  // sensor 0's address, 0x21
    EXPECT_EQ(QV_PD_RegisterStreamSetCallback(handle(kPellam), nullptr), -1);
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "ERROR", "qv_camera_sdk_api", "QV_SDK_IsHandleExist", "This camera handle not exist"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "Pellam_api_ex", "QV_PD_SetIntegDura",
                            "register callback failed, please open camera first"),
              1);
    EXPECT_EQ(countMessages(log, "ERROR", "This camera is not PELLAM camera and does not support this interface !"), 1);
    EXPECT_EQ(countMessages(log, "ERROR", "tof index 2 out of range, the camera has 2 tof sensors"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", "Pellam_api_ex", "QV_PD_SetIntegDura", "tof sensor 1 has no address"), 1);
    EXPECT_EQ(countMessages(log, "WARN", "CameraPellam does not support registerStreamSetCallback"), 1);
    EXPECT_EQ(countAnyLogLines(log), 6);
}

TEST_F(ModelFamiliesTest, HandleCheckedCalls)
{
    int unknown = 0;
    auto* script = new OstrelBScript;
    scripted[kOstrelB] = script;
    StdoutCapture out;
    EXPECT_EQ(QV_OSB_SetExposeTime(nullptr, 1, 2), -100);
    EXPECT_EQ(QV_OSB_SetExposeTime(&unknown, 1, 2), -83);
    EXPECT_EQ(QV_OSB_SetExposeTime(handle(kOstrelB), 1, 2), -101);  // not open: no line
    EXPECT_EQ(QV_VRN_SetAnalogGain(nullptr, 1), -100);
    EXPECT_EQ(QV_VRN_SetAnalogGain(&unknown, 1), -83);
    open(kOstrelB);
    open(kVireneA);
    EXPECT_EQ(QV_OSB_SetExposeTime(handle(kVireneA), 1, 2), -2);  // a projector camera of another model
    script->result = 5;
    EXPECT_EQ(QV_OSB_SetExposeTime(handle(kOstrelB), 3, 4), 5);
    EXPECT_EQ(script->seen, "3 4");
    script->result = -88;
    EXPECT_EQ(QV_OSB_SetExposeTime(handle(kOstrelB), 3, 4), -88);
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "ERROR", "qv_camera_sdk_api", "QV_SDK_IsHandleExist", "This camera handle not exist"), 2);
    EXPECT_EQ(countLogLines(log, "ERROR", "Virene_api_ex", "QV_VRN_SetAnalogGain", "QV_SDK handle is not Exist"), 2);
    EXPECT_EQ(countLogLines(log, "ERROR", "OstrelB_api_ex", "QV_OSB_SetExposeTime",
                            "This camera is not OSTREL-B camera and does not support this interface !"),
              1);
    EXPECT_EQ(countAnyLogLines(log), 5);
}
