#include "LiteUsb.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <new>
#include <system_error>

#include "FrameTimestamp.h"
#include "LiteUsbBulkReader.h"
#include "Logger.h"
#include "UsbControlRequest.h"

namespace {

constexpr unsigned char kEndpoint = 0x81;
constexpr unsigned kTimeoutMs = 3000;
constexpr uint8_t kStreamRequestType = 0x21;  // host to device, class, interface
constexpr uint8_t kStreamRequest = 0xAB;

// The transport whose callback thread this is (null on every other thread).
thread_local const LiteUsb* t_deliveringFor = nullptr;

}  // namespace

LiteUsb::LiteUsb() : m_assembler(m_frames, m_packetSize, m_transferSize) {}

LiteUsb::LiteUsb(int vid, int pid, int bus, int address, unsigned packetSize, unsigned transferSize,
                 unsigned frameSize)
    : m_vid(vid),
      m_pid(pid),
      m_bus(bus),
      m_address(address),
      m_packetSize(packetSize),
      m_transferSize(transferSize),
      m_frameSize(frameSize),
      m_assembler(m_frames, packetSize, transferSize)
{
    if (libusb_init(&m_context) < 0) {
        m_context = nullptr;
        QV_LOGE("failed to initialize libusb");
        return;
    }
    libusb_device* device = findDevice();
    if (device == nullptr) {
        char id[16];
        std::snprintf(id, sizeof id, "%04x:%04x", unsigned(vid) & 0xffff, unsigned(pid) & 0xffff);
        QV_LOGE("no device ", id, " on bus ", bus, " at address ", address);
        return;
    }
    libusb_config_descriptor* config = nullptr;
    if (libusb_get_active_config_descriptor(device, &config) == 0) {
        QV_LOGI("success to check device, number of interfaces ", int(config->bNumInterfaces));
        libusb_free_config_descriptor(config);
    } else {
        QV_LOGE("failed to get the active configuration");
    }
    libusb_unref_device(device);
}

LiteUsb::~LiteUsb()
{
    close();
    if (m_context != nullptr) libusb_exit(m_context);
}

libusb_device* LiteUsb::findDevice() const
{
    if (m_context == nullptr) return nullptr;
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(m_context, &list);
    libusb_device* found = nullptr;
    for (ssize_t i = 0; i < count && found == nullptr; ++i) {
        if (libusb_get_bus_number(list[i]) != m_bus || libusb_get_device_address(list[i]) != m_address) continue;
        libusb_device_descriptor descriptor;
        if (libusb_get_device_descriptor(list[i], &descriptor) < 0) {
            QV_LOGE("failed to get device descriptor");
            continue;
        }
        if (descriptor.idVendor == m_vid && descriptor.idProduct == m_pid) found = libusb_ref_device(list[i]);
    }
    if (count >= 0) libusb_free_device_list(list, 1);
    return found;
}

int LiteUsb::open()
{
    finishDeferred();
    std::lock_guard<std::mutex> lock(m_lifecycle);
    if (m_handle != nullptr) {  // open already, or closed from inside a callback and opened again there
        m_closePending = false;
        m_opened = true;
        return 0;
    }
    libusb_device* device = findDevice();
    int interfaces = -1;
    const int opened = device != nullptr ? libusb_open(device, &m_handle) : LIBUSB_ERROR_NO_DEVICE;
    libusb_config_descriptor* config = nullptr;
    if (opened == 0 && libusb_get_active_config_descriptor(device, &config) == 0) {
        interfaces = config->bNumInterfaces;
        libusb_free_config_descriptor(config);
    }
    if (device != nullptr) libusb_unref_device(device);
    if (opened != 0) {
        m_handle = nullptr;
        QV_LOGE("libusb open device failed");
        return -1;
    }
    if (interfaces < 1) {
        QV_LOGE("libusb number of interfaces error ", interfaces);
    } else if (claimInterface() == 0) {
        if (createBuffer() == 0) {
            m_deviceGone = false;
            m_opened = true;
            return 0;
        }
        QV_LOGE("create Buffer fail");
        libusb_release_interface(m_handle, 0);
    }
    libusb_close(m_handle);
    m_handle = nullptr;
    return -1;
}

int LiteUsb::claimInterface()
{
    const int ret = libusb_claim_interface(m_handle, 0);
    if (ret == 0) return 0;
    std::printf("failed to claim interface. Error code: %d  m_device %p  m_vid 0x%x  m_pid 0x%x\n", ret,
                static_cast<void*>(m_handle), unsigned(m_vid), unsigned(m_pid));
    switch (ret) {
    case LIBUSB_ERROR_NOT_FOUND:
        std::printf("Interface not found\n");
        break;
    case LIBUSB_ERROR_BUSY:
        std::printf("Interface is busy\n");
        break;
    case LIBUSB_ERROR_NO_DEVICE:
        std::printf("Device has been disconnected\n");
        break;
    case LIBUSB_ERROR_ACCESS:
        std::printf("Insufficient permissions to access interface\n");
        break;
    default:
        break;
    }
    std::fflush(stdout);
    return ret;
}

