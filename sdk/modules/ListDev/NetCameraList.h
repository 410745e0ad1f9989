// Network cameras answering the discovery broadcast.
#pragma once

#include <vector>

#include "qv_camera_sdk_types.h"

// Appends one QV_CAM_ATTR_NET record per camera that answered; negative when the broadcast failed.
int getNetCameraAttrsList(std::vector<QV_CAM_ATTR>& out);
