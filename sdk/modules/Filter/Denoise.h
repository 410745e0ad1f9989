// Speckle removal in place through the filter library's denoise().
#pragma once

#include <cstdint>

#include "Frame.h"

namespace orrindale::depth_filter {

class Denoise : public IFilter<Frame> {
public:
    Denoise() = default;
    Denoise(int16_t newValue, int32_t maxSpeckle, int32_t maxDifference, int32_t maxThreshold)
        : newVal(newValue), maxSpeckleSize(maxSpeckle), maxDiff(maxDifference), max_th(maxThreshold)
    {
    }
    Frame process(Frame frame) override;

    int16_t newVal = 0;          // value of removed pixels
    int32_t maxSpeckleSize = 0;  // largest region (pixels) that is removed
    int32_t maxDiff = 0;         // largest step inside a region (passed on as 16-bit)
    int32_t max_th = 65535;      // deeper pixels (millimetres) become 0 first
};

}  // namespace orrindale::depth_filter
