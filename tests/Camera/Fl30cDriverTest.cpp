// The Fl30c driver's skeleton on a transport double: open, start, stop and close with the
// commands each sends (bytes as handed to the transport), the media mask and frame-rate
// checks, and how transfers become callbacks (skipped first frames, cleared slots, frame
// ids, the deferred gain, the inner callback, timestamps).
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "Fl30cTestTransfers.h"
#include "LogCapture.h"

using namespace fl30ctest;
using orrtest::countAnyLogLines;
using orrtest::countLogLines;
using orrtest::FakeCapture;
using orrtest::RecordedRequest;
using orrtest::StdoutCapture;

namespace {

constexpr const char* kBase = "CameraDriverBase";
constexpr const char* kDriver = "CameraFl30c";

// Expected wire form of an extension-unit write of text (64 zero-filled bytes).
void expectXuWrite(const RecordedRequest& r, uint8_t code, const std::string& text, uint16_t length = 64)
{
    SCOPED_TRACE("command 0x" + std::to_string(code) + " \"" + text + "\"");
    EXPECT_EQ(r.requestType, 0x21);
    EXPECT_EQ(r.request, code);
    EXPECT_EQ(r.value, 0x0100);
    EXPECT_EQ(r.index, 0x0A00);
    EXPECT_EQ(r.length, length);
    EXPECT_EQ(r.timeout, 3000u);
    std::vector<unsigned char> expected(length, 0);
    std::memcpy(expected.data(), text.data(), text.size());
    EXPECT_EQ(r.data, expected);
}

void expectClearHalt(const RecordedRequest& r)
{
    EXPECT_EQ(r.requestType, 0x02);
    EXPECT_EQ(r.request, 0x01);
    EXPECT_EQ(r.value, 0);
    EXPECT_EQ(r.index, 0x85);
    EXPECT_EQ(r.length, 0);
}

void expectXuRead(const RecordedRequest& r, uint8_t code)
{
    EXPECT_EQ(r.requestType, 0xA1);
    EXPECT_EQ(r.request, code);
    EXPECT_EQ(r.length, 64);
}

class Fl30cDriverTest : public DriverFixture {};

}  // namespace

// ---------------------------------------------------------------- open

TEST_F(Fl30cDriverTest, OpenClearsTheHaltReadsTheMjpegSizeAndASecondOpenOnlyWarns)
{
    StdoutCapture out;
    ASSERT_EQ(driver->open(nullptr), 0);
    auto reqs = capture->requests();
    ASSERT_EQ(reqs.size(), 2u);
    expectClearHalt(reqs[0]);
    expectXuRead(reqs[1], 0x27);
    EXPECT_EQ(capture->opens, 1);

    EXPECT_EQ(driver->open(nullptr), 0);
    EXPECT_EQ(capture->opens, 1);
    EXPECT_EQ(capture->requests().size(), 2u);
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "WARN", kBase, "open", "this camera already opened"), 1);
    EXPECT_EQ(countLogLines(log, "INFO", kDriver, "applySettings",
                            "Camera confiParaEnable false, No configuration parameters will be set"),
              1);
    EXPECT_EQ(countLogLines(log, "INFO", "XuCmdCameraFl30c", "getMjpegSize", "mjpeg size:640x480"), 1);
}

