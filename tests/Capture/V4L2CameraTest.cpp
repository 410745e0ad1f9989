// The V4L2 transport against emulated uvcvideo nodes: real popen/sysfs/ioctl/mmap code.
#include <dirent.h>
#include <linux/videodev2.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "EmulatedDeviceTest.h"
#include "EmulatedUsbDevice.h"
#include "EmulatedVideoFunction.h"
#include "Eventually.h"
#include "LogCapture.h"
#include "V4L2Camera.h"
#include "VideoTestPattern.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;

namespace {

// Entries of a /proc/self directory; with `target`, only links whose target contains it.
int entries(const char* dir, const char* target = nullptr)
{
    int n = 0;
    if (DIR* d = opendir(dir)) {
        while (dirent* e = readdir(d)) {
            char link[512] = {};
            const std::string path = std::string(dir) + "/" + e->d_name;
            if (target == nullptr || (readlink(path.c_str(), link, sizeof link - 1) > 0 && std::strstr(link, target)))
                ++n;
        }
        closedir(d);
    }
    return n;
}
// Descriptors on video nodes: the emulator keeps one per node that streamed (its buffer
// file); any other is a host's. (umockdev's own sockets come and go with plug-ins.)
int videoFds() { return entries("/proc/self/fd", "/dev/video"); }
int threads() { return entries("/proc/self/task"); }

// Checks every delivered frame against the test pattern it should carry.
struct Receiver {
    std::mutex mutex;
    std::condition_variable cv;
    int frames = 0;
    int badFrames = 0;
    std::set<uint32_t> tags;
    std::vector<uint32_t> sequences;         // the transport's numbering
    std::vector<uint32_t> patternSequences;  // the device's numbering, carried in the frame
    uint32_t width = 0, height = 0, format = 99;
    std::function<void(V4L2Camera&)> also;   // what the callback does besides
    V4L2Camera* camera = nullptr;

    static void onFrame(const frame_info* f, void* user)
    {
        auto* r = static_cast<Receiver*>(user);
        uint32_t tag = 0, sequence = 0;
        VideoTestPattern::identify(f->data, f->size, tag, sequence);
        const auto expected =
            VideoTestPattern::expectedFrame(tag, {UvcPixelFormat::Yuy2, int(f->width), int(f->height), sequence});
        {
            std::lock_guard<std::mutex> lock(r->mutex);
            if (f->size != f->width * f->height * 2 || expected.size() != f->size ||
                std::memcmp(expected.data(), f->data, f->size) != 0)
                ++r->badFrames;
            r->tags.insert(tag);
            r->sequences.push_back(f->sequence);
            r->patternSequences.push_back(sequence);
            r->width = f->width;
            r->height = f->height;
            r->format = f->format;
            ++r->frames;
        }
        if (r->also) r->also(*r->camera);
        r->cv.notify_all();
    }
    int count()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return frames;
    }
    bool waitFrames(int n, std::chrono::milliseconds timeout = 20s)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return cv.wait_for(lock, timeout, [&] { return frames >= n; });
    }
};

video_cfg config(Receiver& r, uint32_t width = 320, uint32_t height = 240, uint32_t format = 0, uint32_t fps = 30)
{
    video_cfg cfg;
    cfg.format = format;
    cfg.width = width;
    cfg.height = height;
    cfg.fps = fps;
    cfg.callback = &Receiver::onFrame;
    cfg.user = &r;
    return cfg;
}

class V4L2CameraTest : public EmulatedDeviceTest {
protected:
    EmulatedVideoFunction* video(UsbLocation where, VideoFunctionConfig config = VideoFunctionConfig::sonix636b())
    {
        return bed().addVideoFunction(where, config);
    }
    static int lines(const std::string& out, const char* level, const char* function, const std::string& message)
    {
        return orrtest::countLogLines(out, level, "V4L2Camera", function, message);
    }
};

