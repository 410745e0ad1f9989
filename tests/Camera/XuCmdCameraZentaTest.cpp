#include <gtest/gtest.h>

#include "FakeCapture.h"
#include "LogCapture.h"
#include "XuCmdCameraZenta.h"

using orrtest::FakeCapture;
using orrtest::StdoutCapture;

namespace {

// The device's side of a secure-element answer: query status, then numbered packets.
std::vector<std::vector<unsigned char>> sePackets(const std::string& text)
{
    std::vector<std::vector<unsigned char>> packets;
    const unsigned count = static_cast<unsigned>((text.size() + 59) / 60);
    for (unsigned i = 0; i < count; ++i) {
        std::vector<unsigned char> p(64, 0);
        const std::string part = text.substr(i * 60, 60);
        p[0] = 0x90, p[1] = static_cast<unsigned char>(i), p[2] = static_cast<unsigned char>(count);
        p[3] = static_cast<unsigned char>(part.size());
        std::copy(part.begin(), part.end(), p.begin() + 4);
        packets.push_back(p);
    }
    return packets;
}

// A transport that hands out the packets of 0x90 in order.
class SeCapture : public FakeCapture {
public:
    std::vector<std::vector<unsigned char>> packets;
    size_t next = 0;
    int cmdMsg(void* request) override
    {
        auto* r = static_cast<usb_ctrl_request_s*>(request);
        if (r->request == 0x90 && next < packets.size()) reply(0x90, packets[next++]);
        return FakeCapture::cmdMsg(request);
    }
};

}  // namespace

TEST(XuCmdCameraZentaTest, ConfidenceLevelIsSentOneLower)
{
    FakeCapture capture;
    XuCmdCameraZenta cmd(&capture, nullptr, QV_CAM_ATTR_USB);
    ASSERT_EQ(cmd.setHimaxConfidenceLevel(3), 0);
    EXPECT_EQ(capture.requests().at(0).text(), "2");
}

TEST(XuCmdCameraZentaTest, FrameRateClearFeatureAndMjpegSizeAreNotOffered)
{
    FakeCapture capture;
    XuCmdCameraZenta cmd(&capture, nullptr, QV_CAM_ATTR_USB);
    unsigned w = 0, h = 0;
    StdoutCapture out;
    EXPECT_EQ(cmd.setFrameRate(30), -1);
    EXPECT_EQ(cmd.xucmd_write_clear_feature(), -1);
    EXPECT_EQ(cmd.getMjpegSize(w, h), -1);
    EXPECT_TRUE(capture.requests().empty());
    EXPECT_EQ(orrtest::countAnyLogLines(out.text()), 3);
}

TEST(XuCmdCameraZentaTest, SecureElementAnswerIsReassembledFromPackets)
{
    SeCapture capture;
    const std::string serial = std::string(70, 'S') + "END";
    capture.reply(0x96, {0x96, 0x00, 2});
    capture.packets = sePackets(serial);
    XuCmdCameraZenta cmd(&capture, nullptr, QV_CAM_ATTR_USB);
    std::string got;
    ASSERT_EQ(cmd.getSeSerial(got), 0);
    EXPECT_EQ(got, serial);
    const auto reqs = capture.requests();
    ASSERT_EQ(reqs.size(), 3u);
    EXPECT_EQ(reqs[0].request, 0x96);
    EXPECT_EQ(reqs[1].request, 0x90);
    EXPECT_EQ(reqs[2].request, 0x90);
}

TEST(XuCmdCameraZentaTest, SecureElementErrorsArePrinted)
{
    SeCapture capture;
    XuCmdCameraZenta cmd(&capture, nullptr, QV_CAM_ATTR_USB);
    std::string got = "kept";

    StdoutCapture out;
    capture.reply(0x9F, {0x9F, 0x05, 1});  // device reports a failure status
    EXPECT_EQ(cmd.getSeSdkVersion(got), -2);
    capture.reply(0x95, {0x95, 0x00, 0});  // no packets announced
    EXPECT_EQ(cmd.getSeCosVersion(got), -2);
    capture.reply(0x96, {0x96, 0x00, 2});
    capture.packets = sePackets(std::string(100, 'x'));
    capture.packets[1][1] = 7;  // out-of-order packet
    EXPECT_EQ(cmd.getSeSerial(got), -2);
    capture.packets = sePackets("abc");
    capture.next = 0;
    capture.packets[0][3] = 61;  // longer than a packet can carry
    capture.reply(0x96, {0x96, 0x00, 1});
    EXPECT_EQ(cmd.getSeSerial(got), -2);
    EXPECT_EQ(got, "kept");
    const std::string text = out.text();
    EXPECT_NE(text.find("SE error, ret[#9f][05]\n"), std::string::npos) << text;
    EXPECT_NE(text.find("SE:get packet info error\n"), std::string::npos);
    EXPECT_NE(text.find("get pack error:1/2\n"), std::string::npos);
    EXPECT_NE(text.find("get pack error:0/1\n"), std::string::npos);
}
