// OrrPost against OpenCV on the same inputs: the fast median against cv::medianBlur
// and the built-in speckle filter against cv::filterSpeckles.
#include <gtest/gtest.h>

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdint>
#include <vector>

#include "DepthTestImages.h"
#include "FastMedianBlur.h"
#include "OrrPost.h"

TEST(FastMedianBlurVsOpenCv, EqualsMedianBlurInsideTheFilteredColumns)
{
    const struct {
        int w, h;
        bool scene;
    } cases[] = {{640, 480, true}, {640, 480, false}, {1280, 720, true}, {100, 37, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << (c.scene ? " scene" : " random"));
        std::vector<uint16_t> src = c.scene ? imagingtest::depthScene(c.w, c.h, 61)
                                            : imagingtest::randomWords(static_cast<std::size_t>(c.w) * c.h, 62);
        std::vector<uint16_t> ours(src.size());
        ASSERT_EQ(fastMedianBlur(src.data(), ours.data(), c.w, c.h), 0);
        cv::Mat peer;
        cv::medianBlur(cv::Mat(c.h, c.w, CV_16UC1, src.data()), peer, 3);
        const int last = 4 + 8 * ((c.w - 8) / 8) - 1;
        const cv::Rect inside(4, 1, last - 4 + 1, c.h - 2);
        const cv::Mat oursMat(c.h, c.w, CV_16UC1, ours.data());
        EXPECT_EQ(cv::countNonZero(oursMat(inside) != peer(inside)), 0);
    }
}

TEST(BuiltInSpeckleFilterVsOpenCv, RemovesTheSamePixelsAsFilterSpeckles)
{
    const int w = 1280, h = 720;
    for (uint32_t seed : {71u, 72u}) {
        imagingtest::SceneOptions options;
        options.speckles = 3000;
        options.maxSpeckleSide = 12;
        std::vector<uint16_t> ours = imagingtest::depthScene(w, h, seed, options);
        cv::Mat peer = cv::Mat(h, w, CV_16SC1, ours.data()).clone();
        cv::filterSpeckles(peer, 0, 100, 8);
        OrrPost post;
        ASSERT_EQ(post.denoiseDepthImage(ours.data(), w, h, 0, 100, 8, 65535), 0);
        const cv::Mat oursMat(h, w, CV_16SC1, ours.data());
        EXPECT_EQ(cv::countNonZero(oursMat != peer), 0) << "seed " << seed;
    }
}

TEST(BuiltInSpeckleFilterVsOpenCv, DepthThresholdEqualsThresholdingFirst)
{
    const int w = 1280, h = 720;
    std::vector<uint16_t> ours = imagingtest::depthScene(w, h, 73);
    std::vector<uint16_t> thresholded = ours;
    for (auto& d : thresholded)
        if (d > 2200) d = 0;
    cv::Mat peer = cv::Mat(h, w, CV_16SC1, thresholded.data()).clone();
    cv::filterSpeckles(peer, 0, 50, 4);
    OrrPost post;
    ASSERT_EQ(post.denoiseDepthImage(ours.data(), w, h, 0, 50, 4, 2200), 0);
    EXPECT_EQ(cv::countNonZero(cv::Mat(h, w, CV_16SC1, ours.data()) != peer), 0);
}
