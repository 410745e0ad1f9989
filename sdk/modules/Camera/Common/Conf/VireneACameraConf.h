// Configuration of the Virene A RGB-D camera: module "QV_CAM_VIRENE_A", protocol "v2.x".
#pragma once

#include <cstdint>
#include <vector>

#include "CameraConf.h"
#include "ConfKey.h"

namespace orrindale::sdk::VireneA {

// Fields in the order of the document's keys.
struct virenea_config_para {
    bool cameraEnable = false;     // "Camera"/"enable": apply the camera settings at open
    int32_t aeMode = 0;            // "Camera"/"AE"
    int32_t lightingTime = 0;      // "Camera"/"T"
    int32_t currentIntensity = 0;  // "Camera"/"P"
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
