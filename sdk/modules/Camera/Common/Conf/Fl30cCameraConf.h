// Configuration of the Fl30c RGB-D camera: module "QV_CAM_FL30C", protocol "v1.x".
#pragma once

#include <cstdint>
#include <vector>

#include "CameraConf.h"
#include "DepthProcessConfig.h"
#include "ConfKey.h"

namespace orrindale::sdk::Fl30c {

// The camera's own keys, in the document's order; the depth-process keys come with
// depth_process_para. The default-initialised record is the driver's
// built-in configuration.
struct fl30c_config_para : depth_process_para {
    bool settingsEnable = false;   // "Camera"/"enable": apply the camera settings below at open
    int32_t aeMode = 0;            // "Camera"/"AE"
    int32_t lightingTime = 0;      // "Camera"/"T"
    int32_t currentIntensity = 0;  // "Camera"/"P"
    int32_t gain = 0;              // "Camera"/"Gain": 1..28, 0 = not configured
    int32_t confidence = 0;        // "Camera"/"Confidence": Himax confidence level
    int32_t sdLevel = 0;           // "Camera"/"SD": spatial denoise level
    int32_t tdLevel = 0;           // "Camera"/"TD": temporal denoise
    bool tdc = false;              // "Camera"/"TDC": temperature-drift compensation
    int32_t rotate = 0;            // "Image"/"rotate": 0, 90, 180 or 270 degrees
    bool mirror = false;           // "Image"/"mirror"
};

class CameraConf : public orrindale::sdk::CameraConf {
public:
    static constexpr const char* kModuleName = "QV_CAM_FL30C";
    static constexpr const char* kProtocolVersion = "v1.x";
    static constexpr int32_t kMinGain = 1;
    static constexpr int32_t kMaxGain = 28;

    // out: fl30c_config_para*
    int parseConfigParmeter(char const* text, std::string const& moduleName, void* out) override;
    static std::vector<ConfKey> keys(fl30c_config_para& record);
};

// What the driver runs while opening: null path keeps settings as they are; otherwise the file
// (plain or container) is parsed into settings. 0 or the reader's negative code; settings change
// only on success.
int getConfigurationParameters(char const* path, fl30c_config_para& settings);

}  // namespace orrindale::sdk::Fl30c
