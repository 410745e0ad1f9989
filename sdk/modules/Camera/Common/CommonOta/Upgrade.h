// Firmware upgrade of a camera: checks a package and sends it to the device.
#pragma once

#include <string>

#include "ICapture.h"
#include "qv_camera_sdk_types.h"

class Upgrade {
public:
    Upgrade(ICapture* capture, void* handle, QV_CAM_ATTR_TYPE type);
    // Firmware maintenance is not carried by this release: always -1 with an ERROR line.
    int upgrade(std::string const& packagePath, CAM_UPGRADE_DEV_S* progress);

private:
    ICapture* m_capture;
    void* m_handle;
    QV_CAM_ATTR_TYPE m_type;
};
