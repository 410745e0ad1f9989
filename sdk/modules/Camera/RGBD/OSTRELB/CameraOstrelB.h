// Ostrel B RGB-D camera (USB 0x3482:0x278A).
#pragma once

#include "OstrelBCmd.h"
#include "UnsupportedCamera.h"

class CameraOstrelB : public UnsupportedCamera {
public:
    CameraOstrelB(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraOstrelB")
    {
        m_command = std::make_unique<OstrelBCmd>();
    }
};
