// Calls only the Virene RGB-D camera offers.
// Each answers -100 for a null handle, -83 for one that is not listed (QV_VRN_SetAnalogGain
// also logs "QV_SDK handle is not Exist"), -101 when the camera is not open, -2 when it is
// not a Virene; otherwise the camera's own code.
#ifndef QV_CAMERA_SDK_VIRENE_H
#define QV_CAMERA_SDK_VIRENE_H

#include "qv_camera_sdk_types.h"

QV_SDK_API int QV_VRN_SetAnalogGain(void* handle, uint8_t gain);  // image sensor's analog gain
QV_SDK_API int QV_VRN_GetAnalogGain(void* handle, uint8_t& gain);
QV_SDK_API int QV_VRN_SetDigtalGain(void* handle, uint8_t gain);  // image sensor's digital gain
QV_SDK_API int QV_VRN_GetDigtalGain(void* handle, uint8_t& gain);
QV_SDK_API int QV_VRN_SetAeStatus(void* handle, bool enable);  // automatic exposure on or off
QV_SDK_API int QV_VRN_GetAeStatus(void* handle, bool& enable);
QV_SDK_API int QV_VRN_SetLightingTime(void* handle, uint8_t time);  // light-on time per frame
QV_SDK_API int QV_VRN_GetLightingTime(void* handle, uint8_t& time);
QV_SDK_API int QV_VRN_SetHimaxConfidenceLevel(void* handle, int level);  // depth processor's confidence level
QV_SDK_API int QV_VRN_GetHimaxConfidenceLevel(void* handle, int& level);
QV_SDK_API int QV_VRN_SetHimaxTd(void* handle, int value);  // depth processor's temporal denoise
QV_SDK_API int QV_VRN_GetHimaxTd(void* handle, int& value);
QV_SDK_API int QV_VRN_SetHimaxSdLevel(void* handle, int level);  // depth processor's spatial denoise
QV_SDK_API int QV_VRN_GetHimaxSdLevel(void* handle, int& level);
QV_SDK_API int QV_VRN_SetPwmDuty(void* handle, int duty);  // projector duty cycle, percent
QV_SDK_API int QV_VRN_SetFrameRate(void* handle, int fps);  // frames per second
QV_SDK_API int QV_VRN_SetExposeTime(void* handle, uint8_t exposure);  // image sensor's exposure
QV_SDK_API int QV_VRN_SetSearialNum(void* handle, const char* serial, int length);  // stored serial number
QV_SDK_API int QV_VRN_SetHimaxStream(void* handle, bool enable);  // depth processor's output on or off

#endif
