// Calls only the Pellam dToF camera offers, reaching its driver and command object.
#include <string>

#include "ModelCallPatterns.h"
#include "qv_camera_sdk_pellam.h"

// A call on the sensor tofIndex: `cmd` is the command object, `address` the sensor's.
#define SENSOR_CALL(operation) \
    pellamSensorCall(handle, QV_CALL_SITE, tofIndex, [&](PellamCmd & cmd, uint32_t address) { return operation; })
// A call on the whole camera.
#define CAMERA_CALL(operation) \
    pellamCall(handle, QV_CALL_SITE, [&](CameraPellam&, PellamCmd & cmd) { return operation; })

int QV_PD_RegisterStreamSetCallback(void* handle, STREAM_SET_CALLBACK_S* callback)
{
    return pellamCall(handle, QV_CALL_SITE,
                      [&](CameraPellam& pellam, PellamCmd&) { return pellam.registerStreamSetCallback(callback); });
}

int QV_PD_SetRegister(void* handle, uint32_t tofIndex, uint32_t reg, uint32_t value)
{
    return SENSOR_CALL(cmd.setRegister(address, reg, value));
}
int QV_PD_GetRegister(void* handle, uint32_t tofIndex, uint32_t reg, uint32_t& value)
{
    return SENSOR_CALL(cmd.getRegister(address, reg, value));
}
int QV_PD_SetLightPulseLevel(void* handle, uint32_t tofIndex, uint32_t level)
{
    return SENSOR_CALL(cmd.setLightPulseLevel(address, level));
}
int QV_PD_GetLightPulseLevel(void* handle, uint32_t tofIndex, uint32_t& level)
{
    return SENSOR_CALL(cmd.getLightPulseLevel(address, level));
}
int QV_PD_SetIntegDura(void* handle, uint32_t tofIndex, float duration, bool keep)
{
    return SENSOR_CALL(cmd.setIntegDura(address, duration, keep));
}
int QV_PD_GetIntegDura(void* handle, uint32_t tofIndex, float& duration)
{
    return SENSOR_CALL(cmd.getIntegDura(address, duration));
}
int QV_PD_SetIntegNum(void* handle, uint32_t tofIndex, uint32_t count, bool keep)
{
    return SENSOR_CALL(cmd.setIntegNum(address, count, keep));
}
int QV_PD_GetIntegNum(void* handle, uint32_t tofIndex, uint32_t& count)
{
    return SENSOR_CALL(cmd.getIntegNum(address, count));
}
int QV_PD_SetRange(void* handle, uint32_t tofIndex, uint32_t range) { return SENSOR_CALL(cmd.setRange(address, range)); }
int QV_PD_GetRange(void* handle, uint32_t tofIndex, uint32_t& range) { return SENSOR_CALL(cmd.getRange(address, range)); }
int QV_PD_SetVSPAD(void* handle, uint32_t tofIndex, uint32_t vspad) { return SENSOR_CALL(cmd.setVspad(address, vspad)); }
int QV_PD_GetVSPAD(void* handle, uint32_t tofIndex, uint32_t& vspad) { return SENSOR_CALL(cmd.getVspad(address, vspad)); }
int QV_PD_SetPwmDuty(void* handle, uint32_t tofIndex, uint32_t duty)
{
    return SENSOR_CALL(cmd.setPwmDuty(address, duty));
}
int QV_PD_GetPwmDuty(void* handle, uint32_t tofIndex, uint32_t& duty)
{
    return SENSOR_CALL(cmd.getPwmDuty(address, duty));
}
int QV_PD_SetTofNum(void* handle, uint32_t count) { return CAMERA_CALL(cmd.setTofNum(count)); }
int QV_PD_GetTofNum(void* handle, uint32_t& count) { return CAMERA_CALL(cmd.getTofNum(count)); }

int QV_PD_SetSerialNumber(void* handle, const char* serial, int length)
{
    const CallSite site = QV_CALL_SITE;
    return CAMERA_CALL(checkBufferArgument(serial, length, site)
                           ? cmd.setSn(std::string(serial, static_cast<size_t>(length)))
                           : -1);
}

int QV_PD_SetCamParameter(void* handle, uint32_t tofIndex, const CAM_Parameter& parameter)
{
    return SENSOR_CALL(cmd.setCamParameter(address, parameter));
}

int QV_PD_SetCalibrationData(void* handle, uint32_t tofIndex, unsigned char* data, unsigned int length,
                             CAM_UPGRADE_DEV_S* progress, int mode)
{
    const CallSite site = QV_CALL_SITE;
    return SENSOR_CALL(checkBufferArgument(data, length, site)
                           ? cmd.setCalibrationData(address, data, length, progress, mode)
                           : -1);
}

int QV_PD_GetCalibrationData(void* handle, uint32_t tofIndex, unsigned char* data, unsigned int length)
{
    const CallSite site = QV_CALL_SITE;
    return SENSOR_CALL(checkBufferArgument(data, length, site) ? cmd.getCalibrationData(address, data, length) : -1);
}

int QV_PD_SetCalibTof(void* handle, uint32_t tofIndex, uint32_t mode) { return SENSOR_CALL(cmd.setCalibTof(address, mode)); }
