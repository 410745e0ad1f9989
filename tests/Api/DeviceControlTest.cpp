#include <cstring>
#include <functional>

#include "ApiFixture.h"
#include "CameraGm80.h"
#include "CameraPellam.h"
#include "CameraSelvarA.h"
#include "ICameraOps.h"

using orrtest::countAnyLogLines;
using orrtest::countLogLines;
using orrtest::StdoutCapture;

namespace {

constexpr const char* kSource = "qv_camera_sdk_device_api";
constexpr const char* kContext = "qv_camera_sdk_api";
constexpr const char* kOpenFirst = "please open camera first";
constexpr int kNotTried = 1;  // a call that opens, closes or forgets the camera is not tried on the listed one

struct ControlCall {
    const char* name;
    std::function<int(void*)> call;
    int closedCode;  // answer for a listed camera that is not open
    const char* source = kSource;
    const char* closedMessage = kOpenFirst;  // null: no line
};

std::vector<ControlCall> controlCalls()
{
    static STREAM_PARAM_S param{};
    static std::vector<STREAM_PARAM_S> caps;
    static CAM_Parameter camParam{};
    static TOFMode tof{};
    static QV_CONFIG_INFO config{};
    static NET_DEV_ATTRS net{};
    static unsigned char bytes[64];
    static std::string text;
    static char buffer[32];
    static int number = 0;
    static video_captur_attr cfg{};
    static CAMERA_MODEL_E model{};
    static STREAM_CALLBACK_S cb{};
    static STREAM_CALLBACK_INNER_S inner{};
    static QV_CAM_ATTR attr{};
    static ICameraOps* ops = nullptr;
    return {
        {"QV_SDK_IsHandleExist", [](void* h) { return QV_SDK_IsHandleExist(h); }, 0, kContext, nullptr},
        {"QV_SDK_GetCameraAttrs", [](void* h) { return QV_SDK_GetCameraAttrs(h, attr); }, 0, kContext, nullptr},
        {"QV_SDK_OpenCamera", [](void* h) { return QV_SDK_OpenCamera(h, nullptr); }, kNotTried, kContext},
        {"QV_SDK_CloseCamera", [](void* h) { return QV_SDK_CloseCamera(h); }, kNotTried, kContext},
        {"QV_SDK_DestoryCamHandle", [](void* h) { return QV_SDK_DestoryCamHandle(h); }, kNotTried, kContext},
        {"QV_SDK_RegisterStreamCallback", [](void* h) { return QV_SDK_RegisterStreamCallback(h, &cb); }, -101, kContext,
         "register callback failed, please open camera first"},
        {"QV_SDK_RegisterInnerStreamCallback", [](void* h) { return QV_SDK_RegisterInnerStreamCallback(h, &inner); },
         -101, kContext, "register callback failed, please open camera first"},
        {"QV_SDK_StartStream", [](void* h) { return QV_SDK_StartStream(h, 0); }, -101, kContext},
        {"QV_SDK_StopStream", [](void* h) { return QV_SDK_StopStream(h, 0); }, -101, kContext},
        {"QV_SDK_GetCameraHandle", [](void* h) { return QV_SDK_GetCameraHandle(h, ops, nullptr); }, -101, kContext},
        {"QV_SDK_GetStreamParam", [](void* h) { return QV_SDK_GetStreamParam(h, &param); }, -101},
        {"QV_SDK_SetStreamParam", [](void* h) { return QV_SDK_SetStreamParam(h, MEDIA_TYPE_DEPTH, &param); }, -101},
        {"QV_SDK_GetCapability", [](void* h) { return QV_SDK_GetCapability(h, MEDIA_TYPE_RGB, caps); }, -101},
        {"QV_SDK_GetCamParameter", [](void* h) { return QV_SDK_GetCamParameter(h, &camParam); }, -101},
        {"QV_SDK_GetTofMode", [](void* h) { return QV_SDK_GetTofMode(h, tof); }, -101},
        {"QV_SDK_SetTimeStampType", [](void* h) { return QV_SDK_SetTimeStampType(h, TIME_STAMP_SYSTEM); }, -101},
        {"QV_SDK_GetConfigInfo", [](void* h) { return QV_SDK_GetConfigInfo(h, config); }, -101},
        {"QV_SDK_SetDevNetAttrs", [](void* h) { return QV_SDK_SetDevNetAttrs(h, net); }, -101},
        {"QV_SDK_GetDevNetAttrs", [](void* h) { return QV_SDK_GetDevNetAttrs(h, net); }, -101},
        {"QV_SDK_LogCameraCfg", [](void* h) { return QV_SDK_LogCameraCfg(h); }, -101},
        {"QV_SDK_Usb_CustomRead", [](void* h) { return QV_SDK_Usb_CustomRead(h, bytes, 64, 100); }, -101},
        {"QV_SDK_Usb_CustomWrite", [](void* h) { return QV_SDK_Usb_CustomWrite(h, bytes, 64, 100); }, -101},
        {"QV_SDK_Xu_CustomRead", [](void* h) { return QV_SDK_Xu_CustomRead(h, 0x27, bytes, 64, 100); }, -101},
        {"QV_SDK_Xu_CustomWrite", [](void* h) { return QV_SDK_Xu_CustomWrite(h, 0x27, bytes, 64, 100); }, -101},
        {"QV_SDK_UpgradeDev", [](void* h) { return QV_SDK_UpgradeDev(h, "/tmp/fw.zip", nullptr); }, -101},
        {"QV_SDK_CAMERA_Reboot", [](void* h) { return QV_SDK_CAMERA_Reboot(h); }, -101},
        {"QV_SDK_GetFwVersion", [](void* h) { return QV_SDK_GetFwVersion(h, text); }, -101},
        {"QV_SDK_GetPrivateMaxSize", [](void* h) { return QV_SDK_GetPrivateMaxSize(h, number); }, -101},
        {"QV_SDK_GetSerialNumber", [](void* h) { return QV_SDK_GetSerialNumber(h, buffer, 32); }, -101},
        {"QV_SDK_SetSerialNumber", [](void* h) { return QV_SDK_SetSerialNumber(h, "SN", 2); }, -101},
        {"QV_SDK_GetFwVersion", [](void* h) { return QV_SDK_GetFwVersion(h, buffer, 32); }, -101},
        {"QV_SDK_GetHimaxVersion", [](void* h) { return QV_SDK_GetHimaxVersion(h, buffer, 32); }, -101},
        {"QV_SDK_SetStreamCfg", [](void* h) { return QV_SDK_SetStreamCfg(h, cfg); }, -101},
        {"QV_SDK_GetStreamCfg", [](void* h) { return QV_SDK_GetStreamCfg(h, cfg); }, -101},
        {"QV_SDK_WritePrivateData", [](void* h) { return QV_SDK_WritePrivateData(h, bytes, 4, 0); }, -101},
        {"QV_SDK_ReadPrivateData", [](void* h) { return QV_SDK_ReadPrivateData(h, bytes, 4, 0); }, -101},
        {"QV_SDK_GetCameraModel", [](void* h) { return QV_SDK_GetCameraModel(h, model); }, 0, kSource, nullptr},
    };
}

// Calls that reach the driver through the camera-handle and model lookups answer -1 with
// their own line whatever the lookup's reason.
struct LookupCall {
    const char* name;
    std::function<int(void*)> call;
    const char* message;
};

std::vector<LookupCall> lookupCalls()
{
    static CAM_Parameter_Set set{};
    static CAM_Parameter param{};
    static MERGE_CALLBACK_S merge{};
    static CAM_FRAME in{}, a{}, b{};
    return {
        {"QV_SDK_GetCamParameterSet", [](void* h) { return QV_SDK_GetCamParameterSet(h, set); },
         "get camera handle fail."},
        {"QV_SDK_GetOriginalCamParameter", [](void* h) { return QV_SDK_GetOriginalCamParameter(h, &param); },
         "get camera model fail."},
        {"QV_SDK_RegisterMergeFrameCallback", [](void* h) { return QV_SDK_RegisterMergeFrameCallback(h, &merge); },
         "get camera model fail."},
        {"QV_SDK_PaeseImage", [](void* h) { return QV_SDK_PaeseImage(h, in, a, b); }, "get camera model fail."},
    };
}

template <typename Base>
struct OpenableDriver : Base {
    OpenableDriver(const QV_CAM_ATTR& attr, void* handle) : Base(attr, handle) {}
    int open(char const*) override { return 0; }
};

struct SideBySideSelvar : OpenableDriver<CameraSelvarA> {
    using OpenableDriver::OpenableDriver;
    int getStreamType() const override { return streams; }
    int streams = 0x41;
};

}  // namespace

