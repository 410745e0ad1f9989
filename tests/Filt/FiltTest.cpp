// The filter library's entry points: both speckle filters against an independent
// connected-component reference, registration geometry, hole filling rules, failure codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <queue>
#include <vector>

#include "DepthTestImages.h"
#include "Filt.h"
#include "SpeckleFilter.h"

namespace {

using Image = std::vector<uint16_t>;

struct Speckle {
    int newVal, maxSpeckle, maxDiff, maxTh;
};

// Breadth-first components over the joining rule: valid is above newVal (signed), neighbours
// join across steps of at most maxDiff; components of at most maxSpeckle pixels become newVal.
Image referenceDespeckle(Image d, int w, int h, const Speckle& p)
{
    for (auto& v : d)
        if (v > p.maxTh) v = 0;
    auto valid = [&](std::size_t i) { return static_cast<int16_t>(d[i]) > p.newVal; };
    std::vector<int> seen(d.size(), 0);
    for (std::size_t s = 0; s < d.size(); ++s) {
        if (!valid(s) || seen[s]) continue;
        std::vector<std::size_t> members;
        std::queue<std::size_t> q;
        q.push(s);
        seen[s] = 1;
        for (; !q.empty(); q.pop()) {
            const std::size_t i = q.front();
            members.push_back(i);
            const int x = static_cast<int>(i % w), y = static_cast<int>(i / w);
            const int nx[4] = {x + 1, x - 1, x, x}, ny[4] = {y, y, y + 1, y - 1};
            for (int k = 0; k < 4; ++k) {
                if (nx[k] < 0 || nx[k] >= w || ny[k] < 0 || ny[k] >= h) continue;
                const std::size_t n = static_cast<std::size_t>(ny[k]) * w + nx[k];
                if (seen[n] || !valid(n) || std::abs(int16_t(d[n]) - int16_t(d[i])) > p.maxDiff) continue;
                seen[n] = 1;
                q.push(n);
            }
        }
        if (static_cast<int>(members.size()) <= p.maxSpeckle)
            for (std::size_t i : members) d[i] = static_cast<uint16_t>(p.newVal);
    }
    return d;
}

int runDenoise(Image& d, int w, int h, const Speckle& p)
{
    std::vector<uint8_t> work(orrindale::SpeckleFilter::workAreaBytes(d.size()), 0);
    return denoise(reinterpret_cast<short*>(d.data()), static_cast<short>(p.newVal), p.maxSpeckle,
                   static_cast<short>(p.maxDiff), work.data(), p.maxTh, 0, 0, w, h);
}

void runFloodFill(Image& d, int w, int h, const Speckle& p)
{
    std::vector<uint8_t> work(orrindale::SpeckleFilter::workAreaBytes(d.size()), 0);
    orrindale::SpeckleParameters params;
    params.newVal = static_cast<int16_t>(p.newVal);
    params.maxSpeckleSize = p.maxSpeckle;
    params.maxDiff = p.maxDiff;
    params.maxDepth = p.maxTh;
    orrindale::SpeckleFilter::apply(reinterpret_cast<int16_t*>(d.data()), w, h, params, work.data());
}

}  // namespace

