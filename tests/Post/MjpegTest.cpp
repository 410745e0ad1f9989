// MJPEG decoding: pixel order, reported size, capacity checks, damaged and invalid data,
// and decoding on several threads at once.
#include <gtest/gtest.h>

#include <turbojpeg.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <cstdlib>
#include <thread>
#include <vector>

#include "LogCapture.h"
#include "OrrPost.h"

namespace {

// Left half pure red, right half pure blue, compressed with 4:4:4 sampling at top quality.
std::vector<uint8_t> redBlueJpeg(int w, int h)
{
    std::vector<uint8_t> bgr(static_cast<std::size_t>(w) * h * 3, 0);
    for (std::size_t i = 0; i < bgr.size(); i += 3) bgr[i + ((i / 3) % w < std::size_t(w / 2) ? 2 : 0)] = 255;
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

bool near(const uint8_t* px, std::initializer_list<int> want)
{
    int i = 0;
    for (int w : want)
        if (std::abs(px[i++] - w) > 4) return false;
    return true;
}

}  // namespace

TEST(MjpegDecoding, BgrAndGreyPixelsWithTheReportedSizeAndTheDestinationFrame)
{
    const int w = 64, h = 32;
    auto jpeg = redBlueJpeg(w, h);
    ASSERT_FALSE(jpeg.empty());
    std::vector<uint8_t> bgr(w * h * 3), grey(w * h);
    unsigned width = 0, height = 0;
    OrrPost post;
    ASSERT_EQ(post.mjpgToRGB24(jpeg.data(), static_cast<int>(jpeg.size()), bgr.data(), width, height,
                               static_cast<unsigned>(bgr.size())),
              0);
    EXPECT_EQ(width, 64u);
    EXPECT_EQ(height, 32u);
    EXPECT_TRUE(near(&bgr[(10 * w + 5) * 3], {0, 0, 255})) << "red";
    EXPECT_TRUE(near(&bgr[(10 * w + 60) * 3], {255, 0, 0})) << "blue";
    ASSERT_EQ(post.mjpgToY8(jpeg.data(), static_cast<int>(jpeg.size()), grey.data(), width, height, 0), 0);
    // Full-range BT.601 luma: red 0.299 * 255 = 76, blue 0.114 * 255 = 29.
    EXPECT_TRUE(near(&grey[8 * w + 2], {76}) && near(&grey[8 * w + 62], {29}));

    CAM_FRAME src{CAM_FRAME_RAW_MJPEG, 0, 0, jpeg.data(), static_cast<uint32_t>(jpeg.size()), 0, 0, 0};
    CAM_FRAME dst{CAM_FRAME_RGB, 0, 0, bgr.data(), static_cast<uint32_t>(bgr.size()), 0, 0, 0};
    ASSERT_EQ(post.MjpegPostProcess(&src, &dst), 0);
    EXPECT_EQ(dst.width, 64u);
    EXPECT_EQ(dst.height, 32u);
    EXPECT_EQ(dst.size, 64u * 32u * 3u);
}

TEST(MjpegDecoding, CodesForBadDamagedOrTooLargeImages)
{
    const int w = 32, h = 16;
    auto jpeg = redBlueJpeg(w, h);
    std::vector<uint8_t> out(w * h * 3, 0xEE), garbage(200, 0x42);
    unsigned width = 0, height = 0;
    OrrPost post;
    // Half of the entropy-coded data after the start-of-scan marker: libjpeg-turbo would
    // fill the rest of the picture with grey and only warn.
    std::size_t sos = 0;
    for (std::size_t i = 0; i + 1 < jpeg.size(); ++i)
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xDA) sos = i;
    const int half = static_cast<int>(sos + (jpeg.size() - sos) / 2);
    const int size = static_cast<int>(jpeg.size());
    CAM_FRAME src{CAM_FRAME_RAW_MJPEG, 0, 0, jpeg.data(), static_cast<uint32_t>(jpeg.size()), 0, 0, 0};
    CAM_FRAME small{CAM_FRAME_RGB, 0, 0, out.data(), 10, 0, 0, 0};
    orrtest::StdoutCapture capture;
    EXPECT_EQ(post.mjpgToRGB24(nullptr, 10, out.data(), width, height, 0), -1);
    EXPECT_EQ(post.mjpgToRGB24(garbage.data(), 200, out.data(), width, height, 0), -2);
    EXPECT_EQ(post.mjpgToRGB24(jpeg.data(), size, out.data(), width, height, w * h * 3 - 1), -2);
    EXPECT_EQ(width, 32u) << "the size is reported even when the buffer is too small";
    EXPECT_EQ(post.mjpgToY8(jpeg.data(), size, out.data(), width, height, w * h - 1), -2);
    EXPECT_EQ(out, std::vector<uint8_t>(w * h * 3, 0xEE)) << "nothing written";
    EXPECT_EQ(post.MjpegPostProcess(nullptr, &small), -1);
    EXPECT_EQ(post.MjpegPostProcess(&src, &small), -2);
    EXPECT_EQ(small.size, 10u);
    // Damaged data is a decode failure, never a part-filled picture.
    EXPECT_EQ(post.mjpgToRGB24(jpeg.data(), half, out.data(), width, height, static_cast<unsigned>(out.size())), -4);
    EXPECT_EQ(post.mjpgToY8(jpeg.data(), half, out.data(), width, height, 0), -3);
    const std::string log = capture.text();
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "OrrPost", "decodeJpeg", "jpeg image 32x16 does not fit 1535 bytes"), 1);
    EXPECT_EQ(orrtest::countLogLines(log, "ERROR", "OrrPost", "decodeJpeg",
                                     "jpeg or out is nullptr, or size 10 is not positive"),
              1);
    EXPECT_EQ(orrtest::countLogLines(log, "WARN", "OrrPost", "decodeJpeg",
                                     "jpeg image 32x16 is damaged: Premature end of JPEG file"),
              2)
        << log;
    EXPECT_EQ(orrtest::countAnyLogLines(log), 8) << log;
}

TEST(MjpegDecoding, ThreadsDecodeIndependently)
{
    auto jpeg = redBlueJpeg(64, 32);
    std::vector<uint8_t> reference(64 * 32 * 3);
    unsigned w = 0, h = 0;
    ASSERT_EQ(OrrPost().mjpgToRGB24(jpeg.data(), static_cast<int>(jpeg.size()), reference.data(), w, h, 0), 0);
    std::atomic<int> failures{0};
    auto decode = [&] {
        std::vector<uint8_t> out(reference.size());
        for (int i = 0; i < 50; ++i) {
            unsigned width = 0, height = 0;
            failures += OrrPost().mjpgToRGB24(jpeg.data(), static_cast<int>(jpeg.size()), out.data(), width, height, 0) != 0 ||
                        out != reference;
        }
    };
    std::thread a(decode), b(decode), c(decode);
    decode();
    a.join(), b.join(), c.join();
    EXPECT_EQ(failures, 0);
}
