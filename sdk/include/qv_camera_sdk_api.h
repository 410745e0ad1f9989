// The exported interface of libOrrindaleCameraSdk.
//
// Calling order: QV_SDK_Init, QV_SDK_GetCameraList (or QV_SDK_CreateCamHandle),
// QV_SDK_OpenCamera, QV_SDK_RegisterStreamCallback, QV_SDK_StartStream, ...,
// QV_SDK_StopStream, QV_SDK_CloseCamera, QV_SDK_FreeCameraList (or
// QV_SDK_DestoryCamHandle), QV_SDK_Deinit. Every call returns 0 (or a count)
// on success and a negative code of QV_SDK_RESULT_E on failure; none throws.
#ifndef QV_CAMERA_SDK_API_H
#define QV_CAMERA_SDK_API_H

#include <list>
#include <string>
#include <vector>

#include "qv_camera_sdk_types.h"

class ICameraOps;

// ---------------------------------------------------------------- lifecycle and streaming
QV_SDK_API int QV_SDK_Init();
QV_SDK_API int QV_SDK_Deinit();
// Number of cameras found; one handle per camera is appended to list.
QV_SDK_API int QV_SDK_GetCameraList(std::list<void*>& list);
// Closes open cameras, frees every handle of list and empties it.
QV_SDK_API int QV_SDK_FreeCameraList(std::list<void*>& list);
// A handle for a camera whose identity is known (USB: bus and address).
QV_SDK_API int QV_SDK_CreateCamHandle(void*& handle, QV_CAM_ATTR* attr);
QV_SDK_API int QV_SDK_DestoryCamHandle(void* handle);
QV_SDK_API int QV_SDK_IsHandleExist(void* handle);
QV_SDK_API int QV_SDK_GetCameraAttrs(void* handle, QV_CAM_ATTR& attr);
// path: the camera's configuration file, or null for the built-in defaults.
QV_SDK_API int QV_SDK_OpenCamera(void* handle, const char* path);
QV_SDK_API int QV_SDK_CloseCamera(void* handle);
QV_SDK_API int QV_SDK_RegisterStreamCallback(void* handle, STREAM_CALLBACK_S* callback);
QV_SDK_API int QV_SDK_RegisterInnerStreamCallback(void* handle, STREAM_CALLBACK_INNER_S* callback);
// mask: bits of QV_MEDIA_MASK_E; 0 starts the model's default streams, and stops all streams.
QV_SDK_API int QV_SDK_StartStream(void* handle, int mask);
QV_SDK_API int QV_SDK_StopStream(void* handle, int mask);
// The driver behind an open camera, for model-specific calls.
QV_SDK_API int QV_SDK_GetCameraHandle(void* handle, ICameraOps*& ops, QV_CAM_ATTR* attr);
// type QV_LISTENER_HOTPLUG or QV_LISTENER_NETWORK; enumerate: report cameras already attached.
QV_SDK_API int QV_SDK_StartListener(QV_LISTENER_CALLBACK& callback, QV_LISTENER_TYPE type, bool enumerate);
QV_SDK_API int QV_SDK_StopListener();

