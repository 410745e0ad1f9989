// The calls every Selvar ToF camera offers, defined once for each family (QV_SA_, QV_SC_):
// the including file defines SELVAR_CALL(failure, operation on `cmd`) as its model-checked call.
#pragma once

#include "ModelCallPatterns.h"
#include "SelvarCmd.h"

#define QV_SELVAR_CALLS(PREFIX)                                                                                      \
    int PREFIX##SetPWM(void* handle, int duty) { return SELVAR_CALL("set PwmDuty fail.", cmd.setPwmDuty(duty)); }    \
    int PREFIX##GetPWM(void* handle, int& duty) { return SELVAR_CALL("get PwmDuty fail.", cmd.getPwmDuty(duty)); }   \
    int PREFIX##SetRegister(void* handle, uint32_t address, uint32_t value)                                          \
    {                                                                                                                \
        return SELVAR_CALL("set register fail.", cmd.setRegister(address, value));                                  \
    }                                                                                                                \
    int PREFIX##GetRegister(void* handle, uint32_t address, uint32_t& value)                                         \
    {                                                                                                                \
        return SELVAR_CALL("get register fail.", cmd.getRegister(address, value));                                  \
    }                                                                                                                \
    int PREFIX##SetVSPAD_M(void* handle, int mode0, int mode1)                                                       \
    {                                                                                                                \
        return SELVAR_CALL("set VSPAD fail.", cmd.setVspad(mode0, mode1));                                           \
    }                                                                                                                \
    int PREFIX##GetVSPAD_M(void* handle, int& mode0, int& mode1)                                                     \
    {                                                                                                                \
        return SELVAR_CALL("get VSPAD fail.", cmd.getVspad(mode0, mode1));                                           \
    }                                                                                                                \
    int PREFIX##SetIntegDura_M(void* handle, float mode0, float mode1, bool keep)                                    \
    {                                                                                                                \
        return SELVAR_CALL("set integration duration fail.", cmd.setIntegDura(mode0, mode1, keep));                 \
    }                                                                                                                \
    int PREFIX##GetIntegDura_M(void* handle, float& mode0, float& mode1)                                             \
    {                                                                                                                \
        return SELVAR_CALL("get integration duration fail.", cmd.getIntegDura(mode0, mode1));                       \
    }                                                                                                                \
    int PREFIX##SetIntegNum_M(void* handle, int mode0, int mode1, bool keep)                                         \
    {                                                                                                                \
        return SELVAR_CALL("set integration number fail.", cmd.setIntegNum(mode0, mode1, keep));                    \
    }                                                                                                                \
    int PREFIX##GetIntegNum_M(void* handle, int& mode0, int& mode1)                                                  \
    {                                                                                                                \
        return SELVAR_CALL("get integration number fail.", cmd.getIntegNum(mode0, mode1));                          \
    }                                                                                                                \
    int PREFIX##SetRange_M(void* handle, MeasureRange mode0, MeasureRange mode1)                                     \
    {                                                                                                                \
        return SELVAR_CALL("set measure range fail.", cmd.setRange(mode0, mode1));                                  \
    }                                                                                                                \
    int PREFIX##GetRange_M(void* handle, MeasureRange& mode0, MeasureRange& mode1)                                   \
    {                                                                                                                \
        return SELVAR_CALL("get measure range fail.", cmd.getRange(mode0, mode1));                                  \
    }                                                                                                                \
    int PREFIX##SetLightPulseLevel_M(void* handle, PulseValue mode0, PulseValue mode1)                               \
    {                                                                                                                \
        return SELVAR_CALL("set light pulse level fail.", cmd.setLightPulseLevel(mode0, mode1));                    \
    }                                                                                                                \
    int PREFIX##GetLightPulseLevel_M(void* handle, PulseValue& mode0, PulseValue& mode1)                             \
    {                                                                                                                \
        return SELVAR_CALL("get light pulse level fail.", cmd.getLightPulseLevel(mode0, mode1));                    \
    }                                                                                                                \
    int PREFIX##GetNtcTempTure(void* handle, float& celsius)                                                         \
    {                                                                                                                \
        return SELVAR_CALL("get NTC temperature fail.", cmd.getNtcTemperature(celsius));                            \
    }                                                                                                                \
    int PREFIX##GetMcuTempTure(void* handle, float& celsius)                                                         \
    {                                                                                                                \
        return SELVAR_CALL("get MCU temperature fail.", cmd.getMcuTemperature(celsius));                            \
    }                                                                                                                \
    int PREFIX##SetCalibrationData(void* handle, unsigned char* data, unsigned int length,                           \
                                   CAM_UPGRADE_DEV_S* progress, int mode)                                            \
    {                                                                                                                \
        const CallSite site = QV_CALL_SITE;                                                                          \
        return SELVAR_CALL("set calibration data fail.",                                                             \
                           checkBufferArgument(data, length, site) ? cmd.setCalibrationData(data, length, progress, mode) \
                                                                   : -1);                                            \
    }                                                                                                                \
    int PREFIX##SetCameraParameter(void* handle, const CAM_Parameter& parameter)                                     \
    {                                                                                                                \
        return SELVAR_CALL("set camera parameter fail.", cmd.setCameraParameter(parameter));                        \
    }
