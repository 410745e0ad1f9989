// Fl30 camera of the Solen family (USB 0x3482:0x5727).
#pragma once

#include "SolenCommonCtrl.h"
#include "UnsupportedCamera.h"

class CameraFl30 : public UnsupportedCamera {
public:
    CameraFl30(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraFl30")
    {
        m_command = std::make_unique<SolenCommonCtrl>(attr.attr.usbAttrs.vid, attr.attr.usbAttrs.pid, attr.attr.usbAttrs.busnum, attr.attr.usbAttrs.dev);
    }
};
