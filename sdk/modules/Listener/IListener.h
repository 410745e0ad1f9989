// A source of camera arrival and departure events.
#pragma once

#include "qv_camera_sdk_types.h"

class IListener {
public:
    virtual ~IListener() = default;
    virtual int start(QV_LISTENER_CALLBACK const& callback, bool enumerate) = 0;
    virtual int stop() = 0;
};
