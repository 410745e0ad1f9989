// Virene RGB-D camera (USB 0x3482:0x6724, or on the network).
#pragma once

#include "VireneCmd.h"
#include "UnsupportedCamera.h"

class CameraVirene : public UnsupportedCamera {
public:
    CameraVirene(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraVirene")
    {
        m_command = std::make_unique<VireneCmd>();
    }
};
