// Registration against OpenCV's cv::rgbd::registerDepth on the same input: a rotated,
// translated colour camera with other intrinsics.
#include <gtest/gtest.h>

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/rgbd.hpp>

#include <cstdint>
#include <vector>

#include "DepthTestImages.h"
#include "Filt.h"

using Image = std::vector<uint16_t>;

TEST(FiltDepth2RgbVsOpenCv, MatchesRegisterDepth)
{
    // A VGA depth camera onto an HD colour camera 25 mm to its side, slightly rotated.
    ir_rgb_Parameter calib{460.0f, 462.0f, 321.5f, 238.25f, 910.0f, 905.0f, 641.0f, 359.5f, {}, {-25.0f, 1.5f, 0.8f}};
    cv::Mat rvec = (cv::Mat_<double>(3, 1) << 0.01, -0.02, 0.005);
    cv::Mat rotation;
    cv::Rodrigues(rvec, rotation);
    for (int i = 0; i < 9; ++i) calib.rotation[i] = static_cast<float>(rotation.at<double>(i / 3, i % 3));

    const int inW = 640, inH = 480, outW = 1280, outH = 720;
    Image depth = imagingtest::depthScene(inW, inH, 21);
    Image ours(static_cast<std::size_t>(outW) * outH);
    ASSERT_EQ(depth2RGB(reinterpret_cast<short*>(depth.data()), reinterpret_cast<short*>(ours.data()), nullptr,
                        nullptr, nullptr, outW, outH, inW, inH, calib),
              0);

    const cv::Matx33f kd(calib.depthFx, 0, calib.depthCx, 0, calib.depthFy, calib.depthCy, 0, 0, 1);
    const cv::Matx33f kc(calib.rgbFx, 0, calib.rgbCx, 0, calib.rgbFy, calib.rgbCy, 0, 0, 1);
    cv::Matx44f rt = cv::Matx44f::eye();
    for (int i = 0; i < 9; ++i) rt(i / 3, i % 3) = calib.rotation[i];
    // The peer takes metres.
    for (int i = 0; i < 3; ++i) rt(i, 3) = calib.translation[i] / 1000.0f;
    cv::Mat peer;
    cv::rgbd::registerDepth(kd, kc, cv::Mat(), rt, cv::Mat(inH, inW, CV_16UC1, depth.data()), cv::Size(outW, outH),
                            peer, false);
    ASSERT_EQ(peer.type(), CV_16UC1);

    const cv::Mat oursMat(outH, outW, CV_16UC1, ours.data());
    const int covered = cv::countNonZero(peer);
    int same = 0, onlyOne = 0, maxDiff = 0;
    for (int y = 0; y < outH; ++y)
        for (int x = 0; x < outW; ++x) {
            const int a = oursMat.at<uint16_t>(y, x), b = peer.at<uint16_t>(y, x);
            if (a == b) {
                ++same;
            } else if (a == 0 || b == 0) {
                ++onlyOne;
            } else {
                maxDiff = std::max(maxDiff, std::abs(a - b));
            }
        }
    EXPECT_GT(covered, outW * outH / 5);
    // Points that fall within float rounding of a pixel edge may land one pixel apart.
    EXPECT_LT(onlyOne, covered / 1000);
    EXPECT_LE(maxDiff, 1);
}
