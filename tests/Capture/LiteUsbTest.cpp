#include <libusb.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

#include "CaptureFactory.h"
#include "EmulatedBulkCamera.h"
#include "EmulatedDeviceTest.h"
#include "EmulatedUsbDevice.h"
#include "Eventually.h"
#include "LiteUsb.h"
#include "LogCapture.h"
#include "ProcessResources.h"
#include "UsbControlRequest.h"

using namespace orrindale::emulator;
using namespace std::chrono_literals;
using Kind = EmulatedBulkCamera::PacketKind;

namespace {

constexpr uint32_t kPayload = EmulatedBulkCamera::kPayloadPerPacket;

uint64_t nowMs(uint32_t clock)
{
    const auto since = clock != 0 ? std::chrono::system_clock::now().time_since_epoch()
                                  : std::chrono::steady_clock::now().time_since_epoch();
    return uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
}

uint32_t cameraSequenceOf(const frame_info& f)
{
    uint32_t sequence = 0;
    std::memcpy(&sequence, f.data, std::min<uint32_t>(4, f.size));  // little-endian, as the host
    return sequence;
}

// What a transport delivered. Each frame's bytes are compared with the camera's pattern
// when its callback ends, after `during` (which may block, stop or close), so a frame
// overwritten while the application still reads it is caught.
struct Delivery {
    std::function<void(const frame_info&)> during;
    std::mutex mutex;
    std::vector<frame_info> frames;  // data pointers are stale once delivered
    std::vector<uint32_t> cameraSequences;
    int wrong = 0;  // frames whose bytes differ from the camera's

    static void onFrame(const frame_info* f, void* user)
    {
        auto* d = static_cast<Delivery*>(user);
        const uint32_t sequence = cameraSequenceOf(*f);
        if (d->during) d->during(*f);
        bool good = true;
        for (uint32_t i = 0; good && i < f->size; ++i)
            good = f->data[i] == (i < 4 ? uint8_t(sequence >> (8 * i)) : EmulatedBulkCamera::patternByte(sequence, i));
        std::lock_guard<std::mutex> lock(d->mutex);
        d->frames.push_back(*f);
        d->cameraSequences.push_back(sequence);
        d->wrong += good ? 0 : 1;
    }
    size_t count()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return frames.size();
    }
    bool waitFor(size_t n)
    {
        return orrtest::eventually([&] { return count() >= n; });
    }
};

class LiteUsbTest : public EmulatedDeviceTest {
protected:
    // A 3482:278A camera on port `port` (address port + 1) sending frames of `length` bytes.
    EmulatedBulkCamera* camera(int port, uint32_t length)
    {
        BulkCameraConfig config = BulkCameraConfig::ostrelB();
        config.frameLength = length;
        return bed().addBulkCamera(UsbLocation(1, {port}, port + 1), config);
    }
    static std::unique_ptr<LiteUsb> transport(int port, uint32_t frameSize = 3 * kPayload)
    {
        return std::make_unique<LiteUsb>(0x3482, 0x278A, 1, port + 1, 512, 0x20000, frameSize);
    }
    static int setStreamType(ICapture& capture, unsigned char type)
    {
        usb_ctrl_request_s request{0xBB, 0xBB, 0, 0, &type, 1, 0};
        return capture.cmdMsg(&request);
    }
    static video_cfg config(Delivery& d, uint32_t clock = 0)
    {
        video_cfg cfg;
        cfg.format = 3;
        cfg.width = 640;
        cfg.height = 480;
        cfg.callback = &Delivery::onFrame;
        cfg.user = &d;
        cfg.timestampType = clock;
        return cfg;
    }
    static std::vector<ControlRecord> streamRequests(EmulatedBulkCamera* device)
    {
        std::vector<ControlRecord> found;
        for (const ControlRecord& r : device->device()->controlRecord())
            if (r.setup.request == EmulatedBulkCamera::kStreamRequest) found.push_back(r);
        return found;
    }
    static int lines(const std::string& text, const char* level, const char* function, const std::string& message)
    {
        return orrtest::countLogLines(text, level, "LiteUsb", function, message);
    }
};

}  // namespace

