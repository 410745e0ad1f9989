// Registration of depth onto the colour image through the filter library's depth2RGB().
#pragma once

#include <cstdint>
#include <vector>

#include "Frame.h"
#include "IrRgbParameter.h"

namespace orrindale::depth_filter {

class RegisterTo : public IFilter<Frame> {
public:
    RegisterTo(std::vector<uint16_t>& outputBuffer, uint32_t width, uint32_t height, const ir_rgb_Parameter& calibration)
        : output(outputBuffer), outputWidth(width), outputHeight(height), calib(calibration)
    {
    }
    // The returned frame points into `output` and has the output size.
    Frame process(Frame frame) override;

    std::vector<uint16_t>& output;
    uint32_t outputWidth;
    uint32_t outputHeight;
    ir_rgb_Parameter calib;
};

}  // namespace orrindale::depth_filter
