// Stream modes of the Fl30c driver: the capability tables chosen by the firmware's MJPEG
// size, what setStreamParam refuses, and the operations the model does not offer.
#include <gtest/gtest.h>

#include "Fl30cTestTransfers.h"
#include "LogCapture.h"

using namespace fl30ctest;
using orrtest::countLogLines;
using orrtest::StdoutCapture;

namespace {

constexpr const char* kDriver = "CameraFl30c";

class Fl30cStreamModesTest : public DriverFixture {};

std::vector<STREAM_PARAM_S> modesOf(std::initializer_list<std::pair<uint32_t, uint32_t>> sizes)
{
    std::vector<STREAM_PARAM_S> list;
    for (const auto& [w, h] : sizes)
        for (uint32_t fps : {10u, 15u, 25u, 30u}) list.push_back({w, h, fps});
    return list;
}

bool sameModes(const std::vector<STREAM_PARAM_S>& a, const std::vector<STREAM_PARAM_S>& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](const auto& x, const auto& y) {
               return x.width == y.width && x.height == y.height && x.fps == y.fps;
           });
}

}  // namespace

TEST_F(Fl30cStreamModesTest, ColourModesFollowTheFirmwaresMjpegSize)
{
    struct Case {
        const char* firmware;
        std::vector<STREAM_PARAM_S> colour;
        uint32_t rgbWidth, rgbHeight;
    };
    const Case cases[] = {
        {"FL30C:V1.0.8:H01:20241021", modesOf({{640, 480}}), 640, 480},
        {"FL30C:V1.0.8:L02:20241021", modesOf({{640, 480}}), 640, 480},
        {"FL30C:V1.0.8:H03:20241021", modesOf({{640, 360}}), 640, 360},
        {"FL30C:V1.0.8:L04", modesOf({{640, 360}}), 640, 360},
        {"FL30C:V1.0.8:001:20241021", modesOf({{1280, 720}, {640, 480}}), 1280, 720},
        {"FL30C:V1.0.8", modesOf({{640, 480}}), 640, 480},  // no size named: the default stays
        {"FL30C:V1.0.8:X99:20241021", modesOf({{640, 480}}), 640, 480},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.firmware);
        makeDriver(c.firmware);
        openWith();
        std::vector<STREAM_PARAM_S> list{{1, 1, 1}};
        ASSERT_EQ(driver->getCapability(MEDIA_TYPE_RGB, list), 0);
        EXPECT_TRUE(sameModes(list, c.colour));
        ASSERT_EQ(driver->getCapability(MEDIA_TYPE_DEPTH, list), 0);
        EXPECT_TRUE(sameModes(list, modesOf({{640, 480}, {320, 240}, {160, 120}})));
        EXPECT_EQ(driver->getCapability(static_cast<MEDIA_TYPE_E>(2), list), -1);
        EXPECT_TRUE(list.empty());
        STREAM_PARAM_S modes[3];
        ASSERT_EQ(driver->getStreamParam(modes), 0);
        EXPECT_EQ(modes[0].width, c.rgbWidth);
        EXPECT_EQ(modes[0].height, c.rgbHeight);
        EXPECT_EQ(modes[0].fps, 15u);
        EXPECT_EQ(modes[1].width, 640u);
        EXPECT_EQ(modes[1].height, 480u);
        EXPECT_EQ(modes[2].width, 640u);
        EXPECT_EQ(modes[2].height, 480u);
        EXPECT_EQ(modes[2].fps, 15u);
    }
}

