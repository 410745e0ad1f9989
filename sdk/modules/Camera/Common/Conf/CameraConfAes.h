// Reads the encrypted configuration container: checks it, decrypts it and hands the JSON
// text to the wrapped model reader.
#pragma once

#include "CameraConfDecorator.h"

namespace orrindale::sdk {

class CameraConfAes : public CameraConfDecorator {
public:
    using CameraConfDecorator::CameraConfDecorator;

    // CONF_ERR_VERIFY (-1) on a checksum mismatch, another negative code on an unreadable file
    // or a header that does not fit the file, otherwise the component's result.
    int parseConfigFileParameter(std::string const& path, std::string const& moduleName, void* out) override;
    // The component's parse, unchanged.
    int parseConfigParmeter(char const* text, std::string const& moduleName, void* out) override;
};

}  // namespace orrindale::sdk
