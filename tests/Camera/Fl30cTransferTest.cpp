// How the Fl30c driver splits transfers into frames: the checks that drop bad transfers
// (with their exact warnings), image kinds, depth on odd transfers, infrared, the raw
// depth conversion, denoise scaling and the raw MJPEG pass-through. (Resizing, turning,
// registration and the calibration are judged against the emulated camera's scene in
// Fl30cGeometryTest.)
#include <gtest/gtest.h>

#include <cmath>

#include "Fl30cTestTransfers.h"
#include "LogCapture.h"

using namespace fl30ctest;
using orrtest::countAnyLogLines;
using orrtest::countLogLines;
using orrtest::StdoutCapture;

namespace {

constexpr const char* kDriver = "CameraFl30c";

class Fl30cTransferTest : public DriverFixture {
protected:
    // Opens with a configuration (empty: none), starts with mask and uses up the skipped frames.
    void stream(int mask, const std::string& config = "")
    {
        openWith(config);
        ASSERT_EQ(driver->startStreaming(mask), 0);
        warmUp();
    }
    // Delivers and returns the callback it caused; false when there was none.
    bool deliver(const std::vector<uint8_t>& bytes, uint32_t width, uint32_t seq, Delivery& out)
    {
        const size_t before = recorder.count();
        capture->deliver(frameOf(bytes, width, seq));
        if (recorder.count() == before) return false;
        out = recorder.last();
        return true;
    }
    bool deliver(const frame_info& frame, Delivery& out)
    {
        const size_t before = recorder.count();
        capture->deliver(frame);
        if (recorder.count() == before) return false;
        out = recorder.last();
        return true;
    }
};

// Depth in mm the driver delivers for raw word mm * 16 + fraction.
uint16_t expectedMm(int mm, int fraction) { return static_cast<uint16_t>(mm + (fraction >= 8 ? 1 : 0)); }

}  // namespace

// ---------------------------------------------------------------- checks of a transfer

TEST_F(Fl30cTransferTest, ShortAndWronglySizedTransfersAreDroppedAndTheNextIsDelivered)
{
    stream(0);
    const auto good = buildTransfer();
    Delivery d;
    {
        StdoutCapture out;
        frame_info shortFrame = frameOf(good, 640, 10);
        shortFrame.size = 1136;
        EXPECT_FALSE(deliver(shortFrame, d));
        EXPECT_EQ(countAnyLogLines(out.text()), 0);  // silently
    }
    {
        StdoutCapture out;
        auto bytes = good;
        putU32(bytes, 1133, static_cast<uint32_t>(bytes.size() + 1));
        EXPECT_FALSE(deliver(bytes, 640, 11, d));
        putU32(bytes, 1133, static_cast<uint32_t>(bytes.size() - 1));  // more bytes than the header names
        EXPECT_FALSE(deliver(bytes, 640, 11, d));
        frame_info truncated = frameOf(good, 640, 12);
        truncated.size = 500000;
        EXPECT_FALSE(deliver(truncated, d));
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "WARN", kDriver, "checkTransfer", "wrong size, read :821760,but framesize:821761"), 1);
        EXPECT_EQ(countLogLines(log, "WARN", kDriver, "checkTransfer", "wrong size, read :821760,but framesize:821759"), 1);
        EXPECT_EQ(countLogLines(log, "WARN", kDriver, "checkTransfer", "wrong size, read :500000,but framesize:821760"), 1);
    }
    ASSERT_TRUE(deliver(good, 640, 13, d));
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_DEPTH].size, 640u * 480 * 2);
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_DEPTH].frameId, 13u);
}