// denoise() finds regions as runs (the flood fill serves images of a few pixels); the
// built-in filter of large images floods pixel by pixel: both give the reference's result.
TEST(FiltDenoise, BothFiltersRemoveExactlyTheReferenceSpeckles)
{
    const struct {
        int w, h;
        Speckle p;
        uint32_t seed;
    } scenes[] = {{160, 120, {0, 50, 8, 65535}, 1},  {97, 61, {0, 1, 3, 65535}, 3},    {64, 48, {100, 30, 8, 3000}, 4},
                  {33, 200, {-1, 12, 0, 65535}, 5},  {200, 7, {0, 1000, 40, 2500}, 6}, {130, 50, {0, 20, 30000, 65535}, 7},
                  {1, 300, {0, 3, 8, 65535}, 8},     {5, 3, {0, 2, 8, 65535}, 9},      {257, 3, {0, 100, 1, 65535}, 10},
                  {128, 64, {0, 40, -1, 65535}, 11}, {64, 1, {0, 5, 4, 65535}, 12}};
    for (const auto& c : scenes) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << " seed " << c.seed);
        const Image scene = imagingtest::depthScene(c.w, c.h, c.seed);
        const Image expected = referenceDespeckle(scene, c.w, c.h, c.p);
        Image runs = scene, flood = scene;
        ASSERT_EQ(runDenoise(runs, c.w, c.h, c.p), 0);
        runFloodFill(flood, c.w, c.h, c.p);
        EXPECT_EQ(runs, expected);
        EXPECT_EQ(flood, expected);
    }
    // Exact limits, on one row: 3 pixels survive maxSpeckleSize 2; a single pixel goes; a step
    // of exactly maxDiff joins (a region of 2, removed), one of maxDiff + 1 splits; 40000 is
    // beyond max_th as unsigned; pixels at newVal (5) never join, so the last 6 stands alone.
    const struct {
        Image in;
        Speckle p;
        Image out;
    } rows[] = {{{1000, 1000, 1000, 0, 2000, 0, 3000, 3008, 0, 4000, 4009}, {0, 2, 8, 65535},
                 {1000, 1000, 1000, 0, 0, 0, 0, 0, 0, 0, 0}},
                {{3000, 3008}, {0, 1, 8, 65535}, {3000, 3008}},
                {{40000, 5001, 5000, 5000}, {0, 0, 0, 5000}, {0, 0, 5000, 5000}},
                {{6, 6, 6, 5, 6}, {5, 1, 100, 65535}, {6, 6, 6, 5, 5}}};
    for (const auto& r : rows) {
        Image runs = r.in, flood = r.in;
        ASSERT_EQ(runDenoise(runs, static_cast<int>(r.in.size()), 1, r.p), 0);
        runFloodFill(flood, static_cast<int>(r.in.size()), 1, r.p);
        EXPECT_EQ(runs, r.out);
        EXPECT_EQ(flood, r.out);
    }
    Image d(4, 100);
    std::vector<uint8_t> work(64, 0);
    auto* p = reinterpret_cast<short*>(d.data());
    EXPECT_EQ(denoise(nullptr, 0, 1, 1, work.data(), 65535, 0, 0, 2, 2), -1);
    EXPECT_EQ(denoise(p, 0, 1, 1, nullptr, 65535, 0, 0, 2, 2), -1);
    EXPECT_EQ(denoise(p, 0, 1, 1, work.data(), 65535, 0, 0, 0, 2), -1);
}

namespace {


}  // namespace

