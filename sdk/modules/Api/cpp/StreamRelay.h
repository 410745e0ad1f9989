// Routes an open camera's frames to the application's callbacks. While one runs, its thread is
// known as a callback thread of that camera (CallbackThread), and once closed nothing more is
// delivered with the camera's handle.
#pragma once

#include <atomic>
#include <mutex>

#include "qv_camera_sdk_types.h"

class StreamRelay {
public:
    explicit StreamRelay(void* handle) : m_handle(handle) {}

    // What to register with the driver in place of the application's record; a null callback stays null.
    STREAM_CALLBACK_S route(const STREAM_CALLBACK_S* application);
    STREAM_CALLBACK_INNER_S route(const STREAM_CALLBACK_INNER_S* application);

    // Nothing is delivered any more: the handle is going away.
    void close() { m_open = false; }

private:
    static void onData(void* driverHandle, const CAM_DATA* data, void* self);
    static void onInner(void* driverHandle, const CAM_DATA_INNER* data, void* self);

    void* const m_handle;
    std::atomic<bool> m_open{true};
    std::mutex m_mutex;  // guards the two records; never held while a callback runs
    STREAM_CALLBACK_S m_data{};
    STREAM_CALLBACK_INNER_S m_inner{};
};