TEST_F(Fl30cDriverTest, OpenFailuresLeaveTheDriverClosed)
{
    {  // the transport does not open
        capture->openResult = -3;
        StdoutCapture out;
        EXPECT_EQ(driver->open(nullptr), -82);
        EXPECT_TRUE(capture->requests().empty());
        EXPECT_FALSE(driver->isOpened());
        EXPECT_EQ(driver->startStreaming(0), -1);
        EXPECT_EQ(countLogLines(out.text(), "ERROR", kBase, "startStreaming",
                                "this camera not open, pelase open the camera first"),
                  1);
    }
    {  // the endpoint halt cannot be cleared: the transport stays open, nothing else is sent
        makeDriver("FL30C:V1.0.8:H01:20241021");
        capture->fail(0x01, -2);
        StdoutCapture out;
        EXPECT_EQ(driver->open(nullptr), -1);
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "ERROR", kBase, "open", "send clear feature fail !"), 1);
        EXPECT_EQ(countLogLines(log, "ERROR", "XuCmdCameraFl30c", "xucmd_write_clear_feature", "xucmd write fail"), 1);
        EXPECT_EQ(capture->requests().size(), 1u);
        EXPECT_EQ(capture->opens, 1);
        EXPECT_FALSE(driver->isOpened());
        EXPECT_EQ(driver->close(), 0);
        EXPECT_EQ(capture->closes, 0);
    }
    {  // a configuration file that is no configuration: the reader's code, the transport untouched
        makeDriver("FL30C:V1.0.8:H01:20241021");
        const std::string path = writeTmpFile("broken.json", "{ \"version\": \"v1.x\", ");
        StdoutCapture out;
        const int ret = driver->open(path.c_str());
        EXPECT_LT(ret, 0);
        EXPECT_NE(ret, -82);
        EXPECT_EQ(countLogLines(out.text(), "ERROR", kBase, "open", "get Configuration Parameters fail."), 1);
        EXPECT_EQ(capture->opens, 0);
        EXPECT_TRUE(capture->requests().empty());
        EXPECT_FALSE(driver->isOpened());
    }
    {  // no transport at all
        TestFl30c bare(fl30cAttr(), &handleTag, nullptr);
        StdoutCapture out;
        EXPECT_EQ(bare.open(nullptr), -1);
        EXPECT_EQ(countLogLines(out.text(), "ERROR", kBase, "open", "Failed to create the camera example !"), 1);
        EXPECT_EQ(bare.close(), 0);
    }
}

TEST_F(Fl30cDriverTest, EnabledSettingsAreWrittenInTheirOrderBeforeTheMjpegSizeIsRead)
{
    const std::string config =
        fl30cConfig(R"({"enable": 1, "AE": 1, "T": 41, "P": 42, "Gain": 8, "Confidence": 3, "SD": 2, "TD": 5, "TDC": 1})");
    StdoutCapture out;
    openWith(config);
    const auto reqs = capture->requests();
    ASSERT_EQ(reqs.size(), 10u);
    expectClearHalt(reqs[0]);
    expectXuWrite(reqs[1], 0x23, "1");   // AE mode
    expectXuWrite(reqs[2], 0x22, "41");  // lighting time
    expectXuWrite(reqs[3], 0x36, "42");  // current intensity
    expectXuWrite(reqs[4], 0x47, "S=C0,R2=3e08,D=2f", 18);  // gain 8
    expectXuWrite(reqs[5], 0x47, "S=C0,R2=3e09,D=24", 18);
    expectXuWrite(reqs[6], 0x24, "3");  // confidence
    expectXuWrite(reqs[7], 0x52, "2");  // spatial denoise
    expectXuWrite(reqs[8], 0x51, "5");  // temporal denoise
    expectXuRead(reqs[9], 0x27);
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "INFO", kDriver, "applySettings",
                            "Camera confiParaEnable true, setting configuration parameter"),
              1);
    EXPECT_EQ(countLogLines(log, "INFO", kDriver, "applySettings",
                            "Camera confiParaEnable false, No configuration parameters will be set"),
              0);
    EXPECT_EQ(countLogLines(log, "INFO", "XuCmdCameraFl30c", "getMjpegSize", "mjpeg size:640x480"), 1);
}

TEST_F(Fl30cDriverTest, DisabledSettingsAreNotWritten)
{
    StdoutCapture out;
    openWith(fl30cConfig(R"({"enable": 0, "AE": 1, "T": 41, "P": 42, "Gain": 8, "Confidence": 3})"));
    const auto reqs = capture->requests();
    ASSERT_EQ(reqs.size(), 2u);
    expectClearHalt(reqs[0]);
    expectXuRead(reqs[1], 0x27);
    EXPECT_EQ(countLogLines(out.text(), "INFO", kDriver, "applySettings",
                            "Camera confiParaEnable false, No configuration parameters will be set"),
              1);
}

// ---------------------------------------------------------------- start and stop

