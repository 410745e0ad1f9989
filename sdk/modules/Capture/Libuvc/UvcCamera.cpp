#include "UvcCamera.h"

#include <libusb.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "DepartedDeviceGuard.h"
#include "Logger.h"
#include "UsbControlRequest.h"

uvc_error_t uvc_find_device2(uvc_context_t* context, uvc_device_t** device, int vid, int pid, int bus, int address)
{
    if (context == nullptr || device == nullptr) return UVC_ERROR_INVALID_PARAM;
    uvc_device_t** list = nullptr;
    const uvc_error_t ret = uvc_get_device_list(context, &list);
    if (ret != UVC_SUCCESS) return ret;
    uvc_device_t* found = nullptr;
    for (uvc_device_t** it = list; *it != nullptr && found == nullptr; ++it) {
        if (uvc_get_bus_number(*it) != bus || uvc_get_device_address(*it) != address) continue;
        uvc_device_descriptor_t* descriptor = nullptr;
        if (uvc_get_device_descriptor(*it, &descriptor) != UVC_SUCCESS) continue;
        if (descriptor->idVendor == vid && descriptor->idProduct == pid) found = *it;
        uvc_free_device_descriptor(descriptor);
    }
    if (found != nullptr) uvc_ref_device(found);
    uvc_free_device_list(list, 1);
    if (found == nullptr) return UVC_ERROR_NO_DEVICE;
    *device = found;
    return UVC_SUCCESS;
}

namespace {
thread_local const UvcCamera* t_delivering = nullptr;
}

UvcCamera::UvcCamera(int vid, int pid, int bus, int address, bool readSerial)
    : m_vid(vid), m_pid(pid), m_bus(bus), m_address(address), m_readSerial(readSerial)
{
    DepartedDeviceGuard::reached();  // says once per process when unplugged sessions must be kept
    findDevice();
    if (m_device != nullptr) readPortInfo(bus, address);
}

UvcCamera::~UvcCamera()
{
    // Never run on the transport's own thread: the driver layer destroys transports elsewhere.
    std::unique_lock<std::mutex> lock(m_mutex);
    settle(lock);
    if (m_handle != nullptr) teardown(lock);
    if (m_device != nullptr) uvc_unref_device(m_device);
    if (m_context != nullptr) uvc_exit(m_context);
}

void UvcCamera::findDevice()
{
    if (uvc_init(&m_context, nullptr) != UVC_SUCCESS) {
        m_context = nullptr;
        QV_LOGE("uvc_init");
        return;
    }
    if (uvc_find_device2(m_context, &m_device, m_vid, m_pid, m_bus, m_address) != UVC_SUCCESS) {
        m_device = nullptr;
        QV_LOGE("uvc_find_device");
    }
}

bool UvcCamera::onOwnThread() const { return t_delivering == this; }

bool UvcCamera::departed(uvc_device_handle_t* handle)
{
    // libusb's "attached" state, read without taking the handle's lock.
    const bool gone = libusb_kernel_driver_active(uvc_get_libusb_handle(handle), 0) == LIBUSB_ERROR_NO_DEVICE;
    if (gone && !m_unplugNoted) {
        m_unplugNoted = true;
        QV_LOGW("the camera was unplugged: its stream ended");
    }
    return gone;
}

