// Selvar C ToF camera (USB 0x3482:0x7723).
#pragma once

#include "SelvarCmd.h"
#include "UnsupportedCamera.h"

class CameraSelvarC : public UnsupportedCamera {
public:
    CameraSelvarC(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraSelvarC")
    {
        m_command = std::make_unique<SelvarCmd>();
    }
};
