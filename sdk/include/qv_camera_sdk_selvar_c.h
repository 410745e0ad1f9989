// Calls only the Selvar C ToF camera offers. Pairs of values are one per measuring mode;
// `keep` asks the camera to store the value.
// Each answers -1 with "get camera model fail." for a handle that is not listed, -2 when
// the camera is not a Selvar C, -1 with "get camera handle fail." when it is not open,
// -101 when it was closed meanwhile; a failed operation logs "set <value> fail." (or
// "get <value> fail.") and answers the camera's code; success is 0.
#ifndef QV_CAMERA_SDK_SELVAR_C_H
#define QV_CAMERA_SDK_SELVAR_C_H

#include "qv_camera_sdk_types.h"

QV_SDK_API int QV_SC_SetPWM(void* handle, int duty);  // illumination duty cycle, percent
QV_SDK_API int QV_SC_GetPWM(void* handle, int& duty);
QV_SDK_API int QV_SC_SetRegister(void* handle, uint32_t address, uint32_t value);  // a ToF sensor register
QV_SDK_API int QV_SC_GetRegister(void* handle, uint32_t address, uint32_t& value);
QV_SDK_API int QV_SC_SetVSPAD_M(void* handle, int mode0, int mode1);  // bias of the photon detector
QV_SDK_API int QV_SC_GetVSPAD_M(void* handle, int& mode0, int& mode1);
QV_SDK_API int QV_SC_SetIntegDura_M(void* handle, float mode0, float mode1, bool keep);  // integration time, us
QV_SDK_API int QV_SC_GetIntegDura_M(void* handle, float& mode0, float& mode1);
QV_SDK_API int QV_SC_SetIntegNum_M(void* handle, int mode0, int mode1, bool keep);  // integrations per frame
QV_SDK_API int QV_SC_GetIntegNum_M(void* handle, int& mode0, int& mode1);
QV_SDK_API int QV_SC_SetRange_M(void* handle, MeasureRange mode0, MeasureRange mode1);  // measuring range
QV_SDK_API int QV_SC_GetRange_M(void* handle, MeasureRange& mode0, MeasureRange& mode1);
QV_SDK_API int QV_SC_SetLightPulseLevel_M(void* handle, PulseValue mode0, PulseValue mode1);  // light pulses
QV_SDK_API int QV_SC_GetLightPulseLevel_M(void* handle, PulseValue& mode0, PulseValue& mode1);
QV_SDK_API int QV_SC_Reboot(void* handle);  // restarts the camera
QV_SDK_API int QV_SC_GetNtcTempTure(void* handle, float& celsius);  // temperature at the thermistor
QV_SDK_API int QV_SC_GetMcuTempTure(void* handle, float& celsius);  // temperature of the microcontroller
// Uploads calibration data; progress (may be null) follows the upload.
QV_SDK_API int QV_SC_SetCalibrationData(void* handle, unsigned char* data, unsigned int length,
                                        CAM_UPGRADE_DEV_S* progress, int mode);
QV_SDK_API int QV_SC_SetCameraParameter(void* handle, const CAM_Parameter& parameter);  // stored intrinsics

#endif
