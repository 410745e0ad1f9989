// Speckle removal that gives exactly the regions of SpeckleFilter, found as runs:
// each row is cut into runs of horizontally joined pixels (from bit masks computed
// sixteen pixels at a time), runs are joined to the runs above them through a
// union-find with region sizes at the roots, and finally the runs of small regions
// are overwritten. Smooth depth has few runs per row, so the work per pixel is a
// few vector instructions.
#pragma once

#include <cstddef>
#include <cstdint>

#include "SpeckleFilter.h"

namespace orrindale {

class RunSpeckleFilter {
public:
    // False when the work area of workBytes bytes is too small for the run records of
    // this image (only for images of a few dozen pixels; SpeckleFilter serves those).
    static bool fits(int width, int height, std::size_t workBytes);

    // depth: width * height words, changed in place; work: workBytes bytes (need not be
    // zeroed). Requires fits().
    static void apply(int16_t* depth, int width, int height, const SpeckleParameters& params, uint8_t* work,
                      std::size_t workBytes);
};

}  // namespace orrindale
