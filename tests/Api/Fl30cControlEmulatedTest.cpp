// Device control calls and the QV_FL30C_ calls on an emulated Fl30c, through the
// exported interface: what reaches the camera (its record and settings) and what comes
// back, including the camera's failures (stalled, unanswered or wrongly echoed commands).
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "Eventually.h"
#include "LogCapture.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_fl30c.h"

using namespace orrindale::emulator;
using orrtest::countLogLines;
using orrtest::StdoutCapture;

namespace {

constexpr const char* kApi = "qv_camera_sdk_device_api";
constexpr const char* kFl30cApi = "Fl30c_api_ex";
constexpr const char* kXu = "XuCmdCameraFl30c";

class Fl30cControlEmulatedTest : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        QV_SDK_Init();
    }
    void TearDown() override
    {
        QV_SDK_FreeCameraList(list);
        QV_SDK_Deinit();
        EmulatedDeviceTest::TearDown();
    }
    // Adds a camera (with this firmware), lists it and opens it.
    void* openCamera(const std::string& firmware = "FL30C:V1.0.8:H01:20241021")
    {
        camera = bed().addFl30c(UsbLocation(1, {4}, 5));
        if (camera == nullptr) return nullptr;
        camera->setFirmwareVersion(firmware);
        if (QV_SDK_GetCameraList(list) != 1) return nullptr;
        void* handle = list.front();
        if (QV_SDK_OpenCamera(handle, nullptr) != 0) return nullptr;
        camera->clearCommandRecord();
        return handle;
    }
    // The extension-unit requests since the camera was opened (or last cleared).
    std::vector<ControlRecord> commands() const { return camera->commandRecord(); }

    EmulatedFl30c* camera = nullptr;
    std::list<void*> list;
};

std::vector<uint8_t> payload(const std::string& text, size_t length = 64)
{
    std::vector<uint8_t> bytes(length, 0);
    std::memcpy(bytes.data(), text.data(), text.size());
    return bytes;
}

}  // namespace

// ---------------------------------------------------------------- identity

TEST_F(Fl30cControlEmulatedTest, SerialNumberIsReadAndWrittenOnTheCamera)
{
    void* handle = openCamera();
    ASSERT_NE(handle, nullptr);
    char serial[64];
    std::memset(serial, '#', sizeof serial);
    ASSERT_EQ(QV_SDK_GetSerialNumber(handle, serial, sizeof serial), 0);
    EXPECT_STREQ(serial, "FL30C0001");
    std::memset(serial, '#', sizeof serial);
    ASSERT_EQ(QV_SDK_GetSerialNumber(handle, serial, 5), 0);
    EXPECT_EQ(std::string(serial, 6), "FL30C#");  // the capacity filled: no terminator

    camera->clearCommandRecord();
    ASSERT_EQ(QV_SDK_SetSerialNumber(handle, "ORR-0042", 8), 0);
    auto record = commands();
    ASSERT_EQ(record.size(), 1u);
    EXPECT_EQ(record[0].setup.requestType, 0x21);
    EXPECT_EQ(record[0].setup.request, 0x29);
    EXPECT_EQ(record[0].setup.value, 0x0100);
    EXPECT_EQ(record[0].setup.index, 0x0A00);
    EXPECT_EQ(record[0].data, payload("ORR-0042"));
    EXPECT_EQ(camera->settings().serialNumber, "ORR-0042");
    ASSERT_EQ(QV_SDK_GetSerialNumber(handle, serial, sizeof serial), 0);
    EXPECT_STREQ(serial, "ORR-0042");

    // Too long for the 64-byte payload: refused before anything is sent.
    camera->clearCommandRecord();
    const std::string tooLong(64, 'S');
    StdoutCapture out;
    EXPECT_EQ(QV_SDK_SetSerialNumber(handle, tooLong.c_str(), 64), -1);
    EXPECT_EQ(QV_SDK_GetSerialNumber(handle, nullptr, 8), -1);
    EXPECT_TRUE(commands().empty());
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "ERROR", kXu, "setSn", "serial number longer than 63 characters"), 1);
    EXPECT_EQ(countLogLines(log, "ERROR", kApi, "QV_SDK_GetSerialNumber", "buffer is nullptr"), 1);
    EXPECT_EQ(camera->settings().serialNumber, "ORR-0042");
}

