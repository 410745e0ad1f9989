// Configuration of the Zenta RGB-D camera: module "QV_CAM_ZENTA", protocol "v1.x".
#pragma once

#include <cstdint>
#include <vector>

#include "CameraConf.h"
#include "ConfKey.h"

namespace orrindale::sdk::Zenta {

// Fields in the order of the document's keys.
struct zenta_config_para {
    bool cameraEnable = false;     // "Camera"/"enable": apply the camera settings at open
    int32_t lightingTime = 0;      // "Camera"/"T"
    int32_t currentIntensity = 0;  // "Camera"/"P"
    int32_t sdLevel = 0;           // "Camera"/"SD": spatial denoise level
    int32_t tdLevel = 0;           // "Camera"/"TD": temporal denoise
    bool tdc = false;              // "Camera"/"TDC": temperature-drift compensation
    int32_t gain = 0;              // "Camera"/"Gain"
    int32_t decimal = 0;           // "Camera"/"Decimal"
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
    static constexpr const char* kModuleName = "QV_CAM_ZENTA";
    static constexpr const char* kProtocolVersion = "v1.x";

    // out: zenta_config_para*; forwards to the overload below.
    int parseConfigParmeter(char const* text, std::string const& moduleName, void* out) override;
    // Logs the lighting time, current intensity and gain it applies.
    int parseConfigParmeter(char const* text, std::string const& moduleName, zenta_config_para& out);
    static std::vector<ConfKey> keys(zenta_config_para& record);
};

}  // namespace orrindale::sdk::Zenta
