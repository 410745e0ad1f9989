// ICapture for frames over the network. Not carried by this release: open fails
// with an ERROR line.
#pragma once

#include "PendingTransport.h"
#include "qv_camera_sdk_types.h"

class NetInput : public PendingTransport {
public:
    NetInput(QV_NETWORK_DEV_ATTR attrs, unsigned int arg);
    int open() override;

private:
    QV_NETWORK_DEV_ATTR m_attrs;
    unsigned int m_arg;
};