TEST_F(V4L2CameraTest, TwoCamerasOfOneModelEachStreamTheirOwnNode)
{
    EmulatedVideoFunction* first = video(UsbLocation(1, {1}, 3));
    EmulatedVideoFunction* second = video(UsbLocation(1, {2}, 4));
    ASSERT_NE(video(UsbLocation(1, {3}, 5), VideoFunctionConfig::video2dbb0300()), nullptr);
    ASSERT_NE(second, nullptr);
    const int threadsBefore = threads();

    V4L2Camera a(0x0C45, 0x636B, 1, 3), b(0x0C45, 0x636B, 1, 4);
    orrtest::StdoutCapture out;
    ASSERT_EQ(a.open(), 0);
    ASSERT_EQ(b.open(), 0);
    EXPECT_EQ(a.videoNode(), first->captureNode());
    EXPECT_EQ(b.videoNode(), second->captureNode());
    Receiver ra, rb;
    ASSERT_EQ(a.start(config(ra)), 0);
    ASSERT_EQ(b.start(config(rb, 640, 480)), 0);
    ASSERT_TRUE(ra.waitFrames(6));
    ASSERT_TRUE(rb.waitFrames(6));

    std::vector<video_attr_s> modes;
    EXPECT_EQ(a.getCapability(modes), 0);  // while streaming
    EXPECT_EQ(a.cmdMsg(nullptr), 0);
    EXPECT_EQ(a.stop(), 0);
    EXPECT_EQ(a.stop(), 0);  // stopping a stopped transport
    EXPECT_EQ(b.close(), 0);
    EXPECT_EQ(a.close(), 0);
    const std::string text = out.text();

    // Each camera's frames carry its own device's tag: checked by content, not by count.
    for (auto [r, fn, width] : {std::tuple{&ra, first, 320u}, std::tuple{&rb, second, 640u}}) {
        std::lock_guard<std::mutex> lock(r->mutex);
        EXPECT_EQ(r->tags, std::set<uint32_t>{fn->patternTag()});
        EXPECT_EQ(r->badFrames, 0);
        EXPECT_EQ(r->width, width);
        EXPECT_EQ(r->format, 0u);
        for (size_t i = 0; i < r->sequences.size(); ++i) EXPECT_EQ(r->sequences[i], i);
    }
    // The first node is the other camera's; index-1 nodes are skipped without a word.
    EXPECT_EQ(lines(text, "INFO", "matchVideoNode", "/dev/video0 not uvcvideo dev."), 1) << text;
    EXPECT_EQ(lines(text, "INFO", "matchVideoNode", "/dev/video2 is uvc video device."), 1);
    EXPECT_EQ(lines(text, "INFO", "matchVideoNode", "match video node."), 2);
    for (const char* meta : {"/dev/video1", "/dev/video3", "/dev/video5"})
        EXPECT_EQ(text.find(meta), std::string::npos) << meta;
    EXPECT_EQ(lines(text, "WARN", "cmdMsg", "Not support yet."), 1);

    const std::vector<std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>> expected = {
        {0, 640, 480, 30}, {0, 640, 480, 15}, {0, 640, 480, 5}, {0, 320, 240, 30},
        {0, 320, 240, 15}, {0, 320, 240, 5},  {1, 640, 480, 30}, {1, 640, 480, 15}};
    ASSERT_EQ(modes.size(), expected.size());
    for (size_t i = 0; i < modes.size(); ++i)
        EXPECT_EQ(std::make_tuple(modes[i].format, modes[i].width, modes[i].height, modes[i].fps), expected[i]) << i;

    // Nothing of either stream is left: no node handle, no thread, no descriptor.
    EXPECT_TRUE(orrtest::eventually([&] { return first->openHandles() + second->openHandles() == 0; }));
    EXPECT_FALSE(first->streaming());
    EXPECT_LE(threads(), threadsBefore);
    EXPECT_TRUE(orrtest::eventually([&] { return videoFds() == 2; }));  // the two buffer files
    EXPECT_EQ(a.getCapability(modes), -1);
}

struct OpenFailure {
    const char* name;
    std::function<void(EmulatedVideoFunction&)> breakIt;
    const char* level;
    const char* function;
    const char* line;
};

void PrintTo(const OpenFailure& failure, std::ostream* os) { *os << failure.name; }

class V4L2OpenFailureTest : public V4L2CameraTest, public testing::WithParamInterface<OpenFailure> {};

