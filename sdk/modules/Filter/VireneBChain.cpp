#include "VireneBChain.h"

#include <exception>

#include "Denoise.h"
#include "Dilate.h"
#include "Frame.h"
#include "FrameChecks.h"
#include "Logger.h"
#include "RawToZ16.h"
#include "RegisterTo.h"
#include "YuyvToBgr.h"
#include "Z16ToXYZ32.h"

namespace orrindale {

namespace {

constexpr uint32_t kDepthStream = 0x1;
constexpr uint32_t kColorStream = 0x2;
constexpr uint32_t kPointCloudStream = 0x8;

// False (with one log line, the slot emptied) when the slot is too small for its image.
bool usable(CAM_FRAME& slot, std::size_t bytesPerPixel, const char* name)
{
    if (FrameChecks::holdsImage(slot, bytesPerPixel)) return true;
    QV_LOGE(name, " ", FrameChecks::describeShortImage(slot, bytesPerPixel));
    slot.size = 0;
    return false;
}

int processDepth(CAM_DATA& data, const VireneBChainSettings& s, VireneBChainBuffers& buffers)
{
    CAM_FRAME& slot = data.frame[CAM_DATA_SLOT_DEPTH];
    if (slot.size == 0) return 0;
    if (!usable(slot, sizeof(uint16_t), "depth")) return -1;

    depth_filter::RawToZ16 toZ16(s.depthScale);
    depth_filter::Denoise denoise(s.newVal, s.maxSpeckleSize, s.maxDiff, s.maxTh);
    depth_filter::RegisterTo registerTo(buffers.registeredDepth, s.colorWidth, s.colorHeight, s.calib);
    depth_filter::Dilate dilate;

    Frame depth = Frame(slot).applyFilter(toZ16).applyFilter(denoise, s.denoise);
    if (s.registration) depth = depth.applyFilter(registerTo).applyFilter(dilate);

    if (s.streams & kPointCloudStream) {
        depth_filter::Z16ToXYZ32 toPoints(buffers.pointCloud, s.calib, s.pclOrganized, s.registration);
        data.frame[CAM_DATA_SLOT_POINTCLOUD] = depth.applyFilter(toPoints).getFrameData();
    }
    slot = depth.getFrameData();
    if (!(s.streams & kDepthStream)) slot.size = 0;
    return 0;
}

int processColor(CAM_DATA& data, VireneBChainBuffers& buffers)
{
    CAM_FRAME& slot = data.frame[CAM_DATA_SLOT_RGB];
    if (slot.size == 0) return 0;
    if (!usable(slot, 2, "color")) return -1;
    color_filter::YuyvToBgr toBgr(buffers.bgr);
    slot = Frame(slot).applyFilter(toBgr).getFrameData();
    return 0;
}

}  // namespace

int runVireneBChain(CAM_DATA& data, const VireneBChainSettings& settings, VireneBChainBuffers& buffers)
{
    try {
        int ret = 0;
        if (settings.streams & (kDepthStream | kPointCloudStream)) ret = processDepth(data, settings, buffers);
        if (settings.streams & kColorStream) {
            const int colorRet = processColor(data, buffers);
            if (ret == 0) ret = colorRet;
        }
        return ret;
    } catch (const std::exception& e) {
        QV_LOGE("image chain failed: ", e.what());
        return -2;
    }
}

}  // namespace orrindale
