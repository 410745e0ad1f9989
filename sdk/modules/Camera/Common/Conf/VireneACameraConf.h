// Configuration of the Virene A RGB-D camera: module "QV_CAM_VIRENE_A", protocol "v2.x".
#pragma once

#include <cstdint>
#include <vector>

#include "CameraConf.h"
#include "DepthProcessConfig.h"
#include "ConfKey.h"

namespace orrindale::sdk::VireneA {

// The camera's own keys, in the document's order; the depth-process keys come with depth_process_para.
struct virenea_config_para : depth_process_para {
    bool cameraEnable = false;     // "Camera"/"enable": apply the camera settings at open
    int32_t aeMode = 0;            // "Camera"/"AE"
    int32_t lightingTime = 0;      // "Camera"/"T"
    int32_t currentIntensity = 0;  // "Camera"/"P"
    int32_t gain = 0;              // "Camera"/"Gain"
};

class CameraConf : public orrindale::sdk::CameraConf {
public:
    static constexpr const char* kModuleName = "QV_CAM_VIRENE_A";
    static constexpr const char* kProtocolVersion = "v2.x";

    // out: virenea_config_para*
    int parseConfigParmeter(char const* text, std::string const& moduleName, void* out) override;
    static std::vector<ConfKey> keys(virenea_config_para& record);
};

// What the driver runs while opening: null path keeps settings as they are; otherwise the file
// (plain or container) is parsed into settings. 0 or the reader's negative code.
int getConfigurationParameters(char const* path, virenea_config_para& settings);

}  // namespace orrindale::sdk::VireneA