// ceil(L / 131,071) data packets: the host reads each one whole (131,072 bytes) and every
// header and end packet with 512-byte reads; a frame one byte longer than n packets needs
// n + 1. The largest frame (2,181,632 bytes, through the factory) arrives whole.
TEST_F(LiteUsbTest, FramesArriveByteExactWithTheirPacketCounts)
{
    struct Row {
        uint32_t length;
        uint32_t clock;
        bool viaFactory;
    };
    const Row rows[] = {{2 * kPayload, 0, false}, {2 * kPayload + 1, 1, false}, {2181632, 0, true}};
    int port = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.length);
        EmulatedBulkCamera* device = camera(++port, row.length);
        ASSERT_NE(device, nullptr);
        std::unique_ptr<ICapture> capture;
        QV_CAM_ATTR attr{};
        attr.type = QV_CAM_ATTR_USB;
        attr.attr.usbAttrs = {0x3482, 0x278A, {}, 1, port + 1, 0, {}};
        capture.reset(row.viaFactory ? createCaptureInstance(attr, 0) : transport(port).release());
        ASSERT_EQ(capture->open(), 0);
        ASSERT_EQ(setStreamType(*capture, 1), 0);
        Delivery d;
        orrtest::StdoutCapture out;
        const uint64_t before = nowMs(row.clock);
        ASSERT_EQ(capture->start(config(d, row.clock)), 0);
        ASSERT_TRUE(d.waitFor(3));
        EXPECT_EQ(capture->stop(), 0);
        const uint64_t after = nowMs(row.clock);
        EXPECT_EQ(capture->close(), 0);
        EXPECT_EQ(lines(out.text(), "ERROR", "capture", "frame data is full"), 0);

        std::lock_guard<std::mutex> lock(d.mutex);
        EXPECT_EQ(d.wrong, 0);
        for (size_t i = 0; i < d.frames.size(); ++i) {
            const frame_info& f = d.frames[i];
            EXPECT_EQ(f.size, row.length);
            EXPECT_EQ(std::make_tuple(f.width, f.height, f.format), std::make_tuple(640u, 480u, 3u));
            EXPECT_GE(f.timestamp, before);
            EXPECT_LE(f.timestamp, after);
            if (i == 0) continue;
            EXPECT_GT(f.sequence, d.frames[i - 1].sequence);
            EXPECT_GT(d.cameraSequences[i], d.cameraSequences[i - 1]);
        }
        std::set<std::pair<Kind, int>> reads;
        for (const auto& read : device->readsOf()) reads.insert(read.first);
        EXPECT_EQ(reads, (std::set<std::pair<Kind, int>>{{Kind::Header, 512}, {Kind::Data, 131072}, {Kind::End, 512}}));
    }
}

