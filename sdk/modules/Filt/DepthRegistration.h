// Reprojects a depth image into the image grid of the colour camera: each depth pixel
// is lifted to a 3-D point with the depth intrinsics, moved by the depth-to-colour
// rotation and translation and projected with the colour intrinsics onto the nearest
// colour pixel. Where several points land on one pixel the nearest depth is kept;
// pixels that no point reaches are 0.
#pragma once

#include <cstdint>

#include "IrRgbParameter.h"

namespace orrindale {

class DepthRegistration {
public:
    // Combined projective map of one depth pixel (u, v) with depth d:
    // p = d * (column0 * u + column1 * v + column2) + offset; colour pixel = (p.x, p.y) / p.z.
    struct Projection {
        float column0[3];
        float column1[3];
        float column2[3];
        float offset[3];
    };

    // False when the calibration cannot project (zero or non-finite focal lengths).
    static bool makeProjection(const ir_rgb_Parameter& calib, Projection& out);

    // depthIn holds inWidth x inHeight words and depthOut outWidth x outHeight words;
    // every word of depthOut is written. Depth words are unsigned millimetres.
    static void apply(const uint16_t* depthIn, int inWidth, int inHeight, uint16_t* depthOut, int outWidth,
                      int outHeight, const Projection& projection);
};

}  // namespace orrindale
