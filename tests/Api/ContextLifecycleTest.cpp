#include <cstring>

#include "ApiFixture.h"
#include "ICameraOps.h"

using orrtest::countLogLines;
using orrtest::StdoutCapture;

namespace {
constexpr const char* kSource = "qv_camera_sdk_api";
}

TEST_F(ApiFixture, InitAndDeinitAreIdempotentWithWarnings)
{
    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_Init(), 0);
    EXPECT_EQ(QV_SDK_Deinit(), 0);
    EXPECT_EQ(QV_SDK_Deinit(), 0);
    const std::string out = capture.text();
    EXPECT_EQ(countLogLines(out, "WARN", kSource, "QV_SDK_Init", "sdk already init"), 1);
    EXPECT_EQ(countLogLines(out, "WARN", kSource, "QV_SDK_Deinit", "sdk not init"), 1);
}

TEST_F(ApiFixture, ContextCallsRefuseAnUninitialisedLibrary)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    QV_SDK_Deinit();

    StdoutCapture capture;
    std::list<void*> other;
    EXPECT_EQ(QV_SDK_GetCameraList(other), -1);
    void* created = nullptr;
    QV_CAM_ATTR attr = apitest::usbCamera(0, 0, 1, 5, "");
    EXPECT_EQ(QV_SDK_CreateCamHandle(created, &attr), -1);
    EXPECT_EQ(QV_SDK_DestoryCamHandle(handle(0)), -1);
    QV_LISTENER_CALLBACK cb{};
    EXPECT_EQ(QV_SDK_StartListener(cb, QV_LISTENER_HOTPLUG, false), -1);
    // Per-camera calls do not consult the flag.
    EXPECT_EQ(QV_SDK_IsHandleExist(handle(0)), 0);
    EXPECT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    const std::string out = capture.text();
    EXPECT_EQ(countLogLines(out, "ERROR", kSource, "QV_SDK_GetCameraList", "sdk not init"), 1);
    EXPECT_EQ(countLogLines(out, "ERROR", kSource, "QV_SDK_CreateCamHandle", "sdk not init"), 1);
    EXPECT_EQ(countLogLines(out, "ERROR", kSource, "QV_SDK_DestoryCamHandle", "sdk not init"), 1);
    EXPECT_EQ(countLogLines(out, "ERROR", kSource, "QV_SDK_StartListener", "sdk not init"), 1);
    EXPECT_TRUE(other.empty());
    EXPECT_EQ(apitest::world().enumerationCalls, 1);  // only the listing of the fixture
}

TEST_F(ApiFixture, EmptyListIsNotAnError)
{
    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_GetCameraList(list), 0);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(countLogLines(capture.text(), "WARN", kSource, "QV_SDK_GetCameraList", "No device found !"), 1);
    // Enumeration is asked for the factory's supported identifiers.
    ASSERT_EQ(apitest::world().lastIds.size(), 2u);
    EXPECT_EQ(apitest::world().lastIds[1].vid, 0x0C45);
}

TEST_F(ApiFixture, ListingMakesOneHandleWithAWholeCopyOfEachIdentity)
{
    apitest::DriverScript& a = newScript();
    apitest::DriverScript& b = newScript();
    attachAndList({&a, &b});
    ASSERT_EQ(list.size(), 2u);
    EXPECT_NE(handle(0), handle(1));
    for (size_t i = 0; i < 2; ++i) {
        QV_CAM_ATTR attr;
        std::memset(&attr, 0xAB, sizeof attr);
        ASSERT_EQ(QV_SDK_GetCameraAttrs(handle(i), attr), 0);
        EXPECT_EQ(std::memcmp(&attr, &apitest::world().attached[i], sizeof attr), 0) << i;
    }
    // A second listing appends new handles for the same cameras.
    std::list<void*> again;
    EXPECT_EQ(QV_SDK_GetCameraList(again), 2);
    EXPECT_EQ(QV_SDK_IsHandleExist(handle(0)), 0);
    EXPECT_EQ(QV_SDK_FreeCameraList(again), 0);
    EXPECT_TRUE(again.empty());
    EXPECT_EQ(QV_SDK_IsHandleExist(handle(1)), 0);
}

