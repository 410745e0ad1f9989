// OrrPost operations: results, codes and log lines, and the edge cases of each.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "DepthTestImages.h"
#include "DilateLiteDepth.h"
#include "FastMedianBlur.h"
#include "LogCapture.h"
#include "OrrPost.h"
#include "Z16ToXYZ32.h"

namespace {

using Words = std::vector<uint16_t>;

CAM_FRAME frameOf(Words& w, uint32_t width, uint32_t height)
{
    CAM_FRAME f{};
    f.width = width;
    f.height = height;
    f.data = reinterpret_cast<unsigned char*>(w.data());
    f.size = static_cast<uint32_t>(w.size() * 2);
    f.frameId = 17;
    f.timestamp = 99;
    return f;
}

ir_rgb_Parameter sameCameras(float f, float cx, float cy)
{
    ir_rgb_Parameter c{};
    c.depthFx = c.depthFy = c.rgbFx = c.rgbFy = f;
    c.depthCx = c.rgbCx = cx;
    c.depthCy = c.rgbCy = cy;
    c.rotation[0] = c.rotation[4] = c.rotation[8] = 1.0f;
    return c;
}

int logged(const std::string& out, const char* function, const char* message, const char* level = "ERROR")
{
    return orrtest::countLogLines(out, level, "OrrPost", function, message);
}

}  // namespace

TEST(OrrPostRawDepth, ShiftsWithRoundingAndRefusesNull)
{
    OrrPost post;
    Words w = {4, 3, 0xFFFF, 12};
    EXPECT_EQ(post.processDepthImageRawData(w.data(), 2, 2, 3), 0);
    EXPECT_EQ(w, (Words{1, 0, 0x2000, 2}));
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.processDepthImageRawData(nullptr, 2, 2, 3), -1);
    EXPECT_EQ(logged(capture.text(), "processDepthImageRawData", "data is nullptr"), 1);
}

TEST(OrrPostDenoise, LibraryAndBuiltInFilterGiveTheSameResult)
{
    OrrPost post;
    // 640 wide goes to the library, 641 wide to the built-in filter: the left 640
    // columns of a 641-wide image whose last column is empty behave alike.
    const Words scene = imagingtest::depthScene(640, 40, 41);
    Words narrow = scene;
    Words wide(641 * 40, 0);
    for (int y = 0; y < 40; ++y) std::copy_n(&scene[y * 640], 640, &wide[y * 641]);
    ASSERT_EQ(post.denoiseDepthImage(narrow.data(), 640, 40, 0, 60, 8, 3500), 0);
    ASSERT_EQ(post.denoiseDepthImage(wide.data(), 641, 40, 0, 60, 8, 3500), 0);
    for (int y = 0; y < 40; ++y)
        ASSERT_TRUE(std::equal(&narrow[y * 640], &narrow[y * 640] + 640, &wide[y * 641])) << "row " << y;
    EXPECT_NE(narrow, scene);
}

TEST(OrrPostDenoise, BuiltInFilterOnHdRemovesALonePixelAndHonoursNewVal)
{
    OrrPost post;
    const int w = 1280, h = 720;
    Words d(static_cast<std::size_t>(w) * h, 0);
    d[100 * w + 100] = 1234;  // isolated valid pixel
    // newVal 10: a row of 11s is a region of 5 pixels; the 10 beside them is invalid.
    for (int x = 200; x < 205; ++x) d[300 * w + x] = 11;
    d[300 * w + 205] = 10;
    d[300 * w + 206] = 11;
    d[500 * w + 500] = 9000;  // beyond max_th
    ASSERT_EQ(post.denoiseDepthImage(d.data(), w, h, 10, 4, 100, 8000), 0);
    EXPECT_EQ(d[100 * w + 100], 10);
    EXPECT_EQ(d[300 * w + 200], 11) << "5 pixels > maxSpeckleSize 4";
    EXPECT_EQ(d[300 * w + 205], 10);
    EXPECT_EQ(d[300 * w + 206], 10) << "the 10 does not connect it to the region";
    EXPECT_EQ(d[500 * w + 500], 0);
    EXPECT_EQ(d[0], 0) << "0 is below newVal 10 and never part of a region";
}

TEST(OrrPostDenoise, RefusesNullData)
{
    OrrPost post;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.denoiseDepthImage(nullptr, 4, 4, 0, 1, 1, 100), -1);
    EXPECT_EQ(logged(capture.text(), "denoiseDepthImage", "data is nullptr"), 1);
}

