// E7 camera, reached through a serial device node (0x2207:0x0016).
#pragma once

#include "UnsupportedCamera.h"

class CameraE7 : public UnsupportedCamera {
public:
    CameraE7(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraE7") {}
};
