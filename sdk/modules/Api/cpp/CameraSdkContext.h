// The library-wide context and the camera handle record behind every void* handle.
#pragma once

#include <list>
#include <mutex>
#include <string>
#include <string_view>

#include "Logger.h"
#include "qv_camera_sdk_types.h"

class ICameraOps;
class IListener;

struct CAMERA_SDK_CTX {
    bool initialised = false;
    std::mutex mutex;  // guards the flag and both lists; released before a handle mutex is taken
    std::list<void*> handles;
    std::list<IListener*> listeners;  // owned
};

// Allocated zero-filled by the library; the caller only sees its address.
struct CAMERA_HANDLE_S {
    QV_CAM_ATTR attr;
    ICameraOps* driver;  // null while the camera is not open; owned
    std::mutex lock;     // serialises every call on this camera
    void* reserved;
};

extern CAMERA_SDK_CTX g_stCameraCtx;

// Address of the handle mutex, unchecked: only for handles already validated.
std::mutex* GetCameraLock(void* handle);

// Where a call was made, so that a shared check logs with the caller's name.
struct CallSite {
    std::string_view source;
    int line;
    const char* function;
};

#define QV_CALL_SITE (CallSite{::orrindale::log::sourceName(__FILE__), __LINE__, __func__})

// One log line in the name of the exported call at site (usable inside lambdas).
template <typename... Parts>
void logAt(const char* level, const CallSite& site, const Parts&... parts)
{
    ::orrindale::log::line(level, site.source, site.line, site.function, parts...);
}

// Handle validation steps 1-4: -100 for null (no log), -83 with "This camera handle not exist"
// for an unknown handle; on success the handle mutex is locked into lock and record is set.
int acquireHandle(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock,
                  CAMERA_HANDLE_S*& record);

// Step 5: -101 with message when the camera is not open.
int requireOpen(const CAMERA_HANDLE_S* record, const CallSite& site, const char* message = "please open camera first");

// Called from a catch block: logs the escaping exception once and gives -1, so that
// nothing is thrown across the exported interface (locks are RAII-held and released).
int unexpectedFailure(const CallSite& site) noexcept;

// Copies min(text length, capacity) bytes into buffer; the text is terminated only when
// it is shorter than the capacity.
void copyText(const std::string& text, char* buffer, int capacity);

// The driver of an open camera for a model-specific call: the camera-handle lookup
// (failure: "get camera handle fail.", -1), then the handle mutex, held in lock
// (a camera closed meanwhile: "please open camera first", -101).
int lockOpenDriver(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock, ICameraOps*& driver);

// The model of a camera for a model-specific call (failure: "get camera model fail.", -1).
int requireModel(void* handle, const CallSite& site, CAMERA_MODEL_E& model);

// Validation steps 1-4, then op(record) under the handle mutex.
template <typename Op>
int withCamera(void* handle, const CallSite& site, Op&& op)
{
    try {
        std::unique_lock<std::mutex> lock;
        CAMERA_HANDLE_S* record = nullptr;
        if (int ret = acquireHandle(handle, site, lock, record); ret != 0) return ret;
        return op(*record);
    } catch (...) {
        return unexpectedFailure(site);
    }
}

// The full validation (steps 1-6): op(driver) under the handle mutex of an open camera.
template <typename Op>
int withOpenCamera(void* handle, const CallSite& site, const char* notOpenMessage, Op&& op)
{
    return withCamera(handle, site, [&](CAMERA_HANDLE_S& record) -> int {
        if (int ret = requireOpen(&record, site, notOpenMessage); ret != 0) return ret;
        return op(*record.driver);
    });
}
