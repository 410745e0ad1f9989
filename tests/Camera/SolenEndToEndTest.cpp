// The Solen cameras through the exported interface only, against emulated cameras whose
// control function is on a bulk pair or behind the serial bridge: depth, infrared and
// point clouds checked frame by frame against the emulated scene, two cameras at once,
// settings and raw requests on the wire, the configuration file, companion matching, and
// unplugging while streaming.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "EmulatedSolenCamera.h"
#include "EmulatedUsbDevice.h"
#include "EmulatedVideoFunction.h"
#include "Eventually.h"
#include "Fl30cScene.h"
#include "LogCapture.h"
#include "SolenUsbControl.h"
#include "SolenVideoFrames.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_solen.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;

namespace {

constexpr int kW = 640, kH = 400;
constexpr int kGroups = 100;

std::string wire(const std::string& text) { return text + std::string(1, '\0'); }

// What every frame group of one camera must hold, checked on the transport's thread.
struct StreamChecker {
    int width = kW, height = kH;
    std::vector<uint16_t> depth;     // empty: no depth expected
    std::vector<uint16_t> infrared;  // empty: no infrared expected
    CameraIntrinsics intrinsics;     // at width x height, for the point cloud's ground truth
    bool cloud = false;
    bool organized = false;  // a cloud of every pixel, unchecked points

    // Expects the scene of `camera` at width x height: depth and cloud, infrared when asked.
    void expect(const EmulatedSolenCamera& camera, int w, int h, bool withIr)
    {
        width = w;
        height = h;
        depth = camera.expectedDepth(w, h);
        if (withIr) infrared = camera.expectedInfrared(w, h);
        intrinsics = camera.intrinsics().scaledTo(w, h);
        cloud = true;
    }

    std::mutex mutex;
    std::condition_variable changed;
    int groups = 0;
    std::vector<std::string> faults;  // the first few
    uint32_t lastId = 0;
    uint64_t lastStamp = 0;

    void fault(const std::string& what)
    {
        if (faults.size() < 5) faults.push_back("group " + std::to_string(groups) + ": " + what);
    }
    bool same(const CAM_FRAME& f, const std::vector<uint16_t>& image) const
    {
        return int(f.width) == width && int(f.height) == height && f.size == image.size() * 2 &&
               std::memcmp(f.data, image.data(), f.size) == 0;
    }
    // Points of the unorganized cloud are the valid depth pixels in scan order.
    void checkCloud(const CAM_FRAME& f)
    {
        const auto* points = reinterpret_cast<const float*>(f.data);
        size_t index = 0;
        for (int v = 0; v < height; ++v)
            for (int u = 0; u < width; ++u) {
                if (depth[size_t(v) * size_t(width) + size_t(u)] == 0) continue;
                if (u % 32 == 0 && v % 20 == 0) {
                    const SceneHit hit = Fl30cScene::atDepthPixel(u, v, intrinsics);
                    for (int axis = 0; axis < 3; ++axis)
                        if (std::fabs(points[3 * index + size_t(axis)] - hit.point[size_t(axis)]) > 1.5)
                            return fault("cloud point of pixel " + std::to_string(u) + "," + std::to_string(v));
                }
                ++index;
            }
        if (f.size != index * 12) fault("cloud of " + std::to_string(f.size / 12) + " points");
    }
    static void on(void*, const CAM_DATA* data, void* user)
    {
        auto* c = static_cast<StreamChecker*>(user);
        std::lock_guard<std::mutex> lock(c->mutex);
        const CAM_FRAME& d = data->frame[CAM_DATA_SLOT_DEPTH];
        const CAM_FRAME& ir = data->frame[CAM_DATA_SLOT_IR];
        const CAM_FRAME& pc = data->frame[CAM_DATA_SLOT_POINTCLOUD];
        if (!c->depth.empty() && !c->same(d, c->depth)) c->fault("depth is not the scene");
        if (!c->infrared.empty() && !c->same(ir, c->infrared)) c->fault("infrared is not the scene");
        if (c->infrared.empty() && ir.size != 0) c->fault("infrared nobody asked for");
        if (c->cloud) c->checkCloud(pc);
        if (c->organized && pc.size != size_t(c->width) * size_t(c->height) * 12) c->fault("cloud not organized");
        if (c->groups > 0 && d.size != 0 && (d.frameId <= c->lastId || d.timestamp < c->lastStamp))
            c->fault("frame id or time stamp went back");
        c->lastId = d.frameId;
        c->lastStamp = d.timestamp;
        ++c->groups;
        c->changed.notify_all();
    }
    bool waitFor(int count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, 60s, [&] { return groups >= count; });
    }
    int count()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return groups;
    }
};

