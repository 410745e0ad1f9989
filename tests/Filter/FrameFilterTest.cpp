// The frame filters one by one: arithmetic, geometry of the returned frames, the
// fields carried through, and what happens with empty or short frames.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "Denoise.h"
#include "Dilate.h"
#include "DepthTestImages.h"
#include "LogCapture.h"
#include "RawToZ16.h"
#include "RegisterTo.h"
#include "YuyvToBgr.h"
#include "Z16ToXYZ32.h"

using namespace orrindale;

namespace {

using Words = std::vector<uint16_t>;

CAM_FRAME frameOf(Words& words, uint32_t width, uint32_t height)
{
    CAM_FRAME f{};
    f.type = CAM_FRAME_DEPTH;
    f.width = width;
    f.height = height;
    f.data = reinterpret_cast<unsigned char*>(words.data());
    f.size = static_cast<uint32_t>(words.size() * 2);
    f.length = 77;
    f.frameId = 42;
    f.timestamp = 123456789ull;
    return f;
}

class CountingFilter : public IFilter<Frame> {
public:
    Frame process(Frame frame) override
    {
        ++calls;
        CAM_FRAME f = frame.getFrameData();
        f.frameId += 1;
        return Frame(f);
    }
    int calls = 0;
};

}  // namespace

TEST(FrameApplyFilter, RunsTheFilterOnlyWhenEnabled)
{
    Words w(4);
    const Frame frame(frameOf(w, 2, 2));
    CountingFilter filter;
    EXPECT_EQ(frame.applyFilter(filter, false).getFrameData().frameId, 42u);
    EXPECT_EQ(filter.calls, 0);
    EXPECT_EQ(Frame(frame).applyFilter(filter).applyFilter(filter, true).getFrameData().frameId, 44u);
    EXPECT_EQ(filter.calls, 2);
}

TEST(RawToZ16Filter, RoundsHalfUpAndLeavesShiftZeroAlone)
{
    Words w = {0x0004, 0x0003, 0x000B, 0xFFFF, 0x0000, 0x0008};
    depth_filter::RawToZ16 toZ16(3);
    const CAM_FRAME out = Frame(frameOf(w, 3, 2)).applyFilter(toZ16).getFrameData();
    EXPECT_EQ(w, (Words{1, 0, 1, 0x2000, 0, 1}));
    EXPECT_EQ(out.data, reinterpret_cast<unsigned char*>(w.data()));
    EXPECT_EQ(out.width, 3u);
    EXPECT_EQ(out.size, 12u);

    Words same = imagingtest::randomWords(37, 3);
    const Words before = same;
    depth_filter::RawToZ16 none(0);
    Frame(frameOf(same, 37, 1)).applyFilter(none);
    EXPECT_EQ(same, before);
}

TEST(RawToZ16Filter, ShiftCountsWrapAtThirtyTwoAndTheOddByteStays)
{
    Words w = {0x8000, 0x8000, 0x7FFF};
    CAM_FRAME f = frameOf(w, 3, 1);
    f.size = 5;  // two whole words and one odd byte
    depth_filter::RawToZ16 sixteen(16);
    Frame(f).applyFilter(sixteen);
    EXPECT_EQ(w, (Words{1, 1, 0x7FFF}));

    Words big = {0x1234, 0xFFFF};
    depth_filter::RawToZ16 wrapped(35);  // behaves as 3
    Frame(frameOf(big, 2, 1)).applyFilter(wrapped);
    EXPECT_EQ(big, (Words{0x0246 + 1, 0x2000}));
}

TEST(RawToZ16Filter, PassesAFrameWithoutDataThrough)
{
    CAM_FRAME f{};
    f.width = 4;
    f.size = 8;
    depth_filter::RawToZ16 toZ16(2);
    const CAM_FRAME out = Frame(f).applyFilter(toZ16).getFrameData();
    EXPECT_EQ(out.data, nullptr);
    EXPECT_EQ(out.size, 8u);
}

TEST(DenoiseFilter, RemovesSpecklesInPlace)
{
    Words w(10 * 10, 1000);
    w[55] = 3000;  // one isolated pixel
    depth_filter::Denoise denoise(0, 4, 10, 65535);
    const CAM_FRAME out = Frame(frameOf(w, 10, 10)).applyFilter(denoise).getFrameData();
    EXPECT_EQ(w[55], 0);
    EXPECT_EQ(w[54], 1000);
    EXPECT_EQ(out.data, reinterpret_cast<unsigned char*>(w.data()));
}

