// Fills small holes of a 16-bit depth image.
//
// A hole is a 4-connected region of invalid pixels (at or below newVal, signed). It is
// filled when it has at most maxHoleSize pixels, borders at least one valid pixel, the
// valid pixels around it span at most maxDepthSpread (negative: no limit), and it does
// not touch the image border unless fillBorderHoles is set. Its pixels take the nearest
// (fillMode 0) or the farthest (fillMode 1) depth around it, and are marked 255 in the
// mask (all other mask bytes are 0).
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrindale {

struct HoleFillingParameters {
    int16_t newVal = 0;
    int32_t maxHoleSize = 0;
    int32_t maxDepthSpread = -1;
    int32_t fillMode = 0;
    int32_t fillBorderHoles = 0;
};

class HoleFilling {
public:
    enum FillMode : int32_t { kNearest = 0, kFarthest = 1 };
    // Bytes of work area used per pixel (callers may pass more).
    static constexpr std::size_t kWorkBytesPerPixel = 5;

    // depthOut may equal depthIn. Returns 0, or -2 for an unknown fill mode.
    static int apply(const int16_t* depthIn, int16_t* depthOut, uint8_t* mask, int width, int height,
                     const HoleFillingParameters& params, uint8_t* work);
};

}  // namespace orrindale