// The stream type comes first; then the start and stop requests as they reach the wire,
// each sent once; a silent device fails start after the 3000 ms limit instead of hanging it.
TEST_F(LiteUsbTest, StartAndStopRequestsOnTheWire)
{
    EmulatedBulkCamera* device = camera(1, kPayload);
    ASSERT_NE(device, nullptr);
    auto capture = transport(1);
    Delivery d;
    orrtest::StdoutCapture out;
    EXPECT_EQ(capture->start(config(d)), -1);
    ASSERT_EQ(capture->open(), 0);
    EXPECT_EQ(capture->start(config(d)), -1);
    ASSERT_EQ(setStreamType(*capture, 0x07), 0);
    ASSERT_EQ(capture->start(config(d)), 0);
    ASSERT_TRUE(d.waitFor(2));
    EXPECT_EQ(capture->start(config(d)), -1);
    EXPECT_EQ(capture->stop(), 0);
    EXPECT_EQ(capture->stop(), 0);

    unsigned char reply[4];
    usb_ctrl_request_s vendor{0xC0, 0x01, 0, 0, reply, sizeof reply, 0};
    EXPECT_EQ(capture->cmdMsg(&vendor), -1);  // the camera STALLs what it does not know
    const std::string text = out.text();
    EXPECT_EQ(lines(text, "ERROR", "start", "camera is not open"), 1);
    EXPECT_EQ(lines(text, "ERROR", "cmd_startStream", "unkown stream type"), 1);
    EXPECT_EQ(lines(text, "ERROR", "start", "start stream fail"), 0);
    EXPECT_EQ(lines(text, "ERROR", "start", "the stream is already running"), 1);
    EXPECT_EQ(lines(text, "INFO", "stop", "stop cmd send successed"), 1);
    const std::string stalled = "do usb contorl transfer failed, ret " + std::to_string(LIBUSB_ERROR_PIPE);
    EXPECT_EQ(lines(text, "ERROR", "cmdMsg", stalled), 1);
    for (const char* line : {"capture thread is running", "capture thread exit"})
        EXPECT_EQ(lines(text, "INFO", "capture", line), 1) << line;
    for (const char* line : {"processCallback thread is running", "processCallback thread exit"})
        EXPECT_EQ(lines(text, "INFO", "processCallback", line), 1) << line;

    const std::vector<ControlRecord> requests = streamRequests(device);
    ASSERT_EQ(requests.size(), 2u);
    for (const ControlRecord& r : requests) {
        EXPECT_EQ(r.setup.requestType, 0x21);
        EXPECT_EQ(r.setup.value, 0);
        EXPECT_EQ(r.setup.index, 0);
    }
    EXPECT_EQ(requests[0].data, (std::vector<uint8_t>{0x07}));
    EXPECT_EQ(requests[1].data, (std::vector<uint8_t>{0x80, 0x00}));
    EXPECT_EQ(device->streamType(), 0x07);
    EXPECT_FALSE(device->streaming());

    ControlMatch start;
    start.request = EmulatedBulkCamera::kStreamRequest;
    device->device()->setControlFault(start, ControlFault::NoResponse);
    orrtest::StdoutCapture silent;
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(capture->start(config(d)), -1);
    EXPECT_GE(std::chrono::steady_clock::now() - began, 2900ms);
    EXPECT_EQ(lines(silent.text(), "ERROR", "start", "start stream fail"), 1);
}

// Short packets are ignored; a header without its end leaves that frame unsent and the
// next header starts again at 0; a stalled endpoint is cleared; an L beyond the slot
// loses the packets that do not fit ("frame data is full") and delivers what fits.
TEST_F(LiteUsbTest, MalformedStreamsLoseOnlyWhatTheyMust)
{
    struct Row {
        const char* what;
        BulkStreamFault fault;
        uint32_t firstDelivered;  // camera sequence of the first frame delivered
        int fullLines;
        int stallLines;
    };
    BulkStreamFault shortPackets, noEnd, stall, tooLong;
    shortPackets.shortPacketsBeforeData = 2;
    noEnd.omitEnd = true;
    noEnd.frames = 1;
    stall.stallAfterDataPackets = 1;
    stall.frames = 1;
    tooLong.announcedLength = 3 * kPayload + 10;  // two packets more than the slot holds
    tooLong.frames = 1;
    const Row rows[] = {{"short packets", shortPackets, 0, 0, 0},
                        {"no end", noEnd, 1, 0, 0},
                        {"stall", stall, 1, 0, 1},
                        {"too long", tooLong, 0, 2, 0}};
    int port = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EmulatedBulkCamera* device = camera(++port, 2 * kPayload - 5);
        ASSERT_NE(device, nullptr);
        device->setFault(row.fault);
        auto capture = transport(port, 2 * kPayload);
        ASSERT_EQ(capture->open(), 0);
        ASSERT_EQ(setStreamType(*capture, 1), 0);
        Delivery d;
        orrtest::StdoutCapture out;
        ASSERT_EQ(capture->start(config(d)), 0);
        ASSERT_TRUE(d.waitFor(2));
        capture->close();
        const std::string text = out.text();
        EXPECT_EQ(lines(text, "ERROR", "capture", "frame data is full"), row.fullLines);
        EXPECT_EQ(lines(text, "WARN", "capture",
                        "the bulk endpoint stalled: its halt is cleared, frames resume at the next header"),
                  row.stallLines);
        std::lock_guard<std::mutex> lock(d.mutex);
        EXPECT_EQ(d.wrong, 0);
        EXPECT_EQ(d.cameraSequences.front(), row.firstDelivered);
        const bool truncated = row.fullLines > 0;  // delivered as far as it fits: the whole slot
        EXPECT_EQ(d.frames.front().size, truncated ? 2 * kPayload : 2 * kPayload - 5);
        EXPECT_EQ(d.frames.back().size, 2 * kPayload - 5);
    }
}