TEST_P(V4L2OpenFailureTest, OpenFailsWithItsLineAndLeavesNothingOpen)
{
    EmulatedVideoFunction* fn = video(UsbLocation(1, {2}, 4));
    ASSERT_NE(fn, nullptr);
    GetParam().breakIt(*fn);
    V4L2Camera camera(0x0C45, 0x636B, 1, 4);
    orrtest::StdoutCapture out;
    EXPECT_EQ(camera.open(), -1);
    const std::string text = out.text();
    EXPECT_EQ(lines(text, GetParam().level, GetParam().function, GetParam().line), 1) << text;
    EXPECT_TRUE(orrtest::eventually([&] { return fn->openHandles() == 0; }));
    Receiver r;
    EXPECT_EQ(camera.start(config(r)), -1);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, V4L2OpenFailureTest,
    testing::Values(
        OpenFailure{"Directory", [](auto& f) { f.damage(VideoNodeDamage::DirectoryNode); }, "INFO", "matchVideoNode",
                    "/dev/video0: is no access!."},
        OpenFailure{"NotUsb", [](auto& f) { f.damage(VideoNodeDamage::ForeignModalias); }, "ERROR", "readModalias",
                    "/dev/video0 is not a usb format modalias!"},
        OpenFailure{"NoModalias", [](auto& f) { f.removeAttribute("modalias"); }, "ERROR", "readModalias",
                    "failed to read /sys/class/video4linux/video0/device/modalias modalias!"},
        OpenFailure{"NoBusnum", [](auto& f) { f.removeAttribute("busnum"); }, "ERROR", "get_vidoeNode_info",
                    "fail to read /sys/class/video4linux/video0/../../../busnum attr!"},
        OpenFailure{"NoIndex", [](auto& f) { f.removeAttribute("index"); }, "ERROR", "isMainVideoThroughIndexFile",
                    "failed to read video index file modalias!"},
        OpenFailure{"Unopenable", [](auto& f) { f.damage(VideoNodeDamage::UnopenableNode); }, "ERROR", "open",
                    "open device [%s] fail."},
        OpenFailure{"NoStreaming",
                    [](auto& f) { f.setCaptureCapabilities(V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_EXT_PIX_FORMAT); },
                    "ERROR", "QV_V4L2_CheckCapabilities", "Mandatory capability not available for device"},
        OpenFailure{"NoCapabilities", [](auto& f) { f.failRequest(VIDIOC_QUERYCAP, EIO); }, "ERROR",
                    "QV_V4L2_CheckCapabilities", "failed to get capabilities for device:Input/output error"},
        OpenFailure{"Unplugged", [](auto& f) { f.unplug(); }, "ERROR", "matchVideoNode",
                    "open v4l2 device fail."}),
    [](const testing::TestParamInfo<OpenFailure>& info) { return info.param.name; });

TEST_F(V4L2CameraTest, StartFailuresReturnTheirCodeAndLeaveTheTransportUsable)
{
    EmulatedVideoFunction* fn = video(UsbLocation(1, {2}, 4));
    ASSERT_NE(fn, nullptr);
    V4L2Camera camera(0x0C45, 0x636B, 1, 4);
    ASSERT_EQ(camera.open(), 0);
    struct Case {
        unsigned long request;
        int error;
        const char* function;  // of the first log line (start's own line follows), or
        const char* line;
        const char* perror;    // what perror printed
    };
    const Case cases[] = {
        {VIDIOC_S_FMT, EBUSY, "QV_V4L2_SetFormat", "failed to set format:YUYV for device:Device or resource busy",
         nullptr},
        {VIDIOC_S_PARM, EINVAL, "QV_V4L2_SetParam", "failed to set param for device:Invalid argument", nullptr},
        {VIDIOC_REQBUFS, EINVAL, "mapBuffers", "/dev/video0 does not support memory mapping", nullptr},
        {VIDIOC_REQBUFS, ENOMEM, nullptr, nullptr, "VIDIOC_REQBUFS: Cannot allocate memory"},
        {VIDIOC_QUERYBUF, EIO, nullptr, nullptr, "VIDIOC_QUERYBUF: Input/output error"},
        {VIDIOC_QBUF, EIO, nullptr, nullptr, "VIDIOC_QBUF: Input/output error"},
    };
    for (const Case& c : cases) {
        fn->failRequest(c.request, c.error);
        Receiver r;
        orrtest::StdoutCapture out;
        testing::internal::CaptureStderr();
        EXPECT_EQ(camera.start(config(r)), -1) << c.request;
        const std::string err = testing::internal::GetCapturedStderr();
        const std::string text = out.text();
        if (c.line != nullptr) {
            EXPECT_EQ(lines(text, c.request == VIDIOC_S_PARM ? "WARN" : "ERROR", c.function, c.line), 1) << text;
        }
        if (c.request == VIDIOC_S_FMT || c.request == VIDIOC_S_PARM) {
            EXPECT_EQ(lines(text, "ERROR", "start", c.request == VIDIOC_S_FMT ? "set format failed!" : "set param failed!"),
                      1);
        }
        if (c.perror != nullptr) {
            EXPECT_NE(err.find(c.perror), std::string::npos) << err;
        }
        EXPECT_FALSE(fn->streaming());
    }
    Receiver r;
    orrtest::StdoutCapture out;
    ASSERT_EQ(camera.start(config(r)), 0);
    ASSERT_TRUE(r.waitFrames(2));
    EXPECT_EQ(camera.start(config(r)), -1);  // refused, and the stream goes on
    const int seen = r.count();
    EXPECT_TRUE(r.waitFrames(seen + 3));
    EXPECT_EQ(camera.close(), 0);
    EXPECT_EQ(lines(out.text(), "ERROR", "start", "the stream is already started"), 1);
    std::lock_guard<std::mutex> lock(r.mutex);
    EXPECT_EQ(r.badFrames, 0);
}

