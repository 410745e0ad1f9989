// MJPEG decoding: pixel order, reported size, capacity checks, damaged and invalid
// data, and decoding on several threads at once.
#include <gtest/gtest.h>

#include <turbojpeg.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "OrrPost.h"

namespace {

// Compresses a BGR image with 4:4:4 sampling at top quality.
std::vector<uint8_t> encodeBgr(const std::vector<uint8_t>& bgr, int w, int h)
{
    tjhandle tj = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    const int rc = tjCompress2(tj, bgr.data(), w, w * 3, h, TJPF_BGR, &jpeg, &size, TJSAMP_444, 100, 0);
    std::vector<uint8_t> out;
    if (rc == 0) out.assign(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(tj);
    return out;
}

// Left half pure red, right half pure blue (in B, G, R order).
std::vector<uint8_t> redBlue(int w, int h)
{
    std::vector<uint8_t> bgr(static_cast<std::size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = &bgr[(static_cast<std::size_t>(y) * w + x) * 3];
            p[0] = x < w / 2 ? 0 : 255;
            p[1] = 0;
            p[2] = x < w / 2 ? 255 : 0;
        }
    return bgr;
}

bool near(int a, int b) { return std::abs(a - b) <= 4; }

}  // namespace

TEST(MjpegDecoding, Rgb24IsInBgrOrderWithTheReportedSize)
{
    const int w = 64, h = 32;
    auto jpeg = encodeBgr(redBlue(w, h), w, h);
    ASSERT_FALSE(jpeg.empty());
    std::vector<uint8_t> out(w * h * 3);
    unsigned width = 0, height = 0;
    OrrPost post;
    ASSERT_EQ(post.mjpgToRGB24(jpeg.data(), static_cast<int>(jpeg.size()), out.data(), width, height,
                               static_cast<unsigned>(out.size())),
              0);
    EXPECT_EQ(width, 64u);
    EXPECT_EQ(height, 32u);
    const uint8_t* red = &out[(10 * w + 5) * 3];
    const uint8_t* blue = &out[(10 * w + 60) * 3];
    EXPECT_TRUE(near(red[0], 0) && near(red[1], 0) && near(red[2], 255))
        << int(red[0]) << "," << int(red[1]) << "," << int(red[2]);
    EXPECT_TRUE(near(blue[0], 255) && near(blue[1], 0) && near(blue[2], 0))
        << int(blue[0]) << "," << int(blue[1]) << "," << int(blue[2]);
}

TEST(MjpegDecoding, Y8GivesTheLumaOfEachPixel)
{
    const int w = 32, h = 16;
    auto jpeg = encodeBgr(redBlue(w, h), w, h);
    std::vector<uint8_t> out(w * h);
    unsigned width = 0, height = 0;
    OrrPost post;
    ASSERT_EQ(post.mjpgToY8(jpeg.data(), static_cast<int>(jpeg.size()), out.data(), width, height, 0), 0);
    // Full-range BT.601 luma: red 0.299 * 255 = 76, blue 0.114 * 255 = 29.
    EXPECT_TRUE(near(out[8 * w + 2], 76)) << int(out[8 * w + 2]);
    EXPECT_TRUE(near(out[8 * w + 30], 29)) << int(out[8 * w + 30]);
}

TEST(MjpegDecoding, CodesForBadInputAndSmallBuffers)
{
    const int w = 32, h = 16;
    auto jpeg = encodeBgr(redBlue(w, h), w, h);
    std::vector<uint8_t> out(w * h * 3, 0xEE);
    unsigned width = 0, height = 0;
    OrrPost post;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.mjpgToRGB24(nullptr, 10, out.data(), width, height, 0), -1);
    std::vector<uint8_t> garbage(200, 0x42);
    EXPECT_EQ(post.mjpgToRGB24(garbage.data(), 200, out.data(), width, height, 0), -2);
    EXPECT_EQ(post.mjpgToRGB24(jpeg.data(), static_cast<int>(jpeg.size()), out.data(), width, height, w * h * 3 - 1),
              -2);
    EXPECT_EQ(width, 32u) << "the size is reported even when the buffer is too small";
    EXPECT_EQ(post.mjpgToY8(jpeg.data(), static_cast<int>(jpeg.size()), out.data(), width, height, w * h - 1), -2);
    EXPECT_EQ(out, std::vector<uint8_t>(w * h * 3, 0xEE)) << "nothing written";
    const std::string log = capture.text();
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "OrrPost", "decodeJpeg",
                                     "jpeg image 32x16 does not fit 1535 bytes"),
              1);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "OrrPost", "decodeJpeg",
                                     "jpeg or out is nullptr, or size 10 is not positive"),
              1);
}

