#include <libusb.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>

#include "EmulatedDeviceTest.h"
#include "EmulatedUsbDevice.h"
#include "EmulatedVideoFunction.h"
#include "LogCapture.h"
#include "PlainUsbDevice.h"
#include "UsbCameraList.h"
#include "V4L2Camera.h"
#include "VideoTestPattern.h"

using namespace orrindale::emulator;

namespace {

class VideoCompanionTest : public EmulatedDeviceTest {
protected:
    void plain(uint16_t vid, uint16_t pid, UsbLocation where)
    {
        PlainUsbDeviceConfig config;
        config.vendorId = vid;
        config.productId = pid;
        ASSERT_NE(bed().addPlainDevice(where, config), nullptr);
    }
    struct Video {
        int vid = -1, pid = -1, bus = -1, address = -1;
    };
    int match(int vid, int pid, int bus, int address, bool isMatch, Video& v)
    {
        return get_match_video_node_info(vid, pid, bus, address, v.vid, v.pid, v.bus, v.address, isMatch);
    }
};

}  // namespace

TEST_F(VideoCompanionTest, VideoFunctionBehindTheSameHubIsChosen)
{
    plain(0x3482, 0x5725, UsbLocation(1, {2, 1}, 10));  // control function of a composite camera
    plain(0x0C45, 0x636B, UsbLocation(1, {3, 1}, 11));  // another camera's video function
    plain(0x0C45, 0x636B, UsbLocation(1, {2, 2}, 12));  // ours: same hub 1-2
    Video v;
    orrtest::StdoutCapture out;
    EXPECT_EQ(match(0x3482, 0x5725, 1, 10, true, v), 1);
    EXPECT_EQ(v.vid, 0x0C45);
    EXPECT_EQ(v.pid, 0x636B);
    EXPECT_EQ(v.bus, 1);
    EXPECT_EQ(v.address, 12);
    EXPECT_EQ(orrtest::countLogLines(out.text(), "INFO", "UsbCameraList", "get_match_video_node_info",
                                     "VideoAttrsList 2, is_match 1"),
              1);
}

TEST_F(VideoCompanionTest, CompanionIdentifiersFollowTheControlFunction)
{
    plain(0x1A86, 0x5722, UsbLocation(1, {1, 1}, 4));
    plain(0x2DBB, 0x0300, UsbLocation(1, {1, 2}, 5));
    plain(0x0C45, 0x636B, UsbLocation(1, {1, 3}, 6));  // wrong kind for this control function
    Video v;
    EXPECT_EQ(match(0x1A86, 0x5722, 1, 4, true, v), 1);
    EXPECT_EQ(v.vid, 0x2DBB);
    EXPECT_EQ(v.address, 5);
}

TEST_F(VideoCompanionTest, VirtualisedTopologyTakesTheLastCandidateOnlyWhenNotStrict)
{
    plain(0x3482, 0x5727, UsbLocation(1, {1}, 3));
    plain(0x0C45, 0x636B, UsbLocation(2, {1}, 4));  // other bus: paths say nothing
    plain(0x0C45, 0x636B, UsbLocation(1, {5, 2}, 5));  // other hub
    Video loose;
    orrtest::StdoutCapture out;
    EXPECT_EQ(match(0x3482, 0x5727, 1, 3, false, loose), 1);
    EXPECT_EQ(orrtest::countLogLines(out.text(), "INFO", "UsbCameraList", "get_match_video_node_info",
                                     "this is virtual machine !"),
              2);
    Video strict;
    EXPECT_EQ(match(0x3482, 0x5727, 1, 3, true, strict), 0);
    EXPECT_EQ(strict.address, -1);  // outputs untouched
    // The last candidate in libusb's list order wins, not the first.
    libusb_context* usb = nullptr;
    ASSERT_EQ(libusb_init(&usb), 0);
    libusb_device** list = nullptr;
    std::vector<std::pair<int, int>> order;  // bus, address of each candidate as listed
    for (ssize_t i = 0, n = libusb_get_device_list(usb, &list); i < n; ++i) {
        libusb_device_descriptor d{};
        libusb_get_device_descriptor(list[i], &d);
        if (d.idVendor == 0x0C45 && d.idProduct == 0x636B)
            order.emplace_back(libusb_get_bus_number(list[i]), libusb_get_device_address(list[i]));
    }
    libusb_free_device_list(list, 1);
    libusb_exit(usb);
    ASSERT_EQ(order.size(), 2u);
    EXPECT_EQ(std::make_pair(loose.bus, loose.address), order.back());
}