TEST_F(Fl30cDriverTest, DefaultStartIsDepthColourAndCloudWithTheRateCommandsAroundTheTransportStart)
{
    openWith(fl30cConfig(R"({"TDC": 1})"));
    setMode(MEDIA_TYPE_RGB, 640, 480, 30);
    const size_t before = capture->requests().size();
    StdoutCapture out;
    ASSERT_EQ(driver->startStreaming(0), 0);
    EXPECT_EQ(driver->mediaMask(), 11u);
    EXPECT_TRUE(driver->isStarted());
    ASSERT_EQ(capture->starts, 1);
    EXPECT_EQ(capture->lastCfg.format, 0u);
    EXPECT_EQ(capture->lastCfg.width, 640u);
    EXPECT_EQ(capture->lastCfg.height, 642u);
    EXPECT_EQ(capture->lastCfg.fps, 30u);
    EXPECT_EQ(capture->lastCfg.user, driver.get());

    const auto reqs = requestsSince(before);
    ASSERT_EQ(reqs.size(), 3u);
    EXPECT_EQ(capture->requestsBeforeStart, static_cast<int>(before) + 2);
    expectXuWrite(reqs[0], 0x54, "30");  // the larger of depth (15) and colour (30)
    expectXuWrite(reqs[1], 0x48, "1");   // temperature-drift compensation as configured
    expectXuWrite(reqs[2], 0x54, "30");  // after the start, depth being requested
    EXPECT_EQ(countLogLines(out.text(), "INFO", kBase, "startStreaming", "start streaming"), 1);
}

TEST_F(Fl30cDriverTest, TransferSizeFollowsTheDepthWidth)
{
    openWith();
    const std::pair<uint32_t, uint32_t> table[] = {{640, 642}, {320, 564}, {160, 768}};
    for (const auto& [width, rows] : table) {
        setMode(MEDIA_TYPE_DEPTH, width, width * 3 / 4, 15);
        ASSERT_EQ(driver->startStreaming(0), 0);
        EXPECT_EQ(capture->lastCfg.width, width);
        EXPECT_EQ(capture->lastCfg.height, rows);
        EXPECT_EQ(capture->lastCfg.fps, 15u);
        ASSERT_EQ(driver->stopStreaming(0), 0);
    }
    EXPECT_EQ(capture->starts, 3);
    EXPECT_EQ(capture->stops, 3);
}

TEST_F(Fl30cDriverTest, InfraredAddedWhileStreamingForcesFullDepthWithoutRestarting)
{
    openWith();
    setMode(MEDIA_TYPE_DEPTH, 320, 240, 15);
    ASSERT_EQ(driver->startStreaming(0), 0);
    const size_t before = capture->requests().size();
    StdoutCapture out;
    EXPECT_EQ(driver->startStreaming(QV_MEDIA_IR), 0);
    EXPECT_EQ(driver->mediaMask(), 15u);
    EXPECT_EQ(capture->starts, 1);
    EXPECT_EQ(capture->requests().size(), before);
    STREAM_PARAM_S modes[3];
    ASSERT_EQ(driver->getStreamParam(modes), 0);
    EXPECT_EQ(modes[1].width, 640u);
    EXPECT_EQ(modes[1].height, 480u);
    EXPECT_EQ(countLogLines(out.text(), "INFO", kBase, "startStreaming", "When you open ir, the depth size must be 640x480"),
              1);
}

TEST_F(Fl30cDriverTest, InfraredFromTheStartSendsThirtyFramesPerSecondAfterTheStart)
{
    openWith();
    setMode(MEDIA_TYPE_DEPTH, 320, 240, 15);
    const size_t before = capture->requests().size();
    ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH | QV_MEDIA_IR), 0);
    EXPECT_EQ(capture->lastCfg.width, 640u);  // forced before the transfer size is chosen
    EXPECT_EQ(capture->lastCfg.height, 642u);
    const auto reqs = requestsSince(before);
    ASSERT_EQ(reqs.size(), 3u);
    expectXuWrite(reqs[0], 0x54, "15");
    expectXuWrite(reqs[1], 0x48, "0");
    expectXuWrite(reqs[2], 0x54, "30");  // depth and infrared take turns
}