TEST(DenoiseFilter, LogsMissingDataAndShortFrames)
{
    depth_filter::Denoise denoise(0, 4, 10, 65535);
    CAM_FRAME empty{};
    empty.width = empty.height = 4;
    orrtest::StdoutCapture capture;
    const CAM_FRAME out = Frame(empty).applyFilter(denoise).getFrameData();
    Words w(8, 1000);
    CAM_FRAME shortFrame = frameOf(w, 4, 4);
    Frame(shortFrame).applyFilter(denoise);
    const std::string log = capture.text();
    EXPECT_EQ(out.data, nullptr);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "Denoise", "process", "data is nullptr"), 1);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "Denoise", "process", "frame of 4x4 needs 32 bytes, size is 16"), 1);
    EXPECT_EQ(w, Words(8, 1000));
}

TEST(DilateFilter, KeepsAThreePixelBorder)
{
    Words six(36, 0);
    six[14] = 900;
    const Words sixBefore = six;
    depth_filter::Dilate dilate;
    Frame(frameOf(six, 6, 6)).applyFilter(dilate);
    EXPECT_EQ(six, sixBefore) << "6 x 6 has no interior";

    // 7 x 7: only (3, 3) can change; a peak at (2, 2) reaches it, nothing else moves.
    Words seven(49, 10);
    seven[2 * 7 + 2] = 60000;  // above 32767: compared unsigned
    Frame(frameOf(seven, 7, 7)).applyFilter(dilate);
    for (int i = 0; i < 49; ++i) {
        const uint16_t expected = i == 3 * 7 + 3 ? 60000 : (i == 2 * 7 + 2 ? 60000 : 10);
        EXPECT_EQ(seven[i], expected) << i;
    }
}

TEST(DilateFilter, TakesTheMaximumOfTheOriginalNeighbourhood)
{
    // A single peak grows to a 3 x 3 block; values written earlier do not spread again.
    Words w(12 * 12, 0);
    w[6 * 12 + 6] = 500;
    depth_filter::Dilate dilate;
    Frame(frameOf(w, 12, 12)).applyFilter(dilate);
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 12; ++x)
            EXPECT_EQ(w[y * 12 + x], (std::abs(x - 6) <= 1 && std::abs(y - 6) <= 1) ? 500 : 0) << x << "," << y;
}

TEST(Z16ToXYZ32Filter, ComputesPointsWithTheChosenIntrinsics)
{
    ir_rgb_Parameter calib{};
    calib.depthFx = 2.0f;
    calib.depthFy = 4.0f;
    calib.depthCx = 1.0f;
    calib.depthCy = 0.5f;
    calib.rgbFx = 10.0f;
    calib.rgbFy = 10.0f;
    calib.rgbCx = 0.0f;
    calib.rgbCy = 0.0f;
    Words w = {0, 1000, 5000, 5001, 3, 0};
    std::vector<float> out;
    depth_filter::Z16ToXYZ32 sparse(out, calib, false, false);
    const CAM_FRAME cloud = Frame(frameOf(w, 3, 2)).applyFilter(sparse).getFrameData();
    EXPECT_EQ(cloud.type, CAM_FRAME_POINTCLOUD);
    EXPECT_EQ(cloud.width, 3u);
    EXPECT_EQ(cloud.height, 2u);
    EXPECT_EQ(cloud.size, 3u * 12u);
    EXPECT_EQ(cloud.length, 6u * 12u);
    EXPECT_EQ(cloud.frameId, 42u);
    EXPECT_EQ(cloud.timestamp, 123456789ull);
    EXPECT_EQ(out.size(), 72u);
    const std::vector<float> expected = {
        0.0f * 1000 / 2, -0.5f * 1000 / 4, 1000,  // (1, 0)
        1.0f * 5000 / 2, -0.5f * 5000 / 4, 5000,  // (2, 0); 5001 at (0, 1) dropped
        0.0f * 3 / 2,    0.5f * 3 / 4,     3,     // (1, 1)
    };
    EXPECT_EQ(std::vector<float>(out.begin(), out.begin() + 9), expected);

    depth_filter::Z16ToXYZ32 registered(out, calib, true, true);
    const CAM_FRAME full = Frame(frameOf(w, 3, 2)).applyFilter(registered).getFrameData();
    EXPECT_EQ(full.size, 6u * 12u);
    EXPECT_FLOAT_EQ(out[3 * 3 + 0], 0.0f);
    EXPECT_FLOAT_EQ(out[3 * 3 + 1], 1.0f * 5001 / 10);
    EXPECT_FLOAT_EQ(out[3 * 3 + 2], 5001.0f);
    EXPECT_EQ(out[2], 0.0f) << "zero depth kept in an organized cloud";
}

