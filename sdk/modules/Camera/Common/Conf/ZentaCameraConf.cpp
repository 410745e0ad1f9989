#include "ZentaCameraConf.h"

#include "ConfRecordParser.h"
#include "Logger.h"

namespace orrindale::sdk::Zenta {

namespace {
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kInt16Min = std::numeric_limits<int16_t>::min();
constexpr int32_t kInt16Max = std::numeric_limits<int16_t>::max();
}  // namespace

int CameraConf::parseConfigParmeter(char const* text, std::string const& moduleName, void* out)
{
    if (out == nullptr) {
        QV_LOGE("output record is nullptr");
        return CONF_ERR_ARGUMENT;
    }
    return parseConfigParmeter(text, moduleName, *static_cast<zenta_config_para*>(out));
}

int CameraConf::parseConfigParmeter(char const* text, std::string const& moduleName, zenta_config_para& out)
{
    const int ret = parseModuleRecord(text, moduleName, kProtocolVersion, &out, keys);
    if (ret != CONF_OK) return ret;
    QV_LOGI("LightingTime: ", out.lightingTime);
    QV_LOGI("CurrentIntensity: ", out.currentIntensity);
    QV_LOGI("Gain: ", out.gain);
    return CONF_OK;
}

std::vector<ConfKey> CameraConf::keys(zenta_config_para& r)
{
    return {
        ConfKey::flag({"Camera", "enable"}, r.cameraEnable),
        ConfKey::integer({"Camera", "T"}, r.lightingTime, 0),
        ConfKey::integer({"Camera", "P"}, r.currentIntensity, 0),
        ConfKey::integer({"Camera", "SD"}, r.sdLevel, 0),
        ConfKey::integer({"Camera", "TD"}, r.tdLevel, 0),
        ConfKey::flag({"Camera", "TDC"}, r.tdc),
        ConfKey::integer({"Camera", "Gain"}, r.gain, 0),
        ConfKey::integer({"Camera", "Decimal"}, r.decimal, 0),
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
    };
}

}  // namespace orrindale::sdk::Zenta
