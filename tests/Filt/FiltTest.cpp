// The filter library's entry points: speckle removal against an independent
// connected-component reference, registration geometry, hole filling rules and the
// failure codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <cstdlib>
#include <queue>
#include <vector>

#include "DepthTestImages.h"
#include "Filt.h"
#include "SpeckleFilter.h"

namespace {

using Image = std::vector<uint16_t>;

// Reference speckle removal: breadth-first components over the same joining rule.
Image referenceDespeckle(Image d, int w, int h, int newVal, int maxSpeckle, int maxDiff, int maxTh)
{
    for (auto& v : d)
        if (v > maxTh) v = 0;
    auto valid = [&](std::size_t i) { return static_cast<int16_t>(d[i]) > newVal; };
    std::vector<int> component(d.size(), -1);
    std::vector<std::vector<std::size_t>> members;
    for (std::size_t s = 0; s < d.size(); ++s) {
        if (!valid(s) || component[s] >= 0) continue;
        const int id = static_cast<int>(members.size());
        members.emplace_back();
        std::queue<std::size_t> q;
        q.push(s);
        component[s] = id;
        while (!q.empty()) {
            const std::size_t i = q.front();
            q.pop();
            members[id].push_back(i);
            const int x = static_cast<int>(i % w), y = static_cast<int>(i / w);
            const int nx[4] = {x + 1, x - 1, x, x};
            const int ny[4] = {y, y, y + 1, y - 1};
            for (int k = 0; k < 4; ++k) {
                if (nx[k] < 0 || nx[k] >= w || ny[k] < 0 || ny[k] >= h) continue;
                const std::size_t n = static_cast<std::size_t>(ny[k]) * w + nx[k];
                if (component[n] >= 0 || !valid(n)) continue;
                if (std::abs(static_cast<int16_t>(d[n]) - static_cast<int16_t>(d[i])) > maxDiff) continue;
                component[n] = id;
                q.push(n);
            }
        }
    }
    for (const auto& m : members)
        if (static_cast<int>(m.size()) <= maxSpeckle)
            for (std::size_t i : m) d[i] = static_cast<uint16_t>(newVal);
    return d;
}

int runDenoise(Image& d, int w, int h, int newVal, int maxSpeckle, int maxDiff, int maxTh = 65535)
{
    std::vector<uint8_t> work(orrindale::SpeckleFilter::workAreaBytes(d.size()), 0);
    return denoise(reinterpret_cast<short*>(d.data()), static_cast<short>(newVal), maxSpeckle,
                   static_cast<short>(maxDiff), work.data(), maxTh, 0, 0, w, h);
}

}  // namespace

namespace {

struct SceneCase {
    int w, h, newVal, maxSpeckle, maxDiff, maxTh;
    uint32_t seed;
};

const SceneCase kSceneCases[] = {
    {160, 120, 0, 50, 8, 65535, 1},  {320, 240, 0, 200, 16, 65535, 2}, {97, 61, 0, 1, 3, 65535, 3},
    {64, 48, 100, 30, 8, 3000, 4},   {33, 200, -1, 12, 0, 65535, 5},   {200, 7, 0, 1000, 40, 2500, 6},
    {130, 50, 0, 20, 30000, 65535, 7}, {1, 300, 0, 3, 8, 65535, 8},    {5, 3, 0, 2, 8, 65535, 9},
    {257, 3, 0, 100, 1, 65535, 10},  {128, 64, 0, 40, -1, 65535, 11},  {64, 1, 0, 5, 4, 65535, 12}};

}  // namespace

// denoise() finds regions as runs; the flood fill (the built-in filter of large images)
// grows them pixel by pixel: both must give the reference's result.
TEST(FiltDenoise, MatchesConnectedComponentReferenceOnScenes)
{
    for (const auto& c : kSceneCases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " seed " << c.seed);
        Image d = imagingtest::depthScene(c.w, c.h, c.seed);
        const Image expected = referenceDespeckle(d, c.w, c.h, c.newVal, c.maxSpeckle, c.maxDiff, c.maxTh);
        ASSERT_EQ(runDenoise(d, c.w, c.h, c.newVal, c.maxSpeckle, c.maxDiff, c.maxTh), 0);
        EXPECT_EQ(d, expected);
    }
}

