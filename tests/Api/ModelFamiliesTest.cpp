// The model-specific call families: every member reaches its model's command operation,
// and each checking pattern answers its paths with its codes and lines. The cameras are the
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
#include "CameraMorvik.h"
#include "CameraOstrelB.h"
#include "CameraPellam.h"
#include "CameraSelvarA.h"
#include "CameraSelvarC.h"
#include "CameraVirene.h"
#include "CameraVireneA.h"
#include "CameraVireneB.h"
#include "Eventually.h"
#include "qv_camera_sdk_morvik.h"
#include "qv_camera_sdk_ostrel_b.h"
#include "qv_camera_sdk_pellam.h"
#include "qv_camera_sdk_selvar_a.h"
#include "qv_camera_sdk_selvar_c.h"
#include "qv_camera_sdk_virene.h"
#include "qv_camera_sdk_virene_a.h"
#include "qv_camera_sdk_virene_b.h"

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
enum Camera { kSelvarA, kSelvarC, kPellam, kVirene, kOstrelB, kMorvik, kVireneA, kVireneB, kCameras };

struct Model {
    uint32_t pid;  // 0: on the network
    std::function<ICameraOps*(const QV_CAM_ATTR&, void*, ICommand*)> make;
};

template <typename Driver>
ICameraOps* make(const QV_CAM_ATTR& attr, void* handle, ICommand* command)
{
    return new Opened<Driver>(attr, handle, command);
}

