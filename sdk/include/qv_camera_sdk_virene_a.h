// Calls only the Virene A RGB-D camera offers.
// Each answers -100 for a null handle, -83 for one that is not listed, -101 when the camera
// is not open, -2 when it is not a Virene A; otherwise the camera's own code.
#ifndef QV_CAMERA_SDK_VIRENE_A_H
#define QV_CAMERA_SDK_VIRENE_A_H

#include "qv_camera_sdk_types.h"

namespace VireneA {

QV_SDK_API int QV_VRN_A_SetExposeTime(void* handle, uint8_t ir, uint8_t rgb);  // infrared and colour exposure
QV_SDK_API int QV_VRN_A_GetExposeTime(void* handle, uint8_t& ir, uint8_t& rgb);
QV_SDK_API int QV_VRN_A_SetVcelLightCurrent(void* handle, uint32_t current);  // projector current, mA
QV_SDK_API int QV_VRN_A_GetVcelLightCurrent(void* handle, uint32_t& current);
QV_SDK_API int QV_VRN_A_SetIrLightCurrent(void* handle, uint32_t current);  // flood light current, mA
QV_SDK_API int QV_VRN_A_GetIrLightCurrent(void* handle, uint32_t& current);
QV_SDK_API int QV_VRN_A_SetIrSensorGain(void* handle, uint8_t gain);  // infrared sensor gain
QV_SDK_API int QV_VRN_A_GetIrSensorGain(void* handle, uint8_t& gain);
QV_SDK_API int QV_VRN_A_GetItoValue(void* handle, uint32_t& value);  // projector's ITO value
QV_SDK_API int QV_VRN_A_GetProjectorTemp(void* handle, float& celsius);  // projector temperature

}  // namespace VireneA

#endif