TEST_F(Fl30cControlEmulatedTest, FirmwareAndHimaxVersionsComeFromTheCamera)
{
    void* handle = openCamera("FL30C:V1.0.9:H01:20250101");
    ASSERT_NE(handle, nullptr);
    char text[64];
    ASSERT_EQ(QV_SDK_GetFwVersion(handle, text, int(sizeof text)), 0);
    EXPECT_STREQ(text, "FL30C:V1.0.9:H01:20250101");
    std::string version;
    ASSERT_EQ(QV_SDK_GetFwVersion(handle, version), 0);
    EXPECT_EQ(version, "FL30C:V1.0.9:H01:20250101");

    ASSERT_EQ(QV_SDK_GetHimaxVersion(handle, text, int(sizeof text)), 0);
    EXPECT_STREQ(text, "HX2.1.7");
    camera->setHimaxVersion("HX3.0.1-rc2");
    std::memset(text, '#', sizeof text);
    ASSERT_EQ(QV_FL30C_GetHimaxVersion(handle, text, int(sizeof text)), 0);
    EXPECT_STREQ(text, "HX3.0.1-rc2");
    std::memset(text, '#', sizeof text);
    ASSERT_EQ(QV_FL30C_GetHimaxVersion(handle, text, 3), 0);
    EXPECT_EQ(std::string(text, 4), "HX3#");

    // The firmware text ends at its first unprintable character.
    camera->setFirmwareVersion(std::string("FL30C:V2\x01tail"));
    ASSERT_EQ(QV_SDK_GetFwVersion(handle, version), 0);
    EXPECT_EQ(version, "FL30C:V2");

    const auto record = commands();
    ASSERT_EQ(record.size(), 6u);
    for (size_t i : {0, 1, 5}) EXPECT_EQ(record[i].setup.request, 0x27);
    for (size_t i : {2, 3, 4}) EXPECT_EQ(record[i].setup.request, 0x28);
    for (const auto& r : record) EXPECT_EQ(r.setup.requestType, 0xA1);
}

// ---------------------------------------------------------------- calibration

namespace {

// Streams until the first frame and compares QV_SDK_GetCamParameter with the header the
// camera sent (depth intrinsics of the transfer's image, colour ones of the MJPEG).
void expectHeaderCalibration(void* handle, EmulatedFl30c& camera, int depthWidth, int mjpegWidth, int mjpegHeight)
{
    CAM_Parameter p{};
    {
        StdoutCapture out;
        EXPECT_EQ(QV_SDK_GetCamParameter(handle, &p), -1);
        EXPECT_EQ(countLogLines(out.text(), "ERROR", "CameraFl30c", "getCameraParameter",
                                "the calibration arrives with the first frame: start streaming first"),
                  1);
    }
    std::atomic<int> frames{0};
    STREAM_CALLBACK_S cb{[](void*, const CAM_DATA*, void* user) { ++*static_cast<std::atomic<int>*>(user); }, &frames};
    ASSERT_EQ(QV_SDK_RegisterStreamCallback(handle, &cb), 0);
    const STREAM_PARAM_S depth{uint32_t(depthWidth), uint32_t(depthWidth * 3 / 4), 15};
    ASSERT_EQ(QV_SDK_SetStreamParam(handle, MEDIA_TYPE_DEPTH, &depth), 0);
    ASSERT_EQ(QV_SDK_StartStream(handle, 0), 0);
    ASSERT_TRUE(orrtest::eventually([&] { return frames > 0; }));
    ASSERT_EQ(QV_SDK_GetCamParameter(handle, &p), 0);
    EXPECT_EQ(QV_SDK_StopStream(handle, 0), 0);
    const auto sent = camera.calibration().headerFloats(depthWidth, depthWidth * 3 / 4, mjpegWidth, mjpegHeight);
    EXPECT_EQ(std::memcmp(&p, sent.data(), sizeof p), 0);
    EXPECT_FLOAT_EQ(p.depthFx, camera.calibration().depthFor(depthWidth, depthWidth * 3 / 4).fx);
    EXPECT_FLOAT_EQ(p.rgbCx, camera.calibration().colourFor(mjpegWidth, mjpegHeight).cx);
    EXPECT_FLOAT_EQ(p.translation[0], camera.calibration().translation[0]);
    EXPECT_EQ(QV_SDK_CloseCamera(handle), 0);
}

}  // namespace

