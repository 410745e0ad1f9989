// Builds the QV_CAM_ATTR of one libusb device, as enumeration and the hot-plug
// listener both report it.
#pragma once

#include <libusb.h>

#include "qv_camera_sdk_types.h"

// Clears attr, then fills type, ids, bus number, address, port number and port
// path; prints "get port numbers error" when the port path cannot be read.
void buildUsbCameraAttr(libusb_device* device, const libusb_device_descriptor& descriptor, QV_CAM_ATTR& attr);