void UvcCamera::abandonSession(std::unique_lock<std::mutex>& lock)
{
    FrameGate* gate = m_gate.release();  // libuvc's threads keep it: it stays with the session
    m_handle = nullptr;
    m_device = nullptr;
    m_context = nullptr;  // a later open starts a new session
    m_streaming = false;
    m_closing = false;
    if (gate == nullptr) return;
    gate->open = false;
    // A frame already in flight may call this transport: waited for without the lock.
    m_busy = true;
    lock.unlock();
    while (gate->inFlight > 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
    lock.lock();
    m_busy = false;
    m_idle.notify_all();
}

void UvcCamera::settle(std::unique_lock<std::mutex>& lock)
{
    m_idle.wait(lock, [this] { return !m_busy; });
    if (m_closing) {
        teardown(lock);
        return;
    }
    if (m_streaming && m_gate && !m_gate->open) stopStream(lock);  // stopped from inside the callback
}

void UvcCamera::stopStream(std::unique_lock<std::mutex>& lock)
{
    if (m_gate) m_gate->open = false;
    uvc_device_handle_t* handle = m_handle;
    if (!DepartedDeviceGuard::reached() && departed(handle)) {
        abandonSession(lock);
        return;
    }
    m_busy = true;
    lock.unlock();
    departed(handle);
    // Returns once libuvc's streaming thread has delivered its last frame and ended.
    uvc_stop_streaming(handle);
    lock.lock();
    m_streaming = false;
    m_gate.reset();
    m_busy = false;
    m_idle.notify_all();
}

void UvcCamera::teardown(std::unique_lock<std::mutex>& lock)
{
    if (m_gate) m_gate->open = false;
    uvc_device_handle_t* handle = m_handle;
    if (!DepartedDeviceGuard::reached() && departed(handle)) {
        abandonSession(lock);
        return;
    }
    uvc_device_t* device = m_device;
    uvc_context_t* context = m_context;
    const bool streaming = m_streaming;
    m_handle = nullptr;
    m_device = nullptr;
    m_context = nullptr;
    m_closing = false;
    m_busy = true;
    lock.unlock();
    departed(handle);
    if (streaming) uvc_stop_streaming(handle);
    uvc_close(handle);  // joins libuvc's event thread
    if (device != nullptr) uvc_unref_device(device);
    // The whole session goes: a later open starts afresh with a context of its own.
    if (context != nullptr) uvc_exit(context);
    lock.lock();
    m_streaming = false;
    m_gate.reset();
    m_busy = false;
    m_idle.notify_all();
}

// libuvc keeps its libusb device private, so the port is read through a short-lived
// libusb context of our own.
void UvcCamera::readPortInfo(int bus, int address)
{
    libusb_context* usb = nullptr;
    if (libusb_init(&usb) < 0) return;
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(usb, &list);
    for (ssize_t i = 0; i < count; ++i) {
        if (libusb_get_bus_number(list[i]) != bus || libusb_get_device_address(list[i]) != address) continue;
        m_port = libusb_get_port_number(list[i]);
        uint8_t path[64];
        const int levels = libusb_get_port_numbers(list[i], path, sizeof path);
        if (levels < 1)
            QV_LOGE("get port numbers error\n");
        else
            m_portPath.assign(path, path + levels);
        break;
    }
    if (count >= 0) libusb_free_device_list(list, 1);
    libusb_exit(usb);
}

int UvcCamera::open()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (onOwnThread()) {
        QV_LOGE("the camera cannot be opened from inside its own frame callback");
        return -1;
    }
    settle(lock);
    if (m_handle != nullptr) return 0;
    if (m_context == nullptr) findDevice();  // closed before: a new session
    if (m_device == nullptr) {
        QV_LOGE("can't open the device, find device failed");
        return -1;
    }
    m_unplugNoted = false;
    const uvc_error_t ret = [&] {
        DepartedDeviceGuard::DirectCall direct;
        return uvc_open(m_device, &m_handle);
    }();
    if (ret != UVC_SUCCESS) {
        m_handle = nullptr;
        QV_LOGE("uvc_open:", uvc_strerror(ret));
        return -3;
    }
    if (!m_readSerial) return 0;

    uvc_device_descriptor_t* descriptor = nullptr;
    if (uvc_get_device_descriptor(m_device, &descriptor) == UVC_SUCCESS && descriptor->serialNumber != nullptr &&
        descriptor->serialNumber[0] != '\0') {
        m_serial = descriptor->serialNumber;
        uvc_free_device_descriptor(descriptor);
        return 0;
    }
    if (descriptor != nullptr) uvc_free_device_descriptor(descriptor);
    QV_LOGE("get uvc device descriptor serialnumber fail, replug the camera and restart the program!");
    uvc_close(m_handle);
    m_handle = nullptr;
    return -1;
}

int UvcCamera::close()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (onOwnThread()) {
        // The session cannot end on its own thread: no frame after this one, the rest later.
        if (m_handle != nullptr) m_closing = true;
        if (m_gate) m_gate->open = false;
        return 0;
    }
    settle(lock);
    if (m_handle != nullptr) teardown(lock);
    return 0;
}

int UvcCamera::getCapability(std::vector<video_attr_s>&) { return 0; }

int UvcCamera::read(void*, int, int) { return 0; }

