// Halvo RGB-D camera (USB 0x3482:0x2789).
#pragma once

#include "UnsupportedCamera.h"

class CameraHalvo : public UnsupportedCamera {
public:
    CameraHalvo(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraHalvo") {}
};
