// Frame filters against OpenCV on the same inputs: YUYV conversion against
// cv::cvtColor and the point cloud against cv::rgbd::depthTo3d.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/rgbd.hpp>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "DepthTestImages.h"
#include "YuyvToBgr.h"
#include "Z16ToXYZ32.h"

using namespace orrindale;

namespace {

struct Comparison {
    int maxDiff = 0;
    std::size_t differing = 0;
    std::size_t bytes = 0;
};

Comparison compareWithCvtColor(std::vector<uint8_t>& yuyv, int w, int h)
{
    CAM_FRAME f{};
    f.width = w;
    f.height = h;
    f.data = yuyv.data();
    f.size = static_cast<uint32_t>(yuyv.size());
    std::vector<uint8_t> ours;
    color_filter::YuyvToBgr toBgr(ours);
    Frame(f).applyFilter(toBgr);
    cv::Mat peer;
    cv::cvtColor(cv::Mat(h, w, CV_8UC2, yuyv.data()), peer, cv::COLOR_YUV2BGR_YUYV);
    Comparison c;
    c.bytes = ours.size();
    if (peer.total() * peer.elemSize() != ours.size()) return Comparison{-1, 0, 0};
    for (std::size_t i = 0; i < ours.size(); ++i) {
        const int d = std::abs(int(ours[i]) - int(peer.data[i]));
        c.maxDiff = std::max(c.maxDiff, d);
        c.differing += d != 0;
    }
    return c;
}

}  // namespace

TEST(YuyvToBgrVsOpenCv, DiffersFromCvtColorOnlyByCoefficientRoundingInTheVideoRange)
{
    // Camera data: Y in 16 .. 235, U and V in 16 .. 240.
    const int w = 640, h = 480;
    auto yuyv = imagingtest::randomBytes(static_cast<std::size_t>(w) * h * 2, 31);
    for (std::size_t i = 0; i < yuyv.size(); ++i)
        yuyv[i] = static_cast<uint8_t>(16 + yuyv[i] % (i % 2 == 0 ? 220 : 225));
    const Comparison c = compareWithCvtColor(yuyv, w, h);
    std::printf("YuyvToBgr vs cvtColor, video range: max difference %d, %zu of %zu bytes differ\n", c.maxDiff,
                c.differing, c.bytes);
    RecordProperty("max_difference", c.maxDiff);
    EXPECT_LE(c.maxDiff, 2);
    EXPECT_GE(c.maxDiff, 0);
}

TEST(YuyvToBgrVsOpenCv, DiffersMoreBelowBlackWhereCvtColorClampsY)
{
    // cvtColor clamps Y - 16 at 0, the integer formula does not: with Y under 16 and
    // strong chroma they part by up to 298 * 16 / 256, about 19.
    const int w = 640, h = 480;
    auto yuyv = imagingtest::randomBytes(static_cast<std::size_t>(w) * h * 2, 31);
    const Comparison c = compareWithCvtColor(yuyv, w, h);
    std::printf("YuyvToBgr vs cvtColor, all byte values: max difference %d, %zu of %zu bytes differ\n", c.maxDiff,
                c.differing, c.bytes);
    RecordProperty("max_difference", c.maxDiff);
    EXPECT_LE(c.maxDiff, 19);
    EXPECT_GT(c.maxDiff, 2);
}

TEST(Z16ToXYZ32VsOpenCv, OrganizedCloudEqualsDepthTo3dInMillimetres)
{
    const int w = 640, h = 480;
    auto depth = imagingtest::depthScene(w, h, 32);
    ir_rgb_Parameter calib{};
    calib.depthFx = 462.25f;
    calib.depthFy = 461.5f;
    calib.depthCx = 319.75f;
    calib.depthCy = 241.0f;
    CAM_FRAME f{};
    f.width = w;
    f.height = h;
    f.data = reinterpret_cast<unsigned char*>(depth.data());
    f.size = static_cast<uint32_t>(depth.size() * 2);
    std::vector<float> ours;
    depth_filter::Z16ToXYZ32 toPoints(ours, calib, true, false);
    ASSERT_EQ(Frame(f).applyFilter(toPoints).getFrameData().size, static_cast<uint32_t>(w * h * 12));

    const cv::Matx33f k(calib.depthFx, 0, calib.depthCx, 0, calib.depthFy, calib.depthCy, 0, 0, 1);
    cv::Mat peer;
    cv::rgbd::depthTo3d(cv::Mat(h, w, CV_16UC1, depth.data()), cv::Mat(k), peer);
    ASSERT_EQ(peer.type(), CV_32FC3);
    double worst = 0.0;
    int compared = 0;
    for (int v = 0; v < h; ++v)
        for (int u = 0; u < w; ++u) {
            const cv::Vec3f p = peer.at<cv::Vec3f>(v, u);
            const float* q = &ours[(static_cast<std::size_t>(v) * w + u) * 3];
            if (depth[static_cast<std::size_t>(v) * w + u] == 0) {
                EXPECT_EQ(q[2], 0.0f);
                continue;
            }
            for (int c = 0; c < 3; ++c) {
                // Peer in metres; a few float roundings apart.
                const double diff = std::abs(q[c] / 1000.0 - p[c]);
                worst = std::max(worst, diff / std::max(1e-3, std::abs(double(p[c]))));
            }
            ++compared;
        }
    std::printf("Z16ToXYZ32 vs depthTo3d: %d points, worst relative difference %.3g\n", compared, worst);
    EXPECT_GT(compared, w * h / 2);
    EXPECT_LT(worst, 1e-6);
}