TEST_F(ApiFixture, FreeingTheListClosesOpenDriversAndForgetsTheHandles)
{
    apitest::DriverScript& a = newScript();
    apitest::DriverScript& b = newScript();
    apitest::DriverScript& c = newScript();
    b.closeResult = -7;
    attachAndList({&a, &b, &c});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    ASSERT_EQ(QV_SDK_OpenCamera(handle(1), nullptr), 0);
    std::vector<void*> freed(list.begin(), list.end());

    EXPECT_EQ(QV_SDK_FreeCameraList(list), -7);  // the last close that was called
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(a.closes, 1);
    EXPECT_EQ(a.destroyed, 1);
    EXPECT_EQ(b.destroyed, 1);
    EXPECT_EQ(c.closes, 0);

    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_OpenCamera(freed[0], nullptr), -83);
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", kSource, "QV_SDK_OpenCamera", "This camera handle not exist"), 1);
}

TEST_F(ApiFixture, CreateCamHandleFindsTheCameraByBusAndAddressOnly)
{
    apitest::World& w = apitest::world();
    w.attached.push_back(apitest::usbCamera(0x3482, 0x6723, 1, 5, "1.4"));
    w.attached.push_back(apitest::usbCamera(0x3482, 0x6723, 2, 5, "2.1.3"));

    QV_CAM_ATTR wanted = apitest::usbCamera(0x1111, 0x2222, 2, 5, "");  // ids differ, position matches
    void* h = nullptr;
    ASSERT_EQ(QV_SDK_CreateCamHandle(h, &wanted), 0);
    created.push_back(h);
    QV_CAM_ATTR got;
    ASSERT_EQ(QV_SDK_GetCameraAttrs(h, got), 0);
    // The enumerated record is kept, not the caller's copy.
    EXPECT_EQ(std::memcmp(&got, &w.attached[1], sizeof got), 0);

    StdoutCapture capture;
    QV_CAM_ATTR absent = apitest::usbCamera(0x3482, 0x6723, 3, 5, "");
    void* none = nullptr;
    EXPECT_EQ(QV_SDK_CreateCamHandle(none, &absent), -2);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(QV_SDK_CreateCamHandle(none, nullptr), -1);
    w.attached.clear();
    EXPECT_EQ(QV_SDK_CreateCamHandle(none, &wanted), -2);
    const std::string out = capture.text();
    EXPECT_EQ(orrtest::countAnyLogLines(out), 1) << out;  // only the null record is reported
}

TEST_F(ApiFixture, CreateCamHandleComparesSerialNodesAndNetworkAddressesAsRawBytes)
{
    QV_CAM_ATTR serial;
    std::memset(&serial, 0, sizeof serial);
    serial.type = QV_CAM_ATTR_SERIAL;
    std::strcpy(serial.attr.serialAttrs.devNode, "/dev/ttyACM0");
    QV_CAM_ATTR net;
    std::memset(&net, 0, sizeof net);
    net.type = QV_CAM_ATTR_NET;
    std::strcpy(net.attr.netAttrs.ip, "192.168.1.10");
    apitest::world().attached = {serial, net};

    QV_CAM_ATTR wantNet = net;
    wantNet.attr.netAttrs.port = 1234;  // not part of the identity
    void* h = nullptr;
    ASSERT_EQ(QV_SDK_CreateCamHandle(h, &wantNet), 0);
    created.push_back(h);
    QV_CAM_ATTR got;
    ASSERT_EQ(QV_SDK_GetCameraAttrs(h, got), 0);
    EXPECT_EQ(got.type, QV_CAM_ATTR_NET);

    QV_CAM_ATTR otherNode = serial;
    otherNode.attr.serialAttrs.devNode[63] = 'x';  // a byte after the terminator still counts
    void* none = nullptr;
    EXPECT_EQ(QV_SDK_CreateCamHandle(none, &otherNode), -2);
}

TEST_F(ApiFixture, DestroyedHandleIsForgotten)
{
    apitest::World& w = apitest::world();
    w.attached.push_back(apitest::usbCamera(0x3482, 0x6723, 1, 5, "1.4"));
    QV_CAM_ATTR wanted = w.attached[0];
    void* h = nullptr;
    ASSERT_EQ(QV_SDK_CreateCamHandle(h, &wanted), 0);
    EXPECT_EQ(QV_SDK_DestoryCamHandle(h), 0);
    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_DestoryCamHandle(h), -83);
    EXPECT_EQ(QV_SDK_IsHandleExist(h), -83);
    const std::string out = capture.text();
    EXPECT_EQ(countLogLines(out, "ERROR", kSource, "QV_SDK_DestoryCamHandle", "This camera handle not exist"), 1);
    EXPECT_EQ(countLogLines(out, "ERROR", kSource, "QV_SDK_IsHandleExist", "This camera handle not exist"), 1);
}

