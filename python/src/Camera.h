// One opened camera as the Python object orrindale.open() returns: its handle, its stream
// and the queue its frames wait in. Any thread may call any method; start, stop and close
// run one at a time.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "FrameReceiver.h"
#include "qv_camera_sdk_types.h"

namespace orrpy {

class CameraList;

struct StartRequest {
    bool defaults = true;  // nothing named: the camera's default streams
    bool depth = false, color = false, ir = false, cloud = false;
    std::optional<STREAM_PARAM_S> depthMode, colorMode;
    size_t queue = 4;
};

class Camera {
public:
    // Opens camera i of the list (its handle is taken from it); config: the camera's
    // configuration file, or empty for the built-in defaults.
    Camera(CameraList& list, size_t i, const std::string& config);
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    void start(const StartRequest& request);
    void stop();
    void close();
    bool streaming() const;
    bool closed() const;

    // The next group, waiting at most timeout seconds (None: for ever) and answering Ctrl-C;
    // None once the stream was stopped and its queue is empty.
    pybind11::object read(std::optional<double> timeout);
    // Refuses (orrindale.Error) when the camera is not streaming and nothing is queued.
    void checkReadable() const;
    uint64_t received() const { return m_receiver->queue().received(); }
    uint64_t dropped() const { return m_receiver->queue().dropped(); }

    // For calls on the open camera; raises when it was closed.
    void* handle() const;
    CAMERA_MODEL_E model() const { return m_model; }
    pybind11::dict info() const { return m_info; }
    TIME_STAMP_TYPE clock() const { return m_clock; }
    void setClock(TIME_STAMP_TYPE clock);

private:
    void stopLocked();
    // After a wait without frames: whether the camera's USB device is gone, and if so the
    // stream is ended (readers see the end of the stream, not time-outs for ever).
    bool endIfUnplugged();
    void tellDepthProcessor(const StartRequest& request, int mask);

    mutable std::mutex m_mutex;  // start, stop and close; taken without the interpreter lock
    void* m_handle = nullptr;
    CAMERA_MODEL_E m_model;
    pybind11::dict m_info;
    bool m_streaming = false;
    TIME_STAMP_TYPE m_clock = TIME_STAMP_STEADY;
    std::string m_deviceNode;  // /dev/bus/usb/BBB/AAA of a USB camera, else empty
    std::shared_ptr<FrameReceiver> m_receiver;
};

}  // namespace orrpy
