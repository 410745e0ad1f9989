// Maps a camera's identity to the driver class that serves it.
#pragma once

#include <vector>

#include "ICameraOps.h"
#include "UsbCameraList.h"
#include "qv_camera_sdk_types.h"

// A new driver owned by the caller, or null when no driver serves this identity.
ICameraOps* createCameraInstance(const QV_CAM_ATTR& attr, void* handle);

// Every USB vendor/product pair the factory knows, in table order; the
// identifiers passed to enumeration and to the hot-plug listener.
const std::vector<usb_id>& supportedUsbIds();