// A null handle is refused without a word, an unknown one with the caller's name, and a
// listed camera that is not open with how to fix it; nothing reaches the driver.
TEST_F(ApiFixture, EveryPerCameraCallValidatesItsHandle)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    int notAHandle = 0;
    for (const ControlCall& c : controlCalls()) {
        SCOPED_TRACE(c.name);
        {
            StdoutCapture out;
            EXPECT_EQ(c.call(nullptr), -100);
            EXPECT_EQ(out.text(), "");
        }
        {
            StdoutCapture out;
            EXPECT_EQ(c.call(&notAHandle), -83);
            EXPECT_EQ(countLogLines(out.text(), "ERROR", c.source, c.name, "This camera handle not exist"), 1);
        }
        if (c.closedCode == kNotTried) continue;
        StdoutCapture out;
        EXPECT_EQ(c.call(handle(0)), c.closedCode);
        if (c.closedMessage) {
            EXPECT_EQ(countLogLines(out.text(), "ERROR", c.source, c.name, c.closedMessage), 1);
        }
    }
    EXPECT_EQ(script.opens + script.starts + script.stops + script.registrations, 0);
    EXPECT_TRUE(script.ops.empty());
    for (const LookupCall& c : lookupCalls()) {
        for (void* h : {static_cast<void*>(nullptr), static_cast<void*>(&notAHandle)}) {
            StdoutCapture out;
            EXPECT_EQ(c.call(h), -1) << c.name;
            EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, c.name, c.message), 1) << c.name;
        }
    }
}

