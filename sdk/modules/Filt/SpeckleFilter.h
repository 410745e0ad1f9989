// Removes speckles from a 16-bit depth image in place: connected regions of at most
// maxSpeckleSize pixels, grown across steps of at most maxDiff, become newVal.
//
// The work area holds, one after the other, a 32-bit label per pixel, a flood-fill
// stack of 8-byte (x, y) entries per pixel and one byte of region type per label
// (1 speckle, 0 kept); it must be zero-filled and workAreaBytes(pixels) long.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrindale {

struct SpeckleParameters {
    int16_t newVal = 0;          // value of removed pixels; pixels at or below it are invalid
    int32_t maxSpeckleSize = 0;  // regions of at most this many pixels are speckles
    int32_t maxDiff = 0;         // largest step between neighbours of one region
    int32_t maxDepth = 65535;    // pixels deeper than this (unsigned) become 0 first
};

class SpeckleFilter {
public:
    static constexpr std::size_t kWorkBytesPerPixel = 13;
    static std::size_t workAreaBytes(std::size_t pixels) { return pixels * kWorkBytesPerPixel; }

    static void apply(int16_t* depth, int width, int height, const SpeckleParameters& params, uint8_t* work);
};

}  // namespace orrindale