TEST_F(Fl30cTransferTest, MjpegLengthMustBeAboveZeroAndBelowTheLargestPayload)
{
    stream(0);
    Delivery d;
    StdoutCapture out;
    for (uint32_t length : {0u, 821760u, 0xFFFFFFFFu}) {
        auto bytes = buildTransfer();
        putU32(bytes, 1072, length);
        EXPECT_FALSE(deliver(bytes, 640, 3, d)) << length;
    }
    // In range, but more than the transfer holds after its header.
    auto tooLong = buildTransfer();
    putU32(tooLong, 1072, 821759);
    EXPECT_FALSE(deliver(tooLong, 640, 5, d));
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "WARN", kDriver, "checkTransfer", "warning: mjpeg size is 0, not in range 0 ~ 821760"), 1);
    EXPECT_EQ(countLogLines(log, "WARN", kDriver, "checkTransfer", "warning: mjpeg size is 821760, not in range 0 ~ 821760"),
              1);
    EXPECT_EQ(countLogLines(log, "WARN", kDriver, "checkTransfer",
                            "warning: mjpeg size is 4294967295, not in range 0 ~ 821760"),
              1);
    EXPECT_EQ(countLogLines(log, "WARN", kDriver, "checkTransfer",
                            "frame of 821760 bytes cannot hold its header and an mjpeg of 821759 bytes"),
              1);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(Fl30cTransferTest, TheLargestMjpegIsAcceptedWhenTheRestFits)
{
    stream(0);
    // A real JPEG padded to 821,759 bytes, then the depth image.
    std::vector<uint8_t> jpeg = cardJpeg(640, 480);
    jpeg.resize(821759, 0);
    const std::vector<uint8_t> normal = buildTransfer();
    const size_t depthAt = kHeader + cardJpeg(640, 480).size();
    std::vector<uint8_t> bytes(kHeader + jpeg.size() + 640 * 480 * 2, 0);
    std::memcpy(bytes.data(), normal.data(), kHeader);
    putU32(bytes, 1072, 821759);
    putU32(bytes, 1133, static_cast<uint32_t>(bytes.size()));
    std::memcpy(&bytes[kHeader], jpeg.data(), jpeg.size());
    std::memcpy(&bytes[kHeader + jpeg.size()], &normal[depthAt], 640 * 480 * 2);
    Delivery d;
    ASSERT_TRUE(deliver(bytes, 640, 7, d));
    const Slot& depth = d.slot[CAM_DATA_SLOT_DEPTH];
    ASSERT_EQ(depth.size, 640u * 480 * 2);
    EXPECT_EQ(depth.at<uint16_t>(0), depthMmAt(0, 0));
    EXPECT_EQ(depth.at<uint16_t>(479 * 640 + 639), depthMmAt(639, 479));
    int w = 0, h = 0;
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_RGB].bytes, decodeBgr(cardJpeg(640, 480), w, h));
}

TEST_F(Fl30cTransferTest, ATransferOfAnUnknownWidthOrWithoutRoomForItsDepthIsDropped)
{
    stream(0);
    Delivery d;
    StdoutCapture out;
    const auto good = buildTransfer();
    EXPECT_FALSE(deliver(good, 800, 1, d));  // no image size belongs to an 800-wide transfer
    // An MJPEG length that leaves one byte too few for the depth image after it.
    auto late = good;
    putU32(late, 1072, static_cast<uint32_t>(late.size() - kHeader - 640 * 480 * 2 + 1));
    EXPECT_FALSE(deliver(late, 640, 2, d));
    const std::string log = out.text();
    EXPECT_EQ(countLogLines(log, "WARN", kDriver, "checkTransfer", "transfer width 800 carries no known image size"), 1);
    EXPECT_EQ(countLogLines(log, "WARN", kDriver, "depthDataProcessing",
                            "depth image of 614400 bytes does not fit a transfer of 821760 bytes"),
              1);
    EXPECT_EQ(recorder.count(), 0u);
    ASSERT_TRUE(deliver(good, 640, 3, d));
}