// ---------------------------------------------------------------- device control
// Calls on an open camera; they answer -100 (null handle), -83 (unknown handle) and
// -101 (camera not open) like the streaming calls, and pass the driver's code through.
// param must point to an array of STREAM_PARAM_COUNT (3) records: colour, depth and
// infrared are written, in this order. New code: QV_SDK_GetStreamParamArray.
QV_SDK_API int QV_SDK_GetStreamParam(void* handle, STREAM_PARAM_S* param);
// Writes the first min(count, STREAM_PARAM_COUNT) records (indexed by STREAM_PARAM_INDEX_E)
// into params and returns how many it wrote. Sizes are those of the images as delivered:
// turned by a configured quarter turn, or of the colour grid for depth registered onto it.
QV_SDK_API int QV_SDK_GetStreamParamArray(void* handle, STREAM_PARAM_S* params, int count);
QV_SDK_API int QV_SDK_SetStreamParam(void* handle, MEDIA_TYPE_E type, const STREAM_PARAM_S* param);
QV_SDK_API int QV_SDK_GetCapability(void* handle, MEDIA_TYPE_E type, std::vector<STREAM_PARAM_S>& list);
QV_SDK_API int QV_SDK_GetCamParameter(void* handle, CAM_Parameter* parameter);
QV_SDK_API int QV_SDK_GetTofMode(void* handle, TOFMode& mode);
// Clock of the frame timestamps: steady (default) or system.
QV_SDK_API int QV_SDK_SetTimeStampType(void* handle, TIME_STAMP_TYPE type);
QV_SDK_API int QV_SDK_GetConfigInfo(void* handle, QV_CONFIG_INFO& info);
QV_SDK_API int QV_SDK_SetDevNetAttrs(void* handle, NET_DEV_ATTRS attrs);
QV_SDK_API int QV_SDK_GetDevNetAttrs(void* handle, NET_DEV_ATTRS& attrs);
QV_SDK_API int QV_SDK_LogCameraCfg(void* handle);
QV_SDK_API int QV_SDK_Usb_CustomRead(void* handle, unsigned char* data, unsigned int length, int timeout);
QV_SDK_API int QV_SDK_Usb_CustomWrite(void* handle, unsigned char* data, unsigned int length, int timeout);
QV_SDK_API int QV_SDK_Xu_CustomRead(void* handle, unsigned char selector, unsigned char* data, unsigned int length,
                                    int timeout);
QV_SDK_API int QV_SDK_Xu_CustomWrite(void* handle, unsigned char selector, unsigned char* data, unsigned int length,
                                     int timeout);
QV_SDK_API int QV_SDK_UpgradeDev(void* handle, const char* packagePath, CAM_UPGRADE_DEV_S* progress);
QV_SDK_API int QV_SDK_CAMERA_Reboot(void* handle);
QV_SDK_API int QV_SDK_GetFwVersion(void* handle, std::string& version);
QV_SDK_API int QV_SDK_GetPrivateMaxSize(void* handle, int& size);

// Text answers copied into a caller's buffer: min(length, capacity) bytes, with no
// terminator added when the text fills the buffer.
QV_SDK_API int QV_SDK_GetSerialNumber(void* handle, char* buffer, int capacity);
QV_SDK_API int QV_SDK_SetSerialNumber(void* handle, const char* serial, int length);
QV_SDK_API int QV_SDK_GetFwVersion(void* handle, char* buffer, int capacity);
QV_SDK_API int QV_SDK_GetHimaxVersion(void* handle, char* buffer, int capacity);
// Library version "v1.2.28.20241021": min(capacity, 17) bytes are copied.
QV_SDK_API int QV_SDK_GetSwVersion(char* version, unsigned int capacity);
// Not offered at this level: always -1.
QV_SDK_API int QV_SDK_GetStreamType(void* handle, int* type);
QV_SDK_API int QV_SDK_SetStreamCfg(void* handle, video_captur_attr& attr);
QV_SDK_API int QV_SDK_GetStreamCfg(void* handle, video_captur_attr& attr);
// Works on a closed camera: the model follows from the camera's identity.
QV_SDK_API int QV_SDK_GetCameraModel(void* handle, CAMERA_MODEL_E& model);
QV_SDK_API int QV_SDK_WritePrivateData(void* handle, void* data, int size, int offset);
QV_SDK_API int QV_SDK_ReadPrivateData(void* handle, void* data, int size, int offset);
QV_SDK_API int QV_SDK_GetCamParameterSet(void* handle, CAM_Parameter_Set& set);
QV_SDK_API int QV_SDK_GetOriginalCamParameter(void* handle, CAM_Parameter* parameter);
QV_SDK_API int QV_SDK_RegisterMergeFrameCallback(void* handle, MERGE_CALLBACK_S* callback);
// Splits a frame holding two images side by side (Selvar A).
QV_SDK_API int QV_SDK_PaeseImage(void* handle, CAM_FRAME& in, CAM_FRAME& first, CAM_FRAME& second);

#endif
