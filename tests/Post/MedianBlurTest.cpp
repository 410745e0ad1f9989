// The fast median against a sorted 3 x 3 window: the filtered column range, untouched
// borders, all three ways to run it (vector, scalar, in place), refused arguments.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "DepthTestImages.h"
#include "FastMedianBlur.h"
#include "LogCapture.h"
#include "OrrPost.h"

namespace {

using Words = std::vector<uint16_t>;

}  // namespace

TEST(FastMedianBlur, FiltersExactlyTheDocumentedColumnsWithTheTrueMedian)
{
    const uint16_t edges[] = {0, 1, 0x7FFF, 0x8000, 0x8001, 0xFFFE, 0xFFFF};  // compared unsigned
    for (int width : {0, 1, 7, 8, 15, 16, 17, 23, 31, 40, 640}) {
        for (int height : {0, 2, 3, 4, 7}) {
            // One spare word so that an empty image still has a buffer.
            Words src = imagingtest::randomWords(static_cast<std::size_t>(width) * height + 1, width * 10 + height);
            for (std::size_t i = 0; i < src.size(); i += 3) src[i] = edges[(i / 3 + width) % 7];
            const Words original = src;
            Words dst(src.size(), 0x5A5A), scalar(src.size(), 0x5A5A);
            ASSERT_EQ(fastMedianBlur(src.data(), dst.data(), width, height), 0);
            ASSERT_EQ(fastMedianBlurScalar(src.data(), scalar.data(), width, height), 0);
            ASSERT_EQ(src, original) << "source untouched";
            // Columns 4 .. 4 + 8 * floor((width - 8) / 8) - 1: with width 640, 4 .. 635.
            const int last = width < 16 ? 3 : 4 + 8 * ((width - 8) / 8) - 1;
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const std::size_t i = static_cast<std::size_t>(y) * width + x;
                    uint16_t expected = src[i];
                    if (y >= 1 && y <= height - 2 && x >= 4 && x <= last) {
                        std::array<uint16_t, 9> win{};
                        for (int k = 0; k < 9; ++k) win[k] = src[i + (k / 3 - 1) * width + k % 3 - 1];
                        std::nth_element(win.begin(), win.begin() + 4, win.end());
                        expected = win[4];
                    }
                    ASSERT_EQ(dst[i], expected) << width << "x" << height << " at " << x << "," << y;
                    ASSERT_EQ(scalar[i], expected) << "scalar, " << width << "x" << height << " at " << x << "," << y;
                }
            if (height > 0 && width > 0) {
                ASSERT_EQ(OrrPost().fastMedianFilter(src.data(), width, height), 0);
                ASSERT_EQ(Words(src.begin(), src.end() - 1), Words(dst.begin(), dst.end() - 1)) << "in place";
            }
        }
    }
    Words a(16, 1), b(16, 2);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(fastMedianBlur(nullptr, b.data(), 4, 4), -1);
    EXPECT_EQ(fastMedianBlur(a.data(), b.data(), -4, 4), -1);
    EXPECT_EQ(fastMedianBlur(a.data(), a.data(), 4, 4), -1);
    EXPECT_EQ(OrrPost().fastMedianFilter(nullptr, 4, 4), -1);
    const std::string log = capture.text();
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "FastMedianBlur", "validArguments", "src or dst is nullptr"), 1);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "FastMedianBlur", "validArguments",
                                     "src and dst must be different buffers"),
              1);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "OrrPost", "fastMedianFilter", "data is nullptr"), 1);
    EXPECT_EQ(b, Words(16, 2));
}
