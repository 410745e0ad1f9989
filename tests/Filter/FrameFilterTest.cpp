// The frame filters against their formulas, evaluated here in the documented order, on
// vector and scalar paths alike (odd widths reach both): raw scaling, the 3 x 3 maximum,
// the point cloud bit for bit, YUYV to BGR; and the frames they return or refuse.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Denoise.h"
#include "DepthTestImages.h"
#include "Dilate.h"
#include "LogCapture.h"
#include "MaxFilter3x3.h"
#include "PointCloudProjector.h"
#include "RawToZ16.h"
#include "RegisterTo.h"
#include "YuyvConverter.h"
#include "YuyvToBgr.h"
#include "Z16ToXYZ32.h"

using namespace orrindale;

namespace {

using Words = std::vector<uint16_t>;

CAM_FRAME frameOf(void* data, uint32_t width, uint32_t height, uint32_t size, CAM_FRAME_TYPE_E type = CAM_FRAME_DEPTH)
{
    CAM_FRAME f{};
    f.type = type;
    f.width = width;
    f.height = height;
    f.data = static_cast<unsigned char*>(data);
    f.size = size;
    f.length = 77;
    f.frameId = 42;
    f.timestamp = 123456789ull;
    return f;
}

CAM_FRAME frameOf(Words& w, uint32_t width, uint32_t height)
{
    return frameOf(w.data(), width, height, static_cast<uint32_t>(w.size() * 2));
}

uint8_t clamp(int v) { return static_cast<uint8_t>(std::min(255, std::max(0, v))); }

}  // namespace

TEST(RawToZ16Filter, ShiftsRoundingHalfUpWithCountsModulo32)
{
    const Words words = imagingtest::randomWords(203, 9);
    for (uint32_t shift = 0; shift <= 40; ++shift) {
        Words a = words, b = words;
        depth_filter::RawToZ16::shiftWords(a.data(), a.size(), shift);
        depth_filter::RawToZ16::shiftWordsScalar(b.data(), b.size(), shift);
        for (std::size_t i = 0; i < words.size(); ++i) {
            const uint32_t d = words[i];
            const auto expect = static_cast<uint16_t>((d >> (shift & 31)) + ((d >> ((shift - 1) & 31)) & 1));
            ASSERT_EQ(a[i], expect) << "shift " << shift << " word " << d;
            ASSERT_EQ(b[i], expect) << "scalar, shift " << shift << " word " << d;
        }
    }
    Words w = {0x0004, 0x0003, 0x8000, 0x7FFF};
    CAM_FRAME f = frameOf(w, 2, 2);
    f.size = 7;  // an odd trailing byte is no word
    depth_filter::RawToZ16 toZ16(3);
    const CAM_FRAME out = Frame(f).applyFilter(toZ16).getFrameData();
    EXPECT_EQ(w, (Words{1, 0, 0x1000, 0x7FFF}));
    EXPECT_EQ(std::memcmp(&out, &f, sizeof f), 0) << "the frame is returned as it came";
    CAM_FRAME empty = frameOf(nullptr, 4, 1, 8);
    EXPECT_EQ(Frame(empty).applyFilter(toZ16).applyFilter(toZ16, false).getFrameData().size, 8u);
}

TEST(DilateFilter, TakesTheUnsignedMaximumInsideAThreePixelBorder)
{
    for (auto order : {MaxFilter3x3::Order::kUnsigned, MaxFilter3x3::Order::kSigned}) {
        for (int width : {6, 7, 13, 16, 29}) {
            const int height = width == 6 ? 6 : 11;
            const Words src = imagingtest::randomWords(static_cast<std::size_t>(width) * height, width);
            Words expected = src;
            for (int y = 3; y <= height - 4; ++y)
                for (int x = 3; x <= width - 4; ++x)
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx) {
                            uint16_t& e = expected[y * width + x];
                            const uint16_t s = src[(y + dy) * width + x + dx];
                            const bool more = order == MaxFilter3x3::Order::kSigned ? int16_t(s) > int16_t(e) : s > e;
                            if (more) e = s;
                        }
            Words a = src, b = src, c = src;
            MaxFilter3x3::apply(src.data(), a.data(), width, height, order);
            MaxFilter3x3::applyScalar(src.data(), b.data(), width, height, order);
            MaxFilter3x3::applyInPlace(c.data(), width, height, order);
            EXPECT_EQ(a, expected) << width;
            EXPECT_EQ(b, expected) << width;
            EXPECT_EQ(c, expected) << width;
            if (order == MaxFilter3x3::Order::kUnsigned) {
                Words d = src;
                depth_filter::Dilate dilate;
                Frame(frameOf(d, width, height)).applyFilter(dilate);
                EXPECT_EQ(d, expected) << "the filter compares unsigned";
            }
        }
    }
}

