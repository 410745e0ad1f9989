#include "CameraConfAes.h"

#include <openssl/crypto.h>

#include "AesCbc256.h"
#include "CameraConfResult.h"
#include "ConfAesKey.h"
#include "ConfContainer.h"
#include "Logger.h"

namespace orrindale::sdk {

int CameraConfAes::parseConfigFileParameter(std::string const& path, std::string const& moduleName, void* out)
{
    if (!m_component) {
        QV_LOGE("no configuration reader behind the decryption step");
        return CONF_ERR_ARGUMENT;
    }
    unsigned char key[AesCbc256::kKeySize] = {};
    unsigned char iv[AesCbc256::kIvSize] = {};
    std::vector<char> data;
    int ret = getDataFromFile(path, data);
    if (ret != CONF_OK) return ret;

    ConfAesKey::build(key, iv);
    std::size_t textLength = 0;
    ret = ConfContainer::decrypt(data, key, iv, textLength);
    // The key stays in memory no longer than the decryption needs it.
    OPENSSL_cleanse(key, sizeof key);
    OPENSSL_cleanse(iv, sizeof iv);
    if (ret != CONF_OK) return ret;

    data.resize(ConfContainer::kHeaderSize + textLength);
    data.push_back('\0');
    return m_component->parseConfigParmeter(data.data() + ConfContainer::kHeaderSize, moduleName, out);
}

int CameraConfAes::parseConfigParmeter(char const* text, std::string const& moduleName, void* out)
{
    if (!m_component) {
        QV_LOGE("no configuration reader behind the decryption step");
        return CONF_ERR_ARGUMENT;
    }
    return m_component->parseConfigParmeter(text, moduleName, out);
}

}  // namespace orrindale::sdk
