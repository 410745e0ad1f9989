// Calls only the Pellam dToF camera offers. The camera has several ToF sensors; a call on
// one of them takes its index (0 first) after the handle; `keep` asks the camera to store
// the value.
// Each answers -100 for a null handle, -83 for one that is not listed, -101 with "register
// callback failed, please open camera first" when the camera is not open, -2 when it is not
// a Pellam or the index names no sensor, -1 when the sensor has no address; otherwise the
// camera's own code.
#ifndef QV_CAMERA_SDK_PELLAM_H
#define QV_CAMERA_SDK_PELLAM_H

#include "qv_camera_sdk_types.h"

// Frames of all sensors of one capture instant, in one callback.
QV_SDK_API int QV_PD_RegisterStreamSetCallback(void* handle, STREAM_SET_CALLBACK_S* callback);
QV_SDK_API int QV_PD_SetRegister(void* handle, uint32_t tofIndex, uint32_t reg, uint32_t value);  // a sensor register
QV_SDK_API int QV_PD_GetRegister(void* handle, uint32_t tofIndex, uint32_t reg, uint32_t& value);
QV_SDK_API int QV_PD_SetLightPulseLevel(void* handle, uint32_t tofIndex, uint32_t level);  // light pulse level
QV_SDK_API int QV_PD_GetLightPulseLevel(void* handle, uint32_t tofIndex, uint32_t& level);
QV_SDK_API int QV_PD_SetIntegDura(void* handle, uint32_t tofIndex, float duration, bool keep);  // integration, us
QV_SDK_API int QV_PD_GetIntegDura(void* handle, uint32_t tofIndex, float& duration);
QV_SDK_API int QV_PD_SetIntegNum(void* handle, uint32_t tofIndex, uint32_t count, bool keep);  // integrations/frame
QV_SDK_API int QV_PD_GetIntegNum(void* handle, uint32_t tofIndex, uint32_t& count);
QV_SDK_API int QV_PD_SetRange(void* handle, uint32_t tofIndex, uint32_t range);  // measuring range, mm
QV_SDK_API int QV_PD_GetRange(void* handle, uint32_t tofIndex, uint32_t& range);
QV_SDK_API int QV_PD_SetVSPAD(void* handle, uint32_t tofIndex, uint32_t vspad);  // bias of the photon detector
QV_SDK_API int QV_PD_GetVSPAD(void* handle, uint32_t tofIndex, uint32_t& vspad);
QV_SDK_API int QV_PD_SetPwmDuty(void* handle, uint32_t tofIndex, uint32_t duty);  // illumination duty, percent
QV_SDK_API int QV_PD_GetPwmDuty(void* handle, uint32_t tofIndex, uint32_t& duty);
QV_SDK_API int QV_PD_SetTofNum(void* handle, uint32_t count);  // how many sensors run
QV_SDK_API int QV_PD_GetTofNum(void* handle, uint32_t& count);
QV_SDK_API int QV_PD_SetSerialNumber(void* handle, const char* serial, int length);  // stored serial number
QV_SDK_API int QV_PD_SetCamParameter(void* handle, uint32_t tofIndex, const CAM_Parameter& parameter);  // intrinsics
// Uploads a sensor's calibration data; progress (may be null) follows the upload.
QV_SDK_API int QV_PD_SetCalibrationData(void* handle, uint32_t tofIndex, unsigned char* data, unsigned int length,
                                        CAM_UPGRADE_DEV_S* progress, int mode);
QV_SDK_API int QV_PD_GetCalibrationData(void* handle, uint32_t tofIndex, unsigned char* data, unsigned int length);
QV_SDK_API int QV_PD_SetCalibTof(void* handle, uint32_t tofIndex, uint32_t mode);  // sensor's calibration mode, 0 off

#endif
