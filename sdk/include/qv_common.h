// Logging level and the small file and pixel helpers offered for debugging dumps.
#ifndef QV_COMMON_H
#define QV_COMMON_H

#include <string>
#include "qv_camera_sdk_types.h"

enum LogLevel : int32_t {
    LOG_LEVEL_INFO = 0,
    LOG_LEVEL_WARN = 1,
    LOG_LEVEL_ERROR = 2,
};

// Records the level and echoes "log level:<n>". Every message is printed whatever the level.
QV_SDK_API void setLogLevel(LogLevel level);
QV_SDK_API LogLevel getLogLevel();

// Receives one log line: its level and the whole line as it would be printed, without the
// newline. It runs on the thread that logs (an application thread or one of the library's).
typedef void (*QV_LOG_CALLBACK)(int32_t level, const char* line, void* user);
// Hands every log line to callback instead of standard output; null restores standard
// output. Returns 0 once no call of the previous callback runs (its user data may then be
// freed). Lines logged while the callback runs, on its thread, go to standard output;
// called from inside the callback it answers -1.
QV_SDK_API int QV_SDK_SetLogCallback(QV_LOG_CALLBACK callback, void* user);

// Local time as "YYYY-MM-DD hh:mm:ss"; empty when the local time is not available.
QV_SDK_API std::string getSysTime();

// Raw bytes to a file.
QV_SDK_API void saveYUVImg(const char* path, void* data, unsigned long size);
// count floats as count/3 lines "x;y;z".
QV_SDK_API void savePointCloud(const char* path, float* points, unsigned long count);
// count floats as an ASCII PCD 0.7 file; y and z are negated into the viewer's axis convention.
QV_SDK_API void savePointCloudWithPcdFormat(const char* path, float* points, unsigned long count);
// Reads up to size bytes; returns the number read, or -1 when the file cannot be opened.
QV_SDK_API int readData(const char* path, void* buffer, int size);
QV_SDK_API int save4img(const char* path, float* tof, float* peak, float* noise, float* multishot, int count,
                        float value);
// Packed B,G,R to 8-bit grey (output first).
QV_SDK_API void bgr2mono8(unsigned char* mono, unsigned char* bgr, unsigned int width, unsigned int height);

#endif