class SolenEndToEndTest : public EmulatedDeviceTest {
protected:
    void SetUp() override
    {
        EmulatedDeviceTest::SetUp();
        QV_SDK_Init();
    }
    void TearDown() override
    {
        QV_SDK_FreeCameraList(list);
        cameras.clear();
        QV_Solen_SetUsbDevMatch(false);
        QV_SDK_Deinit();
        EmulatedDeviceTest::TearDown();
    }
    EmulatedSolenCamera* add(int port, bool bridge, const std::string& serial)
    {
        SolenCameraConfig config;
        config.serialBridge = bridge;
        config.settings.serialNumber = serial;
        cameras.push_back(EmulatedSolenCamera::add(bed(), UsbLocation(1, {port}), config));
        return cameras.back().get();
    }
    // The listed camera whose control function is this device.
    void* handleOf(EmulatedSolenCamera& camera)
    {
        if (list.empty() && QV_SDK_GetCameraList(list) < 1) return nullptr;
        for (void* h : list) {
            QV_CAM_ATTR attr;
            if (QV_SDK_GetCameraAttrs(h, attr) == 0 && attr.attr.usbAttrs.dev == camera.controlDevice().address())
                return h;
        }
        return nullptr;
    }
    // Opens, registers the checker and streams at width x height, 30 fps.
    void* openStreaming(EmulatedSolenCamera& camera, StreamChecker& checker, int mask, const char* config = nullptr)
    {
        void* h = handleOf(camera);
        STREAM_CALLBACK_S callback{&StreamChecker::on, &checker};
        const STREAM_PARAM_S mode{uint32_t(checker.width), uint32_t(checker.height), 30};
        if (h == nullptr || QV_SDK_OpenCamera(h, config) != 0 || QV_SDK_RegisterStreamCallback(h, &callback) != 0 ||
            QV_SDK_SetStreamParam(h, MEDIA_TYPE_DEPTH, &mode) != 0 || QV_SDK_StartStream(h, mask) != 0)
            return nullptr;
        return h;
    }

    std::vector<std::unique_ptr<EmulatedSolenCamera>> cameras;
    std::list<void*> list;
};

void expectScene(StreamChecker& checker)
{
    std::lock_guard<std::mutex> lock(checker.mutex);
    EXPECT_TRUE(checker.faults.empty()) << checker.faults.front();
}

}  // namespace

// A Gm80 on its bulk pair and a Gm80 behind the serial bridge, listed as two USB cameras,
// identified through their control channels, stream the scene at once.
TEST_F(SolenEndToEndTest, TwoCamerasOnBothLinesStreamTheSceneAtOnce)
{
    EmulatedSolenCamera* bulk = add(1, false, "GM80-BULK");
    EmulatedSolenCamera* serial = add(2, true, "GM80-UART");
    ASSERT_TRUE(bulk && serial);
    ASSERT_EQ(QV_SDK_GetCameraList(list), 2);  // the video functions are no cameras of their own
    StreamChecker checkers[2];
    void* handles[2] = {};
    EmulatedSolenCamera* both[2] = {bulk, serial};
    for (int i = 0; i < 2; ++i) {
        checkers[i].expect(*both[i], kW, kH, false);
        handles[i] = openStreaming(*both[i], checkers[i], 0);
        ASSERT_NE(handles[i], nullptr);
        CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
        EXPECT_EQ(QV_SDK_GetCameraModel(handles[i], model), 0);
        EXPECT_EQ(model, CAMERA_MODEL_GM80);
    }
    for (StreamChecker& checker : checkers) ASSERT_TRUE(checker.waitFor(kGroups));
    char text[32] = {};
    EXPECT_EQ(QV_SDK_GetSerialNumber(handles[1], text, sizeof text - 1), 0);
    EXPECT_STREQ(text, "GM80-UART");
    std::string firmware;
    EXPECT_EQ(QV_SDK_GetFwVersion(handles[0], firmware), 0);
    EXPECT_EQ(firmware, "MCU_V1.3.2+ISP_V2.0.7");
    EXPECT_EQ(QV_Solen_GetHimaxVersion(handles[1], text, sizeof text), 0);
    EXPECT_STREQ(text, "HX6.2.1");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(QV_SDK_StopStream(handles[i], 0), 0);
        EXPECT_EQ(QV_SDK_CloseCamera(handles[i]), 0);
        expectScene(checkers[i]);
        // The stream's rate and type went to the camera before it started.
        const std::vector<std::string> requests = both[i]->firmware().requests();
        EXPECT_NE(std::find(requests.begin(), requests.end(), wire("ARG WRITE:F=30")), requests.end());
        EXPECT_NE(std::find(requests.begin(), requests.end(), wire("ARG WRITE:S=0")), requests.end());
    }
}

