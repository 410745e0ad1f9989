// Calls only the Fl30c RGB-D camera offers: its extension-unit commands and settings.
// Each answers -1 with "get camera handle fail." when the handle is not an open camera,
// -101 when the camera was closed meanwhile, and -2 when the camera is not an Fl30c;
// otherwise the camera's own code (-88 command not written, -89 reply not read).
#ifndef QV_CAMERA_SDK_FL30C_H
#define QV_CAMERA_SDK_FL30C_H

#include "qv_camera_sdk_types.h"

// Version of the depth processor; min(length, capacity) bytes are copied.
QV_SDK_API int QV_FL30C_GetHimaxVersion(void* handle, char* buffer, int capacity);
// Raw extension-unit command: selector is the command code, data its 64-byte payload
// (length bytes are written, or read into data).
QV_SDK_API int QV_FL30C_CustomRead(void* handle, unsigned char selector, unsigned char* data, unsigned int length);
QV_SDK_API int QV_FL30C_CustomWrite(void* handle, unsigned char selector, unsigned char* data, unsigned int length);

// Sensor gain 1..28.
QV_SDK_API int QV_FL30C_SetGain(void* handle, int gain);
QV_SDK_API int QV_FL30C_GetGain(void* handle, int& gain);
QV_SDK_API int QV_FL30C_SetAeMode(void* handle, int mode);
QV_SDK_API int QV_FL30C_GetAeMode(void* handle, int& mode);
QV_SDK_API int QV_FL30C_SetLightingTime(void* handle, int value);
QV_SDK_API int QV_FL30C_GetLightingTime(void* handle, int& value);
QV_SDK_API int QV_FL30C_SetCurrentIntensity(void* handle, int value);
QV_SDK_API int QV_FL30C_GetCurrentIntensity(void* handle, int& value);
QV_SDK_API int QV_FL30C_SetConfidenceLevel(void* handle, int level);
QV_SDK_API int QV_FL30C_GetConfidenceLevel(void* handle, int& level);
QV_SDK_API int QV_FL30C_SetSdLevel(void* handle, int level);
QV_SDK_API int QV_FL30C_GetSdLevel(void* handle, int& level);
QV_SDK_API int QV_FL30C_SetTd(void* handle, int value);
QV_SDK_API int QV_FL30C_GetTd(void* handle, int& value);
QV_SDK_API int QV_FL30C_SetTemperatureDriftCompensation(void* handle, bool enable);
// 10, 15, 25 or 30.
QV_SDK_API int QV_FL30C_SetFrameRate(void* handle, int fps);
// device: 0 depth processor, 1 projector, 2 image sensor; degrees Celsius.
QV_SDK_API int QV_FL30C_GetTemperature(void* handle, int device, float& celsius);

#endif
