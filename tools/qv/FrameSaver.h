// Keeps copies of chosen frame groups and writes them as files a person can open:
// depth as a colourised PNG with a legend and as 16-bit PNG, colour and infrared as
// PNG, the point cloud as PCD and as binary PLY (coloured when depth is aligned to
// the colour image).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PointCloudFiles.h"
#include "qv_camera_sdk_types.h"

namespace qv {

struct FrameCopy {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> bytes;
    bool present() const { return !bytes.empty(); }
};

// One frame group, copied out of the callback.
struct SavedGroup {
    uint32_t frameId = 0;
    FrameCopy depth, rgb, ir, cloud;
};

class FrameSaver {
public:
    static SavedGroup copy(const CAM_DATA& data);
    static FrameCopy copy(const CAM_FRAME& frame);
    // Writes the files of a group under dir with the given prefix; returns the paths
    // written; error holds the first failure. depthAligned: the depth image is in the
    // colour camera's grid, so the cloud can carry colour. The PCD and PLY files hold the
    // cloud in units.
    static std::vector<std::string> write(const SavedGroup& group, const std::string& dir, const std::string& prefix,
                                          bool depthAligned, CloudUnits units, std::string& error);
};

}  // namespace qv
