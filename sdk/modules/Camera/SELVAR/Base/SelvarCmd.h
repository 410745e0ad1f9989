// Commands of the Selvar ToF cameras (A and C). Values that come in pairs are one per
// measuring mode (mode0, mode1); `keep` asks the camera to store the value. This release
// drives no Selvar camera: every operation answers "not support to <operation>" until a
// driver's command object overrides it.
#pragma once

#include <cstdint>

#include "ICommand.h"

class SelvarCmd : public ICommand {
public:
    // Duty cycle of the illumination, percent.
    virtual int setPwmDuty(int /*duty*/) { return notSupported(); }
    virtual int getPwmDuty(int& /*duty*/) { return notSupported(); }
    // A register of the ToF sensor.
    virtual int setRegister(uint32_t /*address*/, uint32_t /*value*/) { return notSupported(); }
    virtual int getRegister(uint32_t /*address*/, uint32_t& /*value*/) { return notSupported(); }
    // Bias of the single-photon detector.
    virtual int setVspad(int /*mode0*/, int /*mode1*/) { return notSupported(); }
    virtual int getVspad(int& /*mode0*/, int& /*mode1*/) { return notSupported(); }
    // Integration duration, microseconds.
    virtual int setIntegDura(float /*mode0*/, float /*mode1*/, bool /*keep*/) { return notSupported(); }
    virtual int getIntegDura(float& /*mode0*/, float& /*mode1*/) { return notSupported(); }
    // Number of integrations per frame.
    virtual int setIntegNum(int /*mode0*/, int /*mode1*/, bool /*keep*/) { return notSupported(); }
    virtual int getIntegNum(int& /*mode0*/, int& /*mode1*/) { return notSupported(); }
    virtual int setRange(MeasureRange /*mode0*/, MeasureRange /*mode1*/) { return notSupported(); }
    virtual int getRange(MeasureRange& /*mode0*/, MeasureRange& /*mode1*/) { return notSupported(); }
    virtual int setLightPulseLevel(PulseValue /*mode0*/, PulseValue /*mode1*/) { return notSupported(); }
    virtual int getLightPulseLevel(PulseValue& /*mode0*/, PulseValue& /*mode1*/) { return notSupported(); }
    // Degrees Celsius at the thermistor and at the microcontroller.
    virtual int getNtcTemperature(float& /*celsius*/) { return notSupported(); }
    virtual int getMcuTemperature(float& /*celsius*/) { return notSupported(); }
    // Uploads a calibration file's bytes; progress is updated while it runs.
    virtual int setCalibrationData(unsigned char* /*data*/, unsigned int /*length*/, CAM_UPGRADE_DEV_S* /*progress*/,
                                   int /*mode*/)
    {
        return notSupported();
    }
    virtual int setCameraParameter(const CAM_Parameter& /*parameter*/) { return notSupported(); }
};
