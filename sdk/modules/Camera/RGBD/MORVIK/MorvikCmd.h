// Commands of the Morvik (a network RGB-D camera): its light, the gains and exposures of
// its infrared and colour sensors, the projector's ITO value and temperature. This release
// drives no Morvik: every operation answers "not support to <operation>" until a driver's
// command object overrides it.
#pragma once

#include <cstdint>

#include "ICommand.h"

class MorvikCmd : public ICommand {
public:
    virtual int setLightTime(uint8_t /*time*/) { return notSupported(); }
    virtual int getLightTime(uint8_t& /*time*/) { return notSupported(); }
    virtual int setLightCurrent(uint32_t /*current*/) { return notSupported(); }
    virtual int getLightCurrent(uint32_t& /*current*/) { return notSupported(); }
    virtual int setIrSensorGain(uint16_t /*gain*/) { return notSupported(); }
    virtual int getIrSensorGain(uint16_t& /*gain*/) { return notSupported(); }
    virtual int setRgbSensorGain(uint8_t /*gain*/) { return notSupported(); }
    virtual int getRgbSensorGain(uint8_t& /*gain*/) { return notSupported(); }
    virtual int setIrSensorExpose(uint8_t /*exposure*/) { return notSupported(); }
    virtual int getIrSensorExpose(uint8_t& /*exposure*/) { return notSupported(); }
    virtual int setRgbSensorExpose(uint8_t /*exposure*/) { return notSupported(); }
    virtual int getRgbSensorExpose(uint8_t& /*exposure*/) { return notSupported(); }
    virtual int setItoValue(uint32_t /*value*/) { return notSupported(); }
    virtual int getItoValue(uint32_t& /*value*/) { return notSupported(); }
    virtual int getProjectorTemp(float& /*celsius*/) { return notSupported(); }
};