TEST_F(V4L2CameraTest, OnlyWholeFramesOfTwoBytesPerPixelAreDelivered)
{
    EmulatedVideoFunction* fn = video(UsbLocation(1, {2}, 4));
    ASSERT_NE(fn, nullptr);
    V4L2Camera camera(0x0C45, 0x636B, 1, 4);
    ASSERT_EQ(camera.open(), 0);

    // Short frames and failed dequeues are skipped; the stream goes on.
    fn->shortenFrames(2, 3);
    fn->failRequest(VIDIOC_DQBUF, EIO, 2);
    Receiver whole;
    testing::internal::CaptureStderr();
    ASSERT_EQ(camera.start(config(whole)), 0);
    ASSERT_TRUE(whole.waitFrames(5));
    camera.stop();
    const std::string err = testing::internal::GetCapturedStderr();
    {
        std::lock_guard<std::mutex> lock(whole.mutex);
        EXPECT_EQ(whole.badFrames, 0);
        EXPECT_GE(whole.patternSequences.front(), 3u);  // the device's first three frames were short
    }
    size_t failures = 0;
    for (size_t at = err.find("VIDIOC_DQBUF: Input/output error"); at != std::string::npos;
         at = err.find("VIDIOC_DQBUF", at + 1))
        ++failures;
    EXPECT_EQ(failures, 2u) << err;

    // A size the device does not offer, and compressed frames: never delivered.
    for (auto [format, width, height] : {std::tuple{0u, 800u, 600u}, std::tuple{1u, 640u, 480u}}) {
        Receiver none;
        orrtest::StdoutCapture out;
        const uint64_t before = fn->framesDelivered();
        ASSERT_EQ(camera.start(config(none, width, height, format)), 0);
        ASSERT_TRUE(fn->waitForFrames(before + 5, 20s));
        camera.stop();
        EXPECT_EQ(none.count(), 0);
        if (format == 0) {
            EXPECT_EQ(lines(out.text(), "WARN", "QV_V4L2_SetFormat",
                            "the device streams YUYV 640x480 instead of YUYV 800x600: only frames of width x height "
                            "x 2 bytes are delivered"),
                      1)
                << out.text();
        }
    }

    // A driver that grants two buffers: the second is reported and never queued again.
    fn->setMinimumBuffers(2);
    Receiver two;
    testing::internal::CaptureStderr();
    ASSERT_EQ(camera.start(config(two)), 0);
    EXPECT_TRUE(two.waitFrames(4));
    camera.stop();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("buf.index to large"), std::string::npos);
    EXPECT_EQ(camera.close(), 0);
}

