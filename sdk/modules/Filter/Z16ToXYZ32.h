// Depth image to a point cloud of packed float triples (x, y, z) in millimetres.
#pragma once

#include <vector>

#include "Frame.h"
#include "IrRgbParameter.h"

namespace orrindale::depth_filter {

class Z16ToXYZ32 : public IFilter<Frame> {
public:
    // Takes the eight intrinsics of `calib` (the extrinsics are not used).
    Z16ToXYZ32(std::vector<float>& outputBuffer, const ir_rgb_Parameter& calib, bool organizedCloud,
               bool registeredDepth);
    // Returns a point-cloud frame (kind 3) pointing into `output`: size = points * 12,
    // length = the element count of `output`.
    Frame process(Frame frame) override;

    float depthFx, depthFy, depthCx, depthCy;
    float rgbFx, rgbFy, rgbCx, rgbCy;
    std::vector<float>& output;
    bool organized;   // every pixel gives a point, zero depth included
    bool registered;  // depth was registered onto the colour image: use colour intrinsics
};

}  // namespace orrindale::depth_filter