// x = (u - cx) * d / fx, y = (v - cy) * d / fy: subtraction, product, division, in single
// precision. Focal lengths that are not powers of two make any other order show in the bits.
TEST(Z16ToXYZ32Filter, PointsFollowTheFormulaBitForBitWithTheChosenIntrinsics)
{
    ir_rgb_Parameter calib{};
    calib.depthFx = 461.3f, calib.depthFy = 459.7f, calib.depthCx = 318.9f, calib.depthCy = 241.3f;
    calib.rgbFx = 609.7f, calib.rgbFy = 611.3f, calib.rgbCx = 322.1f, calib.rgbCy = 237.9f;
    const int w = 37, h = 13;
    Words depth = imagingtest::randomWords(w * h, 8);
    for (std::size_t i = 0; i < depth.size(); ++i) {
        if (i % 7 == 0) depth[i] = 0;
        if (i % 7 == 1) depth[i] = static_cast<uint16_t>(4990 + i % 20);  // around the 5000 limit
        if (i % 7 == 2) depth[i] %= 6000;
    }
    for (bool registered : {false, true})
        for (bool organized : {false, true}) {
            SCOPED_TRACE(testing::Message() << (registered ? "registered " : "") << (organized ? "organized" : "sparse"));
            std::vector<float> out;
            depth_filter::Z16ToXYZ32 toPoints(out, calib, organized, registered);
            const CAM_FRAME cloud = Frame(frameOf(depth, w, h)).applyFilter(toPoints).getFrameData();
            const float fx = registered ? calib.rgbFx : calib.depthFx, fy = registered ? calib.rgbFy : calib.depthFy;
            const float cx = registered ? calib.rgbCx : calib.depthCx, cy = registered ? calib.rgbCy : calib.depthCy;
            std::vector<float> expected;
            for (int v = 0; v < h; ++v)
                for (int u = 0; u < w; ++u) {
                    const uint16_t d = depth[v * w + u];
                    if (!organized && (d == 0 || d > 5000)) continue;
                    const float z = d;
                    expected.insert(expected.end(), {(float(u) - cx) * z / fx, (float(v) - cy) * z / fy, z});
                }
            ASSERT_EQ(cloud.size, expected.size() * 4);
            EXPECT_EQ(std::memcmp(out.data(), expected.data(), cloud.size), 0);
            std::vector<float> scalar(3 * w * h + 1);
            PointCloudProjector::projectScalar(depth.data(), w, h, {fx, fy, cx, cy}, organized, scalar.data());
            EXPECT_EQ(std::memcmp(scalar.data(), expected.data(), cloud.size), 0) << "scalar path";
            EXPECT_EQ(cloud.type, CAM_FRAME_POINTCLOUD);
            EXPECT_EQ(cloud.data, reinterpret_cast<unsigned char*>(out.data()));
            EXPECT_EQ(cloud.length, static_cast<uint32_t>(w * h * 12));
            EXPECT_EQ(cloud.width, static_cast<uint32_t>(w));
            EXPECT_EQ(cloud.frameId, 42u);
        }
    Words zeros(64 * 4, 0);
    std::vector<float> out;
    depth_filter::Z16ToXYZ32 sparse(out, calib, false, false);
    EXPECT_EQ(Frame(frameOf(zeros, 64, 4)).applyFilter(sparse).getFrameData().size, 0u);
}