TEST_F(Fl30cDriverTest, RefusedMasksAndRateCombinations)
{
    openWith();
    {
        StdoutCapture out;
        EXPECT_EQ(driver->startStreaming(QV_MEDIA_POINTCLOUD), -85);  // a cloud needs depth
        EXPECT_EQ(driver->startStreaming(0x100), -85);
        EXPECT_EQ(countLogLines(out.text(), "ERROR", kBase, "startStreaming", "not support media type"), 2);
    }
    struct Case {
        uint32_t depthFps, rgbFps;
        int mask;
        const char* message;
    };
    const Case cases[] = {
        {30, 15, QV_MEDIA_DEPTH | QV_MEDIA_RGB, "depth frame rate not equal to rgb frame rate"},
        {15, 10, QV_MEDIA_DEPTH | QV_MEDIA_RGB, "depth frame rate not equal to rgb frame rate"},
        {30, 30, QV_MEDIA_DEPTH | QV_MEDIA_IR, "depth frame rate not equal to ir frame rate"},
        {15, 30, QV_MEDIA_RGB | QV_MEDIA_IR, "rgb frame rate not equal to ir frame rate"},
    };
    for (const Case& c : cases) {
        makeDriver("FL30C:V1.0.8:H01:20241021");
        openWith();
        setMode(MEDIA_TYPE_DEPTH, 640, 480, c.depthFps);
        setMode(MEDIA_TYPE_RGB, 640, 480, c.rgbFps);
        StdoutCapture out;
        EXPECT_EQ(driver->startStreaming(c.mask), -91) << c.message;
        EXPECT_EQ(countLogLines(out.text(), "ERROR", kDriver, "checkFpsCfg", c.message), 1);
        EXPECT_EQ(capture->starts, 0);
        EXPECT_FALSE(driver->isStarted());
    }
    // The one unequal pair allowed.
    makeDriver("FL30C:V1.0.8:H01:20241021");
    openWith();
    setMode(MEDIA_TYPE_RGB, 640, 480, 30);
    EXPECT_EQ(driver->startStreaming(0), 0);
}

TEST_F(Fl30cDriverTest, TransportStartFailureIsMinus86AndLeavesTheDriverStopped)
{
    openWith();
    capture->startResult = -3;
    EXPECT_EQ(driver->startStreaming(0), -86);
    EXPECT_FALSE(driver->isStarted());
    StdoutCapture out;
    EXPECT_EQ(driver->stopStreaming(0), 0);
    EXPECT_EQ(countLogLines(out.text(), "WARN", kBase, "stopStreaming", "The camera is not started"), 1);
    EXPECT_EQ(capture->stops, 0);
    capture->startResult = 0;
    EXPECT_EQ(driver->startStreaming(0), 0);  // nothing was marked as streaming
    EXPECT_EQ(capture->starts, 2);
}

TEST_F(Fl30cDriverTest, PartialStopKeepsTheTransportAndAFullStopEndsIt)
{
    openWith();
    {
        StdoutCapture out;
        EXPECT_EQ(driver->stopStreaming(0), 0);  // never started
        EXPECT_EQ(countLogLines(out.text(), "WARN", kBase, "stopStreaming", "The camera is not started"), 1);
    }
    ASSERT_EQ(driver->startStreaming(0), 0);
    EXPECT_EQ(driver->stopStreaming(QV_MEDIA_RGB), 0);
    EXPECT_EQ(driver->mediaMask(), 9u);
    EXPECT_EQ(capture->stops, 0);
    EXPECT_TRUE(driver->isStarted());

    StdoutCapture out;
    EXPECT_EQ(driver->stopStreaming(QV_MEDIA_DEPTH | QV_MEDIA_POINTCLOUD), 0);  // the last streams
    EXPECT_EQ(capture->stops, 1);
    EXPECT_EQ(driver->mediaMask(), 0u);
    EXPECT_FALSE(driver->isStarted());
    EXPECT_EQ(countLogLines(out.text(), "INFO", kBase, "stopStreaming", "stop streaming"), 1);

    ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH | QV_MEDIA_RGB), 0);
    EXPECT_EQ(driver->mediaMask(), 3u);  // a new start does not bring old streams back
    EXPECT_EQ(driver->stopStreaming(0), 0);
    EXPECT_EQ(capture->stops, 2);
}

namespace {

// A transport whose reading thread hands over one last transfer while stop() waits for it.
class InFlightCapture : public OrderedCapture {
public:
    int stop() override
    {
        if (!last.empty()) deliver(frameOf(last, 640, 77));
        return OrderedCapture::stop();
    }
    std::vector<uint8_t> last;
};

}  // namespace