TEST_F(ApiFixture, AttributesOfAUsbCameraAreLoggedAndAnUnknownKindIsRefused)
{
    QV_CAM_ATTR odd = apitest::usbCamera(0, 0, 0, 0, "");
    odd.type = static_cast<QV_CAM_ATTR_TYPE>(3);
    apitest::world().attached = {apitest::usbCamera(0x3482, 0x6723, 1, 5, "1.4"), odd};
    ASSERT_EQ(QV_SDK_GetCameraList(list), 2);

    StdoutCapture capture;
    QV_CAM_ATTR out;
    EXPECT_EQ(QV_SDK_GetCameraAttrs(handle(0), out), 0);
    QV_CAM_ATTR untouched;
    std::memset(&untouched, 0x5A, sizeof untouched);
    EXPECT_EQ(QV_SDK_GetCameraAttrs(handle(1), untouched), -1);
    EXPECT_EQ(untouched.attr.raw[0], 0x5A);
    const std::string text = capture.text();
    EXPECT_EQ(countLogLines(text, "INFO", kSource, "QV_SDK_GetCameraAttrs",
                            "pid:26403  vid13442 busnum: 1  dev:5  port:4  ports:1.4"),
              1)
        << text;
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_GetCameraAttrs", "not support attr type:3"), 1);
}

TEST_F(ApiFixture, OpenBuildsTheDriverWithTheHandleAndPassesThePath)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    EXPECT_EQ(QV_SDK_OpenCamera(handle(0), "/etc/camera.json"), 0);
    EXPECT_EQ(script.lastOpenPath, "/etc/camera.json");
    EXPECT_EQ(apitest::world().lastFactoryHandle, handle(0));

    ICameraOps* first = nullptr;
    QV_CAM_ATTR attr;
    ASSERT_EQ(QV_SDK_GetCameraHandle(handle(0), first, &attr), 0);
    EXPECT_EQ(attr.attr.usbAttrs.dev, 5);

    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_OpenCamera(handle(0), "/other.json"), 0);
    EXPECT_EQ(countLogLines(capture.text(), "WARN", kSource, "QV_SDK_OpenCamera", "This camera already open"), 1);
    EXPECT_EQ(script.opens, 1);
    ICameraOps* second = nullptr;
    ASSERT_EQ(QV_SDK_GetCameraHandle(handle(0), second, nullptr), 0);
    EXPECT_EQ(first, second);
}

TEST_F(ApiFixture, UnknownModelFailsToOpenAndTheHandleStaysUsable)
{
    attachAndList({nullptr});
    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), -1);
    EXPECT_EQ(QV_SDK_CloseCamera(handle(0)), 0);
    EXPECT_EQ(QV_SDK_IsHandleExist(handle(0)), 0);
    const std::string out = capture.text();
    EXPECT_EQ(countLogLines(out, "ERROR", kSource, "QV_SDK_OpenCamera", "create camera instance fail"), 1);
    EXPECT_EQ(countLogLines(out, "INFO", kSource, "QV_SDK_CloseCamera", "This camera not open yet"), 1);
}

TEST_F(ApiFixture, FailedOpenClosesAndDestroysTheDriverAndReturnsItsCode)
{
    apitest::DriverScript& script = newScript();
    script.openResult = -82;
    attachAndList({&script});
    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), -82);
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", kSource, "QV_SDK_OpenCamera",
                            "init camera error, maybe reopen can solve it"),
              1);
    EXPECT_EQ(script.closes, 1);
    EXPECT_EQ(script.destroyed, 1);
    ICameraOps* ops = nullptr;
    EXPECT_EQ(QV_SDK_GetCameraHandle(handle(0), ops, nullptr), -101);

    script.openResult = 0;  // reopening can solve it
    EXPECT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    EXPECT_EQ(script.opens, 2);
}

TEST_F(ApiFixture, DriverThatThrowsInOpenIsTreatedAsAFailedOpen)
{
    apitest::DriverScript& script = newScript();
    script.throwInOpen = true;
    attachAndList({&script});
    EXPECT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), -1);
    EXPECT_EQ(script.destroyed, 1);
    EXPECT_EQ(QV_SDK_IsHandleExist(handle(0)), 0);
}