const Model kModels[kCameras] = {
    {0x636D, make<CameraSelvarA>}, {0x7723, make<CameraSelvarC>}, {0x8723, make<CameraPellam>},
    {0x6724, make<CameraVirene>},  {0x278A, make<CameraOstrelB>}, {0, make<CameraMorvik>},
    {0x278B, make<CameraVireneA>}, {0x278C, make<CameraVireneB>},
};

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
        for (const Model& m : kModels) {
            QV_CAM_ATTR attr = apitest::usbCamera(m.pid == 0x636D ? 0x0C45 : 0x3482, m.pid, 1, 5 + int(&m - kModels), "1");
            if (m.pid == 0) {
                std::memset(&attr, 0, sizeof attr);
                attr.type = QV_CAM_ATTR_NET;
                attr.attr.netAttrs.model = CAMERA_MODEL_MORVIK;
            }
            w.attached.push_back(attr);
        }
        w.makeDriver = [this](const QV_CAM_ATTR& attr, void* h) -> ICameraOps* {
            const size_t c = attr.type == QV_CAM_ATTR_NET ? size_t(kMorvik) : size_t(attr.attr.usbAttrs.dev - 5);
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

// Arguments of the calls.
int i32;
uint32_t u32;
uint16_t u16;
uint8_t u8;
float f32;
bool flag;
MeasureRange range;
PulseValue pulse;
DSENSE_PARA_S dsense;
CAM_Parameter parameter;
CAM_UPGRADE_DEV_S progress;
unsigned char bytes[16];

struct Member {
    const char* name;
    std::function<int(void*)> call;
    const char* operation;        // of the command object (or the driver)
    const char* failure = nullptr;  // the call's own line when the operation fails
};

#define MEMBER(fn, operation, ...) Member{#fn, [](void* h) { return fn(h, ##__VA_ARGS__); }, operation}
#define FAILING(fn, operation, failure, ...) Member{#fn, [](void* h) { return fn(h, ##__VA_ARGS__); }, operation, failure}

#define SELVAR_MEMBERS(P)                                                                                            \
    FAILING(P##SetPWM, "setPwmDuty", "set PwmDuty fail.", 50),                                                       \
        FAILING(P##GetPWM, "getPwmDuty", "get PwmDuty fail.", i32),                                                  \
        FAILING(P##SetRegister, "setRegister", "set register fail.", 0x10, 1),                                       \
        FAILING(P##GetRegister, "getRegister", "get register fail.", 0x10, u32),                                     \
        FAILING(P##SetVSPAD_M, "setVspad", "set VSPAD fail.", 1, 2), FAILING(P##GetVSPAD_M, "getVspad", "get VSPAD fail.", i32, i32), \
        FAILING(P##SetIntegDura_M, "setIntegDura", "set integration duration fail.", 1.f, 2.f, true),               \
        FAILING(P##GetIntegDura_M, "getIntegDura", "get integration duration fail.", f32, f32),                     \
        FAILING(P##SetIntegNum_M, "setIntegNum", "set integration number fail.", 1, 2, false),                      \
        FAILING(P##GetIntegNum_M, "getIntegNum", "get integration number fail.", i32, i32),                         \
        FAILING(P##SetRange_M, "setRange", "set measure range fail.", range, range),                                \
        FAILING(P##GetRange_M, "getRange", "get measure range fail.", range, range),                                \
        FAILING(P##SetLightPulseLevel_M, "setLightPulseLevel", "set light pulse level fail.", pulse, pulse),        \
        FAILING(P##GetLightPulseLevel_M, "getLightPulseLevel", "get light pulse level fail.", pulse, pulse),        \
        FAILING(P##GetNtcTempTure, "getNtcTemperature", "get NTC temperature fail.", f32),                          \
        FAILING(P##GetMcuTempTure, "getMcuTemperature", "get MCU temperature fail.", f32),                          \
        FAILING(P##SetCalibrationData, "setCalibrationData", "set calibration data fail.", bytes, 16, &progress, 0), \
        FAILING(P##SetCameraParameter, "setCameraParameter", "set camera parameter fail.", parameter)

#define PROJECTOR_MEMBERS(P)                                                                                         \
    MEMBER(P##SetExposeTime, "setExposeTime", 1, 2), MEMBER(P##GetExposeTime, "getExposeTime", u8, u8),             \
        MEMBER(P##SetVcelLightCurrent, "setVcelLightCurrent", 300), MEMBER(P##GetVcelLightCurrent, "getVcelLightCurrent", u32), \
        MEMBER(P##SetIrLightCurrent, "setIrLightCurrent", 200), MEMBER(P##GetIrLightCurrent, "getIrLightCurrent", u32), \
        MEMBER(P##SetIrSensorGain, "setIrSensorGain", 4), MEMBER(P##GetIrSensorGain, "getIrSensorGain", u8),         \
        MEMBER(P##GetItoValue, "getItoValue", u32), MEMBER(P##GetProjectorTemp, "getProjectorTemp", f32)

struct Family {
    Camera camera;
    const char* source;
    std::vector<Member> members;
};

std::vector<Family> families()
{
    using namespace VireneA;
    using namespace VireneB;
    return {
        {kSelvarA, "SelvarA_api_ex",
         {SELVAR_MEMBERS(QV_SA_), FAILING(QV_SA_SetSerialNumber, "setSn", "set serial number fail.", "SN1", 3),
          FAILING(QV_SA_DisableWriteProtect, "setWriteProtect", "set write protect fail."),
          FAILING(QV_SA_EnableWriteProtect, "setWriteProtect", "set write protect fail.")}},
        {kSelvarC, "SelvarC_api_ex", {SELVAR_MEMBERS(QV_SC_), FAILING(QV_SC_Reboot, "reboot", "set reboot fail.")}},
        {kPellam, "Pellam_api_ex",
         {MEMBER(QV_PD_SetRegister, "setRegister", 0, 0x10, 1), MEMBER(QV_PD_GetRegister, "getRegister", 0, 0x10, u32),
          MEMBER(QV_PD_SetLightPulseLevel, "setLightPulseLevel", 0, 3),
          MEMBER(QV_PD_GetLightPulseLevel, "getLightPulseLevel", 0, u32),
          MEMBER(QV_PD_SetIntegDura, "setIntegDura", 0, 1.f, true), MEMBER(QV_PD_GetIntegDura, "getIntegDura", 0, f32),
          MEMBER(QV_PD_SetIntegNum, "setIntegNum", 0, 2, false), MEMBER(QV_PD_GetIntegNum, "getIntegNum", 0, u32),
          MEMBER(QV_PD_SetRange, "setRange", 0, 5000), MEMBER(QV_PD_GetRange, "getRange", 0, u32),
          MEMBER(QV_PD_SetVSPAD, "setVspad", 0, 7), MEMBER(QV_PD_GetVSPAD, "getVspad", 0, u32),
          MEMBER(QV_PD_SetPwmDuty, "setPwmDuty", 0, 40), MEMBER(QV_PD_GetPwmDuty, "getPwmDuty", 0, u32),
          MEMBER(QV_PD_SetTofNum, "setTofNum", 2), MEMBER(QV_PD_GetTofNum, "getTofNum", u32),
          MEMBER(QV_PD_SetSerialNumber, "setSn", "SN1", 3), MEMBER(QV_PD_SetCamParameter, "setCamParameter", 0, parameter),
          MEMBER(QV_PD_SetCalibrationData, "setCalibrationData", 0, bytes, 16, &progress, 0),
          MEMBER(QV_PD_GetCalibrationData, "getCalibrationData", 0, bytes, 16),
          MEMBER(QV_PD_SetCalibTof, "setCalibTof", 0, 1)}},
        {kVirene, "Virene_api_ex",
         {MEMBER(QV_VRN_SetAnalogGain, "setAnalogGain", 3), MEMBER(QV_VRN_GetAnalogGain, "getAnalogGain", u8),
          MEMBER(QV_VRN_SetDigtalGain, "setDigitalGain", 3), MEMBER(QV_VRN_GetDigtalGain, "getDigitalGain", u8),
          MEMBER(QV_VRN_SetAeStatus, "setAeStatus", true), MEMBER(QV_VRN_GetAeStatus, "getAeStatus", flag),
          MEMBER(QV_VRN_SetLightingTime, "setLightingTime", 9), MEMBER(QV_VRN_GetLightingTime, "getLightingTime", u8),
          MEMBER(QV_VRN_SetHimaxConfidenceLevel, "setHimaxConfidenceLevel", 2),
          MEMBER(QV_VRN_GetHimaxConfidenceLevel, "getHimaxConfidenceLevel", i32),
          MEMBER(QV_VRN_SetHimaxTd, "setHimaxTd", 1), MEMBER(QV_VRN_GetHimaxTd, "getHimaxTd", i32),
          MEMBER(QV_VRN_SetHimaxSdLevel, "setHimaxSdLevel", 1), MEMBER(QV_VRN_GetHimaxSdLevel, "getHimaxSdLevel", i32),
          MEMBER(QV_VRN_SetPwmDuty, "setPwmDuty", 30), MEMBER(QV_VRN_SetFrameRate, "setFrameRate", 15),
          MEMBER(QV_VRN_SetExposeTime, "setExposeTime", 8), MEMBER(QV_VRN_SetSearialNum, "setSn", "SN1", 3),
          MEMBER(QV_VRN_SetHimaxStream, "setHimaxStream", true)}},
        {kOstrelB, "OstrelB_api_ex",
         {PROJECTOR_MEMBERS(QV_OSB_), MEMBER(QV_OSB_SetItoValue, "setItoValue", 9),
          MEMBER(QV_OSB_SetDsensePara, "setDsensePara", dsense), MEMBER(QV_OSB_GetDsensePara, "getDsensePara", dsense)}},
        {kMorvik, "Morvik_api_ex",
         {MEMBER(QV_MORVIK_SetLightTime, "setLightTime", 3), MEMBER(QV_MORVIK_GetLightTime, "getLightTime", u8),
          MEMBER(QV_MORVIK_SetLightCurrent, "setLightCurrent", 300), MEMBER(QV_MORVIK_GetLightCurrent, "getLightCurrent", u32),
          MEMBER(QV_MORVIK_SetIrSensorGain, "setIrSensorGain", 300), MEMBER(QV_MORVIK_GetIrSensorGain, "getIrSensorGain", u16),
          MEMBER(QV_MORVIK_SetRgbSensorGain, "setRgbSensorGain", 2), MEMBER(QV_MORVIK_GetRgbSensorGain, "getRgbSensorGain", u8),
          MEMBER(QV_MORVIK_SetIrSensorExpose, "setIrSensorExpose", 5),
          MEMBER(QV_MORVIK_GetIrSensorExpose, "getIrSensorExpose", u8),
          MEMBER(QV_MORVIK_SetRgbSensorExpose, "setRgbSensorExpose", 5),
          MEMBER(QV_MORVIK_GetRgbSensorExpose, "getRgbSensorExpose", u8),
          MEMBER(QV_MORVIK_SetItoValue, "setItoValue", 9), MEMBER(QV_MORVIK_GetItoValue, "getItoValue", u32),
          MEMBER(QV_MORVIK_GetProjectorTemp, "getProjectorTemp", f32)}},
        {kVireneA, "VireneA_api_ex", {PROJECTOR_MEMBERS(QV_VRN_A_)}},
        {kVireneB, "VireneB_api_ex", {PROJECTOR_MEMBERS(QV_VRN_B_)}},
    };
}

}  // namespace

// Every member on an open camera of its model reaches its own operation, which this release
// does not carry out: the operation's "not support to" line and -1, passed on unchanged, plus
// the member's own failure line in the model-checked families.
TEST_F(ModelFamiliesTest, EveryMemberReachesItsModelsOperation)
{
    for (const Family& family : families()) {
        open(family.camera);
        for (const Member& m : family.members) {
            SCOPED_TRACE(m.name);
            StdoutCapture out;
            EXPECT_EQ(m.call(handle(family.camera)), -1);
            const std::string log = out.text();
            EXPECT_EQ(countMessages(log, "ERROR", std::string("not support to ") + m.operation), 1) << log;
            if (m.failure) {
                EXPECT_EQ(countLogLines(log, "ERROR", family.source, m.name, m.failure), 1) << log;
            }
            EXPECT_EQ(countAnyLogLines(log), m.failure ? 2 : 1) << log;
        }
    }
}

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