TEST_F(Fl30cDriverTest, ATransferArrivingWhileTheStreamStopsKeepsItsStreams)
{
    Recorder lastFrames;
    auto fake = std::make_unique<InFlightCapture>();
    InFlightCapture* inFlight = fake.get();
    inFlight->replyText(0x27, "FL30C:V1.0.8:H01:20241021");
    TestFl30c stopping(fl30cAttr(), &handleTag, std::move(fake));
    STREAM_CALLBACK_S cb = lastFrames.callback();
    stopping.registerDataCallback(&cb);
    ASSERT_EQ(stopping.open(nullptr), 0);
    ASSERT_EQ(stopping.startStreaming(0), 0);
    const auto bytes = buildTransfer();
    for (uint32_t seq = 1; stopping.skipped() < CameraFl30c::kFrameSkipCount; ++seq)
        inFlight->deliver(frameOf(bytes, 640, seq));
    inFlight->last = bytes;
    ASSERT_EQ(stopping.stopStreaming(0), 0);
    ASSERT_EQ(lastFrames.count(), 1u);
    const Delivery d = lastFrames.at(0);
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_DEPTH].size, 640u * 480 * 2);
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_RGB].size, 640u * 480 * 3);
    EXPECT_GT(d.slot[CAM_DATA_SLOT_POINTCLOUD].size, 0u);
    EXPECT_EQ(stopping.mediaMask(), 0u);
    EXPECT_FALSE(stopping.isStarted());
}

TEST_F(Fl30cDriverTest, CloseStopsAStreamAndClosesTheTransportOnce)
{
    EXPECT_EQ(driver->close(), 0);  // never opened
    EXPECT_EQ(capture->closes, 0);
    openWith();
    ASSERT_EQ(driver->startStreaming(0), 0);
    EXPECT_EQ(driver->close(), 0);
    EXPECT_EQ(capture->stops, 1);
    EXPECT_EQ(capture->closes, 1);
    EXPECT_FALSE(driver->isOpened());
    EXPECT_EQ(driver->close(), 0);
    EXPECT_EQ(capture->closes, 1);
}

// ---------------------------------------------------------------- delivery

TEST_F(Fl30cDriverTest, OnlyTheFirstFourFramesOfTheProcessAreDropped)
{
    ASSERT_EQ(driver->skipped(), 0) << "run in a process of its own, as ctest does";
    openWith();
    ASSERT_EQ(driver->startStreaming(0), 0);
    const auto bytes = buildTransfer();
    for (uint32_t seq = 1; seq <= 6; ++seq) capture->deliver(frameOf(bytes, 640, seq));
    ASSERT_EQ(recorder.count(), 2u);
    EXPECT_EQ(recorder.at(0).slot[CAM_DATA_SLOT_DEPTH].frameId, 5u);
    EXPECT_EQ(recorder.at(1).slot[CAM_DATA_SLOT_DEPTH].frameId, 6u);

    ASSERT_EQ(driver->stopStreaming(0), 0);
    ASSERT_EQ(driver->startStreaming(0), 0);
    for (uint32_t seq = 1; seq <= 3; ++seq) capture->deliver(frameOf(bytes, 640, seq));
    EXPECT_EQ(recorder.count(), 5u);

    // A second driver of the same class loses nothing either.
    makeDriver("FL30C:V1.0.8:H01:20241021");
    openWith();
    ASSERT_EQ(driver->startStreaming(0), 0);
    recorder.clear();
    capture->deliver(frameOf(bytes, 640, 1));
    EXPECT_EQ(recorder.count(), 1u);
}

