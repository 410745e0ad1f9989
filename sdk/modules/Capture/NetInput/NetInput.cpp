#include "NetInput.h"

#include "Logger.h"

NetInput::NetInput(QV_NETWORK_DEV_ATTR attrs, unsigned int arg) : m_attrs(attrs), m_arg(arg) {}

int NetInput::open()
{
    QV_LOGE("the network transport is not supported by this release");
    return -1;
}
