// G700 camera of the Solen family (USB 0x3482:0x5724, 0x1A86:0x5724).
#pragma once

#include "CameraSolen.h"

class CameraG700 : public CameraSolen {
public:
    CameraG700(const QV_CAM_ATTR& attr, void* handle) : CameraSolen(attr, handle, {"CameraG700", "QV_CAM_G700"}) {}
};