TEST(OrrPostFillHoles, FillsThroughTheLibraryAndKeepsDataOnFailure)
{
    OrrPost post;
    Words d(25, 1000);
    d[12] = 0;
    EXPECT_EQ(post.fillHolesDepthImage(d.data(), 0, 1, -1, 0, 0, 5, 5), 0);
    EXPECT_EQ(d[12], 1000);

    d[12] = 0;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.fillHolesDepthImage(d.data(), 0, 1, -1, 7, 0, 5, 5), -2);
    EXPECT_EQ(post.fillHolesDepthImage(nullptr, 0, 1, -1, 0, 0, 5, 5), -1);
    const std::string log = capture.text();
    EXPECT_EQ(d[12], 0);
    EXPECT_EQ(logged(log, "fillHolesDepthImage", "filling failed, ret:-2"), 1);
    EXPECT_EQ(logged(log, "fillHolesDepthImage", "data is nullptr"), 1);
}

TEST(OrrPostRegistration, Depthimg2RgbCodesAndMessages)
{
    OrrPost post;
    Words in = imagingtest::depthScene(32, 24, 42);
    Words out(32 * 24, 1);
    CAM_FRAME src = frameOf(in, 32, 24);
    CAM_FRAME dst = frameOf(out, 32, 24);
    ir_rgb_Parameter calib = sameCameras(30.0f, 15.5f, 11.5f);
    ASSERT_EQ(post.depthimg2Rgb(src, dst, calib), 0);
    EXPECT_EQ(out, in);

    orrtest::StdoutCapture capture;
    CAM_FRAME none = dst;
    none.data = nullptr;
    EXPECT_EQ(post.depthimg2Rgb(src, none, calib), -1);
    CAM_FRAME empty = dst;
    empty.height = 0;
    EXPECT_EQ(post.depthimg2Rgb(src, empty, calib), -1);
    calib.depthFy = 0.0f;
    EXPECT_EQ(post.depthimg2Rgb(src, dst, calib), -3);
    const std::string log = capture.text();
    EXPECT_EQ(logged(log, "depthimg2Rgb", "depth_dst size 32x0 has no pixels"), 1);
    EXPECT_EQ(logged(log, "depthimg2Rgb", "depth.data or depth_dst.data is nullptr"), 1);
    EXPECT_EQ(logged(log, "depthimg2Rgb", "error, depth2RGB return -2"), 1);
}

TEST(OrrPostRegistration, AlignDepthRegistersThenDilates)
{
    OrrPost post;
    // Onto a grid twice as fine: every other pixel is hit, the dilation closes the gaps.
    Words in(16 * 12, 1500);
    Words out(32 * 24, 0xFFFF);
    CAM_FRAME src = frameOf(in, 16, 12);
    CAM_FRAME dst = frameOf(out, 32, 24);
    ir_rgb_Parameter calib = sameCameras(50.0f, 0.0f, 0.0f);
    calib.rgbFx = calib.rgbFy = 100.0f;
    ASSERT_EQ(post.alignDepth(src, dst, calib), 0);
    EXPECT_EQ(out[0 * 32 + 1], 0) << "three-pixel border kept";
    EXPECT_EQ(out[0 * 32 + 2], 1500);
    for (int y = 3; y <= 20; ++y)
        for (int x = 3; x <= 28; ++x) EXPECT_EQ(out[y * 32 + x], 1500) << x << "," << y;

    orrtest::StdoutCapture capture;
    calib.rgbFx = std::numeric_limits<float>::infinity();
    EXPECT_EQ(post.alignDepth(src, dst, calib), -3);
    CAM_FRAME none = src;
    none.data = nullptr;
    EXPECT_EQ(post.alignDepth(none, dst, calib), -1);
    EXPECT_EQ(logged(capture.text(), "alignDepth", "depth.data or depth_dst.data is nullptr"), 1);
}

TEST(OrrPostRegistration, AlignIrCopiesTheSensorAlignedImage)
{
    OrrPost post;
    std::vector<uint8_t> ir = imagingtest::randomBytes(8 * 4, 43), out(8 * 4, 0);
    CAM_FRAME src{}, dst{};
    src.width = dst.width = 8;
    src.height = dst.height = 4;
    src.data = ir.data();
    dst.data = out.data();
    src.size = 32;
    ir_rgb_Parameter calib{};
    EXPECT_EQ(post.alignIr(src, dst, calib), 0);
    EXPECT_EQ(out, ir);
    dst.height = 5;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.alignIr(src, dst, calib), -2);
    dst.data = nullptr;
    EXPECT_EQ(post.alignIr(src, dst, calib), -1);
    EXPECT_EQ(logged(capture.text(), "alignIr", "ir.data or ir_dst.data is nullptr"), 1);
}

