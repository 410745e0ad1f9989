// Pellam dToF camera (USB 0x3482:0x8723, or on the network).
#pragma once

#include "UnsupportedCamera.h"

class CameraPellam : public UnsupportedCamera {
public:
    CameraPellam(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraPellam") {}
    // Calibration of every ToF sensor of the camera.
    int getCameraParameterSet(CAM_Parameter_Set&) { return notSupported("getCameraParameterSet"); }
};