TEST_F(Fl30cStreamModesTest, SetStreamParamRefusesAClosedCameraAStreamAndUnknownModes)
{
    const STREAM_PARAM_S depth320{320, 240, 30};
    {
        StdoutCapture out;
        EXPECT_EQ(driver->setStreamParam(MEDIA_TYPE_DEPTH, &depth320), -1);
        EXPECT_EQ(countLogLines(out.text(), "ERROR", kDriver, "setStreamParam", "Camera is not opened."), 1);
    }
    openWith();
    {
        StdoutCapture out;
        const STREAM_PARAM_S refused[] = {{640, 480, 20}, {1280, 720, 15}, {320, 240, 0}, {640, 360, 15}};
        for (const auto& p : refused) EXPECT_EQ(driver->setStreamParam(MEDIA_TYPE_RGB, &p), -1);
        const STREAM_PARAM_S depth640x360{640, 360, 15};
        EXPECT_EQ(driver->setStreamParam(MEDIA_TYPE_DEPTH, &depth640x360), -1);
        EXPECT_EQ(driver->setStreamParam(static_cast<MEDIA_TYPE_E>(2), &depth320), -1);
        EXPECT_EQ(countLogLines(out.text(), "ERROR", kDriver, "setStreamParam", "Not support width, height or fps"), 6);
    }
    ASSERT_EQ(driver->setStreamParam(MEDIA_TYPE_DEPTH, &depth320), 0);
    ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH), 0);
    {
        StdoutCapture out;
        const STREAM_PARAM_S depth160{160, 120, 30};
        EXPECT_EQ(driver->setStreamParam(MEDIA_TYPE_DEPTH, &depth160), -1);
        EXPECT_EQ(countLogLines(out.text(), "ERROR", kDriver, "setStreamParam",
                                "Camera is streaming, only support setting StreamParam before streaming"),
                  1);
    }
    STREAM_PARAM_S modes[3];
    ASSERT_EQ(driver->getStreamParam(modes), 0);
    EXPECT_EQ(modes[1].width, 320u);  // the refusals changed nothing
    EXPECT_EQ(modes[1].height, 240u);
    EXPECT_EQ(modes[1].fps, 30u);
    EXPECT_EQ(modes[0].fps, 15u);
    EXPECT_EQ(capture->lastCfg.width, 320u);

    ASSERT_EQ(driver->stopStreaming(0), 0);
    const STREAM_PARAM_S depth160{160, 120, 10};
    EXPECT_EQ(driver->setStreamParam(MEDIA_TYPE_DEPTH, &depth160), 0);
}

TEST_F(Fl30cStreamModesTest, WideMjpegOffersBothColourSizes)
{
    makeDriver("FL30C:V1.0.8:001:20241021");
    openWith();
    for (const STREAM_PARAM_S p : {STREAM_PARAM_S{1280, 720, 25}, STREAM_PARAM_S{640, 480, 10}}) {
        ASSERT_EQ(driver->setStreamParam(MEDIA_TYPE_RGB, &p), 0);
        STREAM_PARAM_S modes[3];
        ASSERT_EQ(driver->getStreamParam(modes), 0);
        EXPECT_EQ(modes[0].width, p.width);
        EXPECT_EQ(modes[0].height, p.height);
        EXPECT_EQ(modes[0].fps, p.fps);
    }
}

TEST_F(Fl30cStreamModesTest, RawTransfersAndNetworkAttributesAreNotOffered)
{
    openWith();
    unsigned char buffer[64] = {};
    NET_DEV_ATTRS net{};
    StdoutCapture out;
    EXPECT_EQ(driver->controlTransferRead(0x27, buffer, 64, 100), -1);
    EXPECT_EQ(driver->controlTransferWrite(0x27, buffer, 64, 100), -1);
    EXPECT_EQ(driver->bulkTransferRead(buffer, 64, 100), -1);
    EXPECT_EQ(driver->bulkTransferWrite(buffer, 64, 100), -1);
    EXPECT_EQ(driver->setDevNetAttrs(net), -1);
    EXPECT_EQ(driver->getDevNetAttrs(net), -1);
    const std::string log = out.text();
    for (const char* op : {"controlTransferRead", "controlTransferWrite", "bulkTransferRead", "bulkTransferWrite",
                           "setDevNetAttrs", "getDevNetAttrs"})
        EXPECT_EQ(countLogLines(log, "WARN", kDriver, op, std::string("CameraFl30c does not support ") + op), 1) << op;
    EXPECT_EQ(capture->requests().size(), 2u);  // only what open sent
}
