// OrrPost operations: results, codes and log lines.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "DepthTestImages.h"
#include "DilateLiteDepth.h"
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


int logged(const std::string& out, const char* function, const char* message)
{
    return orrtest::countLogLines(out, "ERROR", "OrrPost", function, message);
}

}  // namespace

TEST(OrrPost, PixelOperationsAndTheirRefusals)
{
    OrrPost post;
    Words raw = {4, 3, 0xFFFF, 12};
    EXPECT_EQ(post.processDepthImageRawData(raw.data(), 2, 2, 3), 0);
    EXPECT_EQ(raw, (Words{1, 0, 0x2000, 2}));

    // VGA goes to the filter library, HD to the built-in filter: the same speckles go.
    for (int w : {640, 1280}) {
        const int h = w == 640 ? 480 : 720;
        Words d(static_cast<std::size_t>(w) * h, 0);
        d[100 * w + 100] = 1234;  // isolated valid pixel
        // newVal 10: five 11s are a region of 5; the 10 beside them does not join the next 11.
        for (int x = 200; x < 205; ++x) d[300 * w + x] = 11;
        d[300 * w + 205] = 10;
        d[300 * w + 206] = 11;
        d[400 * w + 500] = d[400 * w + 501] = 9000;  // beyond max_th
        ASSERT_EQ(post.denoiseDepthImage(d.data(), w, h, 10, 4, 100, 8000), 0);
        EXPECT_EQ(d[100 * w + 100], 10) << w;
        EXPECT_EQ(d[300 * w + 200], 11) << w;
        EXPECT_EQ(d[300 * w + 206], 10) << w;
        EXPECT_EQ(d[400 * w + 500], 0) << w;
    }

    Words fill(25, 1000);
    fill[12] = 0;
    EXPECT_EQ(post.fillHolesDepthImage(fill.data(), 0, 1, -1, 0, 0, 5, 5), 0);
    EXPECT_EQ(fill[12], 1000);
    fill[12] = 0;

    Words specklegram = {0x1234, 0xAB00, 0x00FF, 0xFFFF, 0x8001, 0x0100};
    unsigned int size = 0;
    auto* bytes = reinterpret_cast<unsigned char*>(specklegram.data());
    EXPECT_EQ(post.processSpecklegramRawData(bytes, 3, 2, size), 0);
    EXPECT_EQ(size, 6u);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 12), (std::vector<uint8_t>{0x12, 0xAB, 0, 0xFF, 0x80, 1, 0, 0, 0, 0, 0, 0}));

    Words fixed = {0x0018, 0x0000, 0xFFFF, 0x0001};
    std::vector<float> floats = {-1.0f};
    EXPECT_EQ(post.processDepthData(fixed.data(), floats, 2, 2), 0);
    EXPECT_EQ(floats, (std::vector<float>{-1.0f, 1.5f, 0.0f, 4095.9375f, 0.0625f}));

    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.processDepthImageRawData(nullptr, 2, 2, 3), -1);
    EXPECT_EQ(post.denoiseDepthImage(nullptr, 4, 4, 0, 1, 1, 100), -1);
    EXPECT_EQ(post.fillHolesDepthImage(fill.data(), 0, 1, -1, 7, 0, 5, 5), -2);
    EXPECT_EQ(post.processSpecklegramRawData(nullptr, 3, 2, size), -1);
    EXPECT_EQ(post.processDepthData(nullptr, floats, 2, 2), -1);
    const std::string log = capture.text();
    EXPECT_EQ(fill[12], 0) << "unchanged when filling fails";
    EXPECT_EQ(floats.size(), 5u);
    EXPECT_EQ(logged(log, "fillHolesDepthImage", "filling failed, ret:-2"), 1);
    for (const char* function : {"processDepthImageRawData", "denoiseDepthImage", "processSpecklegramRawData"})
        EXPECT_EQ(logged(log, function, "data is nullptr"), 1) << function;
}