// The colour intrinsics follow the MJPEG size the firmware reports at open, the depth ones the mode.
TEST_F(Fl30cControlEmulatedTest, CameraParametersAreTheCalibrationInTheCamerasHeader)
{
    void* handle = openCamera("FL30C:V1.0.8:H01:20241021");
    ASSERT_NE(handle, nullptr);
    expectHeaderCalibration(handle, *camera, 640, 640, 480);
    camera->setFirmwareVersion("FL30C:V1.0.8:001:20241021");
    ASSERT_EQ(QV_SDK_OpenCamera(handle, nullptr), 0);
    expectHeaderCalibration(handle, *camera, 320, 1280, 720);
}

// ---------------------------------------------------------------- maintenance and raw commands

TEST_F(Fl30cControlEmulatedTest, RebootCustomCommandsAndWhatThisCameraDoesNotOffer)
{
    void* handle = openCamera();
    ASSERT_NE(handle, nullptr);
    ASSERT_EQ(QV_SDK_CAMERA_Reboot(handle), 0);
    EXPECT_EQ(camera->settings().reboots, 1);
    ASSERT_EQ(commands().size(), 1u);
    EXPECT_EQ(commands()[0].setup.requestType, 0x21);
    EXPECT_EQ(commands()[0].setup.request, 0x33);
    EXPECT_EQ(commands()[0].data, std::vector<uint8_t>(64, 0));
    camera->clearCommandRecord();

    std::vector<uint8_t> out = payload("1500");
    ASSERT_EQ(QV_FL30C_CustomWrite(handle, 0x22, out.data(), 64), 0);
    EXPECT_EQ(camera->settings().lightingTime, 1500);
    unsigned char in[64];
    std::memset(in, 0xEE, sizeof in);
    ASSERT_EQ(QV_FL30C_CustomRead(handle, 0x22, in, 64), 0);
    EXPECT_EQ(in[0], 0x22);  // the echo, then the text
    EXPECT_STREQ(reinterpret_cast<const char*>(in + 1), "1500");
    auto record = commands();
    ASSERT_EQ(record.size(), 2u);
    EXPECT_EQ(record[0].data, out);
    EXPECT_EQ(record[1].setup.requestType, 0xA1);
    EXPECT_EQ(record[1].setup.length, 64);

    {  // what the camera refuses comes back as the command channel's codes
        StdoutCapture log;
        EXPECT_EQ(QV_FL30C_CustomWrite(handle, 0x27, out.data(), 64), -88);  // the firmware version is read-only
        EXPECT_EQ(QV_FL30C_CustomRead(handle, 0x99, in, 64), -89);           // no such command
        EXPECT_EQ(QV_FL30C_CustomRead(handle, 0x22, nullptr, 64), -1);
        EXPECT_EQ(QV_FL30C_CustomWrite(handle, 0x22, out.data(), 0), -1);
        const std::string text = log.text();
        EXPECT_EQ(countLogLines(text, "ERROR", kXu, "xucmd_write", "write command, ret: -2"), 1);
        EXPECT_EQ(countLogLines(text, "ERROR", kXu, "xucmd_read", "read command, ret: -2"), 1);
        EXPECT_EQ(countLogLines(text, "ERROR", kFl30cApi, "QV_FL30C_CustomRead", "data is nullptr or length out of range"),
                  1);
        EXPECT_EQ(countLogLines(text, "ERROR", kFl30cApi, "QV_FL30C_CustomWrite", "data is nullptr or length out of range"),
                  1);
    }
    camera->clearCommandRecord();
    StdoutCapture log;
    int size = 123;
    EXPECT_EQ(QV_SDK_GetPrivateMaxSize(handle, size), -1);  // no private area
    EXPECT_EQ(QV_SDK_WritePrivateData(handle, in, 8, 0), -1);
    EXPECT_EQ(QV_SDK_ReadPrivateData(handle, in, 8, 0), -1);
    EXPECT_EQ(QV_SDK_Xu_CustomRead(handle, 0x22, in, 64, 1000), -1);
    EXPECT_EQ(QV_SDK_Xu_CustomWrite(handle, 0x22, out.data(), 64, 1000), -1);
    EXPECT_TRUE(commands().empty());
    const std::string text = log.text();
    EXPECT_EQ(countLogLines(text, "WARN", "CameraFl30c", "controlTransferRead", "CameraFl30c does not support controlTransferRead"),
              1);
    EXPECT_EQ(countLogLines(text, "WARN", "CameraFl30c", "controlTransferWrite",
                            "CameraFl30c does not support controlTransferWrite"),
              1);
    EXPECT_EQ(countLogLines(text, "ERROR", "ICommand", "getPrivateMaxSize", "not support to getPrivateMaxSize"), 3);
}

