// Presence of network cameras. Network discovery is not part of this release:
// start reports that and fails.
#pragma once

#include "IListener.h"

class NetworkListener : public IListener {
public:
    int start(QV_LISTENER_CALLBACK const& callback, bool enumerate) override;
    int stop() override;
};