TEST_F(Fl30cDriverTest, SlotsCarryTheTransferIdAndOnlyWhatThisTransferProduced)
{
    openWith();
    setMode(MEDIA_TYPE_RGB, 640, 480, 30);  // depth at 15: on odd transfers only
    ASSERT_EQ(driver->startStreaming(0), 0);
    warmUp();
    const auto bytes = buildTransfer();
    capture->deliver(frameOf(bytes, 640, 41));
    capture->deliver(frameOf(bytes, 640, 42));
    ASSERT_EQ(recorder.count(), 2u);
    const Delivery odd = recorder.at(0), even = recorder.at(1);
    EXPECT_EQ(odd.handle, &handleTag);
    EXPECT_EQ(odd.user, &recorder);
    EXPECT_EQ(odd.slot[CAM_DATA_SLOT_DEPTH].size, 640u * 480 * 2);
    EXPECT_EQ(odd.slot[CAM_DATA_SLOT_RGB].size, 640u * 480 * 3);
    EXPECT_GT(odd.slot[CAM_DATA_SLOT_POINTCLOUD].size, 0u);
    EXPECT_EQ(odd.slot[CAM_DATA_SLOT_IR].size, 0u);
    EXPECT_EQ(even.slot[CAM_DATA_SLOT_DEPTH].size, 0u);  // cleared after the odd transfer's callback
    EXPECT_EQ(even.slot[CAM_DATA_SLOT_POINTCLOUD].size, 0u);
    EXPECT_EQ(even.slot[CAM_DATA_SLOT_RGB].size, 640u * 480 * 3);
    for (int slot = CAM_DATA_SLOT_DEPTH; slot <= CAM_DATA_SLOT_POINTCLOUD; ++slot) {
        EXPECT_EQ(odd.slot[slot].frameId, 41u) << slot;
        EXPECT_EQ(even.slot[slot].frameId, 42u) << slot;
    }
    EXPECT_EQ(odd.slot[CAM_DATA_SLOT_DEPTH].type, CAM_FRAME_DEPTH);
    EXPECT_EQ(odd.slot[CAM_DATA_SLOT_RGB].type, CAM_FRAME_RGB);
    EXPECT_EQ(odd.slot[CAM_DATA_SLOT_POINTCLOUD].type, CAM_FRAME_POINTCLOUD);
}

TEST_F(Fl30cDriverTest, ConfiguredGainIsSentAgainOnceTwoSecondsAfterTheStart)
{
    openWith(fl30cConfig(R"({"enable": 1, "Gain": 3})"));
    ASSERT_EQ(driver->startStreaming(0), 0);
    warmUp();
    const auto gainWrites = [&] {
        int n = 0;
        for (const auto& r : capture->requests()) n += r.request == 0x47 ? 1 : 0;
        return n;
    };
    const auto bytes = buildTransfer();
    EXPECT_EQ(gainWrites(), 2);  // at open
    capture->deliver(frameOf(bytes, 640, 11));
    EXPECT_EQ(gainWrites(), 2);  // too early

    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    const size_t before = capture->requests().size();
    {
        StdoutCapture out;
        capture->deliver(frameOf(bytes, 640, 12));
        capture->deliver(frameOf(bytes, 640, 13));
        EXPECT_EQ(countLogLines(out.text(), "INFO", kDriver, "applyDeferredSetting", "set gain ret 0, gain 3"), 1);
    }
    const auto reqs = requestsSince(before);
    ASSERT_EQ(reqs.size(), 2u);
    expectXuWrite(reqs[0], 0x47, "S=C0,R2=3e08,D=23", 18);
    expectXuWrite(reqs[1], 0x47, "S=C0,R2=3e09,D=35", 18);
    EXPECT_EQ(recorder.count(), 3u);

    // Once per driver: a new stream does not send it again.
    ASSERT_EQ(driver->stopStreaming(0), 0);
    ASSERT_EQ(driver->startStreaming(0), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    capture->deliver(frameOf(bytes, 640, 1));
    EXPECT_EQ(gainWrites(), 4);
}

TEST_F(Fl30cDriverTest, WithoutAConfiguredGainNothingIsDeferred)
{
    openWith(fl30cConfig(R"({"enable": 1, "AE": 0})"));
    ASSERT_EQ(driver->startStreaming(0), 0);
    warmUp();
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    const size_t before = capture->requests().size();
    StdoutCapture out;
    capture->deliver(frameOf(buildTransfer(), 640, 9));
    EXPECT_EQ(capture->requests().size(), before);
    EXPECT_EQ(countAnyLogLines(out.text()), 0);
    EXPECT_EQ(recorder.count(), 1u);
}

namespace {

struct InnerRecord {
    std::mutex mutex;
    int calls = 0;
    void* handle = nullptr;
    Slot rgb, ir;
};

void onInner(void* handle, const CAM_DATA_INNER* data, void* user)
{
    auto* r = static_cast<InnerRecord*>(user);
    std::lock_guard<std::mutex> lock(r->mutex);
    ++r->calls;
    r->handle = handle;
    for (auto [slot, out] : {std::pair<int, Slot*>{CAM_DATA_SLOT_RGB, &r->rgb}, {CAM_DATA_SLOT_IR, &r->ir}}) {
        const CAM_FRAME& f = data->frame[slot];
        out->type = f.type, out->width = f.width, out->height = f.height, out->size = f.size;
        out->frameId = f.frameId;
        out->bytes.assign(f.data, f.data + f.size);
    }
}

}  // namespace

TEST_F(Fl30cDriverTest, InnerCallbackGetsTheRawImagesOfInfraredTransfers)
{
    openWith();
    InnerRecord inner;
    STREAM_CALLBACK_INNER_S cb{&onInner, &inner};
    ASSERT_EQ(driver->registerInnerDataCallback(&cb), 0);
    ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_IR), 0);
    warmUp();
    inner.calls = 0;

    TransferRecipe ir;
    ir.kind = 1;
    const auto irBytes = buildTransfer(ir);
    capture->deliver(frameOf(irBytes, 640, 20));
    capture->deliver(frameOf(buildTransfer(), 640, 21));  // depth: nothing for the inner callback
    ASSERT_EQ(inner.calls, 1);
    EXPECT_EQ(inner.handle, &handleTag);
    int w = 0, h = 0;
    const auto bgr = decodeBgr(cardJpeg(640, 480), w, h);
    EXPECT_EQ(inner.rgb.type, CAM_FRAME_RGB);
    EXPECT_EQ(inner.rgb.width, 640u);
    EXPECT_EQ(inner.rgb.height, 480u);
    EXPECT_EQ(inner.rgb.frameId, 20u);
    EXPECT_EQ(inner.rgb.bytes, bgr);
    EXPECT_EQ(inner.ir.type, CAM_FRAME_IR);
    EXPECT_EQ(inner.ir.width, 640u);
    EXPECT_EQ(inner.ir.height, 480u);
    const size_t irAtOffset = kHeader + cardJpeg(640, 480).size();
    EXPECT_TRUE(std::equal(inner.ir.bytes.begin(), inner.ir.bytes.end(), irBytes.begin() + static_cast<long>(irAtOffset)));
    EXPECT_EQ(inner.ir.bytes.size(), 640u * 480);
    EXPECT_EQ(recorder.count(), 2u);  // the application's callback runs as well

    STREAM_CALLBACK_INNER_S none{nullptr, nullptr};
    ASSERT_EQ(driver->registerInnerDataCallback(&none), 0);
    capture->deliver(frameOf(irBytes, 640, 22));
    EXPECT_EQ(inner.calls, 1);
}