// ---------------------------------------------------------------- the Fl30c's own settings

TEST_F(Fl30cControlEmulatedTest, SettingsCallsChangeTheCameraAndReadItBack)
{
    void* handle = openCamera();
    ASSERT_NE(handle, nullptr);
    struct Setting {
        const char* name;
        int (*set)(void*, int);
        int (*get)(void*, int&);
        int value;
        std::function<int(const Fl30cSettings&)> onCamera;
    };
    const Setting settings[] = {
        {"gain", QV_FL30C_SetGain, QV_FL30C_GetGain, 21,
         [](const Fl30cSettings& s) { return Fl30cCommandSet::gainOf(s.gainCoarse, s.gainFine); }},
        {"AE mode", QV_FL30C_SetAeMode, QV_FL30C_GetAeMode, 0, [](const Fl30cSettings& s) { return s.aeMode; }},
        {"lighting time", QV_FL30C_SetLightingTime, QV_FL30C_GetLightingTime, 2300,
         [](const Fl30cSettings& s) { return s.lightingTime; }},
        {"current intensity", QV_FL30C_SetCurrentIntensity, QV_FL30C_GetCurrentIntensity, 9,
         [](const Fl30cSettings& s) { return s.currentIntensity; }},
        {"confidence", QV_FL30C_SetConfidenceLevel, QV_FL30C_GetConfidenceLevel, 6,
         [](const Fl30cSettings& s) { return s.confidenceLevel; }},
        {"spatial denoise", QV_FL30C_SetSdLevel, QV_FL30C_GetSdLevel, 4,
         [](const Fl30cSettings& s) { return s.spatialDenoise; }},
        {"temporal denoise", QV_FL30C_SetTd, QV_FL30C_GetTd, 3, [](const Fl30cSettings& s) { return s.temporalDenoise; }},
    };
    for (const Setting& s : settings) {
        SCOPED_TRACE(s.name);
        ASSERT_EQ(s.set(handle, s.value), 0);
        EXPECT_EQ(s.onCamera(camera->settings()), s.value);
        int read = -12345;
        ASSERT_EQ(s.get(handle, read), 0);
        EXPECT_EQ(read, s.value);
    }
    ASSERT_EQ(QV_FL30C_SetTemperatureDriftCompensation(handle, false), 0);
    EXPECT_EQ(camera->settings().temperatureDrift, 0);
    ASSERT_EQ(QV_FL30C_SetFrameRate(handle, 25), 0);
    EXPECT_EQ(camera->settings().frameRate, 25);

    camera->clearCommandRecord();
    StdoutCapture out;
    EXPECT_EQ(QV_FL30C_SetGain(handle, 0), -1);
    EXPECT_EQ(QV_FL30C_SetGain(handle, 29), -1);
    EXPECT_EQ(QV_FL30C_SetFrameRate(handle, 20), -1);
    EXPECT_TRUE(commands().empty());
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "ERROR", kXu, "setGain", "gain not in range 1 to 28"), 2);
    EXPECT_EQ(countLogLines(log, "ERROR", kFl30cApi, "QV_FL30C_SetFrameRate", "frame rate 20 not one of 10, 15, 25, 30"),
              1);
    EXPECT_EQ(camera->settings().frameRate, 25);
}

