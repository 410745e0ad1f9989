#include "ImageGeometry.h"

#include <algorithm>
#include <cstring>
#include <vector>

void ImageGeometry::ReSizeForNearestFC(const uint8_t* src, int inW, int inH, uint8_t* dst, int outW, int outH,
                                       int bytesPerPixel)
{
    if (inW <= 0 || inH <= 0 || outW <= 0 || outH <= 0) return;
    const double sx = static_cast<double>(outW) / inW;
    const double sy = static_cast<double>(outH) / inH;
    // Column lookup once per image, not once per pixel.
    std::vector<int> column(static_cast<size_t>(outW));
    for (int x = 0; x < outW; ++x) column[x] = std::min(static_cast<int>(x / sx), inW - 1);
    for (int y = 0; y < outH; ++y) {
        const int srcY = std::min(static_cast<int>(y / sy), inH - 1);
        const uint8_t* row = src + static_cast<size_t>(srcY) * inW * bytesPerPixel;
        uint8_t* out = dst + static_cast<size_t>(y) * outW * bytesPerPixel;
        for (int x = 0; x < outW; ++x)
            std::memcpy(out + static_cast<size_t>(x) * bytesPerPixel, row + static_cast<size_t>(column[x]) * bytesPerPixel,
                        bytesPerPixel);
    }
}

void ImageGeometry::rotateMirror(const uint8_t* src, int width, int height, uint8_t* dst, ROTATE_MODE_E mode,
                                 bool mirror, int bytesPerPixel, int& outW, int& outH)
{
    const bool quarter = mode == ROTATE_MODE_90 || mode == ROTATE_MODE_270;
    outW = quarter ? height : width;
    outH = quarter ? width : height;
    const size_t bpp = static_cast<size_t>(bytesPerPixel);
    for (int y = 0; y < outH; ++y) {
        for (int x = 0; x < outW; ++x) {
            const int ox = mirror ? outW - 1 - x : x;  // the mirror applies to the rotated image
            int sx = 0, sy = 0;
            switch (mode) {
            case ROTATE_MODE_90: sx = y, sy = height - 1 - ox; break;
            case ROTATE_MODE_180: sx = width - 1 - ox, sy = height - 1 - y; break;
            case ROTATE_MODE_270: sx = width - 1 - y, sy = ox; break;
            default: sx = ox, sy = y; break;
            }
            std::memcpy(dst + (static_cast<size_t>(y) * outW + x) * bpp, src + (static_cast<size_t>(sy) * width + sx) * bpp,
                        bpp);
        }
    }
}

void ImageGeometry::cropColumns(const uint8_t* src, int width, int height, uint8_t* dst, int x0, int cropW,
                                int bytesPerPixel)
{
    const size_t bpp = static_cast<size_t>(bytesPerPixel);
    for (int y = 0; y < height; ++y)
        std::memcpy(dst + static_cast<size_t>(y) * cropW * bpp, src + (static_cast<size_t>(y) * width + x0) * bpp,
                    static_cast<size_t>(cropW) * bpp);
}
