// YUYV colour to packed B, G, R bytes (BT.601 integer arithmetic, see YuyvConverter.h).
#pragma once

#include <cstdint>
#include <vector>

#include "Frame.h"

namespace orrindale::color_filter {

class YuyvToBgr : public IFilter<Frame> {
public:
    explicit YuyvToBgr(std::vector<uint8_t>& outputBuffer) : output(outputBuffer) {}
    // The returned frame points into `output` (width * height * 3 bytes).
    Frame process(Frame frame) override;

    std::vector<uint8_t>& output;
};

}  // namespace orrindale::color_filter
