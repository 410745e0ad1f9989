// Calls only the Morvik RGB-D camera offers, reaching its command object.
#include "ModelCallPatterns.h"
#include "MorvikCmd.h"
#include "qv_camera_sdk_morvik.h"

#define MORVIK_CALL(operation)                                                                                 \
    handleCheckedCall<MorvikCmd>(handle, QV_CALL_SITE,                                                         \
                                 "This camera is not MORVIK camera and does not support this interface !",     \
                                 [&](MorvikCmd & cmd) { return operation; })

int QV_MORVIK_SetLightTime(void* handle, uint8_t time) { return MORVIK_CALL(cmd.setLightTime(time)); }
int QV_MORVIK_GetLightTime(void* handle, uint8_t& time) { return MORVIK_CALL(cmd.getLightTime(time)); }
int QV_MORVIK_SetLightCurrent(void* handle, uint32_t current) { return MORVIK_CALL(cmd.setLightCurrent(current)); }
int QV_MORVIK_GetLightCurrent(void* handle, uint32_t& current) { return MORVIK_CALL(cmd.getLightCurrent(current)); }
int QV_MORVIK_SetIrSensorGain(void* handle, uint16_t gain) { return MORVIK_CALL(cmd.setIrSensorGain(gain)); }
int QV_MORVIK_GetIrSensorGain(void* handle, uint16_t& gain) { return MORVIK_CALL(cmd.getIrSensorGain(gain)); }
int QV_MORVIK_SetRgbSensorGain(void* handle, uint8_t gain) { return MORVIK_CALL(cmd.setRgbSensorGain(gain)); }
int QV_MORVIK_GetRgbSensorGain(void* handle, uint8_t& gain) { return MORVIK_CALL(cmd.getRgbSensorGain(gain)); }
int QV_MORVIK_SetIrSensorExpose(void* handle, uint8_t exposure) { return MORVIK_CALL(cmd.setIrSensorExpose(exposure)); }
int QV_MORVIK_GetIrSensorExpose(void* handle, uint8_t& exposure) { return MORVIK_CALL(cmd.getIrSensorExpose(exposure)); }
int QV_MORVIK_SetRgbSensorExpose(void* handle, uint8_t exposure) { return MORVIK_CALL(cmd.setRgbSensorExpose(exposure)); }
int QV_MORVIK_GetRgbSensorExpose(void* handle, uint8_t& exposure) { return MORVIK_CALL(cmd.getRgbSensorExpose(exposure)); }
int QV_MORVIK_SetItoValue(void* handle, uint32_t value) { return MORVIK_CALL(cmd.setItoValue(value)); }
int QV_MORVIK_GetItoValue(void* handle, uint32_t& value) { return MORVIK_CALL(cmd.getItoValue(value)); }
int QV_MORVIK_GetProjectorTemp(void* handle, float& celsius) { return MORVIK_CALL(cmd.getProjectorTemp(celsius)); }
