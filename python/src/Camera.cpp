#include "Camera.h"

#include <chrono>
#include <cstdio>
#include <limits>

#include <unistd.h>

#include "CameraError.h"
#include "CameraList.h"
#include "OutsidePython.h"
#include "GroupArrays.h"
#include "SdkCall.h"
#include "qv_camera_sdk_api.h"
#include "qv_camera_sdk_fl30c.h"

namespace py = pybind11;

namespace orrpy {

namespace {

// The Fl30c's command that chooses what its depth processor sends: 0 depth, 1 infrared,
// 2 both in turn.
constexpr unsigned char kProcessorOutput = 0x20;
// How often a wait for frames looks for Ctrl-C.
constexpr auto kSignalCheck = std::chrono::milliseconds(100);

// The mutex is taken without the interpreter lock: its holder may need the lock back.
std::unique_lock<std::mutex> lockReleasingGil(std::mutex& mutex)
{
    py::gil_scoped_release unlocked;
    return std::unique_lock<std::mutex>(mutex);
}

}  // namespace

Camera::Camera(CameraList& list, size_t i, const std::string& config)
    : m_model(list.model(i)), m_info(list.describe(i)), m_receiver(std::make_shared<FrameReceiver>())
{
    m_handle = list.take(i);
    try {
        sdkCall("opening camera " + std::to_string(i),
                [&] { return QV_SDK_OpenCamera(m_handle, config.empty() ? nullptr : config.c_str()); });
    } catch (...) {
        OutsidePython outside;
        QV_SDK_DestoryCamHandle(m_handle);
        throw;
    }
    char serial[128] = {};
    std::string firmware;
    {
        LogRelay::Scope quiet;  // a model without these answers is still a camera
        OutsidePython outside;
        if (QV_SDK_GetSerialNumber(m_handle, serial, sizeof serial - 1) != 0) serial[0] = '\0';
        if (QV_SDK_GetFwVersion(m_handle, firmware) != 0) firmware.clear();
    }
    if (m_info["attachment"].cast<std::string>() == "usb") {
        char node[64];
        std::snprintf(node, sizeof node, "/dev/bus/usb/%03d/%03d", m_info["bus"].cast<int>(), m_info["address"].cast<int>());
        m_deviceNode = node;
    }
    if (serial[0] != '\0') m_info["serial"] = std::string(serial);
    if (!firmware.empty()) m_info["firmware"] = firmware;
}

Camera::~Camera()
{
    try {
        close();
    } catch (...) {
        // A destructor cannot raise; close() said what failed in the log.
    }
}

void* Camera::handle() const
{
    std::lock_guard<std::mutex> lock(m_mutex);  // held only to read: never across a call
    if (m_handle == nullptr) throw CameraError("the camera is closed", 0);
    return m_handle;
}

bool Camera::streaming() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_streaming;
}

bool Camera::closed() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_handle == nullptr;
}

void Camera::setClock(TIME_STAMP_TYPE clock)
{
    void* h = handle();
    sdkCall("setting the clock", [&] { return QV_SDK_SetTimeStampType(h, clock); });
    m_clock = clock;
}

void Camera::tellDepthProcessor(const StartRequest& r, int mask)
{
    // Infrared of the Fl30c comes only when its depth processor is told to send it.
    if (m_model != CAMERA_MODEL_FL30C || !(mask & (QV_MEDIA_DEPTH | QV_MEDIA_IR))) return;
    unsigned char payload[64] = {};
    payload[0] = !r.ir ? '0' : (mask & QV_MEDIA_DEPTH) ? '2' : '1';
    sdkCall("choosing the depth processor's output",
            [&] { return QV_FL30C_CustomWrite(m_handle, kProcessorOutput, payload, sizeof payload); });
}