TEST(DilateLiteDepth, SignedMaximumInsideAThreePixelBorder)
{
    Words six = imagingtest::randomWords(6 * 6, 44);
    Words out(36, 0);
    EXPECT_EQ(dilate_lite_depth_img(reinterpret_cast<short*>(six.data()), reinterpret_cast<short*>(out.data()), 6, 6),
              0);
    EXPECT_EQ(out, six) << "height 6: a copy";

    Words seven(49, 100);
    seven[3 * 7 + 2] = 0x8000;  // -32768 as signed: not a maximum
    seven[2 * 7 + 4] = 700;
    Words dst(49, 0);
    OrrPost post;
    EXPECT_EQ(post.dilate_lite_depth(reinterpret_cast<short*>(seven.data()), reinterpret_cast<short*>(dst.data()), 7, 7),
              0);
    Words expected = seven;
    expected[3 * 7 + 3] = 700;
    EXPECT_EQ(dst, expected);

    Words inPlace = seven;
    auto* p = reinterpret_cast<short*>(inPlace.data());
    EXPECT_EQ(dilate_lite_depth_img(p, p, 7, 7), 0);
    EXPECT_EQ(inPlace, expected);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(dilate_lite_depth_img(nullptr, p, 7, 7), -1);
}

TEST(OrrPostMedian, FilterInPlaceEqualsTheBlur)
{
    for (int w : {3, 16, 23, 640}) {
        const int h = 9;
        Words src = imagingtest::randomWords(static_cast<std::size_t>(w) * h, static_cast<uint32_t>(w));
        Words blurred(src.size());
        ASSERT_EQ(fastMedianBlur(src.data(), blurred.data(), w, h), 0);
        OrrPost post;
        ASSERT_EQ(post.fastMedianFilter(src.data(), w, h), 0);
        EXPECT_EQ(src, blurred) << w;
    }
    orrtest::StdoutCapture capture;
    OrrPost post;
    EXPECT_EQ(post.fastMedianFilter(nullptr, 4, 4), -1);
    EXPECT_EQ(logged(capture.text(), "fastMedianFilter", "data is nullptr"), 1);
}

TEST(OrrPostSpecklegram, KeepsHighBytesAndClearsTheRest)
{
    OrrPost post;
    Words words = {0x1234, 0xAB00, 0x00FF, 0xFFFF, 0x8001, 0x0100};
    unsigned int size = 0;
    auto* bytes = reinterpret_cast<unsigned char*>(words.data());
    EXPECT_EQ(post.processSpecklegramRawData(bytes, 3, 2, size), 0);
    EXPECT_EQ(size, 6u);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 12),
              (std::vector<uint8_t>{0x12, 0xAB, 0x00, 0xFF, 0x80, 0x01, 0, 0, 0, 0, 0, 0}));
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.processSpecklegramRawData(nullptr, 3, 2, size), -1);
    EXPECT_EQ(logged(capture.text(), "processSpecklegramRawData", "data is nullptr"), 1);
}

TEST(OrrPostFixedPoint, AppendsTwelveFourValues)
{
    OrrPost post;
    Words w = {0x0018, 0x0000, 0xFFFF, 0x0001};
    std::vector<float> out = {-1.0f};
    EXPECT_EQ(post.processDepthData(w.data(), out, 2, 2), 0);
    EXPECT_EQ(out, (std::vector<float>{-1.0f, 1.5f, 0.0f, 4095.9375f, 0.0625f}));
    EXPECT_EQ(post.processDepthData(w.data(), out, 0, 2), 0);
    EXPECT_EQ(out.size(), 5u);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.processDepthData(nullptr, out, 2, 2), -1);
    EXPECT_EQ(out.size(), 5u);
}

TEST(OrrPostPointCloud, MatchesTheFilterArithmetic)
{
    OrrPost post;
    Words depth = imagingtest::depthScene(64, 48, 45);
    depth[5] = 5001;
    ir_rgb_Parameter calib = sameCameras(55.0f, 31.0f, 24.0f);
    calib.rgbFx = 70.0f;
    CAM_FRAME in = frameOf(depth, 64, 48);
    for (bool organized : {false, true})
        for (bool registered : {false, true}) {
            std::vector<float> ours, filterOut;
            CAM_FRAME cloud{};
            ASSERT_EQ(post.depthToPointcloud(in, cloud, ours, calib, organized, registered), 0);
            orrindale::depth_filter::Z16ToXYZ32 filter(filterOut, calib, organized, registered);
            const CAM_FRAME expected = orrindale::Frame(in).applyFilter(filter).getFrameData();
            ASSERT_EQ(cloud.size, expected.size);
            EXPECT_EQ(std::memcmp(cloud.data, expected.data, cloud.size), 0);
            EXPECT_EQ(cloud.type, CAM_FRAME_POINTCLOUD);
            EXPECT_EQ(cloud.frameId, 17u);
            EXPECT_EQ(cloud.timestamp, 99u);
            EXPECT_EQ(cloud.length, ours.size());
        }
    CAM_FRAME shortFrame = in;
    shortFrame.size = 10;
    std::vector<float> pts;
    CAM_FRAME cloud{};
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.depthToPointcloud(shortFrame, cloud, pts, calib, false, false), -1);
    EXPECT_EQ(logged(capture.text(), "depthToPointcloud", "frame of 64x48 needs 6144 bytes, size is 10"), 1);
}