TEST_F(ApiFixture, FailedCloseKeepsTheDriverSoCloseCanBeRetried)
{
    apitest::DriverScript& script = newScript();
    script.closeResult = -5;
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    EXPECT_EQ(QV_SDK_CloseCamera(handle(0)), -5);
    EXPECT_EQ(script.destroyed, 0);
    ICameraOps* ops = nullptr;
    EXPECT_EQ(QV_SDK_GetCameraHandle(handle(0), ops, nullptr), 0);
    script.closeResult = 0;
    EXPECT_EQ(QV_SDK_CloseCamera(handle(0)), 0);
    EXPECT_EQ(script.destroyed, 1);
    EXPECT_EQ(QV_SDK_GetCameraHandle(handle(0), ops, nullptr), -101);
}

TEST_F(ApiFixture, StreamingCallsPassTheirArgumentAndTheDriversCodeUnchanged)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);

    // The driver's frames reach the application's callback with the handle and its pointer.
    std::pair<void*, void*> seen{};
    STREAM_CALLBACK_S cb{[](void* h, const CAM_DATA*, void* user) { static_cast<std::pair<void*, void*>*>(user)->first = h; },
                         &seen};
    EXPECT_EQ(QV_SDK_RegisterStreamCallback(handle(0), &cb), 0);
    ASSERT_NE(script.callback.callback, nullptr);
    script.callback.callback(nullptr, nullptr, script.callback.privateData);
    EXPECT_EQ(seen.first, handle(0));
    STREAM_CALLBACK_INNER_S inner{nullptr, nullptr};
    EXPECT_EQ(QV_SDK_RegisterInnerStreamCallback(handle(0), &inner), 0);
    EXPECT_EQ(script.registrations, 2);

    script.startResult = -91;
    EXPECT_EQ(QV_SDK_StartStream(handle(0), 0x8B), -91);
    EXPECT_EQ(script.lastMask, 0x8B);
    EXPECT_EQ(QV_SDK_StopStream(handle(0), 0x2), 0);
    EXPECT_EQ(script.lastMask, 0x2);
}

TEST_F(ApiFixture, ExceptionFromADriverBecomesOneErrorLineAndReleasesTheCamera)
{
    apitest::DriverScript& script = newScript();
    script.throwInStart = true;
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_StartStream(handle(0), 0), -1);
    EXPECT_EQ(countLogLines(capture.text(), "ERROR", kSource, "QV_SDK_StartStream",
                            "unexpected failure: transport failure"),
              1);
    // The handle mutex was released: the next call on the same camera goes through.
    EXPECT_EQ(QV_SDK_StopStream(handle(0), 0), 0);
}

TEST_F(ApiFixture, ListenerTypesAndStop)
{
    QV_LISTENER_CALLBACK cb{};
    StdoutCapture capture;
    EXPECT_EQ(QV_SDK_StartListener(cb, static_cast<QV_LISTENER_TYPE>(7), true), -2);
    EXPECT_EQ(QV_SDK_StartListener(cb, QV_LISTENER_NETWORK, true), 0);
    EXPECT_EQ(QV_SDK_StopListener(), 0);
    EXPECT_EQ(QV_SDK_StopListener(), 0);
    const std::string out = capture.text();
    EXPECT_EQ(countLogLines(out, "ERROR", kSource, "QV_SDK_StartListener", "Not support listener type:7"), 1);
}

TEST(SwVersionTest, CopiesAtMostSeventeenBytes)
{
    char small[8];
    std::memset(small, '#', sizeof small);
    EXPECT_EQ(QV_SDK_GetSwVersion(small, 5), 0);
    EXPECT_EQ(std::string(small, 8), "v1.2.###");  // no terminator added

    char large[100];
    std::memset(large, '#', sizeof large);
    EXPECT_EQ(QV_SDK_GetSwVersion(large, sizeof large), 0);
    EXPECT_STREQ(large, "v1.2.28.20241021");
    EXPECT_EQ(large[17], '#');

    EXPECT_EQ(QV_SDK_GetSwVersion(nullptr, 10), -1);
    char none = '#';
    EXPECT_EQ(QV_SDK_GetSwVersion(&none, 0), 0);
    EXPECT_EQ(none, '#');
}