TEST(Z16ToXYZ32Filter, AllZeroImageGivesAnEmptyCloud)
{
    Words w(64 * 4, 0);
    std::vector<float> out;
    depth_filter::Z16ToXYZ32 toPoints(out, ir_rgb_Parameter{}, false, false);
    EXPECT_EQ(Frame(frameOf(w, 64, 4)).applyFilter(toPoints).getFrameData().size, 0u);
}

TEST(YuyvToBgrFilter, ConvertsTheReferenceColours)
{
    // black, white, then Y 128 with strong chroma (clamped channels).
    std::vector<uint8_t> yuyv = {16, 128, 16, 128, 235, 128, 235, 128, 128, 255, 128, 0};
    CAM_FRAME f{};
    f.type = CAM_FRAME_RGB;
    f.width = 6;
    f.height = 1;
    f.data = yuyv.data();
    f.size = static_cast<uint32_t>(yuyv.size());
    f.frameId = 9;
    std::vector<uint8_t> out;
    color_filter::YuyvToBgr toBgr(out);
    const CAM_FRAME bgr = Frame(f).applyFilter(toBgr).getFrameData();
    EXPECT_EQ(bgr.type, CAM_FRAME_RGB);
    EXPECT_EQ(bgr.size, 18u);
    EXPECT_EQ(bgr.frameId, 9u);
    EXPECT_EQ(bgr.data, out.data());
    // Y 128, U 255, V 0: C 112, D 127, E -128.
    // B = (33376 + 65532 + 128) >> 8 = 386 -> 255; G = (33376 - 12700 + 26624 + 128) >> 8 = 185;
    // R = (33376 - 52352 + 128) >> 8 = -74 -> 0.
    EXPECT_EQ(out, (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 185, 0, 255, 185, 0}));
}

TEST(YuyvToBgrFilter, RefusesAShortFrame)
{
    std::vector<uint8_t> yuyv(6, 128);
    CAM_FRAME f{};
    f.width = 2;
    f.height = 2;
    f.data = yuyv.data();
    f.size = 6;
    std::vector<uint8_t> out;
    color_filter::YuyvToBgr toBgr(out);
    orrtest::StdoutCapture capture;
    const CAM_FRAME r = Frame(f).applyFilter(toBgr).getFrameData();
    EXPECT_EQ(orrtest::countLogLines(capture.text(), "ERROR", "YuyvToBgr", "process",
                                     "frame of 2x2 needs 8 bytes, size is 6"),
              1);
    EXPECT_EQ(r.data, yuyv.data());
    EXPECT_TRUE(out.empty());
}

TEST(RegisterToFilter, ReturnsAFrameOfTheColourGeometry)
{
    ir_rgb_Parameter calib{};
    calib.depthFx = calib.depthFy = 100.0f;
    calib.rgbFx = calib.rgbFy = 200.0f;
    calib.rotation[0] = calib.rotation[4] = calib.rotation[8] = 1.0f;
    Words w(8 * 6, 1200);
    std::vector<uint16_t> out(3, 0xFFFF);
    depth_filter::RegisterTo registerTo(out, 16, 12, calib);
    const CAM_FRAME r = Frame(frameOf(w, 8, 6)).applyFilter(registerTo).getFrameData();
    EXPECT_EQ(r.width, 16u);
    EXPECT_EQ(r.height, 12u);
    EXPECT_EQ(r.size, 16u * 12u * 2u);
    EXPECT_EQ(r.type, CAM_FRAME_DEPTH);
    EXPECT_EQ(r.frameId, 42u);
    EXPECT_EQ(r.data, reinterpret_cast<unsigned char*>(out.data()));
    ASSERT_EQ(out.size(), 16u * 12u);
    EXPECT_EQ(out[0], 1200);
    EXPECT_EQ(out[1], 0) << "old contents are overwritten";
    EXPECT_EQ(out[2 * 16 + 2], 1200);
}

TEST(RegisterToFilter, LogsAFailedRegistrationAndLeavesNoDepth)
{
    ir_rgb_Parameter calib{};  // zero focal lengths cannot project
    Words w(4 * 4, 1000);
    std::vector<uint16_t> out(16, 5);
    depth_filter::RegisterTo registerTo(out, 4, 4, calib);
    orrtest::StdoutCapture capture;
    const CAM_FRAME r = Frame(frameOf(w, 4, 4)).applyFilter(registerTo).getFrameData();
    EXPECT_EQ(orrtest::countLogLines(capture.text(), "ERROR", "RegisterTo", "process", "depth2RGB failed, ret:-2"), 1);
    EXPECT_EQ(r.width, 4u);
    EXPECT_EQ(out, std::vector<uint16_t>(16, 0));
}
