// The VireneB chain over a CAM_DATA group: which steps run for which streams and
// switches, what each slot holds afterwards, and bad slots.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "LogCapture.h"
#include "VireneBChain.h"

using namespace orrindale;

namespace {

struct Group {
    std::vector<uint16_t> raw;
    std::vector<uint8_t> yuyv;
    CAM_DATA data{};

    Group(uint32_t w, uint32_t h, uint16_t rawWord)
        : raw(static_cast<std::size_t>(w) * h, rawWord), yuyv(static_cast<std::size_t>(w) * h * 2)
    {
        for (std::size_t i = 0; i < yuyv.size(); ++i) yuyv[i] = i % 4 == 0 ? 235 : (i % 4 == 2 ? 16 : 128);  // white, black
        data.frame[CAM_DATA_SLOT_DEPTH] = {CAM_FRAME_DEPTH, w, h, reinterpret_cast<unsigned char*>(raw.data()),
                                           static_cast<uint32_t>(raw.size() * 2), 0, 5, 0};
        data.frame[CAM_DATA_SLOT_RGB] = {CAM_FRAME_RGB, w, h, yuyv.data(), static_cast<uint32_t>(yuyv.size()), 0, 5, 0};
    }
};

VireneBChainSettings settingsFor(uint32_t streams)
{
    VireneBChainSettings s;
    s.depthScale = 2;
    s.streams = streams;
    s.calib = {100.0f, 100.0f, 0, 0, 200.0f, 200.0f, 0, 0, {1, 0, 0, 0, 1, 0, 0, 0, 1}, {0, 0, 0}};
    s.colorWidth = 32;
    s.colorHeight = 24;
    return s;
}

uint16_t wordAt(const CAM_FRAME& f, std::size_t i) { return reinterpret_cast<const uint16_t*>(f.data)[i]; }

}  // namespace

TEST(VireneBChain, TheRequestedStreamsChooseTheSteps)
{
    const struct {
        uint32_t streams;
        uint32_t depthSize, cloudSize;
        bool colourConverted;
    } cases[] = {{0x1, 16 * 12 * 2, 0, false}, {0x8, 0, 16 * 12 * 12, false}, {0x2, 16 * 12 * 2, 0, true}};
    for (const auto& c : cases) {
        Group g(16, 12, 4001);  // 4001 >> 2 rounds to 1000
        VireneBChainBuffers buffers;
        ASSERT_EQ(runVireneBChain(g.data, settingsFor(c.streams), buffers), 0);
        const CAM_FRAME& depth = g.data.frame[CAM_DATA_SLOT_DEPTH];
        EXPECT_EQ(depth.size, c.depthSize) << c.streams;
        EXPECT_EQ(g.data.frame[CAM_DATA_SLOT_POINTCLOUD].size, c.cloudSize) << c.streams;
        EXPECT_EQ(g.data.frame[CAM_DATA_SLOT_RGB].data != g.yuyv.data(), c.colourConverted) << c.streams;
        EXPECT_EQ(g.raw[7], c.streams == 0x2 ? 4001 : 1000) << c.streams;
        if (c.cloudSize != 0) {
            EXPECT_EQ(reinterpret_cast<const float*>(g.data.frame[CAM_DATA_SLOT_POINTCLOUD].data)[2], 1000.0f);
        }
    }
}

TEST(VireneBChain, FullChainRegistersDilatesAndProjectsWithColourIntrinsics)
{
    Group g(16, 12, 4000);
    g.raw[5 * 16 + 5] = 8000;  // a lone 2000 mm pixel: a speckle
    VireneBChainSettings s = settingsFor(0x1 | 0x2 | 0x8);
    s.denoise = true;
    s.maxSpeckleSize = 4;
    s.maxDiff = 10;
    s.registration = true;
    VireneBChainBuffers buffers;
    ASSERT_EQ(runVireneBChain(g.data, s, buffers), 0);

    const CAM_FRAME& depth = g.data.frame[CAM_DATA_SLOT_DEPTH];
    ASSERT_EQ(depth.width, 32u);
    ASSERT_EQ(depth.height, 24u);
    EXPECT_EQ(depth.data, reinterpret_cast<unsigned char*>(buffers.registeredDepth.data()));
    EXPECT_EQ(depth.frameId, 5u);
    EXPECT_EQ(wordAt(depth, 0 * 32 + 0), 1000);
    EXPECT_EQ(wordAt(depth, 0 * 32 + 1), 0) << "border columns are not dilated";
    EXPECT_EQ(wordAt(depth, 10 * 32 + 11), 1000) << "registration holes are closed inside";
    EXPECT_EQ(wordAt(depth, 10 * 32 + 10), 0) << "the speckle at (5, 5) was removed: nothing lands on (10, 10)";

    const CAM_FRAME& cloud = g.data.frame[CAM_DATA_SLOT_POINTCLOUD];
    const auto* words = reinterpret_cast<const uint16_t*>(depth.data);
    const auto valid = std::count_if(words, words + 32 * 24, [](uint16_t d) { return d != 0; });
    EXPECT_EQ(cloud.type, CAM_FRAME_POINTCLOUD);
    EXPECT_EQ(cloud.size, static_cast<uint32_t>(valid * 12));
    const auto* p = reinterpret_cast<const float*>(cloud.data);
    // First point: pixel (0, 0) of the registered image, colour intrinsics (f 200, c 0).
    EXPECT_EQ(p[0], 0.0f);
    EXPECT_EQ(p[2], 1000.0f);
    // Second point: (2, 0).
    EXPECT_EQ(p[3], 2.0f * 1000.0f / 200.0f);

    const CAM_FRAME& bgr = g.data.frame[CAM_DATA_SLOT_RGB];
    EXPECT_EQ(bgr.size, 16u * 12u * 3u);
    EXPECT_EQ(bgr.data, buffers.bgr.data());
    EXPECT_EQ(std::vector<uint8_t>(buffers.bgr.begin(), buffers.bgr.begin() + 6),
              (std::vector<uint8_t>{255, 255, 255, 0, 0, 0}));
}

TEST(VireneBChain, ASlotWithoutDataIsSkippedAndAShortSlotIsEmptied)
{
    Group g(16, 12, 4000);
    g.data.frame[CAM_DATA_SLOT_DEPTH].size = 0;
    g.data.frame[CAM_DATA_SLOT_RGB].size = 100;
    VireneBChainBuffers buffers;
    orrtest::StdoutCapture capture;
    EXPECT_EQ(runVireneBChain(g.data, settingsFor(0x1 | 0x2 | 0x8), buffers), -1);
    EXPECT_EQ(orrtest::countLogLines(capture.text(), "ERROR", "VireneBChain", "usable",
                                     "color frame of 16x12 needs 384 bytes, size is 100"),
              1);
    EXPECT_EQ(g.raw[0], 4000) << "nothing ran on the empty depth slot";
    EXPECT_EQ(g.data.frame[CAM_DATA_SLOT_RGB].size, 0u);
}
