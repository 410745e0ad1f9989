// The vector paths of the image kernels against their scalar paths (and the YUYV
// formula itself) on random and edge inputs, odd lengths and unaligned buffers.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "DepthTestImages.h"
#include "MaxFilter3x3.h"
#include "PointCloudProjector.h"
#include "RawToZ16.h"
#include "SimdSupport.h"
#include "YuyvConverter.h"

using namespace orrindale;

namespace {

uint8_t formulaChannel(int v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

}  // namespace

TEST(YuyvKernel, EveryYuvTripleFollowsTheIntegerFormula)
{
    RecordProperty("simd", simdPathName());
    // For each U: all V and Y, Y1 running the other way so both pixels see every value.
    const std::size_t pairs = 256 * 256;
    std::vector<uint8_t> in(pairs * 4), out(pairs * 6 + 16);
    for (int u = 0; u < 256; ++u) {
        for (int v = 0; v < 256; ++v)
            for (int y = 0; y < 256; ++y) {
                uint8_t* p = &in[(static_cast<std::size_t>(v) * 256 + y) * 4];
                p[0] = static_cast<uint8_t>(y);
                p[1] = static_cast<uint8_t>(u);
                p[2] = static_cast<uint8_t>(255 - y);
                p[3] = static_cast<uint8_t>(v);
            }
        YuyvConverter::convert(in.data(), out.data(), pairs);
        for (std::size_t i = 0; i < pairs; ++i) {
            const int d = in[4 * i + 1] - 128, e = in[4 * i + 3] - 128;
            for (int k = 0; k < 2; ++k) {
                const int c = in[4 * i + 2 * k] - 16;
                const uint8_t* px = &out[6 * i + 3 * k];
                const uint8_t b = formulaChannel((298 * c + 516 * d + 128) >> 8);
                const uint8_t g = formulaChannel((298 * c - 100 * d - 208 * e + 128) >> 8);
                const uint8_t r = formulaChannel((298 * c + 409 * e + 128) >> 8);
                if (px[0] != b || px[1] != g || px[2] != r)
                    FAIL() << "Y " << int(in[4 * i + 2 * k]) << " U " << u << " V " << int(in[4 * i + 3]) << ": got "
                           << int(px[0]) << "," << int(px[1]) << "," << int(px[2]) << " want " << int(b) << ","
                           << int(g) << "," << int(r);
            }
        }
    }
}

TEST(YuyvKernel, VectorAndScalarAgreeOnOddLengthsAndUnalignedBuffers)
{
    const auto in = imagingtest::randomBytes(4 * 1000 + 3, 5);
    for (std::size_t pairs : {0u, 1u, 7u, 8u, 9u, 16u, 17u, 31u, 33u, 999u}) {
        for (std::size_t offset : {0u, 1u, 3u}) {
            std::vector<uint8_t> a(6 * pairs + 8, 0xCD), b(6 * pairs + 8, 0xCD);
            YuyvConverter::convert(in.data() + offset, a.data() + offset, pairs);
            YuyvConverter::convertScalar(in.data() + offset, b.data() + offset, pairs);
            EXPECT_EQ(a, b) << pairs << " pairs at offset " << offset << " (nothing beyond the output is written)";
        }
    }
}

TEST(PointCloudKernel, VectorAndScalarGiveIdenticalBits)
{
    std::vector<uint16_t> depth = imagingtest::randomWords(37 * 13, 8);
    // Depths around the limits of an unorganized cloud, and runs of zeros.
    for (std::size_t i = 0; i < depth.size(); ++i) {
        switch (i % 7) {
        case 0: depth[i] = 0; break;
        case 1: depth[i] = static_cast<uint16_t>(4990 + i % 20); break;
        case 2: depth[i] = static_cast<uint16_t>(depth[i] % 6000); break;
        default: break;
        }
    }
    for (std::size_t i = 100; i < 140; ++i) depth[i] = 0;
    const PinholeIntrinsics k{461.3f, 459.9f, 318.7f, 241.2f};
    for (int width : {1, 7, 8, 9, 16, 37}) {
        const int height = static_cast<int>(depth.size()) / width > 13 ? 13 : static_cast<int>(depth.size()) / width;
        for (bool organized : {false, true}) {
            std::vector<float> a(3 * depth.size() + 1, -1.0f), b(3 * depth.size() + 1, -1.0f);
            const std::size_t na = PointCloudProjector::project(depth.data(), width, height, k, organized, a.data());
            const std::size_t nb =
                PointCloudProjector::projectScalar(depth.data(), width, height, k, organized, b.data());
            ASSERT_EQ(na, nb) << width << (organized ? " organized" : " sparse");
            EXPECT_EQ(std::memcmp(a.data(), b.data(), na * 3 * sizeof(float)), 0)
                << width << (organized ? " organized" : " sparse");
            if (organized) {
                EXPECT_EQ(na, static_cast<std::size_t>(width * height));
            }
        }
    }
}

TEST(MaxFilterKernel, VectorScalarAndInPlaceAgree)
{
    for (auto order : {MaxFilter3x3::Order::kUnsigned, MaxFilter3x3::Order::kSigned}) {
        for (int width : {7, 8, 13, 16, 29, 64}) {
            const int height = 11;
            const auto src = imagingtest::randomWords(static_cast<std::size_t>(width) * height, width);
            std::vector<uint16_t> a = src, b = src, c = src;
            MaxFilter3x3::apply(src.data(), a.data(), width, height, order);
            MaxFilter3x3::applyScalar(src.data(), b.data(), width, height, order);
            MaxFilter3x3::applyInPlace(c.data(), width, height, order);
            EXPECT_EQ(a, b) << width;
            EXPECT_EQ(a, c) << width;
            // Border of three untouched, and the interior is a real maximum.
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const bool inner = x >= 3 && x <= width - 4 && y >= 3 && y <= height - 4;
                    if (!inner) {
                        EXPECT_EQ(a[y * width + x], src[y * width + x]);
                    }
                }
        }
    }
    // Signed and unsigned orders differ for words above 0x7FFF.
    std::vector<uint16_t> img(49, 0x0001);
    img[24] = 0x8000;
    std::vector<uint16_t> s = img, u = img;
    MaxFilter3x3::applyInPlace(s.data(), 7, 7, MaxFilter3x3::Order::kSigned);
    MaxFilter3x3::applyInPlace(u.data(), 7, 7, MaxFilter3x3::Order::kUnsigned);
    EXPECT_EQ(s[24], 0x0001);
    EXPECT_EQ(u[24], 0x8000);
}

TEST(RawShiftKernel, VectorAndScalarAgreeForEveryShift)
{
    const auto words = imagingtest::randomWords(203, 9);
    for (uint32_t shift = 0; shift <= 40; ++shift) {
        for (std::size_t count : {0u, 15u, 16u, 17u, 203u}) {
            auto a = words, b = words;
            depth_filter::RawToZ16::shiftWords(a.data(), count, shift);
            depth_filter::RawToZ16::shiftWordsScalar(b.data(), count, shift);
            ASSERT_EQ(a, b) << "shift " << shift << " count " << count;
        }
    }
}
