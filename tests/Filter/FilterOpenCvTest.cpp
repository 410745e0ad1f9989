// YUYV conversion against OpenCV's cv::cvtColor on camera data (the video range).
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdint>
#include <vector>

#include "DepthTestImages.h"
#include "YuyvToBgr.h"

using namespace orrindale;

TEST(YuyvToBgrVsOpenCv, DiffersFromCvtColorOnlyByCoefficientRoundingInTheVideoRange)
{
    // Y in 16 .. 235, U and V in 16 .. 240.
    const int w = 640, h = 480;
    auto yuyv = imagingtest::randomBytes(static_cast<std::size_t>(w) * h * 2, 31);
    for (std::size_t i = 0; i < yuyv.size(); ++i) yuyv[i] = static_cast<uint8_t>(16 + yuyv[i] % (i % 2 == 0 ? 220 : 225));
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
    ASSERT_EQ(peer.total() * peer.elemSize(), ours.size());
    cv::Mat diff;
    cv::absdiff(cv::Mat(h, w, CV_8UC3, ours.data()), peer, diff);
    double maxDiff = 0;
    cv::minMaxLoc(diff.reshape(1), nullptr, &maxDiff);
    EXPECT_LE(maxDiff, 2.0);
}
