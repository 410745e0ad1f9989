#include "RegisterTo.h"

#include <algorithm>
#include <climits>
#include <new>

#include "Filt.h"
#include "FrameChecks.h"
#include "Logger.h"
#include "ZeroedBuffer.h"

namespace orrindale::depth_filter {

Frame RegisterTo::process(Frame frame)
{
    const CAM_FRAME in = frame.getFrameData();
    if (in.data == nullptr) return frame;
    if (!FrameChecks::holdsImage(in, sizeof(uint16_t))) {
        QV_LOGE(FrameChecks::describeShortImage(in, sizeof(uint16_t)));
        return frame;
    }
    if (outputWidth == 0 || outputHeight == 0 || outputWidth > INT_MAX || outputHeight > INT_MAX ||
        static_cast<uint64_t>(outputWidth) * outputHeight * sizeof(uint16_t) > UINT32_MAX) {
        QV_LOGE("registration output size ", outputWidth, "x", outputHeight, " is not usable");
        return frame;
    }
    const std::size_t outPixels = static_cast<std::size_t>(outputWidth) * outputHeight;
    const std::size_t inPixels = static_cast<std::size_t>(in.width) * in.height;
    output.resize(outPixels);

    // Zeroed per call; depth2RGB does not read them, so they cost two system calls each.
    ZeroedBuffer work1(inPixels * sizeof(float));
    ZeroedBuffer work2(outPixels * sizeof(float));
    ZeroedBuffer work3(2 * outPixels * sizeof(float));
    if ((inPixels != 0 && !work1) || !work2 || !work3) throw std::bad_alloc();

    const int ret = depth2RGB(reinterpret_cast<short*>(in.data), reinterpret_cast<short*>(output.data()),
                              work1.as<float>(), work2.as<float>(), work3.as<float>(), static_cast<int>(outputWidth),
                              static_cast<int>(outputHeight), static_cast<int>(in.width),
                              static_cast<int>(in.height), calib);
    if (ret != 0) {
        // The output keeps its geometry; a failed registration leaves no depth in it.
        QV_LOGE("depth2RGB failed, ret:", ret);
        std::fill(output.begin(), output.end(), 0);
    }
    CAM_FRAME out = in;
    out.width = outputWidth;
    out.height = outputHeight;
    out.data = reinterpret_cast<unsigned char*>(output.data());
    out.size = static_cast<uint32_t>(outPixels * sizeof(uint16_t));
    return Frame(out);
}

}  // namespace orrindale::depth_filter
