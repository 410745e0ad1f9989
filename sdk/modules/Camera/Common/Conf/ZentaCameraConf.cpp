#include "ZentaCameraConf.h"

#include "ConfRecordParser.h"
#include "DepthProcessConfig.h"
#include "Logger.h"

namespace orrindale::sdk::Zenta {

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
    std::vector<ConfKey> keys = {
        ConfKey::flag({"Camera", "enable"}, r.cameraEnable),
        ConfKey::integer({"Camera", "T"}, r.lightingTime, 0),
        ConfKey::integer({"Camera", "P"}, r.currentIntensity, 0),
        ConfKey::integer({"Camera", "SD"}, r.sdLevel, 0),
        ConfKey::integer({"Camera", "TD"}, r.tdLevel, 0),
        ConfKey::flag({"Camera", "TDC"}, r.tdc),
        ConfKey::integer({"Camera", "Gain"}, r.gain, 0),
        ConfKey::integer({"Camera", "Decimal"}, r.decimal, 0),
    };
    appendDepthProcessKeys(keys, r);
    return keys;
}

}  // namespace orrindale::sdk::Zenta
