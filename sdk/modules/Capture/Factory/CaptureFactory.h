// Chooses the frame transport of a camera from its identity.
#pragma once

#include "ICapture.h"
#include "qv_camera_sdk_types.h"

// The transport for attr, owned by the caller; null when none applies.
// arg is handed to the network transport only.
ICapture* createCaptureInstance(QV_CAM_ATTR const& attr, unsigned int arg);

// Older rule set for callers that only have bare identifiers.
ICapture* createCaptureInstance(int vid, int pid, int bus, int address);
