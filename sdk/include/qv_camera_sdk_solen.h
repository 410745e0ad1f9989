// Calls only the Solen cameras (Gm80, G700, Fl30, Fl30v) offer: their control channel
// (USB bulk or the serial line of the camera's USB serial bridge) and their settings.
// A call on a camera answers -1 with "get camera handle fail." when the handle is not an
// open camera, -101 when the camera was closed meanwhile and -2 when it is not a Solen
// camera; otherwise the camera's own code (-1 when the camera did not answer or refused).
#ifndef QV_CAMERA_SDK_SOLEN_H
#define QV_CAMERA_SDK_SOLEN_H

#include "qv_camera_sdk_types.h"

// Version of the depth processor; min(length, capacity) bytes are copied.
QV_SDK_API int QV_Solen_GetHimaxVersion(void* handle, char* buffer, int capacity);

// Raw bytes on the control channel, 1..65536 of them, waiting at most timeoutMs
// (1..60000; a serial line waits whole seconds, rounded down). CustomWrite first drops
// what an earlier reply left unread, then writes all `length` bytes: 0. CustomRead reads
// once: the number of bytes received. The camera's requests are text ended by a zero
// byte ("ARG READ:SN=" and its zero), each answered by one reply.
QV_SDK_API int QV_Solen_CustomWrite(void* handle, const unsigned char* data, unsigned int length, int timeoutMs);
QV_SDK_API int QV_Solen_CustomRead(void* handle, unsigned char* data, unsigned int length, int timeoutMs);

// Cameras opened after this call take only the video function behind their own USB hub
// (match true), or else the last one listed (false, the default: virtual machines
// rewrite USB port paths). No handle; returns 0.
QV_SDK_API int QV_Solen_SetUsbDevMatch(bool match);

// Settings, as the camera keeps them.
QV_SDK_API int QV_Solen_SetAeMode(void* handle, int mode);  // auto exposure mode
QV_SDK_API int QV_Solen_GetAeMode(void* handle, int& mode);
QV_SDK_API int QV_Solen_SetClMode(void* handle, int mode);
QV_SDK_API int QV_Solen_GetClMode(void* handle, int& mode);
QV_SDK_API int QV_Solen_SetPwmDuty(void* handle, int duty);  // projector duty cycle, percent
QV_SDK_API int QV_Solen_GetPwmDuty(void* handle, int& duty);
QV_SDK_API int QV_Solen_SetLightingTime(void* handle, int value);
QV_SDK_API int QV_Solen_GetLightingTime(void* handle, int& value);
QV_SDK_API int QV_Solen_SetSdLevel(void* handle, int level);  // spatial denoise of the depth processor
QV_SDK_API int QV_Solen_GetSdLevel(void* handle, int& level);
QV_SDK_API int QV_Solen_SetTd(void* handle, int value);  // temporal denoise of the depth processor
QV_SDK_API int QV_Solen_GetTd(void* handle, int& value);
QV_SDK_API int QV_Solen_SetTemperatureCompensation(void* handle, bool enable);
// 5, 10, 15, 20, 25 or 30: the rate the camera runs at until a stream starts with the rate
// of its stream parameters (QV_SDK_SetStreamParam).
QV_SDK_API int QV_Solen_SetFrameRate(void* handle, int fps);

#endif
