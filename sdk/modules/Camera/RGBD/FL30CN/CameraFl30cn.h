// Fl30cn RGB-D camera on the network.
#pragma once

#include "UnsupportedCamera.h"

class CameraFl30cn : public UnsupportedCamera {
public:
    CameraFl30cn(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraFl30cn") {}
};
