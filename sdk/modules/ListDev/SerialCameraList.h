// Cameras attached by a serial line: the ttys whose USB device has an identity that only
// serial attachments have (a camera whose USB identity is a camera of its own is listed
// once, as a USB attachment, and its driver finds its tty).
#pragma once

#include <vector>

#include "UsbCameraList.h"
#include "qv_camera_sdk_types.h"

// The identities listed only as serial attachments (the E7's 2207:0016).
const std::vector<usb_id>& serialOnlyIds();

// Appends one QV_CAM_ATTR_SERIAL record per such tty, its node in devNode ("/dev/ttyACM0"),
// in the order of /sys/class/tty; the number appended.
int getSerialCameraAttrsList(std::vector<QV_CAM_ATTR>& out);
