// Commands of the Pellam dToF camera. Each ToF sensor is addressed by its bus address
// (the driver looks it up from the sensor index); `keep` asks the camera to store the
// value. This release drives no Pellam: every operation answers "not support to
// <operation>" until a driver's command object overrides it.
#pragma once

#include <cstdint>

#include "ICommand.h"

class PellamCmd : public ICommand {
public:
    virtual int setRegister(uint32_t /*sensor*/, uint32_t /*reg*/, uint32_t /*value*/) { return notSupported(); }
    virtual int getRegister(uint32_t /*sensor*/, uint32_t /*reg*/, uint32_t& /*value*/) { return notSupported(); }
    virtual int setLightPulseLevel(uint32_t /*sensor*/, uint32_t /*level*/) { return notSupported(); }
    virtual int getLightPulseLevel(uint32_t /*sensor*/, uint32_t& /*level*/) { return notSupported(); }
    virtual int setIntegDura(uint32_t /*sensor*/, float /*duration*/, bool /*keep*/) { return notSupported(); }
    virtual int getIntegDura(uint32_t /*sensor*/, float& /*duration*/) { return notSupported(); }
    virtual int setIntegNum(uint32_t /*sensor*/, uint32_t /*count*/, bool /*keep*/) { return notSupported(); }
    virtual int getIntegNum(uint32_t /*sensor*/, uint32_t& /*count*/) { return notSupported(); }
    virtual int setRange(uint32_t /*sensor*/, uint32_t /*range*/) { return notSupported(); }
    virtual int getRange(uint32_t /*sensor*/, uint32_t& /*range*/) { return notSupported(); }
    virtual int setVspad(uint32_t /*sensor*/, uint32_t /*vspad*/) { return notSupported(); }
    virtual int getVspad(uint32_t /*sensor*/, uint32_t& /*vspad*/) { return notSupported(); }
    virtual int setPwmDuty(uint32_t /*sensor*/, uint32_t /*duty*/) { return notSupported(); }
    virtual int getPwmDuty(uint32_t /*sensor*/, uint32_t& /*duty*/) { return notSupported(); }
    // How many ToF sensors the camera runs (camera-wide).
    virtual int setTofNum(uint32_t /*count*/) { return notSupported(); }
    virtual int getTofNum(uint32_t& /*count*/) { return notSupported(); }
    virtual int setCamParameter(uint32_t /*sensor*/, const CAM_Parameter& /*parameter*/) { return notSupported(); }
    virtual int setCalibrationData(uint32_t /*sensor*/, unsigned char* /*data*/, unsigned int /*length*/,
                                   CAM_UPGRADE_DEV_S* /*progress*/, int /*mode*/)
    {
        return notSupported();
    }
    virtual int getCalibrationData(uint32_t /*sensor*/, unsigned char* /*data*/, unsigned int /*length*/)
    {
        return notSupported();
    }
    // Puts a sensor into calibration mode (0 leaves it).
    virtual int setCalibTof(uint32_t /*sensor*/, uint32_t /*mode*/) { return notSupported(); }
};
