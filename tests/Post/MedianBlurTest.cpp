// fastMedianBlur: the filtered column range, untouched borders, the vector path
// against the scalar path and against a sorted 3 x 3 window.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "DepthTestImages.h"
#include "FastMedianBlur.h"
#include "LogCapture.h"

namespace {

using Words = std::vector<uint16_t>;

// Words around the signed/unsigned boundary and the extremes, mixed with random ones.
Words edgyWords(std::size_t count, uint32_t seed)
{
    Words w = imagingtest::randomWords(count, seed);
    const uint16_t edges[] = {0, 1, 0x7FFF, 0x8000, 0x8001, 0xFFFE, 0xFFFF};
    for (std::size_t i = 0; i < count; i += 3) w[i] = edges[(i / 3 + seed) % 7];
    return w;
}

int lastFilteredColumn(int width) { return width < 16 ? 3 : 4 + 8 * ((width - 8) / 8) - 1; }

}  // namespace

TEST(FastMedianBlur, FiltersExactlyTheDocumentedColumnsWithTheTrueMedian)
{
    for (int width : {0, 1, 7, 8, 12, 15, 16, 17, 23, 24, 31, 40, 640}) {
        for (int height : {0, 1, 2, 3, 4, 7}) {
            // One spare word so that an empty image still has a buffer.
            const Words src = edgyWords(static_cast<std::size_t>(width) * height + 1, width * 10 + height);
            Words dst(src.size(), 0x5A5A);
            Words mutableSrc = src;
            ASSERT_EQ(fastMedianBlur(mutableSrc.data(), dst.data(), width, height), 0);
            ASSERT_EQ(mutableSrc, src) << "source untouched";
            const int last = lastFilteredColumn(width);
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const std::size_t i = static_cast<std::size_t>(y) * width + x;
                    if (y < 1 || y > height - 2 || x < 4 || x > last) {
                        ASSERT_EQ(dst[i], src[i]) << width << "x" << height << " at " << x << "," << y;
                        continue;
                    }
                    std::array<uint16_t, 9> win{};
                    int k = 0;
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx) win[k++] = src[i + dy * width + dx];
                    std::nth_element(win.begin(), win.begin() + 4, win.end());
                    ASSERT_EQ(dst[i], win[4]) << width << "x" << height << " at " << x << "," << y;
                }
        }
    }
}

TEST(FastMedianBlur, Width640FiltersColumnsFourTo635)
{
    Words src(640 * 3, 0);
    for (int x = 0; x < 640; ++x) src[640 + x] = 1000;  // middle row bright
    Words dst(src.size());
    ASSERT_EQ(fastMedianBlur(src.data(), dst.data(), 640, 3), 0);
    // A lone bright row is removed by the median wherever the median runs.
    for (int x = 0; x < 640; ++x) EXPECT_EQ(dst[640 + x], (x >= 4 && x <= 635) ? 0 : 1000) << x;
}

TEST(FastMedianBlur, TwoRowImageIsCopied)
{
    Words src = imagingtest::randomWords(2 * 64, 51);
    Words dst(src.size(), 0);
    ASSERT_EQ(fastMedianBlur(src.data(), dst.data(), 64, 2), 0);
    EXPECT_EQ(dst, src);
}

TEST(FastMedianBlur, VectorAndScalarPathsAgree)
{
    for (int width : {16, 17, 33, 100, 1280}) {
        const int height = 13;
        Words src = edgyWords(static_cast<std::size_t>(width) * height, width);
        Words a(src.size()), b(src.size());
        ASSERT_EQ(fastMedianBlur(src.data(), a.data(), width, height), 0);
        ASSERT_EQ(fastMedianBlurScalar(src.data(), b.data(), width, height), 0);
        EXPECT_EQ(a, b) << width;
    }
}

TEST(FastMedianBlur, RefusesNullNegativeAndAliasedBuffers)
{
    Words a(16, 1), b(16, 2);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(fastMedianBlur(nullptr, b.data(), 4, 4), -1);
    EXPECT_EQ(fastMedianBlur(a.data(), nullptr, 4, 4), -1);
    EXPECT_EQ(fastMedianBlur(a.data(), b.data(), -4, 4), -1);
    EXPECT_EQ(fastMedianBlur(a.data(), a.data(), 4, 4), -1);
    const std::string log = capture.text();
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "FastMedianBlur", "validArguments", "src or dst is nullptr"), 2);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "FastMedianBlur", "validArguments",
                                     "src and dst must be different buffers"),
              1);
    EXPECT_EQ(b, Words(16, 2));
}
