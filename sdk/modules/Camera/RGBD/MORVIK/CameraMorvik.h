// Morvik RGB-D camera on the network.
#pragma once

#include "MorvikCmd.h"
#include "UnsupportedCamera.h"

class CameraMorvik : public UnsupportedCamera {
public:
    CameraMorvik(const QV_CAM_ATTR& attr, void* handle) : UnsupportedCamera(attr, handle, "CameraMorvik")
    {
        m_command = std::make_unique<MorvikCmd>();
    }
};
