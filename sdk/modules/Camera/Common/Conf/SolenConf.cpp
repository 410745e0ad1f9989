#include "SolenConf.h"

#include <limits>

#include "CameraConf.h"
#include "CameraConfResult.h"
#include "ConfAesKeyMaterial.h"
#include "ConfContainer.h"
#include "ConfFileKind.h"
#include "ConfJsonDocument.h"
#include "DepthProcessConfig.h"
#include "Logger.h"

namespace orrindale::sdk::Solen {

namespace {

// The container key and IV, from the same build-time values as every other reader's.
const unsigned char key[AesCbc256::kKeySize] = {ORR_CONF_AES_KEY_BYTES};
const unsigned char iv[AesCbc256::kIvSize] = {ORR_CONF_AES_IV_BYTES};


}  // namespace

int parseConfigFile(std::string const& path, std::string const& moduleName, solen_config_para& out)
{
    QV_LOGI("moduleName:", moduleName);
    std::vector<char> data;
    int ret = CameraConf::getDataFromFile(path, data);
    if (ret != CONF_OK) return ret;
    if (ConfFileKind::ofBytes(data.data(), data.size()) == ConfFileKind::PlainJson) {
        data.push_back('\0');
        return parseConfigText(data.data(), moduleName, out);
    }
    std::size_t textLength = 0;
    ret = ConfContainer::decrypt(data, key, iv, textLength);
    if (ret != CONF_OK) return ret;
    data.resize(ConfContainer::kHeaderSize + textLength);
    data.push_back('\0');
    return parseConfigText(data.data() + ConfContainer::kHeaderSize, moduleName, out);
}

int parseConfigText(char const* text, std::string const& moduleName, solen_config_para& out)
{
    ConfJsonDocument document;
    int ret = document.parse(text, kProtocolVersion);
    if (ret != CONF_OK) return ret;
    const cJSON* module = document.findModuleInList("module", moduleName);
    if (module == nullptr) return CONF_ERR_MODULE;
    solen_config_para record = out;
    ret = ConfKey::readAll(module, configKeys(record));
    if (ret != CONF_OK) return ret;
    settleDepthProcess(record, module);
    out = record;
    return CONF_OK;
}

std::vector<ConfKey> configKeys(solen_config_para& r)
{
    std::vector<ConfKey> keys = {
        ConfKey::integer({"Camera", "SD"}, r.sdLevel, 0),
        ConfKey::integer({"Camera", "TD"}, r.tdLevel, 0),
        ConfKey::integer({"Camera", "Gain"}, r.gain, 0),
    };
    appendDepthProcessKeys(keys, r);
    keys.insert(keys.end(), {
        ConfKey::integer({"windows"}, r.windows, 0),
        ConfKey::integer({"wborder"}, r.wborder, 0),
        ConfKey::integer({"hborder"}, r.hborder, 0),
    });
    return keys;
}

}  // namespace orrindale::sdk::Solen
