// One parsed configuration document: the common root keys ("version", "config_version") and
// the lookup of a module's object.
#pragma once

#include <string>

struct cJSON;

namespace orrindale::sdk {

class ConfJsonDocument {
public:
    ConfJsonDocument() = default;
    ~ConfJsonDocument();
    ConfJsonDocument(const ConfJsonDocument&) = delete;
    ConfJsonDocument& operator=(const ConfJsonDocument&) = delete;

    // Parses the text and checks its protocol "version" against the reader's (e.g. "v1.x").
    int parse(const char* text, const std::string& protocolVersion);
    // The root object named moduleName, or null (both logged).
    const cJSON* findModule(const std::string& moduleName) const;
    // The element of the root array listKey whose "name" is moduleName, or null (both logged).
    const cJSON* findModuleInList(const char* listKey, const std::string& moduleName) const;

    // Versions are compatible when their parts before the first '.' are equal: "v1.3" and
    // "v1.x" are both "v1", "v10.0" is not.
    static bool isCompatibleVersion(const std::string& version, const std::string& protocolVersion);

private:
    cJSON* m_root = nullptr;
};

}  // namespace orrindale::sdk
