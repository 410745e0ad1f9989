// The library-wide context and the camera handle record behind every void* handle.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "ICameraOps.h"
#include "Logger.h"
#include "StreamRelay.h"
#include "qv_camera_sdk_types.h"

#include "ListenerRelay.h"

// An open camera: its driver and the relay its callbacks reach the application through.
// Shared by the handle and by the calls working on it without the handle mutex; the last one
// to let go destroys it (on a helper thread when that is a callback thread).
struct CameraSession {
    explicit CameraSession(void* handle) : relay(handle) {}
    StreamRelay relay;
    std::unique_ptr<ICameraOps> driver;  // after the relay: destroyed first, while the relay still exists
};

// Allocated zero-filled by the library; the caller only sees its handle, a token numbered once
// per process (never an address memory can hand out again), so a stale handle answers -83.
struct CAMERA_HANDLE_S {
    QV_CAM_ATTR attr;
    ICameraOps* driver;  // null while the camera is not open; session->driver
    std::mutex lock;     // serialises calls on this camera; released while a transport is waited for
    void* reserved;
    void* token;                             // the handle the application holds
    std::shared_ptr<CameraSession> session;  // set while open
    std::condition_variable idle;            // signalled when a start, stop or close ends
    int transitions;                         // starts, stops and closes running without the mutex
    bool removed;                            // destroyed or freed: calls that waited answer -83
};

struct CAMERA_SDK_CTX {
    bool initialised = false;
    std::mutex mutex;  // guards the flag and the lists; held only to look up, add or remove
    std::list<void*> handles;
    std::list<std::unique_ptr<ListenerRelay>> listeners;
    std::map<void*, std::shared_ptr<CAMERA_HANDLE_S>> records;  // handle -> record
    uintptr_t handlesMade = 0;
};

// Never destroyed: a stream or listener thread stopped from inside its own callback may still be
// finishing that callback, and calling the library, while the process exits.
extern CAMERA_SDK_CTX& g_stCameraCtx;

// Address of the handle mutex of a listed handle (null for any other). The mutex lives as long as
// the handle: prefer lockOpenDriver, which keeps it alive while it waits.
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
// Application threads first wait for a start, stop or close of the camera in progress; callback
// threads never do. A record stays valid while its mutex is held.
int acquireHandle(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock,
                  CAMERA_HANDLE_S*& record);
int acquireHandle(void* handle, const CallSite& site, std::unique_lock<std::mutex>& lock,
                  std::shared_ptr<CAMERA_HANDLE_S>& record);

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
