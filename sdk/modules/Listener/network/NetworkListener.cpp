#include "NetworkListener.h"

#include "Logger.h"

int NetworkListener::start(QV_LISTENER_CALLBACK const&, bool)
{
    QV_LOGE("network listener is not supported by this release");
    return -1;
}

int NetworkListener::stop() { return 0; }