TEST_F(ApiFixture, TextAnswersAreCopiedUpToTheCapacityWithoutATerminatorWhenFull)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    script.serial = "QV30C0042";
    script.fwVersion = "FL30C:V1.0.8:H01";
    script.himaxVersion = "HX2.1.7";
    using Getter = int (*)(void*, char*, int);
    const std::pair<Getter, std::string> getters[] = {
        {&QV_SDK_GetSerialNumber, script.serial},
        {static_cast<Getter>(&QV_SDK_GetFwVersion), script.fwVersion},
        {&QV_SDK_GetHimaxVersion, script.himaxVersion},
    };
    for (const auto& [get, text] : getters) {
        char buf[40];
        std::memset(buf, '#', sizeof buf);
        EXPECT_EQ(get(handle(0), buf, 0), 0);
        EXPECT_EQ(buf[0], '#');
        EXPECT_EQ(get(handle(0), buf, 1), 0);
        EXPECT_EQ(std::string(buf, 2), text.substr(0, 1) + "#");
        EXPECT_EQ(get(handle(0), buf, static_cast<int>(text.size())), 0);
        EXPECT_EQ(std::string(buf, text.size() + 1), text + "#");  // exactly full: no terminator
        EXPECT_EQ(get(handle(0), buf, 40), 0);
        EXPECT_STREQ(buf, text.c_str());
        EXPECT_EQ(get(handle(0), buf, -5), 0);
        StdoutCapture out;
        EXPECT_EQ(get(handle(0), nullptr, 10), -1);
        EXPECT_EQ(countAnyLogLines(out.text()), 1);
    }

    script.opResult = -89;
    StdoutCapture out;
    char buf[16] = "untouched";
    EXPECT_EQ(QV_SDK_GetSerialNumber(handle(0), buf, 16), -89);
    EXPECT_EQ(QV_SDK_GetFwVersion(handle(0), buf, 16), -89);
    EXPECT_EQ(QV_SDK_GetHimaxVersion(handle(0), buf, 16), -89);
    EXPECT_STREQ(buf, "untouched");
    const std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_GetSerialNumber", "get serialno fail."), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_GetFwVersion", "get fw version fail."), 1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_GetHimaxVersion", "get Himax version fail."), 1);
}

