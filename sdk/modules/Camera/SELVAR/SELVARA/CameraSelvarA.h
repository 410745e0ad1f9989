// Selvar A ToF camera (USB 0x0C45:0x636D).
#pragma once

#include "UnsupportedCamera.h"

class CameraSelvarA : public UnsupportedCamera {
public:
    CameraSelvarA(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraSelvarA") {}
};
