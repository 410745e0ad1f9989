// The stream callback a camera is given: copies each group out of the library's buffers
// and queues it. It runs on the transport's thread and never waits for Python.
#pragma once

#include "FrameQueue.h"
#include "qv_camera_sdk_types.h"

namespace orrpy {

class FrameReceiver {
public:
    FrameQueue& queue() { return m_queue; }
    STREAM_CALLBACK_S callback() { return STREAM_CALLBACK_S{&FrameReceiver::onFrames, this}; }
    static void onFrames(void* handle, const CAM_DATA* data, void* self);

private:
    FrameQueue m_queue;
};

}  // namespace orrpy
