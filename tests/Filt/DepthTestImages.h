// Deterministic synthetic depth scenes for the imaging tests and benchmarks: a sloped
// background with boxes in front, sensor noise of a few millimetres, holes (0) and
// speckles (small blobs at random depths); random words and bytes; a calibration.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "IrRgbParameter.h"

namespace imagingtest {

struct SceneOptions {
    int boxes = 6;
    int holes = 40;
    int speckles = 400;
    int maxSpeckleSide = 5;
    uint16_t farthest = 4000;
};

inline std::vector<uint16_t> depthScene(int width, int height, uint32_t seed, const SceneOptions& o = {})
{
    std::mt19937 rng(seed);
    auto uniform = [&rng](int lo, int hi) {
        if (hi < lo) hi = lo;
        return lo + static_cast<int>(rng() % static_cast<uint32_t>(hi - lo + 1));
    };
    std::vector<uint16_t> d(static_cast<std::size_t>(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            d[static_cast<std::size_t>(y) * width + x] = static_cast<uint16_t>(1500 + x + 2 * y + uniform(0, 3));
    auto fillRect = [&](int x0, int y0, int w, int h, auto value) {
        for (int y = y0; y < y0 + h && y < height; ++y)
            for (int x = x0; x < x0 + w && x < width; ++x) d[static_cast<std::size_t>(y) * width + x] = value(x, y);
    };
    for (int b = 0; b < o.boxes; ++b) {
        const int depth = uniform(600, 1400);
        fillRect(uniform(0, width - 1), uniform(0, height - 1), uniform(width / 16, width / 4),
                 uniform(height / 16, height / 4),
                 [&](int, int) { return static_cast<uint16_t>(depth + uniform(0, 3)); });
    }
    for (int hole = 0; hole < o.holes; ++hole)
        fillRect(uniform(0, width - 1), uniform(0, height - 1), uniform(1, width / 20), uniform(1, height / 20),
                 [](int, int) { return uint16_t{0}; });
    for (int s = 0; s < o.speckles; ++s) {
        const int depth = uniform(300, o.farthest);
        fillRect(uniform(0, width - 1), uniform(0, height - 1), uniform(1, o.maxSpeckleSide),
                 uniform(1, o.maxSpeckleSide), [&](int, int) { return static_cast<uint16_t>(depth + uniform(0, 2)); });
    }
    return d;
}

inline std::vector<uint8_t> randomBytes(std::size_t count, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::vector<uint8_t> bytes(count);
    for (auto& b : bytes) b = static_cast<uint8_t>(rng());
    return bytes;
}

inline std::vector<uint16_t> randomWords(std::size_t count, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::vector<uint16_t> words(count);
    for (auto& w : words) w = static_cast<uint16_t>(rng());
    return words;
}

// Depth and colour cameras alike, the colour one looking along the same axis.
inline orrindale::ir_rgb_Parameter sameCameras(float f, float cx, float cy)
{
    orrindale::ir_rgb_Parameter c{};
    c.depthFx = c.depthFy = c.rgbFx = c.rgbFy = f;
    c.depthCx = c.rgbCx = cx;
    c.depthCy = c.rgbCy = cy;
    c.rotation[0] = c.rotation[4] = c.rotation[8] = 1.0f;
    return c;
}

}  // namespace imagingtest
