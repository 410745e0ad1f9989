#include "Denoise.h"

#include <new>

#include "Filt.h"
#include "FrameChecks.h"
#include "Logger.h"
#include "SpeckleFilter.h"
#include "ZeroedBuffer.h"

namespace orrindale::depth_filter {

Frame Denoise::process(Frame frame)
{
    const CAM_FRAME f = frame.getFrameData();
    if (f.data == nullptr) {
        QV_LOGE("data is nullptr");
        return frame;
    }
    if (!FrameChecks::holdsImage(f, sizeof(uint16_t))) {
        QV_LOGE(FrameChecks::describeShortImage(f, sizeof(uint16_t)));
        return frame;
    }
    if (f.width == 0 || f.height == 0) return frame;
    const std::size_t pixels = static_cast<std::size_t>(f.width) * f.height;
    ZeroedBuffer work(SpeckleFilter::workAreaBytes(pixels));
    if (!work) throw std::bad_alloc();
    const int ret = denoise(reinterpret_cast<short*>(f.data), newVal, maxSpeckleSize, static_cast<short>(maxDiff),
                            work.data(), max_th, 0, 0, static_cast<int>(f.width), static_cast<int>(f.height));
    if (ret < 0) QV_LOGE("denoise failed, ret:", ret);
    return frame;
}

}  // namespace orrindale::depth_filter