TEST(FiltDenoise, FloodFillMatchesTheReferenceToo)
{
    for (const auto& c : kSceneCases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " seed " << c.seed);
        Image d = imagingtest::depthScene(c.w, c.h, c.seed);
        const Image expected = referenceDespeckle(d, c.w, c.h, c.newVal, c.maxSpeckle, c.maxDiff, c.maxTh);
        std::vector<uint8_t> work(orrindale::SpeckleFilter::workAreaBytes(d.size()), 0);
        orrindale::SpeckleParameters p;
        p.newVal = static_cast<int16_t>(c.newVal);
        p.maxSpeckleSize = c.maxSpeckle;
        p.maxDiff = c.maxDiff;
        p.maxDepth = c.maxTh;
        orrindale::SpeckleFilter::apply(reinterpret_cast<int16_t*>(d.data()), c.w, c.h, p, work.data());
        EXPECT_EQ(d, expected);
    }
}

TEST(FiltDenoise, RegionSizeAndStepLimits)
{
    // Row: [1000 1000 1000] gap [2000] gap [3000 3008] gap [4000 4009]
    Image d = {1000, 1000, 1000, 0, 2000, 0, 3000, 3008, 0, 4000, 4009};
    const int w = static_cast<int>(d.size());
    ASSERT_EQ(runDenoise(d, w, 1, 0, 2, 8), 0);
    // 3 pixels survive maxSpeckleSize 2; the single pixel goes; a step of exactly
    // maxDiff joins (size 2, removed); a step of maxDiff + 1 splits into two singles.
    EXPECT_EQ(d, (Image{1000, 1000, 1000, 0, 0, 0, 0, 0, 0, 0, 0}));

    Image big = {3000, 3008};
    ASSERT_EQ(runDenoise(big, 2, 1, 0, 1, 8), 0);
    EXPECT_EQ(big, (Image{3000, 3008})) << "a region of maxSpeckleSize + 1 pixels is kept";
}

TEST(FiltDenoise, PixelsAtNewValNeverJoinARegion)
{
    // newVal 5: the 6s form one region of three; the 5 between them does not bridge.
    Image d = {6, 6, 6, 5, 6};
    ASSERT_EQ(runDenoise(d, 5, 1, 5, 1, 100), 0);
    EXPECT_EQ(d, (Image{6, 6, 6, 5, 5}));
}

TEST(FiltDenoise, DepthBeyondMaxThBecomesZeroAsUnsignedMillimetres)
{
    Image d(16, 1000);
    d[3] = 40000;  // negative as a signed word: still beyond max_th
    d[7] = 5001;
    d[8] = 5000;
    ASSERT_EQ(runDenoise(d, 4, 4, 0, 0, 0, 5000), 0);
    EXPECT_EQ(d[3], 0);
    EXPECT_EQ(d[7], 0);
    EXPECT_EQ(d[8], 5000);
    EXPECT_EQ(d[0], 1000);
}

TEST(FiltDenoise, RefusesNullAndNonPositiveSizes)
{
    Image d(4, 100);
    std::vector<uint8_t> work(64, 0);
    auto* p = reinterpret_cast<short*>(d.data());
    EXPECT_EQ(denoise(nullptr, 0, 1, 1, work.data(), 65535, 0, 0, 2, 2), -1);
    EXPECT_EQ(denoise(p, 0, 1, 1, nullptr, 65535, 0, 0, 2, 2), -1);
    EXPECT_EQ(denoise(p, 0, 1, 1, work.data(), 65535, 0, 0, 0, 2), -1);
    EXPECT_EQ(denoise(p, 0, 1, 1, work.data(), 65535, 0, 0, 2, -1), -1);
    EXPECT_EQ(d, Image(4, 100));
}