TEST_F(V4L2CameraTest, CallbacksMayCallBackStopAndClose)
{
    EmulatedVideoFunction* fn = video(UsbLocation(1, {2}, 4));
    ASSERT_NE(fn, nullptr);
    V4L2Camera camera(0x0C45, 0x636B, 1, 4);
    ASSERT_EQ(camera.open(), 0);

    // The third frame's callback asks for the modes, tries to start, and stops.
    Receiver r;
    r.camera = &camera;
    std::atomic<int> modes{0}, startResult{0}, stopResult{1};
    r.also = [&](V4L2Camera& c) {
        if (r.count() != 3) return;
        std::vector<video_attr_s> list;
        c.getCapability(list);
        modes = int(list.size());
        startResult = c.start(config(r));
        stopResult = c.stop();
    };
    ASSERT_EQ(camera.start(config(r)), 0);
    ASSERT_TRUE(r.waitFrames(3));
    EXPECT_TRUE(orrtest::eventually([&] { return !fn->streaming(); }));  // the thread gave the stream back
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(r.count(), 3);  // nothing after the callback that stopped
    EXPECT_EQ(modes, 8);
    EXPECT_EQ(startResult, -1);
    EXPECT_EQ(stopResult, 0);

    // Started again from outside; the fifth frame's callback closes the transport.
    Receiver again;
    again.camera = &camera;
    std::atomic<int> closeResult{1};
    again.also = [&](V4L2Camera& c) {
        if (again.count() == 5) closeResult = c.close();
    };
    ASSERT_EQ(camera.start(config(again)), 0);
    ASSERT_TRUE(again.waitFrames(5));
    EXPECT_TRUE(orrtest::eventually([&] { return closeResult == 0; }));
    EXPECT_EQ(camera.close(), 0);  // finishes the close: joins and lets go of the node
    EXPECT_TRUE(orrtest::eventually([&] { return fn->openHandles() == 0; }));
    EXPECT_EQ(again.count(), 5);

    // Reopened, and stopped from another thread while a slow callback runs.
    ASSERT_EQ(camera.open(), 0);
    Receiver slow;
    slow.camera = &camera;
    std::atomic<bool> inCallback{false};
    slow.also = [&](V4L2Camera&) {
        inCallback = true;
        std::this_thread::sleep_for(50ms);
        inCallback = false;
    };
    ASSERT_EQ(camera.start(config(slow)), 0);
    ASSERT_TRUE(slow.waitFrames(2));
    std::thread stopper([&] { EXPECT_EQ(camera.stop(), 0); });
    stopper.join();
    EXPECT_FALSE(inCallback);
    const int after = slow.count();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(slow.count(), after);
    EXPECT_EQ(camera.close(), 0);
}

TEST_F(V4L2CameraTest, UnplugMidStreamEndsTheStreamWithOneLineAndLeavesNothing)
{
    EmulatedVideoFunction* fn = video(UsbLocation(1, {2}, 4));
    ASSERT_NE(fn, nullptr);
    V4L2Camera camera(0x0C45, 0x636B, 1, 4);
    Receiver warm;
    ASSERT_EQ(camera.open(), 0);  // a first stream, so the emulator's own descriptors exist
    ASSERT_EQ(camera.start(config(warm)), 0);
    ASSERT_TRUE(warm.waitFrames(1));
    camera.close();
    const int threadsBefore = threads();

    for (int round = 0; round < 2; ++round) {
        Receiver r;
        ASSERT_EQ(camera.open(), 0);
        ASSERT_EQ(camera.start(config(r)), 0);
        ASSERT_TRUE(r.waitFrames(3));
        orrtest::StdoutCapture out;
        testing::internal::CaptureStderr();
        ASSERT_TRUE(fn->unplug());
        EXPECT_TRUE(orrtest::eventually([&] { return threads() < threadsBefore + 1; }));  // capture thread ended
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(camera.stop(), 0);
        EXPECT_EQ(camera.close(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - before, 5s);
        const std::string err = testing::internal::GetCapturedStderr();
        const std::string text = out.text();
        EXPECT_EQ(lines(text, "ERROR", "getFrame",
                        "/dev/video0 is gone (VIDIOC_DQBUF: No such device): the capture thread ends"),
                  1)
            << text;
        EXPECT_EQ(orrtest::countAnyLogLines(text), 1) << text;
        EXPECT_EQ(err.find("VIDIOC"), std::string::npos) << err;
        EXPECT_TRUE(orrtest::eventually([&] { return fn->openHandles() == 0; }));
        EXPECT_LE(threads(), threadsBefore);
        EXPECT_TRUE(orrtest::eventually([&] { return videoFds() == round + 1; }));  // buffer files only
        ASSERT_TRUE(fn->replug());
    }
}

}  // namespace
