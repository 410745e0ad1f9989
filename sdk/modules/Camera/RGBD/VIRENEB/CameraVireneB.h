// Virene B RGB-D camera (USB 0x3482:0x278C).
#pragma once

#include "VireneBCmd.h"
#include "UnsupportedCamera.h"

class CameraVireneB : public UnsupportedCamera {
public:
    CameraVireneB(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraVireneB")
    {
        m_command = std::make_unique<VireneBCmd>();
    }
};
