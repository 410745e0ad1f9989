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

// Library version "v1.2.28.20241021": min(capacity, 17) bytes are copied.
QV_SDK_API int QV_SDK_GetSwVersion(char* version, unsigned int capacity);

#endif
