// Virene A RGB-D camera (USB 0x3482:0x278B).
#pragma once

#include "VireneACmd.h"
#include "UnsupportedCamera.h"

class CameraVireneA : public UnsupportedCamera {
public:
    CameraVireneA(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraVireneA")
    {
        m_command = std::make_unique<VireneACmd>();
    }
};
