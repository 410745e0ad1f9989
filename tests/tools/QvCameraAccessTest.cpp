// qv when cameras are missing, in use by another program, or of a model this release
// does not stream. The emulated devices live in this test's process; qv runs beside it
// as a second program, as it would beside a user's application.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <list>
#include <regex>
#include <thread>

#include "EmulatedDeviceTest.h"
#include "EmulatedFl30c.h"
#include "PlainUsbDevice.h"
#include "QvProcess.h"
#include "qv_camera_sdk_api.h"

using namespace orrindale::emulator;
using qvtest::contains;
using qvtest::Outcome;
using qvtest::runQv;

namespace {

class QvCameraAccess : public EmulatedDeviceTest {};

TEST_F(QvCameraAccess, WithNoCameraListingSucceedsAndEveryOtherCommandSaysSo)
{
    const Outcome list = runQv({"list", "--quiet"});
    EXPECT_EQ(list.status, 0) << list.both();
    EXPECT_EQ(list.out, "No camera is attached.\n");
    const Outcome json = runQv({"list", "--json", "--quiet"});
    EXPECT_EQ(json.status, 0) << json.both();
    EXPECT_EQ(json.out, "[]\n");

    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"info"}, {"stream", "--frames", "3"}, {"get", "gain"}, {"set", "gain", "5"}, {"info", "--index", "0"}}) {
        const Outcome r = runQv(args);
        EXPECT_EQ(r.status, 1) << args[0] << "\n" << r.both();
        EXPECT_TRUE(contains(r.err, "qv " + args[0] + ": no camera is attached\n")) << r.both();
        EXPECT_EQ(r.out, "") << args[0];
    }
}

TEST_F(QvCameraAccess, ACameraInUseByAnotherProgramIsReportedAsBusy)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {2, 4}, 5));
    ASSERT_NE(camera, nullptr);

    // This process is the other program: it opens the camera and streams from it.
    ASSERT_EQ(QV_SDK_Init(), 0);
    std::list<void*> handles;
    ASSERT_EQ(QV_SDK_GetCameraList(handles), 1);
    void* handle = handles.front();
    ASSERT_EQ(QV_SDK_OpenCamera(handle, nullptr), 0);
    std::atomic<int> frames{0};
    STREAM_CALLBACK_S callback{[](void*, const CAM_DATA*, void* user) { ++*static_cast<std::atomic<int>*>(user); },
                               &frames};
    ASSERT_EQ(QV_SDK_RegisterStreamCallback(handle, &callback), 0);
    ASSERT_EQ(QV_SDK_StartStream(handle, QV_MEDIA_DEPTH), 0);
    for (int i = 0; i < 200 && frames == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_GT(frames, 0);

    const std::string busy = "camera 0: the camera is in use by another program";
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"info"}, {"stream", "--frames", "3"}, {"get", "gain"}, {"set", "gain", "5"}}) {
        const Outcome r = runQv(args);
        EXPECT_EQ(r.status, 1) << args[0] << "\n" << r.both();
        EXPECT_TRUE(contains(r.err, "qv " + args[0] + ": " + busy)) << r.both();
        EXPECT_FALSE(contains(r.out, "frame groups")) << r.both();
    }
    const Outcome list = runQv({"list", "--quiet"});
    EXPECT_EQ(list.status, 0) << list.both();
    EXPECT_TRUE(contains(list.out, "not opened       the camera is in use by another program")) << list.out;
    EXPECT_TRUE(contains(list.out, "bus / address    1 / 5")) << list.out;
    EXPECT_TRUE(contains(list.out, "port / path      4 / 2.4")) << list.out;
    EXPECT_FALSE(contains(list.out, "serial number")) << list.out;
    const Outcome json = runQv({"list", "--json", "--quiet"});
    EXPECT_TRUE(contains(json.out, "\"open_error\": \"the camera is in use by another program")) << json.out;
    const Outcome bySerial = runQv({"info", "--serial", "FL30C0001", "--quiet"});
    EXPECT_EQ(bySerial.status, 1);
    EXPECT_TRUE(contains(bySerial.err, "no attached camera has the serial number FL30C0001 (camera 0 could not be "
                                       "opened to read its serial number: the camera is in use by another program"))
        << bySerial.both();
    EXPECT_EQ(camera->settings().gainCoarse, 0x2F) << "the busy camera kept its gain";

    // Once the other program lets go, qv gets the camera.
    EXPECT_EQ(QV_SDK_StopStream(handle, 0), 0);
    EXPECT_EQ(QV_SDK_CloseCamera(handle), 0);
    const Outcome free = runQv({"get", "gain", "--bus", "1", "--port-path", "2.4", "--quiet"});
    EXPECT_EQ(free.status, 0) << free.both();
    EXPECT_EQ(free.out, "gain = 8\n");
    QV_SDK_FreeCameraList(handles);
    QV_SDK_Deinit();
}

TEST_F(QvCameraAccess, AModelThisReleaseDoesNotStreamIsListedButNotOpened)
{
    PlainUsbDeviceConfig zenta;
    zenta.vendorId = 0x3482;
    zenta.productId = 0x6789;
    ASSERT_NE(bed().addPlainDevice(UsbLocation(2, {3}, 7), zenta), nullptr);

    const Outcome list = runQv({"list", "--quiet"});
    EXPECT_EQ(list.status, 0) << list.both();
    for (const char* line : {"model            Zenta RGB-D (CAMERA_MODEL_ZENTA = 11)", "USB id           3482:6789",
                             "bus / address    2 / 7", "port / path      3 / 3",
                             "not opened       this camera model is not supported by this release"})
        EXPECT_TRUE(contains(list.out, line)) << line << "\n" << list.out;

    const Outcome info = runQv({"info", "--quiet"});
    EXPECT_EQ(info.status, 1);
    EXPECT_TRUE(contains(info.err, "qv info: camera 0: this camera model is not supported by this release")) << info.both();
    const Outcome gain = runQv({"set", "gain", "5", "--quiet"});
    EXPECT_EQ(gain.status, 1);
    EXPECT_TRUE(contains(gain.err, "qv set: camera 0 is a Zenta RGB-D; these settings belong to the Fl30c and the Solen cameras")) << gain.both();
}


TEST_F(QvCameraAccess, ColourImagesTheCameraSentDamagedAreDroppedAndCounted)
{
    EmulatedFl30c* camera = bed().addFl30c(UsbLocation(1, {4}, 5));
    ASSERT_NE(camera, nullptr);
    Fl30cTransferFault cut;  // every colour image loses all but its first 3,000 bytes
    cut.mjpegCutTo = 3000;
    camera->setTransferFault(cut);
    const Outcome r = runQv({"stream", "--frames", "6", "--quiet"});
    EXPECT_EQ(r.status, 1) << r.both();  // no colour frame came through
    EXPECT_TRUE(contains(r.out, "\n  depth         6 frames")) << r.out;
    EXPECT_FALSE(contains(r.out, "\n  color  ")) << r.out;
    EXPECT_TRUE(contains(r.out, "\n  damaged color       6 (not decodable, dropped by the library)\n")) << r.out;
}

}  // namespace
