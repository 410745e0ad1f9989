// Fl30v camera of the Solen family (USB 0x3482:0x5725).
#pragma once

#include "CameraSolen.h"

class CameraFl30v : public CameraSolen {
public:
    CameraFl30v(const QV_CAM_ATTR& attr, void* handle) : CameraSolen(attr, handle, {"CameraFl30v", "QV_CAM_FL30V"}) {}
};