TEST(FiltDepth2Rgb, ProjectsOntoTheColourGridKeepingTheNearestDepth)
{
    struct Case {
        const char* what;
        ir_rgb_Parameter calib;
        int inW, inH, outW, outH;
        Image in;
        // Expected output word at (x, y).
        uint16_t (*expect)(int x, int y, const Image& in);
    };
    auto shifted = imagingtest::sameCameras(500.0f, 20.0f, 5.0f);
    shifted.translation[0] = 20.0f;  // 20 mm at 1000 mm with f 500: 10 pixels right
    auto twice = imagingtest::sameCameras(100.0f, 0.0f, 0.0f);
    twice.rgbFx = twice.rgbFy = 200.0f;  // twice the focal length onto twice the grid
    Image meet(40, 0);
    meet[20] = 1000;  // moves 10 pixels
    meet[10] = 500;   // moves 20 pixels: both land on 30, the nearer wins
    auto meetCalib = imagingtest::sameCameras(500.0f, 20.0f, 0.0f);
    meetCalib.translation[0] = 20.0f;
    const Case cases[] = {
        {"identical cameras", imagingtest::sameCameras(60.0f, 31.5f, 23.5f), 64, 48, 64, 48, imagingtest::depthScene(64, 48, 7),
         [](int x, int y, const Image& in) { return in[y * 64 + x]; }},
        {"baseline", shifted, 40, 10, 40, 10, Image(400, 1000),
         [](int x, int, const Image&) { return uint16_t(x < 10 ? 0 : 1000); }},
        {"nearest wins", meetCalib, 40, 1, 40, 1, meet, [](int x, int, const Image&) { return uint16_t(x == 30 ? 500 : 0); }},
        {"finer colour grid", twice, 8, 6, 16, 12, Image(48, 1200),
         [](int x, int y, const Image&) { return uint16_t(x % 2 == 0 && y % 2 == 0 ? 1200 : 0); }},
    };
    for (const Case& c : cases) {
        Image in = c.in, out(static_cast<std::size_t>(c.outW) * c.outH, 0xBEEF);
        ir_rgb_Parameter calib = c.calib;
        ASSERT_EQ(depth2RGB(reinterpret_cast<short*>(in.data()), reinterpret_cast<short*>(out.data()), nullptr,
                            nullptr, nullptr, c.outW, c.outH, c.inW, c.inH, calib),
                  0)
            << c.what;
        for (int y = 0; y < c.outH; ++y)
            for (int x = 0; x < c.outW; ++x)
                ASSERT_EQ(out[y * c.outW + x], c.expect(x, y, c.in)) << c.what << " at " << x << "," << y;
    }

    Image in(16, 1000), out(16, 7);
    ir_rgb_Parameter calib = imagingtest::sameCameras(10.0f, 2.0f, 2.0f);
    auto* i = reinterpret_cast<short*>(in.data());
    auto* o = reinterpret_cast<short*>(out.data());
    EXPECT_EQ(depth2RGB(nullptr, o, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -1);
    EXPECT_EQ(depth2RGB(i, o, nullptr, nullptr, nullptr, 0, 4, 4, 4, calib), -1);
    EXPECT_EQ(depth2RGB(i, i, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -1);
    calib.translation[1] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(depth2RGB(i, o, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -2);
    calib = imagingtest::sameCameras(0.0f, 2.0f, 2.0f);
    EXPECT_EQ(depth2RGB(i, o, nullptr, nullptr, nullptr, 4, 4, 4, 4, calib), -2);
    EXPECT_EQ(out, Image(16, 7));
}

TEST(FiltFilling, FillsSmallInteriorFlatHolesWithTheChosenBorderDepth)
{
    // 5 x 5 at 1000 with a 2-pixel hole in the middle and 1010 to its right.
    Image hole(25, 1000);
    hole[11] = hole[12] = 0;
    hole[13] = 1010;
    Image corner(25, 1000);
    corner[0] = 0;
    const struct {
        const char* what;
        const Image& in;
        int maxHole, spread, mode, border, at;
        uint16_t expect;
    } cases[] = {{"nearest", hole, 2, -1, 0, 0, 11, 1000},      {"farthest", hole, 2, -1, 1, 0, 11, 1010},
                 {"too large", hole, 1, -1, 0, 0, 11, 0},       {"spread over the limit", hole, 2, 9, 0, 0, 11, 0},
                 {"spread at the limit", hole, 2, 10, 0, 0, 12, 1000}, {"border hole", corner, 4, -1, 0, 0, 0, 0},
                 {"border hole allowed", corner, 4, -1, 0, 1, 0, 1000}};
    for (const auto& c : cases) {
        Image in = c.in, out(25, 0xAAAA);
        std::vector<uint8_t> mask(25, 0x55), work(25 * 17);
        ASSERT_EQ(filling(mask.data(), reinterpret_cast<short*>(in.data()), reinterpret_cast<short*>(out.data()), 0,
                          c.maxHole, c.spread, work.data(), c.mode, c.border, 5, 5),
                  0)
            << c.what;
        EXPECT_EQ(out[c.at], c.expect) << c.what;
        const auto filled = std::count(mask.begin(), mask.end(), 255);
        EXPECT_EQ(filled, c.expect == 0 ? 0 : (c.at == 0 ? 1 : 2)) << c.what;
        EXPECT_EQ(filled + std::count(mask.begin(), mask.end(), 0), 25) << c.what;
    }
    Image d(4, 1000);
    std::vector<uint8_t> mask(4), work(4 * 17);
    auto* p = reinterpret_cast<short*>(d.data());
    EXPECT_EQ(filling(nullptr, p, p, 0, 1, 1, work.data(), 0, 0, 2, 2), -1);
    EXPECT_EQ(filling(mask.data(), p, p, 0, 1, 1, work.data(), 0, 0, 2, 0), -1);
    EXPECT_EQ(filling(mask.data(), p, p, 0, 1, 1, work.data(), 2, 0, 2, 2), -2);
}
