// Commands the RGB-D cameras with a VCSEL projector and a flood light share (Ostrel B,
// Virene A, Virene B): exposure, light currents, infrared gain, the projector's ITO value
// and temperature. This release drives none of them: every operation answers "not
// support to <operation>" until a driver's command object overrides it.
#pragma once

#include <cstdint>

#include "ICommand.h"

class ProjectorCameraCmd : public ICommand {
public:
    // Exposure of the infrared and of the colour sensor, in the camera's steps.
    virtual int setExposeTime(uint8_t /*ir*/, uint8_t /*rgb*/) { return notSupported(); }
    virtual int getExposeTime(uint8_t& /*ir*/, uint8_t& /*rgb*/) { return notSupported(); }
    // Drive currents of the projector (VCSEL) and of the infrared flood light, milliamperes.
    virtual int setVcelLightCurrent(uint32_t /*current*/) { return notSupported(); }
    virtual int getVcelLightCurrent(uint32_t& /*current*/) { return notSupported(); }
    virtual int setIrLightCurrent(uint32_t /*current*/) { return notSupported(); }
    virtual int getIrLightCurrent(uint32_t& /*current*/) { return notSupported(); }
    virtual int setIrSensorGain(uint8_t /*gain*/) { return notSupported(); }
    virtual int getIrSensorGain(uint8_t& /*gain*/) { return notSupported(); }
    // Resistance of the projector's ITO layer (its eye-safety monitor).
    virtual int getItoValue(uint32_t& /*value*/) { return notSupported(); }
    virtual int getProjectorTemp(float& /*celsius*/) { return notSupported(); }
};
