#include "YuyvToBgr.h"

#include <cstdint>

#include "FrameChecks.h"
#include "Logger.h"
#include "YuyvConverter.h"

namespace orrindale::color_filter {

Frame YuyvToBgr::process(Frame frame)
{
    const CAM_FRAME in = frame.getFrameData();
    if (in.data == nullptr) return frame;
    if (!FrameChecks::holdsImage(in, 2)) {
        QV_LOGE(FrameChecks::describeShortImage(in, 2));
        return frame;
    }
    const std::size_t pixels = static_cast<std::size_t>(in.width) * in.height;
    if (pixels * 3 > UINT32_MAX) {
        QV_LOGE("frame of ", in.width, "x", in.height, " is too large for a colour image");
        return frame;
    }
    output.resize(pixels * 3);
    YuyvConverter::convert(in.data, output.data(), pixels / 2);
    // An odd last pixel has no chroma pair: it is black.
    if (pixels % 2 != 0) output[pixels * 3 - 3] = output[pixels * 3 - 2] = output[pixels * 3 - 1] = 0;
    CAM_FRAME out = in;
    out.data = output.data();
    out.size = static_cast<uint32_t>(output.size());
    return Frame(out);
}

}  // namespace orrindale::color_filter