int UvcCamera::start(video_cfg const& cfg)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (onOwnThread()) {
        QV_LOGE("a stream cannot be started from inside its own frame callback");
        return -1;
    }
    settle(lock);
    if (m_handle == nullptr) {
        QV_LOGE("the camera not opened");
        return -1;
    }
    if (m_streaming) {
        QV_LOGE("the camera is already streaming");
        return -1;
    }
    m_cfg = cfg;
    static constexpr uvc_frame_format kFormats[5] = {UVC_FRAME_FORMAT_YUYV, UVC_FRAME_FORMAT_MJPEG,
                                                     UVC_FRAME_FORMAT_MJPEG, UVC_FRAME_FORMAT_MJPEG,
                                                     UVC_FRAME_FORMAT_MJPEG};
    const uvc_frame_format format = cfg.format < 5 ? kFormats[cfg.format] : UVC_FRAME_FORMAT_MJPEG;
    const uvc_error_t negotiated = uvc_get_stream_ctrl_format_size(m_handle, &m_ctrl, format, static_cast<int>(cfg.width),
                                                                   static_cast<int>(cfg.height), static_cast<int>(cfg.fps));
    if (negotiated < 0) {
        QV_LOGE("get_mode error, device doesn't provide a matching stream, ret:", static_cast<int>(negotiated),
                ", frame_format ", static_cast<int>(format), ", cfg.width ", cfg.width, ", cfg.height ", cfg.height);
        return negotiated;
    }
    m_gate = std::make_unique<FrameGate>(this);
    const uvc_error_t ret = [&] {
        DepartedDeviceGuard::DirectCall direct;
        return uvc_start_streaming(m_handle, &m_ctrl, &UvcCamera::image_callback, m_gate.get(), 0);
    }();
    if (ret != UVC_SUCCESS) {
        m_gate.reset();
        QV_LOGE("uvc_start_streaming:", uvc_strerror(ret));
        return -3;
    }
    m_streaming = true;
    return 0;
}

int UvcCamera::stop()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_handle == nullptr) {
        QV_LOGE("the camera not opened");
        return -1;
    }
    if (onOwnThread()) {
        // No frame after the current one; the thread is joined by the next outside call.
        if (m_gate) m_gate->open = false;
        return 0;
    }
    settle(lock);
    if (m_streaming) stopStream(lock);
    return 0;
}

void UvcCamera::image_callback(uvc_frame* frame, void* user)
{
    auto* gate = static_cast<FrameGate*>(user);
    ++gate->inFlight;  // counted before the check, so abandonSession never misses a frame in flight
    if (gate->open) {
        t_delivering = gate->camera;
        gate->camera->deliver(frame);
        t_delivering = nullptr;
    }
    --gate->inFlight;
}

void UvcCamera::deliver(uvc_frame* frame)
{
    const video_cfg& cfg = m_cfg;
    uint64_t nanoseconds = 0;
    if (cfg.timestampType != 0)
        nanoseconds = static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                                std::chrono::system_clock::now().time_since_epoch())
                                                .count());
    else
        nanoseconds = static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                                std::chrono::steady_clock::now().time_since_epoch())
                                                .count());
    frame_info info;
    info.width = frame->width;
    info.height = frame->height;
    info.sequence = frame->sequence;
    info.timestamp = nanoseconds / 1000000;
    info.data = static_cast<const unsigned char*>(frame->data);
    info.size = static_cast<uint32_t>(frame->data_bytes);
    if (cfg.callback != nullptr) cfg.callback(&info, cfg.user);
}

int UvcCamera::cmdMsg(void* request)
{
    // Held for the transfer, so the handle cannot be closed under it; a close waiting for this
    // thread's callback never holds it.
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_handle == nullptr || m_closing) {
        QV_LOGE("the camera not opened");
        return -1;
    }
    if (request == nullptr) {
        QV_LOGE("request is nullptr");
        return -1;
    }
    auto* r = static_cast<usb_ctrl_request_s*>(request);
    const uint16_t selector = requestSelector(*r);
    if (selector == USB_REQ_SELECTOR_SERIAL || selector == USB_REQ_SELECTOR_LIBUSB_HANDLE) {
        if (r->data == nullptr) {
            QV_LOGE("request data is nullptr");
            return -1;
        }
        if (selector == USB_REQ_SELECTOR_SERIAL) {
            // Bounded by the buffer the caller declared in length.
            std::memcpy(r->data, m_serial.data(), std::min<size_t>(m_serial.size(), r->length));
            return 0;
        }
        if (r->length < sizeof(libusb_device_handle*)) {
            QV_LOGE("request length too small for a device handle");
            return -1;
        }
        libusb_device_handle* usb = uvc_get_libusb_handle(m_handle);
        std::memcpy(r->data, &usb, sizeof usb);
        return 0;
    }
    const int ret = libusb_control_transfer(uvc_get_libusb_handle(m_handle), r->requestType, r->request, r->value,
                                            r->index, r->data, r->length, r->timeout);
    if (ret < 0) {
        QV_LOGE("do usb contorl transfer failed, ret ", ret);
        return -2;
    }
    return ret;
}
