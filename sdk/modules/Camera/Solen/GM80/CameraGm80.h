// Gm80 camera of the Solen family (USB 0x3482:0x5723, 0x1A86:0x5722/0x5723).
#pragma once

#include "CameraSolen.h"

class CameraGm80 : public CameraSolen {
public:
    CameraGm80(const QV_CAM_ATTR& attr, void* handle) : CameraSolen(attr, handle, {"CameraGm80", "QV_CAM_GM80"}) {}
};
