// Reads a configuration file of either kind with a model reader: a container goes through
// CameraConfAes, plain JSON straight to the reader.
#pragma once

#include <memory>
#include <string>

#include "CameraConf.h"

namespace orrindale::sdk {

class CameraConfLoader {
public:
    // 0 or the reader's negative code; the record behind out changes only on success.
    static int parse(const std::string& path, const std::shared_ptr<CameraConf>& reader,
                     const std::string& moduleName, void* out);
};

}  // namespace orrindale::sdk
