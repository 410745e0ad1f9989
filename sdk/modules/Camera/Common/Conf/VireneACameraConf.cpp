#include "VireneACameraConf.h"

#include <memory>

#include "CameraConfLoader.h"
#include "ConfRecordParser.h"
#include "DepthProcessConfig.h"
#include "Logger.h"

namespace orrindale::sdk::VireneA {

int CameraConf::parseConfigParmeter(char const* text, std::string const& moduleName, void* out)
{
    return parseModuleRecord(text, moduleName, kProtocolVersion, static_cast<virenea_config_para*>(out), keys);
}

std::vector<ConfKey> CameraConf::keys(virenea_config_para& r)
{
    std::vector<ConfKey> keys = {
        ConfKey::flag({"Camera", "enable"}, r.cameraEnable),
        ConfKey::integer({"Camera", "AE"}, r.aeMode, 0),
        ConfKey::integer({"Camera", "T"}, r.lightingTime, 0),
        ConfKey::integer({"Camera", "P"}, r.currentIntensity, 0),
        ConfKey::integer({"Camera", "Gain"}, r.gain, 0),
    };
    appendDepthProcessKeys(keys, r);
    return keys;
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
