// Calls only the Ostrel B RGB-D camera offers.
// Each answers -100 for a null handle, -83 for one that is not listed, -101 when the camera
// is not open, -2 when it is not an Ostrel B; otherwise the camera's own code.
#ifndef QV_CAMERA_SDK_OSTREL_B_H
#define QV_CAMERA_SDK_OSTREL_B_H

#include "qv_camera_sdk_types.h"

QV_SDK_API int QV_OSB_SetExposeTime(void* handle, uint8_t ir, uint8_t rgb);  // infrared and colour exposure
QV_SDK_API int QV_OSB_GetExposeTime(void* handle, uint8_t& ir, uint8_t& rgb);
QV_SDK_API int QV_OSB_SetVcelLightCurrent(void* handle, uint32_t current);  // projector current, mA
QV_SDK_API int QV_OSB_GetVcelLightCurrent(void* handle, uint32_t& current);
QV_SDK_API int QV_OSB_SetIrLightCurrent(void* handle, uint32_t current);  // flood light current, mA
QV_SDK_API int QV_OSB_GetIrLightCurrent(void* handle, uint32_t& current);
QV_SDK_API int QV_OSB_SetIrSensorGain(void* handle, uint8_t gain);  // infrared sensor gain
QV_SDK_API int QV_OSB_GetIrSensorGain(void* handle, uint8_t& gain);
QV_SDK_API int QV_OSB_SetItoValue(void* handle, uint32_t value);  // projector's ITO threshold
QV_SDK_API int QV_OSB_GetItoValue(void* handle, uint32_t& value);
QV_SDK_API int QV_OSB_GetProjectorTemp(void* handle, float& celsius);  // projector temperature
QV_SDK_API int QV_OSB_SetDsensePara(void* handle, const DSENSE_PARA_S& para);  // depth engine's parameters
QV_SDK_API int QV_OSB_GetDsensePara(void* handle, DSENSE_PARA_S& para);

#endif