TEST_F(ApiFixture, SerialNumberIsBuiltFromTheGivenBytes)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    EXPECT_EQ(QV_SDK_SetSerialNumber(handle(0), "ABCDEF", 3), 0);
    EXPECT_EQ(script.ops.back(), "setSn:ABC");
    EXPECT_EQ(QV_SDK_SetSerialNumber(handle(0), nullptr, 3), -1);
    EXPECT_EQ(QV_SDK_SetSerialNumber(handle(0), "ABC", -1), -1);
    EXPECT_EQ(script.ops.size(), 1u);
}

TEST_F(ApiFixture, PrivateDataChecksSizeBeforeOffset)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    unsigned char data[512] = {};
    struct Case {
        int size, offset, result;
        const char* writeMessage;  // null: forwarded to the command object
        const char* readMessage;
    } cases[] = {
        {256, 0, 0, nullptr, nullptr},
        {1, 255, 0, nullptr, nullptr},
        {257, 0, -1, "size is too large ! write private data fail !", "size is too large ! read private data fail !"},
        {1, 256, -1, "size is too large ! write private data fail !", "size is too large ! read private data fail !"},
        {0, 256, -1, "offset is too large ! write private data fail !",
         "offset is too large ! read private data fail !"},
        {0, 300, -1, "size is too large ! write private data fail !", "size is too large ! read private data fail !"},
    };
    for (const Case& c : cases) {
        script.privateAccess.clear();
        StdoutCapture out;
        EXPECT_EQ(QV_SDK_WritePrivateData(handle(0), data, c.size, c.offset), c.result) << c.size << "@" << c.offset;
        EXPECT_EQ(QV_SDK_ReadPrivateData(handle(0), data, c.size, c.offset), c.result) << c.size << "@" << c.offset;
        const std::string text = out.text();
        if (c.writeMessage) {
            EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_WritePrivateData", c.writeMessage), 1) << text;
            EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_ReadPrivateData", c.readMessage), 1) << text;
            EXPECT_TRUE(script.privateAccess.empty());
        } else {
            ASSERT_EQ(script.privateAccess.size(), 2u);
            EXPECT_EQ(script.privateAccess[0], std::make_pair(c.size, c.offset));
        }
    }
    StdoutCapture out;
    EXPECT_EQ(QV_SDK_WritePrivateData(handle(0), nullptr, 4, 0), -1);
    EXPECT_EQ(QV_SDK_ReadPrivateData(handle(0), nullptr, 4, 0), -1);
    const std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_WritePrivateData",
                            "data is nullptr ! write private data fail !"),
              1);
    EXPECT_EQ(countAnyLogLines(text), 1);  // a null read buffer is refused silently

    // A camera without a private area answers with the capacity query's own code.
    script.privateCapacityResult = -1;
    EXPECT_EQ(QV_SDK_WritePrivateData(handle(0), data, 4, 0), -1);
    EXPECT_EQ(QV_SDK_ReadPrivateData(handle(0), data, 4, 0), -1);
}