void Camera::start(const StartRequest& r)
{
    auto lock = lockReleasingGil(m_mutex);
    if (m_handle == nullptr) throw CameraError("the camera is closed", 0);
    if (m_streaming) throw CameraError("the camera is already streaming (stop it first)", 0);
    int mask = 0;
    if (!r.defaults) {
        if (r.depth) mask |= QV_MEDIA_DEPTH;
        if (r.color) mask |= QV_MEDIA_RGB;
        if (r.ir) mask |= QV_MEDIA_IR;
        if (r.cloud) mask |= QV_MEDIA_POINTCLOUD;
        if (mask == 0) throw CameraError("start() needs at least one stream", 0);
    }
    tellDepthProcessor(r, r.defaults ? int(QV_MEDIA_DEPTH) : mask);
    if (r.depthMode)
        sdkCall("setting the depth mode", [&] { return QV_SDK_SetStreamParam(m_handle, MEDIA_TYPE_DEPTH, &*r.depthMode); });
    if (r.colorMode)
        sdkCall("setting the color mode", [&] { return QV_SDK_SetStreamParam(m_handle, MEDIA_TYPE_RGB, &*r.colorMode); });
    STREAM_CALLBACK_S callback = m_receiver->callback();
    sdkCall("registering the stream callback", [&] { return QV_SDK_RegisterStreamCallback(m_handle, &callback); });
    m_receiver->queue().open(r.queue);
    try {
        sdkCall("starting the stream", [&] { return QV_SDK_StartStream(m_handle, mask); });
    } catch (...) {
        m_receiver->queue().close();
        throw;
    }
    m_streaming = true;
}

void Camera::stop()
{
    auto lock = lockReleasingGil(m_mutex);
    stopLocked();
}

void Camera::stopLocked()
{
    if (!m_streaming) return;
    m_streaming = false;
    m_receiver->queue().close();  // readers still take what is queued, then see the end
    sdkCall("stopping the stream", [&] { return QV_SDK_StopStream(m_handle, 0); });
}

bool Camera::endIfUnplugged()
{
    // The library's calls do not tell a stream's end by unplugging; the device's node does
    // (a camera plugged in again has a new address).
    if (m_deviceNode.empty() || access(m_deviceNode.c_str(), F_OK) == 0) return false;
    auto lock = lockReleasingGil(m_mutex);
    if (!m_streaming || m_handle == nullptr) return false;
    m_streaming = false;
    m_receiver->queue().close();
    {
        LogRelay::Scope lines;
        OutsidePython outside;
        QV_SDK_StopStream(m_handle, 0);  // ends the transport's threads, and says the camera left
        LogRelay::keep(std::move(lines.lines()));
    }
    lock.unlock();
    LogRelay::flush();
    return true;
}

void Camera::close()
{
    auto lock = lockReleasingGil(m_mutex);
    if (m_handle == nullptr) return;
    void* h = m_handle;
    m_handle = nullptr;
    int closed = 0, destroyed = 0;
    {
        LogRelay::Scope lines;
        OutsidePython outside;
        if (m_streaming) QV_SDK_StopStream(h, 0);
        closed = QV_SDK_CloseCamera(h);
        destroyed = QV_SDK_DestoryCamHandle(h);  // also stops and closes what is still open
        LogRelay::keep(std::move(lines.lines()));
    }
    m_streaming = false;
    m_receiver->queue().close();
    LogRelay::flush();
    if (destroyed != 0) {
        // The library may still call back into the receiver: it stays for the life of the process.
        new std::shared_ptr<FrameReceiver>(m_receiver);
        throw CameraError("closing the camera", destroyed);
    }
    if (closed < 0) throw CameraError("closing the camera", closed);
}

void Camera::checkReadable() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_streaming && m_receiver->queue().received() == 0)
        throw CameraError(m_handle == nullptr ? "the camera is closed" : "the camera is not streaming (call start() first)", 0);
}

py::object Camera::read(std::optional<double> timeout)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = timeout ? Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                       std::chrono::duration<double>(std::max(0.0, *timeout)))
                                  : Clock::time_point::max();
    std::shared_ptr<FrameReceiver> receiver = m_receiver;
    for (;;) {
        std::unique_ptr<FrameGroup> group;
        FrameQueue::Wait got;
        {
            py::gil_scoped_release unlocked;
            const auto now = Clock::now();
            const auto wait = deadline == Clock::time_point::max() ? Clock::duration(kSignalCheck)
                                                                   : std::min<Clock::duration>(kSignalCheck, deadline - now);
            got = receiver->queue().pop(group, std::max(Clock::duration::zero(), wait));
        }
        LogRelay::flush();
        if (got == FrameQueue::Wait::Item) return GroupArrays::toPython(std::move(group));
        if (got == FrameQueue::Wait::Closed) return py::none();
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        if (endIfUnplugged()) continue;  // what is queued, then the end
        if (Clock::now() >= deadline) {
            char text[96];
            std::snprintf(text, sizeof text, "no frames arrived within %.3g s", *timeout);
            throw CameraError(text, 0, {}, CameraError::Kind::Timeout);
        }
    }
}

}  // namespace orrpy