TEST_F(Fl30cTransferTest, KindSixIsDepthKindThreeCarriesOnlyColour)
{
    stream(QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_POINTCLOUD | QV_MEDIA_RAW_MJPEG);
    Delivery two, six, three;
    ASSERT_TRUE(deliver(buildTransfer(), 640, 1, two));
    TransferRecipe recipe;
    recipe.kind = 6;
    ASSERT_TRUE(deliver(buildTransfer(recipe), 640, 3, six));
    EXPECT_EQ(six.slot[CAM_DATA_SLOT_DEPTH].bytes, two.slot[CAM_DATA_SLOT_DEPTH].bytes);
    EXPECT_EQ(six.slot[CAM_DATA_SLOT_POINTCLOUD].bytes, two.slot[CAM_DATA_SLOT_POINTCLOUD].bytes);

    recipe.kind = 3;
    ASSERT_TRUE(deliver(buildTransfer(recipe), 640, 5, three));
    EXPECT_EQ(three.slot[CAM_DATA_SLOT_DEPTH].size, 0u);
    EXPECT_EQ(three.slot[CAM_DATA_SLOT_POINTCLOUD].size, 0u);
    EXPECT_EQ(three.slot[CAM_DATA_SLOT_IR].size, 0u);
    EXPECT_EQ(three.slot[CAM_DATA_SLOT_RGB].bytes, two.slot[CAM_DATA_SLOT_RGB].bytes);
    const Slot& raw = three.slot[CAM_DATA_SLOT_FL30C_EXTRA];
    EXPECT_EQ(raw.type, CAM_FRAME_RAW_MJPEG);
    EXPECT_EQ(raw.width, 640u);
    EXPECT_EQ(raw.height, 480u);
    EXPECT_EQ(raw.frameId, 5u);
    EXPECT_EQ(raw.bytes, cardJpeg(640, 480));

    // An infrared transfer while infrared is not requested: colour only as well.
    recipe.kind = 1;
    Delivery one;
    ASSERT_TRUE(deliver(buildTransfer(recipe), 640, 7, one));
    EXPECT_EQ(one.slot[CAM_DATA_SLOT_DEPTH].size, 0u);
    EXPECT_EQ(one.slot[CAM_DATA_SLOT_IR].size, 0u);
    EXPECT_EQ(one.slot[CAM_DATA_SLOT_RGB].size, 640u * 480 * 3);
}

TEST_F(Fl30cTransferTest, DepthOnOddTransfersOnlyWhenColourRunsAtTwiceTheDepthRate)
{
    openWith();
    setMode(MEDIA_TYPE_RGB, 640, 480, 30);
    ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH | QV_MEDIA_RGB), 0);
    warmUp();
    const auto bytes = buildTransfer();
    std::vector<uint32_t> withDepth;
    for (uint32_t seq = 100; seq < 106; ++seq) {
        Delivery d;
        ASSERT_TRUE(deliver(bytes, 640, seq, d));
        EXPECT_EQ(d.slot[CAM_DATA_SLOT_RGB].size, 640u * 480 * 3);
        if (d.slot[CAM_DATA_SLOT_DEPTH].size != 0) withDepth.push_back(seq);
    }
    EXPECT_EQ(withDepth, (std::vector<uint32_t>{101, 103, 105}));

    // With infrared requested, every depth transfer carries depth.
    makeDriver("FL30C:V1.0.8:H01:20241021");
    openWith();
    setMode(MEDIA_TYPE_RGB, 640, 480, 30);
    ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH | QV_MEDIA_IR), 0);
    recorder.clear();
    for (uint32_t seq = 200; seq < 204; ++seq) {
        Delivery d;
        ASSERT_TRUE(deliver(bytes, 640, seq, d));
        EXPECT_EQ(d.slot[CAM_DATA_SLOT_DEPTH].size, 640u * 480 * 2) << seq;
    }

    // Equal rates: every transfer.
    makeDriver("FL30C:V1.0.8:H01:20241021");
    openWith();
    ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH | QV_MEDIA_RGB), 0);
    for (uint32_t seq = 300; seq < 302; ++seq) {
        Delivery d;
        ASSERT_TRUE(deliver(bytes, 640, seq, d));
        EXPECT_EQ(d.slot[CAM_DATA_SLOT_DEPTH].size, 640u * 480 * 2) << seq;
    }
}

// ---------------------------------------------------------------- images

