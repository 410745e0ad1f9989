// Nearest-neighbour resize, rotation by quarter turns, mirroring and cropping of packed
// images with 1, 2 or 3 bytes per pixel, as the RGB-D drivers apply them to depth,
// infrared and colour images before delivery.
#pragma once

#include <cstddef>
#include <cstdint>

enum ROTATE_MODE_E : int32_t {
    ROTATE_MODE_0 = 0,
    ROTATE_MODE_90 = 90,    // clockwise
    ROTATE_MODE_180 = 180,
    ROTATE_MODE_270 = 270,
};

class ImageGeometry {
public:
    // dst(x, y) = src(min(floor(x / (outW / inW)), inW - 1), min(floor(y / (outH / inH)), inH - 1)),
    // computed in double precision.
    static void ReSizeForNearestFC(const uint8_t* src, int inW, int inH, uint8_t* dst, int outW, int outH,
                                   int bytesPerPixel);
    // Rotates clockwise by mode, then mirrors left-right when mirror is set; outW/outH
    // receive the result's size. src and dst must not overlap.
    static void rotateMirror(const uint8_t* src, int width, int height, uint8_t* dst, ROTATE_MODE_E mode,
                             bool mirror, int bytesPerPixel, int& outW, int& outH);
    // Columns [x0, x0 + cropW) of every row.
    static void cropColumns(const uint8_t* src, int width, int height, uint8_t* dst, int x0, int cropW,
                            int bytesPerPixel);
};