// A composite camera in use: the lookup's answer opens the node of the video function
// behind the control function's hub, not the other camera's, checked by the frames' tag.
TEST_F(VideoCompanionTest, CompanionLookupOpensTheVideoNodeBehindTheSameHub)
{
    plain(0x3482, 0x5725, UsbLocation(1, {2, 1}, 10));
    plain(0x3482, 0x5725, UsbLocation(1, {3, 1}, 20));
    EmulatedVideoFunction* other = bed().addVideoFunction(UsbLocation(1, {3, 2}, 21), VideoFunctionConfig::sonix636b());
    EmulatedVideoFunction* ours = bed().addVideoFunction(UsbLocation(1, {2, 2}, 11), VideoFunctionConfig::sonix636b());
    ASSERT_NE(other, nullptr);
    ASSERT_NE(ours, nullptr);
    Video v;
    ASSERT_EQ(match(0x3482, 0x5725, 1, 10, true, v), 1);
    V4L2Camera camera(v.vid, v.pid, v.bus, v.address);
    ASSERT_EQ(camera.open(), 0);
    EXPECT_EQ(camera.videoNode(), ours->captureNode());
    struct Seen {
        std::mutex mutex;
        std::condition_variable cv;
        uint32_t tag = 0;
        int frames = 0;
    } seen;
    video_cfg cfg;
    cfg.width = 320;
    cfg.height = 240;
    cfg.fps = 30;
    cfg.user = &seen;
    cfg.callback = [](const frame_info* f, void* user) {
        auto* s = static_cast<Seen*>(user);
        uint32_t tag = 0, sequence = 0;
        VideoTestPattern::identify(f->data, f->size, tag, sequence);
        std::lock_guard<std::mutex> lock(s->mutex);
        s->tag = tag;
        ++s->frames;
        s->cv.notify_all();
    };
    ASSERT_EQ(camera.start(cfg), 0);
    {
        std::unique_lock<std::mutex> lock(seen.mutex);
        EXPECT_TRUE(seen.cv.wait_for(lock, std::chrono::seconds(20), [&] { return seen.frames >= 2; }));
    }
    camera.close();
    EXPECT_EQ(seen.tag, ours->patternTag());
    EXPECT_NE(seen.tag, other->patternTag());
}

// udevadm's answer for a video node; the node name reaches it as one word, never as shell.
TEST_F(VideoCompanionTest, NodePropertiesComeFromUdevAndNamesAreNotShell)
{
    EmulatedVideoFunction* video = bed().addVideoFunction(UsbLocation(1, {2}, 4), VideoFunctionConfig::video2dbb0300());
    ASSERT_NE(video, nullptr);
    EXPECT_EQ(getNodeInfo(video->captureNode(), "ID_V4L_CAPABILITIES"), ":capture:");
    EXPECT_EQ(getNodeInfo(video->captureNode(), "ID_VENDOR_ID"), "2dbb");
    const std::string marker = std::string(std::getenv("ORR_TEST_TMP")) + "/injected-" + std::to_string(getpid());
    for (const std::string& hostile : {"/dev/video0; touch " + marker, "$(touch " + marker + ")",
                                       "/dev/video0' ; touch " + marker + " ; '"})
        EXPECT_EQ(getNodeInfo(hostile, "DEVNAME"), "") << hostile;
    EXPECT_NE(access(marker.c_str(), F_OK), 0) << "a node name ran as a command";
}

TEST_F(VideoCompanionTest, MissingControlDeviceOrCandidatesGiveNothing)
{
    plain(0x3482, 0x5723, UsbLocation(1, {1}, 3));
    Video v;
    orrtest::StdoutCapture out;
    EXPECT_EQ(match(0x3482, 0x5723, 1, 9, false, v), 0);  // no device at that address
    EXPECT_EQ(match(0x3482, 0x5723, 1, 3, false, v), 0);  // no video function attached
    const std::string text = out.text();
    EXPECT_NE(text.find("can not find usb device: vid 3482, pid 5723, bus num 1, dev num 9\n"), std::string::npos)
        << text;
    EXPECT_EQ(orrtest::countLogLines(text, "INFO", "UsbCameraList", "get_match_video_node_info",
                                     "VideoAttrsList 0, is_match 0"),
              1);
}
