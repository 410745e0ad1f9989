#include "ConfJsonDocument.h"

#include <cjson/cJSON.h>

#include "CameraConfResult.h"
#include "Logger.h"

namespace orrindale::sdk {

ConfJsonDocument::~ConfJsonDocument() { cJSON_Delete(m_root); }

int ConfJsonDocument::parse(const char* text, const std::string& protocolVersion)
{
    cJSON_Delete(m_root);
    m_root = nullptr;
    if (text == nullptr) {
        QV_LOGE("config text is nullptr");
        return CONF_ERR_ARGUMENT;
    }
    // Trailing non-blank bytes make the document invalid rather than being ignored.
    m_root = cJSON_ParseWithOpts(text, nullptr, 1);
    if (m_root == nullptr) {
        QV_LOGE("Parse json fail.");
        return CONF_ERR_JSON;
    }
    const cJSON* version = cJSON_GetObjectItemCaseSensitive(m_root, "version");
    if (!cJSON_IsString(version) || version->valuestring == nullptr) {
        QV_LOGE("configuration file has no \"version\" string");
        return CONF_ERR_VERSION;
    }
    QV_LOGI("configuration protocol Version: ", version->valuestring);
    if (!isCompatibleVersion(version->valuestring, protocolVersion)) {
        QV_LOGE("The protocol version of the configuration file is incompatible with the sdk version ! ");
        return CONF_ERR_VERSION;
    }
    const cJSON* configVersion = cJSON_GetObjectItemCaseSensitive(m_root, "config_version");
    if (configVersion != nullptr) {
        if (!cJSON_IsString(configVersion) || configVersion->valuestring == nullptr) {
            QV_LOGE("\"config_version\" must be a string");
            return CONF_ERR_VALUE;
        }
        QV_LOGI("configuration Version: ", configVersion->valuestring);
    }
    return CONF_OK;
}

const cJSON* ConfJsonDocument::findModule(const std::string& moduleName) const
{
    const cJSON* module = cJSON_GetObjectItemCaseSensitive(m_root, moduleName.c_str());
    if (!cJSON_IsObject(module)) {
        QV_LOGE("can't found module : ", moduleName, " in josn");
        return nullptr;
    }
    QV_LOGI("found moduleName: ", moduleName);
    return module;
}

const cJSON* ConfJsonDocument::findModuleInList(const char* listKey, const std::string& moduleName) const
{
    const cJSON* list = cJSON_GetObjectItemCaseSensitive(m_root, listKey);
    const cJSON* modules = cJSON_IsArray(list) ? list : nullptr;
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, modules)
    {
        const cJSON* name = cJSON_GetObjectItemCaseSensitive(element, "name");
        if (cJSON_IsObject(element) && cJSON_IsString(name) && name->valuestring != nullptr &&
            moduleName == name->valuestring) {
            QV_LOGI("found moduleName: ", moduleName);
            return element;
        }
    }
    QV_LOGE("can't found module : ", moduleName, " in josn");
    return nullptr;
}

bool ConfJsonDocument::isCompatibleVersion(const std::string& version, const std::string& protocolVersion)
{
    const std::string generation = version.substr(0, version.find('.'));
    return !generation.empty() && generation == protocolVersion.substr(0, protocolVersion.find('.'));
}

}  // namespace orrindale::sdk
