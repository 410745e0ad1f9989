#include "SolenFrameAssembler.h"

#include <algorithm>
#include <cstring>

#include "IrRgbParameter.h"
#include "Logger.h"

namespace {

void fill(CAM_FRAME& frame, CAM_FRAME_TYPE_E type, int width, int height, void* data, size_t size, uint64_t stamp)
{
    frame.type = type;
    frame.width = static_cast<uint32_t>(width);
    frame.height = static_cast<uint32_t>(height);
    frame.data = static_cast<unsigned char*>(data);
    frame.size = static_cast<uint32_t>(size);
    frame.length = 2;
    frame.timestamp = stamp;
}

}  // namespace

bool SolenFrameAssembler::assemble(const frame_info& frame, const Request& r, CAM_DATA& out)
{
    const size_t pixels = static_cast<size_t>(r.width) * static_cast<size_t>(r.height);
    const int images = r.streamType == QV_STREAM_DEPTH_IR ? 2 : 1;
    if (frame.data == nullptr || frame.size != pixels * 2 * static_cast<size_t>(images)) {
        QV_LOGW("frame ", frame.sequence, " of ", frame.size, " bytes is not ", images, " image(s) of ", r.width, "x",
                r.height, ": dropped");
        return false;
    }
    const bool depthSent = r.streamType != QV_STREAM_IR;
    const bool irSent = r.streamType != QV_STREAM_DEPTH;
    const bool wantDepth = depthSent && (r.mediaMask & (QV_MEDIA_DEPTH | QV_MEDIA_POINTCLOUD));
    if (wantDepth) {
        m_depth.resize(pixels);
        std::memcpy(m_depth.data(), frame.data, pixels * 2);
        processDepth(r.width, r.height);
        if (r.mediaMask & QV_MEDIA_DEPTH)
            fill(out.frame[CAM_DATA_SLOT_DEPTH], CAM_FRAME_DEPTH, r.width, r.height, m_depth.data(), pixels * 2,
                 r.timestamp);
    }
    if (irSent && (r.mediaMask & QV_MEDIA_IR)) {
        m_ir.resize(pixels);
        std::memcpy(m_ir.data(), frame.data + (depthSent ? pixels * 2 : 0), pixels * 2);
        fill(out.frame[CAM_DATA_SLOT_IR], CAM_FRAME_IR, r.width, r.height, m_ir.data(), pixels * 2, r.timestamp);
    }
    if (wantDepth && (r.mediaMask & QV_MEDIA_POINTCLOUD) && r.haveIntrinsics) {
        CAM_FRAME depth{};
        fill(depth, CAM_FRAME_DEPTH, r.width, r.height, m_depth.data(), pixels * 2, r.timestamp);
        orrindale::ir_rgb_Parameter parameter;
        std::memcpy(&parameter, &r.intrinsics, sizeof parameter);
        m_post.depthToPointcloud(depth, out.frame[CAM_DATA_SLOT_POINTCLOUD], m_points, parameter,
                                 m_config.pclOrganized, false);
    }
    return true;
}

void SolenFrameAssembler::processDepth(int width, int height)
{
    // Columns and rows the configuration leaves out at each side carry no depth.
    const int wborder = std::min(m_config.wborder, width / 2);
    const int hborder = std::min(m_config.hborder, height / 2);
    for (int v = 0; v < height; ++v) {
        uint16_t* row = m_depth.data() + static_cast<size_t>(v) * static_cast<size_t>(width);
        if (v < hborder || v >= height - hborder) {
            std::fill(row, row + width, 0);
        } else {
            std::fill(row, row + wborder, 0);
            std::fill(row + width - wborder, row + width, 0);
        }
    }
    if (m_config.medianFilterEnable) m_post.fastMedianFilter(m_depth.data(), width, height);
    if (m_config.denoiseEnable)
        m_post.denoiseDepthImage(m_depth.data(), static_cast<unsigned>(width), static_cast<unsigned>(height),
                                 static_cast<short>(m_config.newVal), m_config.maxSpeckleSize, m_config.maxDiff,
                                 m_config.maxTh);
}
