#include "DepthProcessConfig.h"

#include <cjson/cJSON.h>

#include <limits>

#include "Logger.h"

namespace orrindale::sdk {

void appendDepthProcessKeys(std::vector<ConfKey>& keys, depth_process_para& r)
{
    constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
    constexpr int32_t kInt16Min = std::numeric_limits<int16_t>::min();
    constexpr int32_t kInt16Max = std::numeric_limits<int16_t>::max();
    keys.insert(keys.end(), {
        ConfKey::flag({"DepthProcess", "Denoise", "enable"}, r.denoiseEnable),
        ConfKey::integer({"DepthProcess", "Denoise", "depth_width"}, r.denoiseWidth, 0, 65535),
        ConfKey::integer({"DepthProcess", "Denoise", "depth_height"}, r.denoiseHeight, 0, 65535),
        ConfKey::integer({"DepthProcess", "Denoise", "factor"}, r.denoiseFactor, 1, kMax),
        ConfKey::integer({"DepthProcess", "Denoise", "newVal"}, r.newVal, kInt16Min, kInt16Max),
        ConfKey::integer({"DepthProcess", "Denoise", "maxSpeckleSize"}, r.maxSpeckleSize, 0, kMax),
        ConfKey::integer({"DepthProcess", "Denoise", "maxDiff"}, r.maxDiff, 0, kInt16Max),
        ConfKey::integer({"DepthProcess", "Denoise", "max_th"}, r.maxTh),
        ConfKey::flag({"DepthProcess", "MedianFilter", "enable"}, r.medianFilterEnable),
        ConfKey::flag({"DepthProcess", "Registration", "enable"}, r.registrationEnable),
        ConfKey::flag({"PointCloudProcess", "pcl_organized", "enable"}, r.pclOrganized),
    });
}

void settleDepthProcess(depth_process_para& r, const cJSON* module)
{
    const cJSON* denoise = cJSON_GetObjectItemCaseSensitive(
        cJSON_GetObjectItemCaseSensitive(module, "DepthProcess"), "Denoise");
    const bool given = cJSON_GetObjectItemCaseSensitive(denoise, "max_th") != nullptr;
    if (given && r.maxTh > 0) {
        r.farLimitAssumed = false;
        return;
    }
    if (r.maxTh <= 0) r.maxTh = depth_process_para::kNoFarLimit;
    r.farLimitAssumed = true;
    if (r.denoiseEnable)
        QV_LOGW("\"DepthProcess/Denoise/max_th\" is missing or not positive: Denoise keeps depth up to ", r.maxTh,
                " mm");
}

}  // namespace orrindale::sdk
