// Frame transport seen by a camera driver.
#pragma once

#include <cstdint>
#include <vector>

// One delivered frame; data is valid only during the callback.
struct frame_info {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t sequence = 0;
    uint64_t timestamp = 0;  // milliseconds of the configured clock
    uint32_t format = 0;
    const unsigned char* data = nullptr;
    uint32_t size = 0;
};

typedef void (*frame_callback_t)(const frame_info* frame, void* user);

// Configuration handed to ICapture::start; copied whole by the transport.
struct video_cfg {
    uint32_t format = 0;  // UVC: 0 YUYV, anything else MJPEG
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t fps = 0;
    frame_callback_t callback = nullptr;
    void* user = nullptr;
    uint32_t timestampType = 0;  // 0 steady clock, other values system clock
};

// One stream format a transport can deliver.
struct video_attr_s {
    uint32_t format = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t fps = 0;
};

// The stream-lifecycle contract every transport keeps (drivers and the exported calls rely on it):
// - A transport can be opened, closed and opened again; each open starts afresh.
// - start() on a streaming transport is refused with a log line and -1, leaving the stream
//   undisturbed; stop() on a stopped transport returns 0.
// - The frame callback runs on the transport's own thread with no transport lock held, and may
//   call any operation of the same transport, stop() and close() included.
// - stop()/close() called from outside the callback return only when no callback is running and
//   none will start, the transport's threads joined.
// - Called from inside the callback (on the transport's own thread) they mark the stream stopped
//   (no callback after the current one returns) and return 0 at once; the join is finished later
//   from another thread (the next start/close/destructor), never a self-join. start() from inside
//   the callback is refused with -1 (it would have to join its own thread).
// - The destructor is never run on the transport's own thread (the driver layer defers it); it
//   stops and closes whatever is still running.
// - An unplugged device ends the transport's threads by themselves with one log line; stop() and
//   close() afterwards return promptly, and after close() plus destruction no thread and no file
//   descriptor of the transport remains.
// - No lock of the transport is held while the callback runs or while a thread is joined, so a
//   callback that calls into the library never waits for a thread that waits for it.
class ICapture {
public:
    virtual ~ICapture() = default;
    virtual int open() = 0;
    virtual int close() = 0;
    virtual int getCapability(std::vector<video_attr_s>& list) = 0;
    virtual int start(video_cfg const& cfg) = 0;
    virtual int stop() = 0;
    virtual int cmdMsg(void* request) = 0;
    virtual int read(void* buffer, int size, int timeout) = 0;
};
