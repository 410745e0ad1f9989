// Zenta RGB-D camera (USB 0x3482:0x6789).
#pragma once

#include "UnsupportedCamera.h"

class CameraZenta : public UnsupportedCamera {
public:
    CameraZenta(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraZenta") {}
};
