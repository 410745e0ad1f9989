// Gm80 camera of the Solen family (USB 0x3482:0x5723, 0x1A86:0x5722/0x5723).
#pragma once

#include "SolenCommonCtrl.h"
#include "UnsupportedCamera.h"

class CameraGm80 : public UnsupportedCamera {
public:
    CameraGm80(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraGm80")
    {
        m_command = std::make_unique<SolenCommonCtrl>(attr.attr.usbAttrs.vid, attr.attr.usbAttrs.pid, attr.attr.usbAttrs.busnum, attr.attr.usbAttrs.dev);
    }
};
