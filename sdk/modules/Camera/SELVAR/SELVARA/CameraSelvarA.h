// Selvar A ToF camera (USB 0x0C45:0x636D).
#pragma once

#include "SelvarACmd.h"
#include "UnsupportedCamera.h"

class CameraSelvarA : public UnsupportedCamera {
public:
    // Stream bits of a Selvar A stream: both set when each frame carries two images side by side.
    static constexpr int kStreamFirstImage = 0x01;
    static constexpr int kStreamSecondImage = 0x40;

    CameraSelvarA(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraSelvarA")
    {
        m_command = std::make_unique<SelvarACmd>();
    }
    int registerMergeDataCallback(MERGE_CALLBACK_S*) { return notSupported("registerMergeDataCallback"); }
    // The streams currently delivered; none while the camera cannot stream.
    virtual int getStreamType() const { return 0; }
};
