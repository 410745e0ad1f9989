// G700 camera of the Solen family (USB 0x3482:0x5724, 0x1A86:0x5724).
#pragma once

#include "SolenCommonCtrl.h"
#include "UnsupportedCamera.h"

class CameraG700 : public UnsupportedCamera {
public:
    CameraG700(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraG700")
    {
        m_command = std::make_unique<SolenCommonCtrl>(attr.attr.usbAttrs.vid, attr.attr.usbAttrs.pid, attr.attr.usbAttrs.busnum, attr.attr.usbAttrs.dev);
    }
};