TEST_F(Fl30cTransferTest, DepthIsTheRawWordRoundedToMillimetresAndTheCloudIsItsProjection)
{
    stream(0);
    for (int fraction : {7, 8}) {
        TransferRecipe recipe;
        recipe.rawFraction = fraction;
        Delivery d;
        ASSERT_TRUE(deliver(buildTransfer(recipe), 640, 9, d));
        const Slot& depth = d.slot[CAM_DATA_SLOT_DEPTH];
        ASSERT_EQ(depth.width, 640u);
        ASSERT_EQ(depth.height, 480u);
        ASSERT_EQ(depth.length, 2u);
        int wrong = 0;
        for (int y = 0; y < 480; ++y)
            for (int x = 0; x < 640; ++x)
                wrong += depth.at<uint16_t>(static_cast<size_t>(y) * 640 + x) != expectedMm(depthMmAt(x, y), fraction);
        EXPECT_EQ(wrong, 0) << "fraction " << fraction;

        // Every depth is within 1 .. 5000 mm: one point per pixel, in raster order.
        const Slot& cloud = d.slot[CAM_DATA_SLOT_POINTCLOUD];
        ASSERT_EQ(cloud.size, 640u * 480 * 12);
        const CAM_Parameter k = testCalibration();
        int off = 0;
        for (int y = 0; y < 480; y += 7)
            for (int x = 0; x < 640; x += 5) {
                const size_t i = (static_cast<size_t>(y) * 640 + x) * 3;
                const float z = expectedMm(depthMmAt(x, y), fraction);
                off += std::fabs(cloud.at<float>(i + 2) - z) > 1e-3f;
                off += std::fabs(cloud.at<float>(i) - (x - k.depthCx) * z / k.depthFx) > 1e-2f;
                off += std::fabs(cloud.at<float>(i + 1) - (y - k.depthCy) * z / k.depthFy) > 1e-2f;
            }
        EXPECT_EQ(off, 0);
    }
}

TEST_F(Fl30cTransferTest, InfraredForcesFullDepthAndIsDeliveredAsSent)
{
    openWith();
    setMode(MEDIA_TYPE_DEPTH, 320, 240, 15);
    ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH | QV_MEDIA_RGB | QV_MEDIA_IR), 0);
    warmUp();
    TransferRecipe recipe;
    recipe.kind = 1;
    Delivery d;
    ASSERT_TRUE(deliver(buildTransfer(recipe), 640, 4, d));
    const Slot& ir = d.slot[CAM_DATA_SLOT_IR];
    ASSERT_EQ(ir.type, CAM_FRAME_IR);
    ASSERT_EQ(ir.width, 640u);
    ASSERT_EQ(ir.height, 480u);
    ASSERT_EQ(ir.size, 640u * 480);
    EXPECT_EQ(ir.frameId, 4u);
    int wrong = 0;
    for (int y = 0; y < 480; ++y)
        for (int x = 0; x < 640; ++x) wrong += ir.bytes[static_cast<size_t>(y) * 640 + x] != irAt(x, y);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_DEPTH].size, 0u);
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_RGB].size, 640u * 480 * 3);

    ASSERT_TRUE(deliver(buildTransfer(), 640, 5, d));  // the depth of the pair
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_DEPTH].width, 640u);
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_DEPTH].height, 480u);
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_IR].size, 0u);

    // An infrared image that does not fit its transfer.
    auto cut = buildTransfer(recipe);
    cut.resize(kHeader + cardJpeg(640, 480).size() + 640 * 480 - 1);
    putU32(cut, 1133, static_cast<uint32_t>(cut.size()));
    StdoutCapture out;
    ASSERT_TRUE(deliver(cut, 640, 7, d));
    EXPECT_EQ(d.slot[CAM_DATA_SLOT_IR].size, 0u);
    EXPECT_EQ(countLogLines(out.text(), "WARN", kDriver, "irDataProcessing", "frame size not match"), 1);
}

// ---------------------------------------------------------------- denoise

