// Fl30v camera of the Solen family (USB 0x3482:0x5725).
#pragma once

#include "SolenCommonCtrl.h"
#include "UnsupportedCamera.h"

class CameraFl30v : public UnsupportedCamera {
public:
    CameraFl30v(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraFl30v")
    {
        m_command = std::make_unique<SolenCommonCtrl>(attr.attr.usbAttrs.vid, attr.attr.usbAttrs.pid, attr.attr.usbAttrs.busnum, attr.attr.usbAttrs.dev);
    }
};