// A callback that takes its time: the next frame waits in the other slot, later ones are
// dropped at their header with "queue is full", and neither the frame being read nor
// the one waiting is overwritten.
TEST_F(LiteUsbTest, SlowCallbackDropsNewFramesAndKeepsTheDeliveredOnes)
{
    EmulatedBulkCamera* device = camera(1, 3 * kPayload);
    ASSERT_NE(device, nullptr);
    device->setFrameRate(0);  // as fast as the host reads
    auto capture = transport(1);
    ASSERT_EQ(capture->open(), 0);
    ASSERT_EQ(setStreamType(*capture, 1), 0);
    Delivery d;
    std::atomic<bool> first{true};
    d.during = [&](const frame_info& f) {
        if (first.exchange(false)) device->waitForFrames(cameraSequenceOf(f) + 6, 20s);
    };
    orrtest::StdoutCapture out;
    ASSERT_EQ(capture->start(config(d)), 0);
    ASSERT_TRUE(d.waitFor(3));
    capture->close();
    EXPECT_GE(lines(out.text(), "WARN", "capture", "queue is full"), 4);
    std::lock_guard<std::mutex> lock(d.mutex);
    EXPECT_EQ(d.wrong, 0);
    EXPECT_EQ(d.cameraSequences[1], d.cameraSequences[0] + 1);
    EXPECT_GE(d.cameraSequences[2], d.cameraSequences[0] + 6);
}

// stop or close from inside the callback returns at once and start there is refused; no
// callback follows; the threads are joined by the next call from outside.
TEST_F(LiteUsbTest, StopOrCloseFromInsideTheCallback)
{
    int port = 0;
    for (const bool closeInside : {false, true}) {
        SCOPED_TRACE(closeInside ? "close" : "stop");
        EmulatedBulkCamera* device = camera(++port, kPayload);
        ASSERT_NE(device, nullptr);
        const int threads = orrtest::threadCount();
        auto capture = transport(port);
        ASSERT_EQ(capture->open(), 0);
        ASSERT_EQ(setStreamType(*capture, 1), 0);
        Delivery d;
        std::atomic<int> result{1};
        std::atomic<int> restart{1};
        d.during = [&](const frame_info&) {
            if (result != 1) return;
            restart = capture->start(config(d));  // refused: it would join its own thread
            result = closeInside ? capture->close() : capture->stop();
        };
        ASSERT_EQ(capture->start(config(d)), 0);
        ASSERT_TRUE(orrtest::eventually([&] { return result != 1; }));
        EXPECT_EQ(result, 0);
        EXPECT_EQ(restart, -1);
        std::this_thread::sleep_for(200ms);  // time for a callback that should not come
        EXPECT_EQ(d.count(), 1u);
        EXPECT_EQ(streamRequests(device).size(), 2u);  // start, and stop once
        EXPECT_EQ(capture->close(), 0);
        EXPECT_EQ(d.count(), 1u);
        capture.reset();
        EXPECT_EQ(orrtest::threadCount(), threads);
    }
}