namespace {

ir_rgb_Parameter sameCameras(float f, float cx, float cy)
{
    ir_rgb_Parameter c{};
    c.depthFx = c.depthFy = c.rgbFx = c.rgbFy = f;
    c.depthCx = c.rgbCx = cx;
    c.depthCy = c.rgbCy = cy;
    c.rotation[0] = c.rotation[4] = c.rotation[8] = 1.0f;
    return c;
}

int runRegister(Image& in, int inW, int inH, Image& out, int outW, int outH, ir_rgb_Parameter calib)
{
    out.assign(static_cast<std::size_t>(outW) * outH, 0xBEEF);
    return depth2RGB(reinterpret_cast<short*>(in.data()), reinterpret_cast<short*>(out.data()), nullptr, nullptr,
                     nullptr, outW, outH, inW, inH, calib);
}

}  // namespace

TEST(FiltDepth2Rgb, IdenticalCamerasReproduceTheImage)
{
    Image in = imagingtest::depthScene(64, 48, 7);
    Image out;
    ASSERT_EQ(runRegister(in, 64, 48, out, 64, 48, sameCameras(60.0f, 31.5f, 23.5f)), 0);
    EXPECT_EQ(out, in);
}

TEST(FiltDepth2Rgb, TranslationShiftsByFocalTimesBaselineOverDepth)
{
    // 20 mm along x at 1000 mm with f = 500 moves every point 10 pixels right.
    Image in(40 * 10, 1000);
    ir_rgb_Parameter calib = sameCameras(500.0f, 20.0f, 5.0f);
    calib.translation[0] = 20.0f;
    Image out;
    ASSERT_EQ(runRegister(in, 40, 10, out, 40, 10, calib), 0);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 40; ++x)
            EXPECT_EQ(out[y * 40 + x], x < 10 ? 0 : 1000) << x << "," << y;
}

TEST(FiltDepth2Rgb, NearestDepthWinsWhereTwoPointsMeet)
{
    // Shift = 500 * 20 / d: 1000 mm moves 10 px, 500 mm moves 20 px; both land on x = 30.
    Image in(40, 0);
    in[20] = 1000;
    in[10] = 500;
    ir_rgb_Parameter calib = sameCameras(500.0f, 20.0f, 0.0f);
    calib.translation[0] = 20.0f;
    Image out;
    ASSERT_EQ(runRegister(in, 40, 1, out, 40, 1, calib), 0);
    EXPECT_EQ(out[30], 500);
    EXPECT_EQ(std::count(out.begin(), out.end(), 0), 39);
}

TEST(FiltDepth2Rgb, ScalesOntoALargerColourGrid)
{
    // Colour camera with twice the focal length and twice the grid: pixel (u, v) of a
    // fronto-parallel plane lands on (2u, 2v) exactly.
    Image in(8 * 6, 1200);
    ir_rgb_Parameter calib = sameCameras(100.0f, 0.0f, 0.0f);
    calib.rgbFx = calib.rgbFy = 200.0f;
    Image out;
    ASSERT_EQ(runRegister(in, 8, 6, out, 16, 12, calib), 0);
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 16; ++x)
            EXPECT_EQ(out[y * 16 + x], (x % 2 == 0 && y % 2 == 0) ? 1200 : 0) << x << "," << y;
}