// Settings reach the camera and read back; raw requests go through as written; depth and
// infrared come in one frame at 320 x 200; the calibration is the camera's, scaled.
TEST_F(SolenEndToEndTest, SettingsRawRequestsAndInfrared)
{
    EmulatedSolenCamera* camera = add(3, true, "GM800003");
    ASSERT_NE(camera, nullptr);
    void* h = handleOf(*camera);
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(QV_SDK_OpenCamera(h, nullptr), 0);
    camera->firmware().clearRequests();

    int value = -1;
    EXPECT_EQ(QV_Solen_SetAeMode(h, 2), 0);
    EXPECT_EQ(QV_Solen_GetAeMode(h, value), 0);
    EXPECT_EQ(value, 2);
    EXPECT_EQ(QV_Solen_SetPwmDuty(h, 80), 0);
    EXPECT_EQ(QV_Solen_SetTemperatureCompensation(h, false), 0);
    EXPECT_EQ(QV_SDK_SetSerialNumber(h, "ORR-7", 5), 0);
    const SolenSettings s = camera->firmware().settings();
    EXPECT_EQ(s.pwmDuty, 80);
    EXPECT_EQ(s.temperatureCompensation, 0);
    EXPECT_EQ(s.serialNumber, "ORR-7");

    const std::string request = wire("ARG READ:T=");
    unsigned char reply[64] = {};
    EXPECT_EQ(QV_Solen_CustomWrite(h, reinterpret_cast<const unsigned char*>(request.data()),
                                   static_cast<unsigned>(request.size()), 1000),
              0);
    EXPECT_EQ(QV_Solen_CustomRead(h, reply, sizeof reply, 1000), int(std::strlen("READ OK:20,T")) + 1);
    EXPECT_STREQ(reinterpret_cast<char*>(reply), "READ OK:20,T");
    EXPECT_EQ(camera->firmware().requests().back(), request);
    EXPECT_EQ(QV_SDK_CAMERA_Reboot(h), 0);
    EXPECT_EQ(camera->firmware().settings().reboots, 1);

    CAM_Parameter native{}, scaled{};
    EXPECT_EQ(QV_SDK_GetOriginalCamParameter(h, &native), 0);
    EXPECT_FLOAT_EQ(native.depthFx, 535.125f);
    const STREAM_PARAM_S small{320, 200, 30};
    ASSERT_EQ(QV_SDK_SetStreamParam(h, MEDIA_TYPE_DEPTH, &small), 0);
    EXPECT_EQ(QV_SDK_GetCamParameter(h, &scaled), 0);
    const CameraIntrinsics truth = camera->intrinsics().scaledTo(320, 200);
    EXPECT_FLOAT_EQ(scaled.depthFx, truth.fx);
    EXPECT_FLOAT_EQ(scaled.depthCx, truth.cx);

    StreamChecker checker;
    checker.expect(*camera, 320, 200, true);
    STREAM_CALLBACK_S callback{&StreamChecker::on, &checker};
    ASSERT_EQ(QV_SDK_RegisterStreamCallback(h, &callback), 0);
    ASSERT_EQ(QV_SDK_StartStream(h, QV_MEDIA_DEPTH | QV_MEDIA_IR | QV_MEDIA_POINTCLOUD), 0);
    ASSERT_TRUE(checker.waitFor(20));
    EXPECT_EQ(QV_SDK_StopStream(h, 0), 0);
    expectScene(checker);
    const std::vector<std::string> requests = camera->firmware().requests();
    EXPECT_EQ(std::vector<std::string>(requests.end() - 2, requests.end()),
              std::vector<std::string>({wire("ARG WRITE:F=30"), wire("ARG WRITE:S=2")}));
}