// The camera leaves in the middle of a frame: the capture thread ends by itself with one
// line, stop and close return, and no thread or file descriptor of the transport remains.
TEST_F(LiteUsbTest, UnplugMidFrameLeavesNothingBehind)
{
    EmulatedBulkCamera* device = camera(1, 3 * kPayload);
    ASSERT_NE(device, nullptr);
    const int threads = orrtest::threadCount();
    const std::set<std::string> fds = orrtest::openFds();
    auto capture = transport(1);
    ASSERT_EQ(capture->open(), 0);
    ASSERT_EQ(setStreamType(*capture, 1), 0);
    const int threadsOpen = orrtest::threadCount();
    Delivery d;
    orrtest::StdoutCapture out;
    ASSERT_EQ(capture->start(config(d)), 0);
    ASSERT_TRUE(d.waitFor(1));
    BulkStreamFault silent;
    silent.silentAfterDataPackets = 1;
    device->setFault(silent);
    ASSERT_TRUE(device->waitForSilenceMidFrame(20s));
    ASSERT_TRUE(device->device()->unplug());
    ASSERT_TRUE(orrtest::eventually([&] { return orrtest::threadCount() == threadsOpen; }));  // both ended
    EXPECT_EQ(capture->stop(), 0);
    EXPECT_EQ(capture->close(), 0);
    capture.reset();
    const std::string text = out.text();
    EXPECT_EQ(lines(text, "WARN", "capture", "the camera was unplugged: the stream ends"), 1);
    EXPECT_EQ(lines(text, "ERROR", "stop", "stop cmd send failed"), 0);
    EXPECT_EQ(orrtest::threadCount(), threads);
    // umockdev's preload now and then keeps the socket behind a device file that was
    // closed after its device left (bare libusb shows the same): sockets are not ours.
    for (const std::string& fd : orrtest::openFds())
        EXPECT_TRUE(fds.count(fd) == 1 || fd.find("socket:") != std::string::npos) << fd << " is left open";
}

// Opening reports an absent or busy device; nothing but the stream type works before open.
TEST_F(LiteUsbTest, OpenReportsAnAbsentOrBusyDevice)
{
    ASSERT_NE(camera(1, kPayload), nullptr);
    orrtest::StdoutCapture out;
    LiteUsb absent(0x3482, 0x278A, 1, 9, 512, 0x20000, kPayload);
    EXPECT_EQ(absent.open(), -1);
    unsigned char byte = 0;
    usb_ctrl_request_s vendor{0x40, 0x01, 0, 0, &byte, 1, 0};
    EXPECT_EQ(absent.cmdMsg(&vendor), -1);
    EXPECT_EQ(absent.stop(), 0);

    libusb_context* other = nullptr;
    ASSERT_EQ(libusb_init(&other), 0);
    libusb_device_handle* holder = libusb_open_device_with_vid_pid(other, 0x3482, 0x278A);
    ASSERT_NE(holder, nullptr);
    ASSERT_EQ(libusb_claim_interface(holder, 0), 0);
    auto busy = transport(1);
    EXPECT_EQ(busy->open(), -1);
    const std::string text = out.text();
    libusb_close(holder);
    libusb_exit(other);
    EXPECT_EQ(busy->open(), 0);  // free again

    EXPECT_EQ(lines(text, "ERROR", "LiteUsb", "no device 3482:278a on bus 1 at address 9"), 1);
    EXPECT_EQ(lines(text, "ERROR", "open", "libusb open device failed"), 1);
    EXPECT_EQ(lines(text, "ERROR", "cmdMsg", "camera is not open"), 1);
    EXPECT_EQ(lines(text, "WARN", "stop", "camera is not open"), 1);
    EXPECT_EQ(lines(text, "INFO", "LiteUsb", "success to check device, number of interfaces 1"), 1);
    const std::string claim = "failed to claim interface. Error code: " + std::to_string(LIBUSB_ERROR_BUSY);
    EXPECT_NE(text.find(claim + "  m_device 0x"), std::string::npos);
    EXPECT_NE(text.find("  m_vid 0x3482  m_pid 0x278a\nInterface is busy\n"), std::string::npos);
}
