// Configuration of the Solen cameras: protocol "v1.x"; the root "module" array holds one
// object per model, picked by its "name" (e.g. "QV_CAM_G700").
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ConfKey.h"

namespace orrindale::sdk::Solen {

constexpr const char* kProtocolVersion = "v1.x";

// Fields in the order of the module object's keys.
struct solen_config_para {
    int32_t sdLevel = 0;           // "Camera"/"SD": spatial denoise level
    int32_t tdLevel = 0;           // "Camera"/"TD": temporal denoise
    int32_t gain = 0;              // "Camera"/"Gain"
    bool denoiseEnable = false;    // "DepthProcess"/"Denoise"/...
    int32_t denoiseWidth = 0;
    int32_t denoiseHeight = 0;
    int32_t denoiseFactor = 1;
    int32_t newVal = 0;
    int32_t maxSpeckleSize = 0;
    int32_t maxDiff = 0;
    int32_t maxTh = 0;
    bool medianFilterEnable = false;  // "DepthProcess"/"MedianFilter"/"enable"
    bool registrationEnable = false;  // "DepthProcess"/"Registration"/"enable"
    bool pclOrganized = false;        // "PointCloudProcess"/"pcl_organized"/"enable"
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
