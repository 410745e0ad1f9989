// The "DepthProcess" and "PointCloudProcess" settings every RGB-D document carries the
// same way, and their keys. Each model's record derives from depth_process_para.
#pragma once

#include <cstdint>
#include <vector>

#include "ConfKey.h"

struct cJSON;

namespace orrindale::sdk {

struct depth_process_para {
    static constexpr int32_t kNoFarLimit = 65535;  // keeps every depth (millimetres are 16-bit)

    bool denoiseEnable = false;       // "DepthProcess"/"Denoise"/"enable"
    int32_t denoiseWidth = 0;         // "DepthProcess"/"Denoise"/"depth_width": resolution the values are for
    int32_t denoiseHeight = 0;        // "DepthProcess"/"Denoise"/"depth_height"
    int32_t denoiseFactor = 1;        // "DepthProcess"/"Denoise"/"factor"
    int32_t newVal = 0;               // "DepthProcess"/"Denoise"/"newVal"
    int32_t maxSpeckleSize = 0;       // "DepthProcess"/"Denoise"/"maxSpeckleSize"
    int32_t maxDiff = 0;              // "DepthProcess"/"Denoise"/"maxDiff"
    int32_t maxTh = kNoFarLimit;      // "DepthProcess"/"Denoise"/"max_th": depth beyond it is cleared
    bool medianFilterEnable = false;  // "DepthProcess"/"MedianFilter"/"enable"
    bool registrationEnable = false;  // "DepthProcess"/"Registration"/"enable": align depth to colour
    bool pclOrganized = false;        // "PointCloudProcess"/"pcl_organized"/"enable"
    bool farLimitAssumed = false;     // set by the reader: "max_th" was missing or not positive
};

// Appends the keys of these settings, in the documents' order.
void appendDepthProcessKeys(std::vector<ConfKey>& keys, depth_process_para& r);

// After the keys below module were read into r: a non-positive "max_th" would clear every
// pixel of the depth image, so it becomes kNoFarLimit; a missing one keeps the record's
// value. Either way the reader warns when Denoise is enabled.
void settleDepthProcess(depth_process_para& r, const cJSON* module);

}  // namespace orrindale::sdk