namespace {

// 1,000 mm everywhere, with two square speckles at 3,000 mm: 8 x 8 and 12 x 12 pixels.
std::vector<uint16_t> speckledDepth()
{
    std::vector<uint16_t> mm(640 * 480, 1000);
    for (int y = 100; y < 108; ++y)
        for (int x = 100; x < 108; ++x) mm[static_cast<size_t>(y) * 640 + x] = 3000;
    for (int y = 300; y < 312; ++y)
        for (int x = 400; x < 412; ++x) mm[static_cast<size_t>(y) * 640 + x] = 3000;
    return mm;
}

std::string denoiseConfig(int width, int height)
{
    return fl30cConfig("", "", "{\"Denoise\": {\"enable\": 1, \"depth_width\": " + std::to_string(width) +
                                   ", \"depth_height\": " + std::to_string(height) +
                                   ", \"factor\": 4, \"newVal\": 0, \"maxSpeckleSize\": 400, \"maxDiff\": 10, "
                                   "\"max_th\": 65535}}");
}

}  // namespace

TEST_F(Fl30cTransferTest, DenoiseScalesTheSpeckleSizeByTheConfiguredMultiple)
{
    const auto mm = speckledDepth();
    TransferRecipe recipe;
    recipe.depthMm = &mm;
    const auto bytes = buildTransfer(recipe);
    struct Case {
        int width, height;
        bool smallGone, largeGone;
    };
    // 640 x 480: k = 1, speckles up to 400 pixels go. 1280 x 960: k = 2, up to 400 / 4 = 100.
    for (const Case& c : {Case{640, 480, true, true}, Case{1280, 960, true, false}}) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height));
        makeDriver("FL30C:V1.0.8:H01:20241021");
        openWith(denoiseConfig(c.width, c.height));
        ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH), 0);
        warmUp();
        Delivery d;
        StdoutCapture out;
        ASSERT_TRUE(deliver(bytes, 640, 1, d));
        EXPECT_EQ(countAnyLogLines(out.text()), 0);
        const Slot& depth = d.slot[CAM_DATA_SLOT_DEPTH];
        EXPECT_EQ(depth.at<uint16_t>(103 * 640 + 103), c.smallGone ? 0 : 3000);
        EXPECT_EQ(depth.at<uint16_t>(305 * 640 + 405), c.largeGone ? 0 : 3000);
        EXPECT_EQ(depth.at<uint16_t>(10 * 640 + 10), 1000);
    }
}

TEST_F(Fl30cTransferTest, DenoiseIsSkippedWhenTheConfiguredSizeIsNoMultipleOfTheImage)
{
    const auto mm = speckledDepth();
    TransferRecipe recipe;
    recipe.depthMm = &mm;
    const auto bytes = buildTransfer(recipe);
    for (auto [w, h] : {std::pair<int, int>{1280, 720}, {1000, 750}, {320, 240}}) {
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        makeDriver("FL30C:V1.0.8:H01:20241021");
        openWith(denoiseConfig(w, h));
        ASSERT_EQ(driver->startStreaming(QV_MEDIA_DEPTH), 0);
        warmUp();
        Delivery d;
        StdoutCapture out;
        ASSERT_TRUE(deliver(bytes, 640, 1, d));
        const std::string log = out.text();
        EXPECT_EQ(countLogLines(log, "ERROR", kDriver, "denoise", "denoise depth image fail!"), 1);
        EXPECT_EQ(countLogLines(log, "WARN", kDriver, "denoise",
                                "The denoising parameter width and height in the configuration file are not "
                                "multiplesof the current resolution.Please fill in the denoising parameter width "
                                "and heightcorrectly in the configuration file, or set the resolution correctly."),
                  1);
        const Slot& depth = d.slot[CAM_DATA_SLOT_DEPTH];
        EXPECT_EQ(depth.at<uint16_t>(103 * 640 + 103), 3000);  // untouched
        EXPECT_EQ(depth.at<uint16_t>(305 * 640 + 405), 3000);
    }
}
