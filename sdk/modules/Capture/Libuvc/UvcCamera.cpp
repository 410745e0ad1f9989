#include "UvcCamera.h"

#include <libusb.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

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

UvcCamera::UvcCamera(int vid, int pid, int bus, int address, bool readSerial) : m_readSerial(readSerial)
{
    if (uvc_init(&m_context, nullptr) != UVC_SUCCESS) {
        m_context = nullptr;
        QV_LOGE("uvc_init");
        return;
    }
    if (uvc_find_device2(m_context, &m_device, vid, pid, bus, address) != UVC_SUCCESS) {
        m_device = nullptr;
        QV_LOGE("uvc_find_device");
        return;
    }
    readPortInfo(bus, address);
}

UvcCamera::~UvcCamera()
{
    if (m_handle != nullptr && deviceGone()) abandonSession();
    if (m_handle != nullptr) {
        if (m_streaming) uvc_stop_streaming(m_handle);
        uvc_close(m_handle);
    }
    if (m_device != nullptr) uvc_unref_device(m_device);
    // uvc_exit would close the abandoned handle, and hang with it.
    if (m_context != nullptr && !m_abandoned) uvc_exit(m_context);
}

bool UvcCamera::deviceGone() const
{
    // Reads libusb's "attached" state without taking the handle's lock.
    return libusb_kernel_driver_active(uvc_get_libusb_handle(m_handle), 0) == LIBUSB_ERROR_NO_DEVICE;
}

// libusb 1.0.26 returns from libusb_set_interface_alt_setting with the handle's lock
// still held when it already saw the device leave; libuvc's stop and close call it and
// would then wait on that lock forever. So the session of an unplugged device (libuvc
// context, handle, its idle event thread) is left as it is until the process ends:
// a bounded cost per unplug, instead of a hung application.
void UvcCamera::abandonSession()
{
    QV_LOGW("the camera was unplugged: its USB session is kept until the process ends");
    closeGate();
    (void)m_gate.release();  // libuvc's callback thread may still look at it: it stays with the session
    m_abandoned = true;
    m_handle = nullptr;
    m_streaming = false;
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
    if (m_device == nullptr) {
        QV_LOGE("can't open the device, find device failed");
        return -1;
    }
    if (m_handle != nullptr) return 0;
    const uvc_error_t ret = uvc_open(m_device, &m_handle);
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
    if (m_handle != nullptr && deviceGone()) abandonSession();
    if (m_handle != nullptr) {
        if (m_streaming) {
            uvc_stop_streaming(m_handle);
            m_streaming = false;
        }
        uvc_close(m_handle);
        // Forget the handle so that a later call reports "the camera not opened".
        m_handle = nullptr;
    }
    return 0;
}

int UvcCamera::getCapability(std::vector<video_attr_s>&) { return 0; }

int UvcCamera::read(void*, int, int) { return 0; }

int UvcCamera::start(video_cfg const& cfg)
{
    if (m_handle == nullptr) {
        QV_LOGE("the camera not opened");
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
    const uvc_error_t ret = uvc_start_streaming(m_handle, &m_ctrl, &UvcCamera::image_callback, m_gate.get(), 0);
    if (ret != UVC_SUCCESS) {
        QV_LOGE("uvc_start_streaming:", uvc_strerror(ret));
        return -3;
    }
    m_streaming = true;
    return 0;
}

int UvcCamera::stop()
{
    if (m_handle == nullptr) {
        QV_LOGE("the camera not opened");
        return -1;
    }
    if (deviceGone()) {
        abandonSession();  // the stream ended with the device
        return 0;
    }
    // Returns once libuvc's streaming thread has delivered its last frame.
    uvc_stop_streaming(m_handle);
    m_streaming = false;
    return 0;
}

namespace {
thread_local bool t_inFrameCallback = false;
}

void UvcCamera::image_callback(uvc_frame* frame, void* user)
{
    auto* gate = static_cast<FrameGate*>(user);
    ++gate->inFlight;  // counted before the check, so closeGate never misses a frame in flight
    if (gate->open) {
        t_inFrameCallback = true;
        gate->camera->deliver(frame);
        t_inFrameCallback = false;
    }
    --gate->inFlight;
}

void UvcCamera::closeGate()
{
    if (!m_gate) return;
    m_gate->open = false;
    if (t_inFrameCallback) return;  // stopped from inside a frame: that frame finishes by itself
    while (m_gate->inFlight > 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
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
    if (m_handle == nullptr) {
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
