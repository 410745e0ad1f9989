// Complete configuration documents of every model, with a distinct value for every key so that
// a key read into the wrong field shows.
#pragma once

namespace conftest {

inline constexpr const char* kVireneBDocument = R"({
  "version": "v1.4",
  "config_version": "vb-7",
  "QV_CAM_VIRENE_B": {
    "Camera": {"enable": 1, "T": 11, "P": 12, "Gain": 13},
    "DepthProcess": {
      "Denoise": {"enable": 1, "depth_width": 1280, "depth_height": 960, "factor": 3,
                  "newVal": -5, "maxSpeckleSize": 150, "maxDiff": 25, "max_th": 3500},
      "MedianFilter": {"enable": 1},
      "Registration": {"enable": 1}
    },
    "PointCloudProcess": {"pcl_organized": {"enable": 1}},
    "Dsense": {
      "disparity_number": 101, "disparity_offset": 102, "rho": 103, "depth_scale": 4, "isdual": 105,
      "isleftcam": 106, "z": 107, "sad_size": 108, "LeftClockwiseRotate": 109, "LeftCounterClockRotate": 110,
      "LeftDownScaling": 111, "norm_on": 112, "outdoor_mode": 113, "pixel_bits": 114, "RightDownScaling": 115,
      "SadWinSIZE": 116, "stereo_mode": 117, "warp_on": 118, "slot0_warp_ratio": 119, "slot1_warp_ratio": 120,
      "slot2_warp_ratio": 121, "slot3_warp_ratio": 122, "ftzero": 123, "LeftDarkThreshold": 124,
      "RightDarkThreshold": 125, "height": 126, "is_resize": 127, "width": 128, "texture_threshold": 129,
      "uniqueness_ratio": 130, "num": 131, "top": 132, "left_pix_bits": 133, "rite_pix_bits": 134,
      "default_scale_g": 135, "sad_offset": 136
    }
  }
})";

inline constexpr const char* kVireneADocument = R"({
  "version": "v2.1",
  "config_version": "va-3",
  "QV_CAM_VIRENE_A": {
    "Camera": {"enable": 1, "AE": 2, "T": 21, "P": 22, "Gain": 23},
    "DepthProcess": {
      "Denoise": {"enable": 1, "depth_width": 640, "depth_height": 480, "factor": 2,
                  "newVal": 7, "maxSpeckleSize": 90, "maxDiff": 15, "max_th": 2500},
      "MedianFilter": {"enable": 0},
      "Registration": {"enable": 1}
    },
    "PointCloudProcess": {"pcl_organized": {"enable": 0}}
  }
})";

inline constexpr const char* kZentaDocument = R"({
  "version": "v1.0",
  "config_version": "z-1",
  "QV_CAM_ZENTA": {
    "Camera": {"enable": 1, "T": 31, "P": 32, "SD": 33, "TD": 34, "TDC": 1, "Gain": 35, "Decimal": 2},
    "DepthProcess": {
      "Denoise": {"enable": 1, "depth_width": 320, "depth_height": 240, "factor": 4,
                  "newVal": 1, "maxSpeckleSize": 60, "maxDiff": 10, "max_th": 1500},
      "MedianFilter": {"enable": 1},
      "Registration": {"enable": 0}
    },
    "PointCloudProcess": {"pcl_organized": {"enable": 1}}
  }
})";

inline constexpr const char* kFl30cDocument = R"({
  "version": "v1.x",
  "config_version": "fl30c-2024.10.21",
  "QV_CAM_FL30C": {
    "Camera": {"enable": 1, "AE": 1, "T": 41, "P": 42, "Gain": 8, "Confidence": 3, "SD": 2, "TD": 5, "TDC": 1},
    "Image": {"rotate": 270, "mirror": 1},
    "DepthProcess": {
      "Denoise": {"enable": 1, "depth_width": 1280, "depth_height": 960, "factor": 2,
                  "newVal": 9, "maxSpeckleSize": 120, "maxDiff": 33, "max_th": 4000},
      "MedianFilter": {"enable": 1},
      "Registration": {"enable": 1}
    },
    "PointCloudProcess": {"pcl_organized": {"enable": 1}}
  }
})";

inline constexpr const char* kSolenDocument = R"({
  "version": "v1.3",
  "config_version": "solen-5",
  "module": [
    {"name": "QV_CAM_FL30", "Camera": {"SD": 1, "TD": 1, "Gain": 1}, "windows": 1, "wborder": 1, "hborder": 1},
    {"name": "QV_CAM_G700",
     "Camera": {"SD": 51, "TD": 52, "Gain": 53},
     "DepthProcess": {
       "Denoise": {"enable": 1, "depth_width": 640, "depth_height": 400, "factor": 2,
                   "newVal": 3, "maxSpeckleSize": 80, "maxDiff": 12, "max_th": 3000},
       "MedianFilter": {"enable": 1},
       "Registration": {"enable": 1}
     },
     "PointCloudProcess": {"pcl_organized": {"enable": 1}},
     "windows": 5, "wborder": 8, "hborder": 6}
  ]
})";

}  // namespace conftest