TEST_F(ApiFixture, StreamCfgReplacesOnlyTheFirstFourFields)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    int user = 0;
    script.streamCfg.callback = [](const frame_info*, void*) {};
    script.streamCfg.user = &user;
    script.streamCfg.timestampType = 1;
    video_captur_attr in{1, 1280, 720, 25};
    ASSERT_EQ(QV_SDK_SetStreamCfg(handle(0), in), 0);
    EXPECT_EQ(script.streamCfg.format, 1u);
    EXPECT_EQ(script.streamCfg.width, 1280u);
    EXPECT_EQ(script.streamCfg.height, 720u);
    EXPECT_EQ(script.streamCfg.fps, 25u);
    EXPECT_EQ(script.streamCfg.user, &user);
    EXPECT_EQ(script.streamCfg.timestampType, 1u);

    video_captur_attr out{};
    ASSERT_EQ(QV_SDK_GetStreamCfg(handle(0), out), 0);
    EXPECT_EQ(std::memcmp(&out, &in, sizeof in), 0);
    script.opResult = -1;
    video_captur_attr untouched{9, 9, 9, 9};
    EXPECT_EQ(QV_SDK_GetStreamCfg(handle(0), untouched), -1);
    EXPECT_EQ(untouched.width, 9u);
}

TEST_F(ApiFixture, CameraModelFollowsTheIdentityEvenWhenClosed)
{
    struct Row {
        QV_CAM_ATTR_TYPE type;
        uint32_t vid, pid;
        int expected;  // -1: the caller's value stays
    } rows[] = {
        {QV_CAM_ATTR_USB, 0x3482, 0x6789, 11},   {QV_CAM_ATTR_USB, 0x3482, 0x6723, 9},
        {QV_CAM_ATTR_USB, 0x3482, 0x5727, 3},    {QV_CAM_ATTR_USB, 0x3482, 0x5723, 1},
        {QV_CAM_ATTR_USB, 0x3482, 0x5724, 2},    {QV_CAM_ATTR_USB, 0x3482, 0x5725, 4},
        {QV_CAM_ATTR_USB, 0x3482, 0x7723, 6},    {QV_CAM_ATTR_USB, 0x3482, 0x8723, 7},
        {QV_CAM_ATTR_USB, 0x3482, 0x2789, 12},   {QV_CAM_ATTR_USB, 0x3482, 0x278A, 13},
        {QV_CAM_ATTR_USB, 0x3482, 0x6724, 14},   {QV_CAM_ATTR_USB, 0x3482, 0x278B, 15},
        {QV_CAM_ATTR_USB, 0x3482, 0x278C, 18},   {QV_CAM_ATTR_USB, 0x1A86, 0x5723, 1},
        {QV_CAM_ATTR_USB, 0x1A86, 0x5722, 1},    {QV_CAM_ATTR_USB, 0x0C45, 0x636D, 5},
        {QV_CAM_ATTR_USB, 0x1A86, 0x5724, -1},   {QV_CAM_ATTR_USB, 0x2207, 0x0016, -1},
        {QV_CAM_ATTR_USB, 0x3482, 0x5722, -1},   {QV_CAM_ATTR_SERIAL, 0x1A86, 0x5724, 2},
        {QV_CAM_ATTR_SERIAL, 0x2207, 0x0016, 17}, {QV_CAM_ATTR_SERIAL, 0x3482, 0x6723, 9},
        {QV_CAM_ATTR_SERIAL, 0x0C45, 0x636B, -1},
    };
    apitest::World& w = apitest::world();
    for (const Row& r : rows) {
        QV_CAM_ATTR attr = apitest::usbCamera(r.vid, r.pid, 1, static_cast<int>(w.attached.size()) + 1, "1");
        if (r.type == QV_CAM_ATTR_SERIAL) {
            std::memset(&attr.attr, 0, sizeof attr.attr);
            attr.type = QV_CAM_ATTR_SERIAL;
            attr.attr.serialAttrs.vid = r.vid;
            attr.attr.serialAttrs.pid = r.pid;
        }
        w.attached.push_back(attr);
    }
    QV_CAM_ATTR net = apitest::usbCamera(0, 0, 0, 0, "");
    net.type = QV_CAM_ATTR_NET;
    net.attr.netAttrs.model = CAMERA_MODEL_MORVIK;
    QV_CAM_ATTR odd = net;
    odd.type = static_cast<QV_CAM_ATTR_TYPE>(3);
    w.attached.push_back(net);
    w.attached.push_back(odd);
    ASSERT_EQ(QV_SDK_GetCameraList(list), static_cast<int>(std::size(rows)) + 2);

    for (size_t i = 0; i < std::size(rows); ++i) {
        CAMERA_MODEL_E model = static_cast<CAMERA_MODEL_E>(99);
        EXPECT_EQ(QV_SDK_GetCameraModel(handle(i), model), 0) << i;
        EXPECT_EQ(static_cast<int>(model), rows[i].expected == -1 ? 99 : rows[i].expected)
            << std::hex << rows[i].vid << ":" << rows[i].pid << " kind " << rows[i].type;
    }
    CAMERA_MODEL_E model = CAMERA_MODEL_UNKNOWN;
    EXPECT_EQ(QV_SDK_GetCameraModel(handle(std::size(rows)), model), 0);
    EXPECT_EQ(model, CAMERA_MODEL_MORVIK);
    StdoutCapture out;
    EXPECT_EQ(QV_SDK_GetCameraModel(handle(std::size(rows) + 1), model), -1);
    EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, "QV_SDK_GetCameraModel", "not support attr type:3"), 1);
}

