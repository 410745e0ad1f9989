#include "VireneBCameraConf.h"

#include <memory>

#include "CameraConfLoader.h"
#include "ConfRecordParser.h"
#include "DepthProcessConfig.h"
#include "Logger.h"

namespace orrindale::sdk::VireneB {

int CameraConf::parseConfigParmeter(char const* text, std::string const& moduleName, void* out)
{
    return parseModuleRecord(text, moduleName, kProtocolVersion, static_cast<vireneb_config_para*>(out), keys);
}

std::vector<ConfKey> CameraConf::keys(vireneb_config_para& r)
{
    auto& d = r.dsense;
    std::vector<ConfKey> keys = {
        ConfKey::flag({"Camera", "enable"}, r.cameraEnable),
        ConfKey::integer({"Camera", "T"}, r.lightingTime, 0),
        ConfKey::integer({"Camera", "P"}, r.currentIntensity, 0),
        ConfKey::integer({"Camera", "Gain"}, r.gain, 0),
    };
    appendDepthProcessKeys(keys, r);
    keys.insert(keys.end(), {
        ConfKey::integer({"Dsense", "disparity_number"}, d.disparity_number),
        ConfKey::integer({"Dsense", "disparity_offset"}, d.disparity_offset),
        ConfKey::integer({"Dsense", "rho"}, d.rho),
        // Shift of 16-bit depth words.
        ConfKey::integer({"Dsense", "depth_scale"}, d.depth_scale, 0, 15),
        ConfKey::integer({"Dsense", "isdual"}, d.isdual),
        ConfKey::integer({"Dsense", "isleftcam"}, d.isleftcam),
        ConfKey::integer({"Dsense", "z"}, d.z),
        ConfKey::integer({"Dsense", "sad_size"}, d.sad_size),
        ConfKey::integer({"Dsense", "LeftClockwiseRotate"}, d.LeftClockwiseRotate),
        ConfKey::integer({"Dsense", "LeftCounterClockRotate"}, d.LeftCounterClockRotate),
        ConfKey::integer({"Dsense", "LeftDownScaling"}, d.LeftDownScaling),
        ConfKey::integer({"Dsense", "norm_on"}, d.norm_on),
        ConfKey::integer({"Dsense", "outdoor_mode"}, d.outdoor_mode),
        ConfKey::integer({"Dsense", "pixel_bits"}, d.pixel_bits),
        ConfKey::integer({"Dsense", "RightDownScaling"}, d.RightDownScaling),
        ConfKey::integer({"Dsense", "SadWinSIZE"}, d.SadWinSIZE),
        ConfKey::integer({"Dsense", "stereo_mode"}, d.stereo_mode),
        ConfKey::integer({"Dsense", "warp_on"}, d.warp_on),
        ConfKey::integer({"Dsense", "slot0_warp_ratio"}, d.slot0_warp_ratio),
        ConfKey::integer({"Dsense", "slot1_warp_ratio"}, d.slot1_warp_ratio),
        ConfKey::integer({"Dsense", "slot2_warp_ratio"}, d.slot2_warp_ratio),
        ConfKey::integer({"Dsense", "slot3_warp_ratio"}, d.slot3_warp_ratio),
        ConfKey::integer({"Dsense", "ftzero"}, d.ftzero),
        ConfKey::integer({"Dsense", "LeftDarkThreshold"}, d.LeftDarkThreshold),
        ConfKey::integer({"Dsense", "RightDarkThreshold"}, d.RightDarkThreshold),
        ConfKey::integer({"Dsense", "height"}, d.height),
        ConfKey::integer({"Dsense", "is_resize"}, d.is_resize),
        ConfKey::integer({"Dsense", "width"}, d.width),
        ConfKey::integer({"Dsense", "texture_threshold"}, d.texture_threshold),
        ConfKey::integer({"Dsense", "uniqueness_ratio"}, d.uniqueness_ratio),
        ConfKey::integer({"Dsense", "num"}, d.num),
        ConfKey::integer({"Dsense", "top"}, d.top),
        ConfKey::integer({"Dsense", "left_pix_bits"}, d.left_pix_bits),
        ConfKey::integer({"Dsense", "rite_pix_bits"}, d.rite_pix_bits),
        ConfKey::integer({"Dsense", "default_scale_g"}, d.default_scale_g),
        ConfKey::integer({"Dsense", "sad_offset"}, d.sad_offset),
    });
    return keys;
}

int getConfigurationParameters(char const* path, vireneb_config_para& settings)
{
    if (path == nullptr) {
        QV_LOGI("No configuration file was passed in, use the default configuration parameters.");
        return 0;
    }
    QV_LOGI("parse the configuration file:", path);
    const int ret = CameraConfLoader::parse(path, std::make_shared<CameraConf>(), CameraConf::kModuleName, &settings);
    if (ret != 0) QV_LOGE("failed to parse the configuration from ", path, ", ret :", ret);
    return ret;
}

}  // namespace orrindale::sdk::VireneB