TEST_F(Fl30cDriverTest, TimestampsFollowTheChosenClockAlsoWhileStreaming)
{
    openWith();
    ASSERT_EQ(driver->startStreaming(0), 0);
    EXPECT_EQ(capture->lastCfg.timestampType, 0u);
    warmUp();
    const auto bytes = buildTransfer();
    capture->deliver(frameOf(bytes, 640, 7, 123456));  // stamped by the transport with the steady clock
    EXPECT_EQ(recorder.last().slot[CAM_DATA_SLOT_DEPTH].timestamp, 123456u);
    EXPECT_EQ(recorder.last().slot[CAM_DATA_SLOT_RGB].timestamp, 123456u);

    ASSERT_EQ(driver->setTimeStampType(TIME_STAMP_SYSTEM), 0);
    const auto msNow = [] {
        return static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
                .count());
    };
    const uint64_t before = msNow();
    capture->deliver(frameOf(bytes, 640, 8, 123456));
    const uint64_t after = msNow();
    const uint64_t stamp = recorder.last().slot[CAM_DATA_SLOT_DEPTH].timestamp;
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, after);
    EXPECT_EQ(recorder.last().slot[CAM_DATA_SLOT_POINTCLOUD].timestamp, stamp);

    // A stream started on the system clock lets the transport stamp it.
    ASSERT_EQ(driver->stopStreaming(0), 0);
    ASSERT_EQ(driver->startStreaming(0), 0);
    EXPECT_EQ(capture->lastCfg.timestampType, 1u);
    capture->deliver(frameOf(bytes, 640, 9, 777));
    EXPECT_EQ(recorder.last().slot[CAM_DATA_SLOT_DEPTH].timestamp, 777u);
}
