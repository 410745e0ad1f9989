// Fl30 camera of the Solen family (USB 0x3482:0x5727).
#pragma once

#include "CameraSolen.h"

class CameraFl30 : public CameraSolen {
public:
    CameraFl30(const QV_CAM_ATTR& attr, void* handle) : CameraSolen(attr, handle, {"CameraFl30", "QV_CAM_FL30"}) {}
};