TEST(YuyvToBgrFilter, EveryYuvValueFollowsTheIntegerFormula)
{
    // For each U: all V and Y, Y1 running the other way, so both pixels see every value.
    const std::size_t pairs = 256 * 256;
    std::vector<uint8_t> in(pairs * 4 + 3), out(pairs * 6 + 16), scalar(pairs * 6 + 16);
    for (int u = 0; u < 256; u += 3) {
        std::fill(out.begin(), out.end(), 0);
        for (std::size_t i = 0; i < pairs; ++i) {
            uint8_t* p = &in[i * 4 + u % 4];  // unaligned in three of four rounds
            p[0] = static_cast<uint8_t>(i), p[1] = static_cast<uint8_t>(u);
            p[2] = static_cast<uint8_t>(255 - i), p[3] = static_cast<uint8_t>(i >> 8);
        }
        const std::size_t n = pairs - static_cast<std::size_t>(u % 17);  // odd tails
        YuyvConverter::convert(&in[u % 4], out.data(), n);
        YuyvConverter::convertScalar(&in[u % 4], scalar.data(), n);
        for (std::size_t i = 0; i < n; ++i) {
            const uint8_t* p = &in[i * 4 + u % 4];
            const int d = p[1] - 128, e = p[3] - 128;
            for (int k = 0; k < 2; ++k) {
                const int c = p[2 * k] - 16;
                const uint8_t bgr[3] = {clamp((298 * c + 516 * d + 128) >> 8),
                                        clamp((298 * c - 100 * d - 208 * e + 128) >> 8),
                                        clamp((298 * c + 409 * e + 128) >> 8)};
                if (std::memcmp(&out[6 * i + 3 * k], bgr, 3) != 0 || std::memcmp(&scalar[6 * i + 3 * k], bgr, 3) != 0)
                    FAIL() << "Y " << int(p[2 * k]) << " U " << u << " V " << int(p[3]);
            }
        }
        ASSERT_EQ(out[6 * n], 0) << "nothing written beyond the output";
    }
    std::vector<uint8_t> yuyv = {16, 128, 235, 128, 128, 255, 128, 0}, bgr;
    color_filter::YuyvToBgr toBgr(bgr);
    const CAM_FRAME f = Frame(frameOf(yuyv.data(), 3, 1, 8, CAM_FRAME_RGB)).applyFilter(toBgr).getFrameData();
    EXPECT_EQ(bgr, (std::vector<uint8_t>{0, 0, 0, 255, 255, 255, 0, 0, 0})) << "an odd last pixel is black";
    EXPECT_EQ(f.type, CAM_FRAME_RGB);
    EXPECT_EQ(f.size, 9u);
    EXPECT_EQ(f.frameId, 42u);
}

TEST(ImageFilters, LogAndReturnFramesTheyCannotUse)
{
    std::vector<uint8_t> shortColour(6, 128), bgr;
    Words shortDepth(8, 1000), registered(16, 5);
    ir_rgb_Parameter calib{};  // zero focal lengths cannot project
    color_filter::YuyvToBgr toBgr(bgr);
    depth_filter::Denoise denoise(0, 4, 10, 65535);
    depth_filter::RegisterTo registerTo(registered, 4, 4, calib);
    orrtest::StdoutCapture capture;
    const CAM_FRAME colour = Frame(frameOf(shortColour.data(), 2, 2, 6)).applyFilter(toBgr).getFrameData();
    Frame(frameOf(shortDepth, 4, 4)).applyFilter(denoise);
    Frame(frameOf(nullptr, 4, 4, 32)).applyFilter(denoise);
    Words depth(16, 1000);
    const CAM_FRAME r = Frame(frameOf(depth, 4, 4)).applyFilter(registerTo).getFrameData();
    const std::string log = capture.text();
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "YuyvToBgr", "process", "frame of 2x2 needs 8 bytes, size is 6"), 1);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "Denoise", "process", "frame of 4x4 needs 32 bytes, size is 16"), 1);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "Denoise", "process", "data is nullptr"), 1);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "RegisterTo", "process", "depth2RGB failed, ret:-2"), 1);
    EXPECT_EQ(orrtest::countAnyLogLines(log), 4);
    EXPECT_EQ(colour.data, shortColour.data());
    EXPECT_TRUE(bgr.empty());
    EXPECT_EQ(shortDepth, Words(8, 1000));
    EXPECT_EQ(r.width, 4u);
    EXPECT_EQ(registered, Words(16, 0)) << "a failed registration leaves no depth";
}

TEST(RegisterToFilter, ReturnsAFrameOfTheColourGeometry)
{
    ir_rgb_Parameter calib{};
    calib.depthFx = calib.depthFy = 100.0f;
    calib.rgbFx = calib.rgbFy = 200.0f;
    calib.rotation[0] = calib.rotation[4] = calib.rotation[8] = 1.0f;
    Words w(8 * 6, 1200), out(3, 0xFFFF);
    depth_filter::RegisterTo registerTo(out, 16, 12, calib);
    const CAM_FRAME r = Frame(frameOf(w, 8, 6)).applyFilter(registerTo).getFrameData();
    EXPECT_EQ(r.width, 16u);
    EXPECT_EQ(r.height, 12u);
    EXPECT_EQ(r.size, 16u * 12u * 2u);
    EXPECT_EQ(r.frameId, 42u);
    EXPECT_EQ(r.data, reinterpret_cast<unsigned char*>(out.data()));
    ASSERT_EQ(out.size(), 16u * 12u);
    EXPECT_EQ(out[0], 1200);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(out[2 * 16 + 2], 1200);

    // A lone speckle at 3000 in a flat 1000 is removed in place.
    Words d(10 * 10, 1000);
    d[55] = 3000;
    depth_filter::Denoise denoise(0, 4, 10, 65535);
    EXPECT_EQ(Frame(frameOf(d, 10, 10)).applyFilter(denoise).getFrameData().data, reinterpret_cast<unsigned char*>(d.data()));
    EXPECT_EQ(d[55], 0);
    EXPECT_EQ(d[54], 1000);
}
