// Commands of the Virene: its image sensor's gains and exposure, its light and the
// settings of its Himax depth processor. This release drives no Virene: every operation
// answers "not support to <operation>" until a driver's command object overrides it.
#pragma once

#include <cstdint>

#include "ICommand.h"

class VireneCmd : public ICommand {
public:
    virtual int setAnalogGain(uint8_t /*gain*/) { return notSupported(); }
    virtual int getAnalogGain(uint8_t& /*gain*/) { return notSupported(); }
    virtual int setDigitalGain(uint8_t /*gain*/) { return notSupported(); }
    virtual int getDigitalGain(uint8_t& /*gain*/) { return notSupported(); }
    virtual int setAeStatus(bool /*enable*/) { return notSupported(); }
    virtual int getAeStatus(bool& /*enable*/) { return notSupported(); }
    virtual int setLightingTime(uint8_t /*time*/) { return notSupported(); }
    virtual int getLightingTime(uint8_t& /*time*/) { return notSupported(); }
    virtual int setHimaxConfidenceLevel(int /*level*/) { return notSupported(); }
    virtual int getHimaxConfidenceLevel(int& /*level*/) { return notSupported(); }
    virtual int setHimaxTd(int /*value*/) { return notSupported(); }
    virtual int getHimaxTd(int& /*value*/) { return notSupported(); }
    virtual int setHimaxSdLevel(int /*level*/) { return notSupported(); }
    virtual int getHimaxSdLevel(int& /*level*/) { return notSupported(); }
    virtual int setPwmDuty(int /*duty*/) { return notSupported(); }
    virtual int setFrameRate(int /*fps*/) { return notSupported(); }
    virtual int setExposeTime(uint8_t /*exposure*/) { return notSupported(); }
    // Starts (true) or stops the depth processor's output.
    virtual int setHimaxStream(bool /*enable*/) { return notSupported(); }
};
