// Reads a camera configuration file into a model's parameter record.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace orrindale::sdk {

class CameraConf {
public:
    // Configuration files are a few kilobytes; anything larger is refused rather than loaded.
    static constexpr std::size_t kMaxFileSize = 16u * 1024u * 1024u;

    virtual ~CameraConf() = default;

    // Reads the plain JSON file and hands its text to parseConfigParmeter. 0 or a negative
    // CameraConfResult; the record behind out is written only when the whole parse succeeds.
    virtual int parseConfigFileParameter(std::string const& path, std::string const& moduleName, void* out);
    // Parses one NUL-terminated JSON document into the record behind out.
    virtual int parseConfigParmeter(char const* text, std::string const& moduleName, void* out) = 0;

    // Fills data with the whole file; data is left as it was on failure.
    static int getDataFromFile(std::string const& path, std::vector<char>& data);
};

}  // namespace orrindale::sdk