TEST_F(ApiFixture, StreamTypeIsNotOfferedEvenForAnOpenCamera)
{
    apitest::DriverScript& script = newScript();
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    int type = 42;
    StdoutCapture out;
    EXPECT_EQ(QV_SDK_GetStreamType(handle(0), &type), -1);
    EXPECT_EQ(QV_SDK_GetStreamType(nullptr, nullptr), -1);
    EXPECT_EQ(type, 42);
    EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, "QV_SDK_GetStreamType", "Not support to get stream type."), 2);
}

TEST_F(ApiFixture, SideBySideImagesAreSplitOnlyForASelvarAStreamingBoth)
{
    apitest::World& w = apitest::world();
    w.attached = {apitest::usbCamera(0x0C45, 0x636D, 1, 5, "1"), apitest::usbCamera(0x3482, 0x6723, 1, 6, "2")};
    SideBySideSelvar* selvar = nullptr;
    w.makeDriver = [&](const QV_CAM_ATTR& attr, void* h) -> ICameraOps* {
        if (attr.attr.usbAttrs.pid == 0x636D) return selvar = new SideBySideSelvar(attr, h);
        return new OpenableDriver<CameraPellam>(attr, h);
    };
    ASSERT_EQ(QV_SDK_GetCameraList(list), 2);

    unsigned char pixels[16];
    CAM_FRAME in{1, 8, 1, pixels, 16, 0, 7, 99};
    CAM_FRAME first, second;
    StdoutCapture out;
    EXPECT_EQ(QV_SDK_PaeseImage(handle(1), in, first, second), -2);
    EXPECT_EQ(QV_SDK_PaeseImage(handle(0), in, first, second), -1);  // closed
    std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_PaeseImage",
                            "This camera is not SELVAR-A camera and does not support this interface !"),
              1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_PaeseImage", "get camera handle fail."), 1);

    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    ASSERT_EQ(QV_SDK_PaeseImage(handle(0), in, first, second), 0);
    EXPECT_EQ(first.data, pixels + 8);
    EXPECT_EQ(second.data, pixels);
    EXPECT_EQ(first.width, 4u);
    EXPECT_EQ(second.width, 4u);
    EXPECT_EQ(first.size, 8u);
    EXPECT_EQ(second.height, 1u);
    EXPECT_EQ(second.frameId, 7u);

    selvar->streams = 0x01;
    std::memset(&second, 0x7F, sizeof second);
    EXPECT_EQ(QV_SDK_PaeseImage(handle(0), in, first, second), -1);
    EXPECT_EQ(first.data, pixels);
    EXPECT_EQ(first.size, 16u);
    EXPECT_EQ(second.data, nullptr);
    EXPECT_EQ(second.size, 0u);
}