int LiteUsb::createBuffer()
{
    // A header needs 8 bytes; a data packet carries one marker byte before its payload.
    if (m_packetSize < 8 || m_transferSize < 2) {
        QV_LOGE("create buffer fail");
        return -1;
    }
    // Whole data packets: a frame of the largest size fills its last packet only in part.
    const size_t payload = m_transferSize - 1;
    const size_t slotBytes = (size_t(m_frameSize) + payload - 1) / payload * payload;
    m_transfer.reset(new (std::nothrow) unsigned char[std::max(m_packetSize, m_transferSize)]);
    if (!m_transfer || !m_frames.allocate(slotBytes)) {
        QV_LOGE("create buffer fail");
        freeBuffer();
        return -1;
    }
    return 0;
}

void LiteUsb::freeBuffer()
{
    m_frames.free();
    m_transfer.reset();
}

int LiteUsb::close()
{
    if (onCallbackThread()) {
        stop();
        std::lock_guard<std::mutex> lock(m_lifecycle);
        if (m_handle != nullptr) {
            m_opened = false;
            m_closePending = true;
        }
        return 0;
    }
    finishDeferred();
    bool streaming = false;
    bool leftover = false;
    {
        std::lock_guard<std::mutex> lock(m_lifecycle);
        streaming = m_stream && m_stream->running;
        leftover = m_stream != nullptr;
    }
    if (streaming) QV_LOGW("stop stream before close camera");
    if (leftover) stop();
    std::lock_guard<std::mutex> lock(m_lifecycle);
    releaseDevice();
    return 0;
}

void LiteUsb::releaseDevice()
{
    if (m_handle != nullptr) {
        libusb_release_interface(m_handle, 0);
        libusb_close(m_handle);
        m_handle = nullptr;
    }
    freeBuffer();
    m_opened = false;
    m_closePending = false;
}

int LiteUsb::start(video_cfg const& cfg)
{
    if (onCallbackThread()) {
        QV_LOGE("start is refused inside the frame callback: the stream's own thread cannot be joined");
        return -1;
    }
    finishDeferred();
    std::lock_guard<std::mutex> lock(m_lifecycle);
    if (!m_opened) {
        QV_LOGE("camera is not open");
        return -1;
    }
    if (m_stream && m_stream->running) {
        QV_LOGE("the stream is already running");
        return -1;
    }
    // A stream that an unplug ended since finishDeferred: its threads are leaving and touch
    // nothing of ours any more; they are joined later.
    if (m_stream) m_ended.push_back(std::move(m_stream));

    const bool typeKnown = m_streamType != kNoStreamType;
    if (cmd_startStream() != 0) {
        if (typeKnown) QV_LOGE("start stream fail");
        return -1;
    }
    m_frames.reset();
    frame_info shape;
    shape.width = cfg.width;
    shape.height = cfg.height;
    shape.format = cfg.format;
    m_assembler.restart(shape);

    auto stream = std::make_unique<Stream>();
    stream->cfg = cfg;
    stream->reader = std::make_unique<LiteUsbBulkReader>(m_context, m_handle, kEndpoint);
    try {
        stream->capture = std::thread(&LiteUsb::capture, this, std::ref(*stream));
        stream->callback = std::thread(&LiteUsb::processCallback, this, std::ref(*stream));
    } catch (const std::system_error& e) {
        QV_LOGE("the stream threads cannot be started: ", e.what());
        halt(*stream);
        if (stream->capture.joinable()) stream->capture.join();
        cmd_stopStream();
        return -1;
    }
    m_stream = std::move(stream);
    return 0;
}

int LiteUsb::stop()
{
    finishDeferred();
    std::vector<std::unique_ptr<Stream>> ended;
    {
        std::lock_guard<std::mutex> lock(m_lifecycle);
        if (!m_opened) {
            QV_LOGW("camera is not open");
            return 0;
        }
        if (m_stream && m_stream->running && !m_deviceGone) {
            if (cmd_stopStream() == 0)
                QV_LOGI("stop cmd send successed");
            else
                QV_LOGE("stop cmd send failed");
        }
        ended = takeStreams();
    }
    join(ended);
    return 0;
}

std::vector<std::unique_ptr<LiteUsb::Stream>> LiteUsb::takeStreams()
{
    if (m_stream) {
        halt(*m_stream);
        m_ended.push_back(std::move(m_stream));
    }
    std::vector<std::unique_ptr<Stream>> taken;
    if (!onCallbackThread()) taken.swap(m_ended);
    return taken;
}

