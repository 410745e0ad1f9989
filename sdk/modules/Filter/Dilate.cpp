#include "Dilate.h"

#include "FrameChecks.h"
#include "Logger.h"
#include "MaxFilter3x3.h"

namespace orrindale::depth_filter {

Frame Dilate::process(Frame frame)
{
    const CAM_FRAME f = frame.getFrameData();
    if (f.data == nullptr) return frame;
    if (!FrameChecks::holdsImage(f, sizeof(uint16_t))) {
        QV_LOGE(FrameChecks::describeShortImage(f, sizeof(uint16_t)));
        return frame;
    }
    MaxFilter3x3::applyInPlace(reinterpret_cast<uint16_t*>(f.data), static_cast<int>(f.width),
                               static_cast<int>(f.height), MaxFilter3x3::Order::kUnsigned);
    return frame;
}

}  // namespace orrindale::depth_filter
