// Configuration of the Solen cameras: protocol "v1.x"; the root "module" array holds one
// object per model, picked by its "name" (e.g. "QV_CAM_G700").
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "DepthProcessConfig.h"

#include "ConfKey.h"

namespace orrindale::sdk::Solen {

constexpr const char* kProtocolVersion = "v1.x";

// The module's own keys, in its order; the depth-process keys come with depth_process_para.
struct solen_config_para : depth_process_para {
    int32_t sdLevel = 0;           // "Camera"/"SD": spatial denoise level
    int32_t tdLevel = 0;           // "Camera"/"TD": temporal denoise
    int32_t gain = 0;              // "Camera"/"Gain"
    int32_t windows = 0;              // "windows"
    int32_t wborder = 0;              // "wborder": columns left out at each side
    int32_t hborder = 0;              // "hborder": rows left out at top and bottom
};

// Reads a plain or encrypted file; out changes only on success. 0 or a negative CameraConfResult.
int parseConfigFile(std::string const& path, std::string const& moduleName, solen_config_para& out);
// Parses one NUL-terminated JSON document.
int parseConfigText(char const* text, std::string const& moduleName, solen_config_para& out);
// The module object's keys in reading order, bound to record.
std::vector<ConfKey> configKeys(solen_config_para& record);

}  // namespace orrindale::sdk::Solen
