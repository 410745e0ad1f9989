#include "VireneACameraConf.h"

#include <memory>

#include "CameraConfLoader.h"
#include "ConfRecordParser.h"
#include "Logger.h"

namespace orrindale::sdk::VireneA {

namespace {
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kInt16Min = std::numeric_limits<int16_t>::min();
constexpr int32_t kInt16Max = std::numeric_limits<int16_t>::max();
}  // namespace

int CameraConf::parseConfigParmeter(char const* text, std::string const& moduleName, void* out)
{
    return parseModuleRecord(text, moduleName, kProtocolVersion, static_cast<virenea_config_para*>(out), keys);
}

std::vector<ConfKey> CameraConf::keys(virenea_config_para& r)
{
    return {
        ConfKey::flag({"Camera", "enable"}, r.cameraEnable),
        ConfKey::integer({"Camera", "AE"}, r.aeMode, 0),
        ConfKey::integer({"Camera", "T"}, r.lightingTime, 0),
        ConfKey::integer({"Camera", "P"}, r.currentIntensity, 0),
        ConfKey::integer({"Camera", "Gain"}, r.gain, 0),
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

int getConfigurationParameters(char const* path, virenea_config_para& settings)
{
    if (path == nullptr) {
        QV_LOGI("No configuration file was passed in, use the default configuration parameters.");
        return 0;
    }
    const int ret = CameraConfLoader::parse(path, std::make_shared<CameraConf>(), CameraConf::kModuleName, &settings);
    if (ret != 0) {
        QV_LOGE("parseConfigFileParameter fail.");
        return ret;
    }
    QV_LOGI("Camera parameters are set according to the configuration file.");
    return 0;
}

}  // namespace orrindale::sdk::VireneA
