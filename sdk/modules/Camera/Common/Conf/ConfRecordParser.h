// The steps every model reader shares: parse, check the protocol version, find the module's
// object, read its keys into a copy of the record and write the record only when all succeeded.
#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include "CameraConfResult.h"
#include "ConfJsonDocument.h"
#include "ConfKey.h"
#include "DepthProcessConfig.h"
#include "Logger.h"

namespace orrindale::sdk {

// keysOf(Record&) returns the reader's key table bound to the given record. Keys absent from
// the document keep the value the caller's record already holds.
template <typename Record, typename KeysOf>
int parseModuleRecord(const char* text, const std::string& moduleName, const std::string& protocolVersion,
                      Record* out, KeysOf keysOf)
{
    if (out == nullptr) {
        QV_LOGE("output record is nullptr");
        return CONF_ERR_ARGUMENT;
    }
    ConfJsonDocument document;
    int ret = document.parse(text, protocolVersion);
    if (ret != CONF_OK) return ret;
    const cJSON* module = document.findModule(moduleName);
    if (module == nullptr) return CONF_ERR_MODULE;
    Record record = *out;
    ret = ConfKey::readAll(module, keysOf(record));
    if (ret != CONF_OK) return ret;
    if constexpr (std::is_base_of_v<depth_process_para, Record>) settleDepthProcess(record, module);
    *out = record;
    return CONF_OK;
}

}  // namespace orrindale::sdk