TEST(FiltDepth2Rgb, RefusesBadArgumentsWithoutTouchingTheOutput)
{
    Image in(16, 1000);
    Image out(16, 7);
    ir_rgb_Parameter calib = sameCameras(10.0f, 2.0f, 2.0f);
    auto* i = reinterpret_cast<short*>(in.data());
    auto* o = reinterpret_cast<short*>(out.data());
    EXPECT_EQ(depth2RGB(nullptr, o, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -1);
    EXPECT_EQ(depth2RGB(i, nullptr, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -1);
    EXPECT_EQ(depth2RGB(i, o, nullptr, nullptr, nullptr, 0, 4, 4, 4, calib), -1);
    EXPECT_EQ(depth2RGB(i, i, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -1);
    calib.depthFx = 0.0f;
    EXPECT_EQ(depth2RGB(i, o, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -2);
    calib.depthFx = 10.0f;
    calib.translation[1] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(depth2RGB(i, o, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -2);
    EXPECT_EQ(out, Image(16, 7));
}

namespace {

struct FillResult {
    int ret;
    Image depth;
    std::vector<uint8_t> mask;
};

FillResult runFilling(Image in, int w, int h, int maxHole, int spread, int mode, int border, short newVal = 0)
{
    FillResult r{0, Image(in.size(), 0xAAAA), std::vector<uint8_t>(in.size(), 0x55)};
    std::vector<uint8_t> work(in.size() * 17);
    r.ret = filling(r.mask.data(), reinterpret_cast<short*>(in.data()), reinterpret_cast<short*>(r.depth.data()),
                    newVal, maxHole, spread, work.data(), mode, border, w, h);
    return r;
}

}  // namespace

TEST(FiltFilling, FillsSmallInteriorHolesWithTheChosenBorderDepth)
{
    // 5 x 5 with a 2-pixel hole in the middle bordered by 1000 and 1010.
    Image d(25, 1000);
    d[11] = d[12] = 0;
    d[13] = 1010;
    const FillResult nearest = runFilling(d, 5, 5, 2, -1, 0, 0);
    ASSERT_EQ(nearest.ret, 0);
    EXPECT_EQ(nearest.depth[11], 1000);
    EXPECT_EQ(nearest.depth[12], 1000);
    EXPECT_EQ(nearest.mask[11], 255);
    EXPECT_EQ(nearest.mask[12], 255);
    EXPECT_EQ(std::count(nearest.mask.begin(), nearest.mask.end(), 255), 2);
    EXPECT_EQ(nearest.depth[13], 1010);

    const FillResult farthest = runFilling(d, 5, 5, 2, -1, 1, 0);
    EXPECT_EQ(farthest.depth[11], 1010);
}

TEST(FiltFilling, LeavesHolesThatAreTooLargeTooDeepOrOnTheBorder)
{
    Image d(25, 1000);
    d[11] = d[12] = 0;
    d[13] = 1010;
    EXPECT_EQ(runFilling(d, 5, 5, 1, -1, 0, 0).depth[11], 0) << "hole of 2 pixels, limit 1";
    EXPECT_EQ(runFilling(d, 5, 5, 2, 9, 0, 0).depth[11], 0) << "border spans 10 mm, limit 9";
    EXPECT_EQ(runFilling(d, 5, 5, 2, 10, 0, 0).depth[11], 1000) << "border spans 10 mm, limit 10";

    Image edge(25, 1000);
    edge[0] = 0;
    EXPECT_EQ(runFilling(edge, 5, 5, 4, -1, 0, 0).depth[0], 0);
    EXPECT_EQ(runFilling(edge, 5, 5, 4, -1, 0, 1).depth[0], 1000);

    Image empty(25, 0);
    const FillResult none = runFilling(empty, 5, 5, 100, -1, 0, 1);
    EXPECT_EQ(none.depth, empty) << "a hole without any valid border stays";
}

TEST(FiltFilling, RefusesBadArguments)
{
    Image d(4, 1000);
    std::vector<uint8_t> mask(4), work(4 * 17);
    auto* p = reinterpret_cast<short*>(d.data());
    EXPECT_EQ(filling(nullptr, p, p, 0, 1, 1, work.data(), 0, 0, 2, 2), -1);
    EXPECT_EQ(filling(mask.data(), p, p, 0, 1, 1, nullptr, 0, 0, 2, 2), -1);
    EXPECT_EQ(filling(mask.data(), p, p, 0, 1, 1, work.data(), 0, 0, 2, 0), -1);
    EXPECT_EQ(filling(mask.data(), p, p, 0, 1, 1, work.data(), 2, 0, 2, 2), -2);
}
