// Configuration of the Zenta RGB-D camera: module "QV_CAM_ZENTA", protocol "v1.x".
#pragma once

#include <cstdint>
#include <vector>

#include "CameraConf.h"
#include "DepthProcessConfig.h"
#include "ConfKey.h"

namespace orrindale::sdk::Zenta {

// The camera's own keys, in the document's order; the depth-process keys come with depth_process_para.
struct zenta_config_para : depth_process_para {
    bool cameraEnable = false;     // "Camera"/"enable": apply the camera settings at open
    int32_t lightingTime = 0;      // "Camera"/"T"
    int32_t currentIntensity = 0;  // "Camera"/"P"
    int32_t sdLevel = 0;           // "Camera"/"SD": spatial denoise level
    int32_t tdLevel = 0;           // "Camera"/"TD": temporal denoise
    bool tdc = false;              // "Camera"/"TDC": temperature-drift compensation
    int32_t gain = 0;              // "Camera"/"Gain"
    int32_t decimal = 0;           // "Camera"/"Decimal"
};

class CameraConf : public orrindale::sdk::CameraConf {
public:
    static constexpr const char* kModuleName = "QV_CAM_ZENTA";
    static constexpr const char* kProtocolVersion = "v1.x";

    // out: zenta_config_para*; forwards to the overload below.
    int parseConfigParmeter(char const* text, std::string const& moduleName, void* out) override;
    // Logs the lighting time, current intensity and gain it applies.
    int parseConfigParmeter(char const* text, std::string const& moduleName, zenta_config_para& out);
    static std::vector<ConfKey> keys(zenta_config_para& record);
};

}  // namespace orrindale::sdk::Zenta