TEST(MjpegDecoding, DamagedDataIsADecodeFailureNotAPartImage)
{
    const int w = 64, h = 64;
    auto jpeg = encodeBgr(redBlue(w, h), w, h);
    std::vector<uint8_t> out(w * h * 3);
    unsigned width = 0, height = 0;
    OrrPost post;
    // Half of the entropy-coded data after the start-of-scan marker: libjpeg-turbo would
    // fill the rest of the picture with grey and only warn.
    std::size_t sos = 0;
    for (std::size_t i = 0; i + 1 < jpeg.size(); ++i)
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xDA) sos = i;
    ASSERT_GT(sos, 0u);
    const int half = static_cast<int>(sos + (jpeg.size() - sos) / 2);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.mjpgToRGB24(jpeg.data(), half, out.data(), width, height, static_cast<unsigned>(out.size())), -4);
    EXPECT_EQ(post.mjpgToY8(jpeg.data(), half, out.data(), width, height, 0), -3);
    const std::string log = capture.text();
    EXPECT_EQ(orrtest::countLogLines(log, "WARN", "OrrPost", "decodeJpeg", "jpeg image 64x64 is damaged: Premature end of JPEG file"), 2)
        << log;
    EXPECT_EQ(orrtest::countAnyLogLines(log), 2);
}

TEST(MjpegDecoding, MjpegPostProcessFillsTheDestinationFrame)
{
    const int w = 48, h = 16;
    auto jpeg = encodeBgr(redBlue(w, h), w, h);
    std::vector<uint8_t> out(w * h * 3);
    CAM_FRAME src{}, dst{};
    src.data = jpeg.data();
    src.size = static_cast<uint32_t>(jpeg.size());
    dst.data = out.data();
    dst.size = static_cast<uint32_t>(out.size());
    OrrPost post;
    ASSERT_EQ(post.MjpegPostProcess(&src, &dst), 0);
    EXPECT_EQ(dst.width, 48u);
    EXPECT_EQ(dst.height, 16u);
    EXPECT_EQ(dst.size, 48u * 16u * 3u);
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.MjpegPostProcess(nullptr, &dst), -1);
    dst.size = 10;
    EXPECT_EQ(post.MjpegPostProcess(&src, &dst), -2);
    EXPECT_EQ(dst.size, 10u);
}

TEST(MjpegDecoding, ThreadsDecodeIndependently)
{
    const int w = 64, h = 32;
    auto jpeg = encodeBgr(redBlue(w, h), w, h);
    std::vector<uint8_t> reference(w * h * 3);
    unsigned rw = 0, rh = 0;
    ASSERT_EQ(OrrPost().mjpgToRGB24(jpeg.data(), static_cast<int>(jpeg.size()), reference.data(), rw, rh, 0), 0);
    std::vector<int> failures(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            OrrPost post;
            std::vector<uint8_t> out(w * h * 3);
            for (int i = 0; i < 50; ++i) {
                unsigned width = 0, height = 0;
                if (post.mjpgToRGB24(jpeg.data(), static_cast<int>(jpeg.size()), out.data(), width, height, 0) != 0 ||
                    out != reference)
                    ++failures[t];
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(failures, std::vector<int>(4, 0));
}
