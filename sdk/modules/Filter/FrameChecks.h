// Size checks of the frames that reach the filters: a frame must hold width x height
// pixels before a filter reads them, and the image must be addressable with int.
#pragma once

#include <cstddef>
#include <string>

#include "qv_camera_sdk_types.h"

namespace orrindale {

class FrameChecks {
public:
    // True when data is set, width and height fit an int, and size covers
    // width * height * bytesPerPixel.
    static bool holdsImage(const CAM_FRAME& frame, std::size_t bytesPerPixel);
    // The log text for a frame that fails holdsImage.
    static std::string describeShortImage(const CAM_FRAME& frame, std::size_t bytesPerPixel);
};

}  // namespace orrindale
