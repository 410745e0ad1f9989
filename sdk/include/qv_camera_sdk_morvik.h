// Calls only the Morvik RGB-D camera (on the network) offers.
// Each answers -100 for a null handle, -83 for one that is not listed, -101 when the camera
// is not open, -2 when it is not a Morvik; otherwise the camera's own code.
#ifndef QV_CAMERA_SDK_MORVIK_H
#define QV_CAMERA_SDK_MORVIK_H

#include "qv_camera_sdk_types.h"

QV_SDK_API int QV_MORVIK_SetLightTime(void* handle, uint8_t time);  // light-on time per frame
QV_SDK_API int QV_MORVIK_GetLightTime(void* handle, uint8_t& time);
QV_SDK_API int QV_MORVIK_SetLightCurrent(void* handle, uint32_t current);  // projector current, mA
QV_SDK_API int QV_MORVIK_GetLightCurrent(void* handle, uint32_t& current);
QV_SDK_API int QV_MORVIK_SetIrSensorGain(void* handle, uint16_t gain);  // infrared sensor gain
QV_SDK_API int QV_MORVIK_GetIrSensorGain(void* handle, uint16_t& gain);
QV_SDK_API int QV_MORVIK_SetRgbSensorGain(void* handle, uint8_t gain);  // colour sensor gain
QV_SDK_API int QV_MORVIK_GetRgbSensorGain(void* handle, uint8_t& gain);
QV_SDK_API int QV_MORVIK_SetIrSensorExpose(void* handle, uint8_t exposure);  // infrared sensor exposure
QV_SDK_API int QV_MORVIK_GetIrSensorExpose(void* handle, uint8_t& exposure);
QV_SDK_API int QV_MORVIK_SetRgbSensorExpose(void* handle, uint8_t exposure);  // colour sensor exposure
QV_SDK_API int QV_MORVIK_GetRgbSensorExpose(void* handle, uint8_t& exposure);
QV_SDK_API int QV_MORVIK_SetItoValue(void* handle, uint32_t value);  // projector's ITO threshold
QV_SDK_API int QV_MORVIK_GetItoValue(void* handle, uint32_t& value);
QV_SDK_API int QV_MORVIK_GetProjectorTemp(void* handle, float& celsius);  // projector temperature

#endif