TEST_F(Fl30cControlEmulatedTest, TemperaturesOfTheThreeSensors)
{
    void* handle = openCamera();
    ASSERT_NE(handle, nullptr);
    camera->setTemperature(1, 12.5f);
    const float expected[3] = {41.25f, 12.5f, 45.75f};
    const uint8_t codes[3] = {0x26, 0x2C, 0x37};
    for (int device = 0; device < 3; ++device) {
        float celsius = 0;
        ASSERT_EQ(QV_FL30C_GetTemperature(handle, device, celsius), 0);
        EXPECT_FLOAT_EQ(celsius, expected[device]);
        EXPECT_EQ(commands().back().setup.request, codes[device]);
    }
    camera->clearCommandRecord();
    float celsius = 7;
    StdoutCapture out;
    EXPECT_EQ(QV_FL30C_GetTemperature(handle, 3, celsius), -1);
    EXPECT_EQ(celsius, 7);
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(countLogLines(out.text(), "ERROR", kXu, "readTemperature", "not support device"), 1);
}

// ---------------------------------------------------------------- the camera misbehaving

TEST_F(Fl30cControlEmulatedTest, StalledWronglyEchoedAndUnansweredCommandsFailWithTheirCodes)
{
    void* handle = openCamera();
    ASSERT_NE(handle, nullptr);
    char text[64];
    {
        camera->stallCommand(0x29);
        StdoutCapture out;
        EXPECT_EQ(QV_SDK_GetSerialNumber(handle, text, 64), -89);
        EXPECT_EQ(QV_SDK_SetSerialNumber(handle, "X", 1), -88);
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "ERROR", kXu, "getSn", "get sn failed"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kApi, "QV_SDK_GetSerialNumber", "get serialno fail."), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kXu, "setSn", "set sn failed"), 1);
        camera->clearCommandFaults();
    }
    {
        camera->setWrongEcho(0x27, 0x28);
        camera->setWrongEcho(0x24, 0x00);
        camera->setWrongEcho(0x36, 0x37);
        StdoutCapture out;
        EXPECT_EQ(QV_SDK_GetFwVersion(handle, text, 64), -2);
        int value = -1;
        EXPECT_EQ(QV_FL30C_GetConfidenceLevel(handle, value), -89);
        EXPECT_EQ(QV_FL30C_GetCurrentIntensity(handle, value), -2);
        EXPECT_EQ(value, -1);
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "ERROR", kXu, "getFwVersion", "error get fw version"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kApi, "QV_SDK_GetFwVersion", "get fw version fail."), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kXu, "getHimaxConfidenceLevel", "get confidence level failed"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kXu, "getCurrentIntensity", "error get current intensity"), 1);
        camera->clearWrongEchoes();
    }
    {  // a command the camera never answers ends with the transfer's time-out, not a hang
        camera->ignoreCommand(0x26);
        float celsius = 0;
        StdoutCapture out;
        EXPECT_EQ(QV_FL30C_GetTemperature(handle, 0, celsius), -89);
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "ERROR", "UvcCamera", "cmdMsg", "do usb contorl transfer failed, ret -7"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", kXu, "readTemperature", "get temperature failed"), 1);
        camera->clearCommandFaults();
    }
    float celsius = 0;
    EXPECT_EQ(QV_FL30C_GetTemperature(handle, 0, celsius), 0);  // and the channel still works
    EXPECT_FLOAT_EQ(celsius, 41.25f);
}
