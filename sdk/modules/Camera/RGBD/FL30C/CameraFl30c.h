// Fl30c RGB-D camera (USB 0x3482:0x6723).
#pragma once

#include "UnsupportedCamera.h"

class CameraFl30c : public UnsupportedCamera {
public:
    CameraFl30c(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraFl30c") {}
};