void LiteUsb::join(std::vector<std::unique_ptr<Stream>>& streams)
{
    for (auto& stream : streams) {
        if (stream->capture.joinable()) stream->capture.join();
        if (stream->callback.joinable()) stream->callback.join();
    }
    streams.clear();
}

void LiteUsb::finishDeferred()
{
    if (onCallbackThread()) return;
    std::vector<std::unique_ptr<Stream>> ended;
    {
        std::lock_guard<std::mutex> lock(m_lifecycle);
        ended.swap(m_ended);
        if (m_stream && !m_stream->running) ended.push_back(std::move(m_stream));  // ended by an unplug
    }
    join(ended);
    std::lock_guard<std::mutex> lock(m_lifecycle);
    if (m_closePending) releaseDevice();
}

void LiteUsb::halt(Stream& stream)
{
    stream.running = false;
    if (stream.reader) stream.reader->cancel();
    m_frames.wake();
}

bool LiteUsb::onCallbackThread() const { return t_deliveringFor == this; }

int LiteUsb::cmd_startStream()
{
    unsigned char type = m_streamType;
    if (type == kNoStreamType) {
        QV_LOGE("unkown stream type");
        return -1;
    }
    if (m_handle == nullptr) return -1;
    return libusb_control_transfer(m_handle, kStreamRequestType, kStreamRequest, 0, 0, &type, 1, kTimeoutMs) == 1
               ? 0
               : -1;
}

int LiteUsb::cmd_stopStream()
{
    unsigned char command[2] = {0x80, 0x00};
    if (m_handle == nullptr) return -1;
    return libusb_control_transfer(m_handle, kStreamRequestType, kStreamRequest, 0, 0, command, 2, kTimeoutMs) == 2
               ? 0
               : -1;
}

int LiteUsb::cmdMsg(void* request)
{
    if (request == nullptr) {
        QV_LOGE("request is nullptr");
        return -1;
    }
    auto* r = static_cast<usb_ctrl_request_s*>(request);
    const bool streamType = requestSelector(*r) == USB_REQ_SELECTOR_STREAM_TYPE;
    if (r->data == nullptr && (streamType || r->length > 0)) {
        QV_LOGE("request data is nullptr");
        return -1;
    }
    if (streamType) {
        m_streamType = r->data[0];
        return 0;
    }
    if (!m_opened) {
        QV_LOGE("camera is not open");
        return -1;
    }
    // The record's own timeout is not used: every command gets the same limit.
    const int ret = libusb_control_transfer(m_handle, r->requestType, r->request, r->value, r->index, r->data,
                                            r->length, kTimeoutMs);
    if (ret < 0) {
        QV_LOGE("do usb contorl transfer failed, ret ", ret);
        return -1;
    }
    return 0;
}

void LiteUsb::capture(Stream& stream)
{
    QV_LOGI("capture thread is running");
    pthread_setname_np(pthread_self(), "bulk-capture");  // as top -H and ps -L show it
    unsigned char* transfer = m_transfer.get();
    while (stream.running) {
        const int n = stream.reader->read(transfer, int(m_assembler.readSize()), kTimeoutMs);
        if (n > 0) {
            switch (m_assembler.take(transfer, uint32_t(n))) {
            case LiteUsbFrameAssembler::Outcome::QueueFull:
                QV_LOGW("queue is full");
                break;
            case LiteUsbFrameAssembler::Outcome::FrameDataFull:
                QV_LOGE("frame data is full");
                break;
            default:
                break;
            }
        } else if (n == LIBUSB_ERROR_NO_DEVICE) {
            QV_LOGW("the camera was unplugged: the stream ends");
            m_deviceGone = true;
            halt(stream);
        } else if (n == LIBUSB_ERROR_PIPE) {
            QV_LOGW("the bulk endpoint stalled: its halt is cleared, frames resume at the next header");
            libusb_clear_halt(m_handle, kEndpoint);
        } else if (n != 0 && n != LIBUSB_ERROR_TIMEOUT && n != LIBUSB_ERROR_INTERRUPTED) {
            QV_LOGW("bulk read failed: ", libusb_error_name(n));
            // A device that keeps failing must not keep a core busy.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    QV_LOGI("capture thread exit");
}

void LiteUsb::processCallback(Stream& stream)
{
    QV_LOGI("processCallback thread is running");
    pthread_setname_np(pthread_self(), "bulk-callback");
    t_deliveringFor = this;
    frame_info frame;
    while (m_frames.pop(frame, stream.running)) {
        if (frame.size != 0) {
            frame.timestamp = frameTimestampMs(stream.cfg.timestampType);
            if (stream.cfg.callback != nullptr) {
                try {
                    stream.cfg.callback(&frame, stream.cfg.user);
                } catch (...) {
                    QV_LOGE("the frame callback threw: frame ", frame.sequence, " is dropped");
                }
            }
        }
        m_frames.release(frame);
    }
    QV_LOGI("processCallback thread exit");
}
