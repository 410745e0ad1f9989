#include "EmulatedDeviceTest.h"
#include "LogCapture.h"
#include "PlainUsbDevice.h"
#include "UsbCameraList.h"

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
    // The last candidate in list order wins; libusb lists in the order the bus reports them.
    EXPECT_TRUE(loose.address == 4 || loose.address == 5);
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
