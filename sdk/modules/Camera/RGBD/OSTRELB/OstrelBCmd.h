// Commands of the Ostrel B: those of the projector cameras, plus the ITO threshold and the
// depth engine's sensing parameters.
#pragma once

#include "ProjectorCameraCmd.h"

class OstrelBCmd : public ProjectorCameraCmd {
public:
    virtual int setItoValue(uint32_t /*value*/) { return notSupported(); }
    virtual int setDsensePara(const DSENSE_PARA_S& /*para*/) { return notSupported(); }
    virtual int getDsensePara(DSENSE_PARA_S& /*para*/) { return notSupported(); }
};
