// Configuration of the Virene B RGB-D camera: module "QV_CAM_VIRENE_B", protocol "v1.x".
#pragma once

#include <cstdint>
#include <vector>

#include "CameraConf.h"
#include "DepthProcessConfig.h"
#include "ConfKey.h"

namespace orrindale::sdk::VireneB {

// Stereo-matching settings sent to the device, in the order of the "Dsense" keys (spellings
// are the device's).
struct vireneb_dsense_para {
    int32_t disparity_number = 0;
    int32_t disparity_offset = 0;
    int32_t rho = 0;
    int32_t depth_scale = 0;  // also the shift of the raw-to-depth step
    int32_t isdual = 0;
    int32_t isleftcam = 0;
    int32_t z = 0;
    int32_t sad_size = 0;
    int32_t LeftClockwiseRotate = 0;
    int32_t LeftCounterClockRotate = 0;
    int32_t LeftDownScaling = 0;
    int32_t norm_on = 0;
    int32_t outdoor_mode = 0;
    int32_t pixel_bits = 0;
    int32_t RightDownScaling = 0;
    int32_t SadWinSIZE = 0;
    int32_t stereo_mode = 0;
    int32_t warp_on = 0;
    int32_t slot0_warp_ratio = 0;
    int32_t slot1_warp_ratio = 0;
    int32_t slot2_warp_ratio = 0;
    int32_t slot3_warp_ratio = 0;
    int32_t ftzero = 0;
    int32_t LeftDarkThreshold = 0;
    int32_t RightDarkThreshold = 0;
    int32_t height = 0;
    int32_t is_resize = 0;
    int32_t width = 0;
    int32_t texture_threshold = 0;
    int32_t uniqueness_ratio = 0;
    int32_t num = 0;
    int32_t top = 0;
    int32_t left_pix_bits = 0;
    int32_t rite_pix_bits = 0;
    int32_t default_scale_g = 0;
    int32_t sad_offset = 0;
};

// The camera's own keys, in the document's order; the depth-process keys come with depth_process_para.
struct vireneb_config_para : depth_process_para {
    bool cameraEnable = false;    // "Camera"/"enable"
    int32_t lightingTime = 0;     // "Camera"/"T"
    int32_t currentIntensity = 0; // "Camera"/"P"
    int32_t gain = 0;             // "Camera"/"Gain"
    vireneb_dsense_para dsense;       // "Dsense"
};

class CameraConf : public orrindale::sdk::CameraConf {
public:
    static constexpr const char* kModuleName = "QV_CAM_VIRENE_B";
    static constexpr const char* kProtocolVersion = "v1.x";

    // out: vireneb_config_para*
    int parseConfigParmeter(char const* text, std::string const& moduleName, void* out) override;
    // The document's keys in reading order, bound to record.
    static std::vector<ConfKey> keys(vireneb_config_para& record);
};

// What the driver runs while opening: null path keeps settings as they are; otherwise the file
// (plain or container) is parsed into settings. 0 or the reader's negative code.
int getConfigurationParameters(char const* path, vireneb_config_para& settings);

}  // namespace orrindale::sdk::VireneB
