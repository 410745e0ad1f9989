// The filter chain of the VireneB RGB-D camera over one CAM_DATA group: depth words
// to millimetres, speckle removal, registration onto the colour image with a closing
// dilation, point cloud, and YUYV colour to BGR.
#pragma once

#include <cstdint>
#include <vector>

#include "IrRgbParameter.h"
#include "qv_camera_sdk_types.h"

namespace orrindale {

struct VireneBChainSettings {
    uint32_t depthScale = 0;  // RawToZ16 shift ("depth_scale")
    bool denoise = false;     // "Denoise" switch and its parameters
    int16_t newVal = 0;
    int32_t maxSpeckleSize = 0;
    int32_t maxDiff = 0;
    int32_t maxTh = 65535;
    bool registration = false;  // "Registration" switch: depth onto the colour grid
    uint32_t colorWidth = 0;    // colour resolution, the registration target
    uint32_t colorHeight = 0;
    bool pclOrganized = false;  // "pcl_organized" switch
    uint32_t streams = 0;       // requested streams: 0x1 depth, 0x2 colour, 0x8 point cloud
    ir_rgb_Parameter calib{};   // validated calibration (validateCalibration)
};

// Output buffers the driver owns; they are resized, not reallocated, for frames of a
// constant size, and the frames of `data` point into them until the next run.
struct VireneBChainBuffers {
    std::vector<uint16_t> registeredDepth;
    std::vector<float> pointCloud;
    std::vector<uint8_t> bgr;
};

// Slot 0 holds raw depth words and slot 1 YUYV colour; a slot whose size is 0 carries
// nothing and is skipped. On return slot 0 holds the depth (0x1), slot 3 the point
// cloud (0x8) and slot 1 BGR colour (0x2); the depth steps also run for a point cloud
// alone, slot 0 then being emptied. Returns 0; -1 when a requested slot is too small
// for its width and height (that slot is emptied, the others are still processed);
// -2 when memory ran out.
int runVireneBChain(CAM_DATA& data, const VireneBChainSettings& settings, VireneBChainBuffers& buffers);

}  // namespace orrindale