TEST_F(ApiFixture, ModelSpecificCallsRefuseOtherModelsAndReportTheDriversAnswer)
{
    apitest::World& w = apitest::world();
    w.attached = {apitest::usbCamera(0x0C45, 0x636D, 1, 5, "1"), apitest::usbCamera(0x3482, 0x8723, 1, 6, "2"),
                  apitest::usbCamera(0x3482, 0x5723, 1, 7, "3"), apitest::usbCamera(0x3482, 0x6723, 1, 8, "4")};
    w.makeDriver = [](const QV_CAM_ATTR& attr, void* h) -> ICameraOps* {
        switch (attr.attr.usbAttrs.pid) {
        case 0x636D: return new OpenableDriver<CameraSelvarA>(attr, h);
        case 0x8723: return new OpenableDriver<CameraPellam>(attr, h);
        case 0x5723: return new OpenableDriver<CameraGm80>(attr, h);
        default: return new OpenableDriver<CameraPellam>(attr, h);
        }
    };
    ASSERT_EQ(QV_SDK_GetCameraList(list), 4);
    for (size_t i = 0; i < 4; ++i) ASSERT_EQ(QV_SDK_OpenCamera(handle(i), nullptr), 0);
    void* selvar = handle(0);
    void* pellam = handle(1);
    void* gm80 = handle(2);
    void* fl30c = handle(3);

    MERGE_CALLBACK_S merge{};
    CAM_Parameter_Set set{};
    CAM_Parameter param{};
    StdoutCapture out;
    EXPECT_EQ(QV_SDK_RegisterMergeFrameCallback(pellam, &merge), -2);
    EXPECT_EQ(QV_SDK_RegisterMergeFrameCallback(selvar, &merge), -1);
    EXPECT_EQ(QV_SDK_GetCamParameterSet(pellam, set), -1);
    EXPECT_EQ(QV_SDK_GetCamParameterSet(selvar, set), -2);
    EXPECT_EQ(QV_SDK_GetOriginalCamParameter(fl30c, &param), -2);
    EXPECT_EQ(QV_SDK_GetOriginalCamParameter(gm80, &param), -1);
    const std::string text = out.text();
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_RegisterMergeFrameCallback",
                            "This camera is not SELVAR-A camera and does not support this interface !"),
              1);
    EXPECT_EQ(countLogLines(text, "WARN", "UnsupportedCamera", "notSupported",
                            "CameraSelvarA does not support registerMergeDataCallback"),
              1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_RegisterMergeFrameCallback",
                            "register Merge Data Callback fail."),
              1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_GetCamParameterSet",
                            "get Camera parameter Set failed, ret -1"),
              1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_GetCamParameterSet",
                            "get Camera parameter Set failed, ret -2"),
              1);
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_GetOriginalCamParameter",
                            "not support to get original camera param."),
              1);
    EXPECT_EQ(countLogLines(text, "ERROR", "SolenCommonCtrl", "getPA", "response error -1"), 1);  // nothing to ask
    EXPECT_EQ(countLogLines(text, "ERROR", kSource, "QV_SDK_GetOriginalCamParameter", "get original camera param fail."),
              1);
}

TEST_F(ApiFixture, DriverWithoutACommandObjectIsReportedNotDereferenced)
{
    apitest::DriverScript& script = newScript();
    script.hasCommand = false;
    attachAndList({&script});
    ASSERT_EQ(QV_SDK_OpenCamera(handle(0), nullptr), 0);
    StdoutCapture out;
    int size = 0;
    std::string fw;
    EXPECT_EQ(QV_SDK_CAMERA_Reboot(handle(0)), -1);
    EXPECT_EQ(QV_SDK_GetPrivateMaxSize(handle(0), size), -1);
    EXPECT_EQ(QV_SDK_GetFwVersion(handle(0), fw), -1);
    EXPECT_EQ(countLogLines(out.text(), "ERROR", kSource, "QV_SDK_CAMERA_Reboot", "this camera has no command channel"),
              1);
}
