#include "Z16ToXYZ32.h"

#include <cstdint>

#include "FrameChecks.h"
#include "Logger.h"
#include "PointCloudProjector.h"

namespace orrindale::depth_filter {

Z16ToXYZ32::Z16ToXYZ32(std::vector<float>& outputBuffer, const ir_rgb_Parameter& c, bool organizedCloud,
                       bool registeredDepth)
    : depthFx(c.depthFx), depthFy(c.depthFy), depthCx(c.depthCx), depthCy(c.depthCy),
      rgbFx(c.rgbFx), rgbFy(c.rgbFy), rgbCx(c.rgbCx), rgbCy(c.rgbCy),
      output(outputBuffer), organized(organizedCloud), registered(registeredDepth)
{
}

Frame Z16ToXYZ32::process(Frame frame)
{
    const CAM_FRAME in = frame.getFrameData();
    if (in.data == nullptr) return frame;
    if (!FrameChecks::holdsImage(in, sizeof(uint16_t))) {
        QV_LOGE(FrameChecks::describeShortImage(in, sizeof(uint16_t)));
        return frame;
    }
    const std::size_t pixels = static_cast<std::size_t>(in.width) * in.height;
    if (pixels * 12 > UINT32_MAX) {
        QV_LOGE("frame of ", in.width, "x", in.height, " is too large for a point cloud");
        return frame;
    }
    // Four times the three floats a pixel can need; the vector stores use the slack.
    output.resize(pixels * 12);
    const PinholeIntrinsics k = registered ? PinholeIntrinsics{rgbFx, rgbFy, rgbCx, rgbCy}
                                           : PinholeIntrinsics{depthFx, depthFy, depthCx, depthCy};
    const std::size_t points =
        pixels == 0 ? 0
                    : PointCloudProjector::project(reinterpret_cast<const uint16_t*>(in.data),
                                                   static_cast<int>(in.width), static_cast<int>(in.height), k,
                                                   organized, output.data());
    CAM_FRAME out = in;
    out.type = CAM_FRAME_POINTCLOUD;
    out.data = reinterpret_cast<unsigned char*>(output.data());
    out.size = static_cast<uint32_t>(points * 3 * sizeof(float));
    out.length = static_cast<uint32_t>(output.size());
    return Frame(out);
}

}  // namespace orrindale::depth_filter
