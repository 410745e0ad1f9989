#include "Fl30cCameraConf.h"

#include <memory>

#include "CameraConfLoader.h"
#include "ConfRecordParser.h"
#include "DepthProcessConfig.h"
#include "Logger.h"

namespace orrindale::sdk::Fl30c {

int CameraConf::parseConfigParmeter(char const* text, std::string const& moduleName, void* out)
{
    return parseModuleRecord(text, moduleName, kProtocolVersion, static_cast<fl30c_config_para*>(out), keys);
}

std::vector<ConfKey> CameraConf::keys(fl30c_config_para& r)
{
    std::vector<ConfKey> keys = {
        ConfKey::flag({"Camera", "enable"}, r.settingsEnable),
        ConfKey::integer({"Camera", "AE"}, r.aeMode, 0),
        ConfKey::integer({"Camera", "T"}, r.lightingTime, 0),
        ConfKey::integer({"Camera", "P"}, r.currentIntensity, 0),
        ConfKey::integer({"Camera", "Gain"}, r.gain, kMinGain, kMaxGain),
        ConfKey::integer({"Camera", "Confidence"}, r.confidence, 0),
        ConfKey::integer({"Camera", "SD"}, r.sdLevel, 0),
        ConfKey::integer({"Camera", "TD"}, r.tdLevel, 0),
        ConfKey::flag({"Camera", "TDC"}, r.tdc),
        ConfKey::oneOf({"Image", "rotate"}, r.rotate, {0, 90, 180, 270}),
        ConfKey::flag({"Image", "mirror"}, r.mirror),
    };
    appendDepthProcessKeys(keys, r);
    return keys;
}

int getConfigurationParameters(char const* path, fl30c_config_para& settings)
{
    if (path == nullptr) {
        QV_LOGI("No configuration file was passed in, use the default configuration parameters.");
        return 0;
    }
    QV_LOGI("parse the configuration file:", path);
    const int ret = CameraConfLoader::parse(path, std::make_shared<CameraConf>(), CameraConf::kModuleName, &settings);
    if (ret != 0) {
        QV_LOGE("failed to parse the configuration from ", path, ", ret :", ret, ", the camera is not opened.");
        return ret;
    }
    QV_LOGI("Camera parameters are set according to the configuration file.");
    return 0;
}

}  // namespace orrindale::sdk::Fl30c