TEST(OrrPost, RegistrationAlignmentAndDilation)
{
    OrrPost post;
    Words in = imagingtest::depthScene(32, 24, 42), out(32 * 24, 1);
    CAM_FRAME src = frameOf(in, 32, 24), dst = frameOf(out, 32, 24);
    ir_rgb_Parameter calib = imagingtest::sameCameras(30.0f, 15.5f, 11.5f);
    ASSERT_EQ(post.depthimg2Rgb(src, dst, calib), 0);
    EXPECT_EQ(out, in);

    // Onto a grid twice as fine: every other pixel is hit, the dilation closes the gaps.
    Words flat(16 * 12, 1500), aligned(32 * 24, 0xFFFF);
    CAM_FRAME flatFrame = frameOf(flat, 16, 12), alignedFrame = frameOf(aligned, 32, 24);
    ir_rgb_Parameter twice = imagingtest::sameCameras(50.0f, 0.0f, 0.0f);
    twice.rgbFx = twice.rgbFy = 100.0f;
    ASSERT_EQ(post.alignDepth(flatFrame, alignedFrame, twice), 0);
    EXPECT_EQ(aligned[0 * 32 + 1], 0) << "three-pixel border kept";
    EXPECT_EQ(aligned[0 * 32 + 2], 1500);
    for (int y = 3; y <= 20; ++y)
        for (int x = 3; x <= 28; ++x) ASSERT_EQ(aligned[y * 32 + x], 1500) << x << "," << y;

    // The light dilation: a signed maximum inside a three-pixel border; height 6 is a copy.
    Words seven(49, 100), dilated(49, 0);
    seven[3 * 7 + 2] = 0x8000;  // -32768 as signed: not a maximum
    seven[2 * 7 + 4] = 700;
    EXPECT_EQ(post.dilate_lite_depth(reinterpret_cast<short*>(seven.data()), reinterpret_cast<short*>(dilated.data()), 7, 7), 0);
    Words expected = seven;
    expected[3 * 7 + 3] = 700;
    EXPECT_EQ(dilated, expected);
    auto* p = reinterpret_cast<short*>(seven.data());
    EXPECT_EQ(dilate_lite_depth_img(p, p, 7, 7), 0);
    EXPECT_EQ(seven, expected) << "in place";
    EXPECT_EQ(dilate_lite_depth_img(p, reinterpret_cast<short*>(dilated.data()), 7, 6), 0);
    EXPECT_EQ(Words(dilated.begin(), dilated.begin() + 42), Words(seven.begin(), seven.begin() + 42));

    orrtest::StdoutCapture capture;
    CAM_FRAME none = dst;
    none.data = nullptr;
    EXPECT_EQ(post.depthimg2Rgb(src, none, calib), -1);
    CAM_FRAME empty = dst;
    empty.height = 0;
    EXPECT_EQ(post.depthimg2Rgb(src, empty, calib), -1);
    twice.rgbFx = std::numeric_limits<float>::infinity();
    EXPECT_EQ(post.alignDepth(flatFrame, alignedFrame, twice), -3);
    EXPECT_EQ(post.alignDepth(none, dst, calib), -1);
    const std::string log = capture.text();
    EXPECT_EQ(logged(log, "depthimg2Rgb", "depth_dst size 32x0 has no pixels"), 1);
    EXPECT_EQ(logged(log, "depthimg2Rgb", "depth.data or depth_dst.data is nullptr"), 1);
    EXPECT_EQ(logged(log, "depthimg2Rgb", "error, depth2RGB return -2"), 1);
    EXPECT_EQ(logged(log, "alignDepth", "depth.data or depth_dst.data is nullptr"), 1);
}

TEST(OrrPost, PointCloudIsTheFilterCloudWithTheDepthFrameIdentity)
{
    OrrPost post;
    Words depth = imagingtest::depthScene(64, 48, 45);
    depth[5] = 5001;
    ir_rgb_Parameter calib = imagingtest::sameCameras(55.3f, 31.7f, 24.1f);
    calib.rgbFx = 70.9f;
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
            EXPECT_EQ(cloud.length, 3u * 64 * 48 + 1);
        }
    in.size = 10;
    std::vector<float> pts;
    CAM_FRAME cloud{};
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.depthToPointcloud(in, cloud, pts, calib, false, false), -1);
    EXPECT_EQ(logged(capture.text(), "depthToPointcloud", "frame of 64x48 needs 6144 bytes, size is 10"), 1);
}