// The configuration file's settings reach the camera at open, and its borders and
// organized cloud shape what is delivered.
TEST_F(SolenEndToEndTest, ConfigurationFileAppliesAtOpen)
{
    EmulatedSolenCamera* camera = add(1, false, "GM800001");
    ASSERT_NE(camera, nullptr);
    const char* tmp = std::getenv("ORR_TEST_TMP");
    const std::string path = std::string(tmp != nullptr ? tmp : "/tmp") + "/solen-gm80.json";
    std::ofstream(path) << R"({"version": "v1.0", "config_version": "e2e", "module": [{"name": "QV_CAM_GM80",
        "Camera": {"SD": 3, "TD": 2, "Gain": 300}, "PointCloudProcess": {"pcl_organized": {"enable": 1}},
        "wborder": 8, "hborder": 4}]})";
    StreamChecker checker;
    checker.depth = camera->expectedDepth(kW, kH);
    for (int v = 0; v < kH; ++v)
        for (int u = 0; u < kW; ++u)
            if (u < 8 || u >= kW - 8 || v < 4 || v >= kH - 4) checker.depth[size_t(v) * kW + size_t(u)] = 0;
    checker.organized = true;
    void* h = openStreaming(*camera, checker, QV_MEDIA_DEPTH | QV_MEDIA_POINTCLOUD, path.c_str());
    ASSERT_NE(h, nullptr);
    ASSERT_TRUE(checker.waitFor(5));
    EXPECT_EQ(QV_SDK_StopStream(h, 0), 0);
    expectScene(checker);
    const std::vector<std::string> requests = camera->firmware().requests();
    for (const char* sent : {"ARG WRITE:SD=03", "ARG WRITE:TD=02", "I2C WRITE:K=3508:01", "I2C WRITE:K=3509:2C"})
        EXPECT_NE(std::find(requests.begin(), requests.end(), wire(sent)), requests.end()) << sent;
    QV_CONFIG_INFO info{};
    EXPECT_EQ(QV_SDK_GetConfigInfo(h, info), 0);
    EXPECT_STREQ(info.moduleName, "QV_CAM_GM80");
    EXPECT_EQ(info.applied, 1);
}

// A video function behind another hub is taken while matching is lenient (a virtual
// machine's topology), and refused once QV_Solen_SetUsbDevMatch asks for strict matching.
TEST_F(SolenEndToEndTest, CompanionMatchingFollowsTheLibraryWideFlag)
{
    SolenUsbControlConfig control;
    ASSERT_NE(bed().addSolenControl(UsbLocation(1, {3, 1}), control), nullptr);
    VideoFunctionConfig video = VideoFunctionConfig::video2dbb0300();
    ASSERT_NE(bed().addVideoFunction(UsbLocation(1, {4, 2}), video), nullptr);
    ASSERT_EQ(QV_SDK_GetCameraList(list), 1);
    orrtest::StdoutCapture out;
    EXPECT_EQ(QV_Solen_SetUsbDevMatch(true), 0);
    EXPECT_EQ(QV_SDK_OpenCamera(list.front(), nullptr), -82);
    EXPECT_EQ(QV_Solen_SetUsbDevMatch(false), 0);
    EXPECT_EQ(QV_SDK_OpenCamera(list.front(), nullptr), 0);
    const std::string log = out.text();
    EXPECT_EQ(orrtest::countLogLines(log, "INFO", "UsbCameraList", "get_match_video_node_info", "this is virtual machine !"),
              1);
}

// Unplugged while streaming: stop, close and free return, nothing more is delivered, and
// the camera streams again once it is back.
TEST_F(SolenEndToEndTest, UnplugWhileStreamingIsSafe)
{
    EmulatedSolenCamera* camera = add(2, true, "GM800002");
    ASSERT_NE(camera, nullptr);
    StreamChecker checker;
    checker.expect(*camera, kW, kH, false);
    void* h = openStreaming(*camera, checker, 0);
    ASSERT_NE(h, nullptr);
    ASSERT_TRUE(checker.waitFor(3));
    ASSERT_TRUE(camera->unplug());
    EXPECT_EQ(QV_SDK_StopStream(h, 0), 0);
    const int atStop = checker.count();
    EXPECT_EQ(QV_SDK_CloseCamera(h), 0);
    EXPECT_EQ(QV_SDK_FreeCameraList(list), 0);
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(checker.count(), atStop);
    expectScene(checker);

    ASSERT_TRUE(camera->replug());
    StreamChecker again;
    again.expect(*camera, kW, kH, false);
    void* back = openStreaming(*camera, again, 0);
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(again.waitFor(3));
    EXPECT_EQ(QV_SDK_StopStream(back, 0), 0);
}
