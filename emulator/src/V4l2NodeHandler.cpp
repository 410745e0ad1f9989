#include "V4l2NodeHandler.h"

#include <linux/uvcvideo.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "EmulatorLog.h"
#include "VideoFunctionState.h"
#include "WorkerHandoff.h"

namespace orrindale::emulator {

namespace {

constexpr const char* kClientKey = "orr-v4l2-client";
constexpr uint32_t kMetaBufferSize = 10240;  // uvcvideo's UVC_METADATA_BUF_SIZE
constexpr size_t kMetaRecordSize = 22;       // uvc_meta_buf with a 12-byte payload header

uint32_t kernelVersion()
{
    utsname name{};
    unsigned major = 0, minor = 0, patch = 0;
    if (uname(&name) == 0) std::sscanf(name.release, "%u.%u.%u", &major, &minor, &patch);
    return (major << 16) | (minor << 8) | std::min(patch, 255u);
}

void copyText(uint8_t* out, size_t size, const std::string& text)
{
    std::memset(out, 0, size);
    std::memcpy(out, text.data(), std::min(size - 1, text.size()));
}

// The pointed-to argument of a request, typed; released unless kept for later.
template <class T>
class Argument {
public:
    explicit Argument(UMockdevIoctlData* arg)
    {
        GError* error = nullptr;
        m_data = umockdev_ioctl_data_resolve(arg, 0, sizeof(T), &error);
        g_clear_error(&error);
    }
    ~Argument()
    {
        if (m_data != nullptr) g_object_unref(m_data);
    }
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;

    explicit operator bool() const { return m_data != nullptr; }
    T& operator*() const { return *reinterpret_cast<T*>(m_data->data); }
    T* operator->() const { return reinterpret_cast<T*>(m_data->data); }
    UMockdevIoctlData* keep()
    {
        UMockdevIoctlData* data = m_data;
        m_data = nullptr;
        return data;
    }

private:
    UMockdevIoctlData* m_data = nullptr;
};

}  // namespace

struct V4l2NodeHandler::Registry {
    std::mutex mutex;
    V4l2NodeHandler* handler = nullptr;
};

struct V4l2NodeHandler::Client {
    std::shared_ptr<Registry> registry;
    unsigned priority = V4L2_PRIORITY_DEFAULT;
};

V4l2NodeHandler::V4l2NodeHandler(VideoFunctionState& state, Kind kind, std::string deviceNode, std::string nodeFile)
    : m_state(state),
      m_kind(kind),
      m_deviceNode(std::move(deviceNode)),
      m_queue(std::move(nodeFile)),
      m_timer([this] { service(); }),
      m_registry(std::make_shared<Registry>())
{
    m_registry->handler = this;
    WorkerHandoff::publish();
}

V4l2NodeHandler::~V4l2NodeHandler()
{
    if (m_base != nullptr) g_object_unref(m_base);
}

bool V4l2NodeHandler::attach(UMockdevTestbed* testbed)
{
    m_base = umockdev_ioctl_base_new();
    g_signal_connect(m_base, "handle-ioctl", G_CALLBACK(&V4l2NodeHandler::onIoctl), this);
    // uvcvideo offers no read()/write() I/O.
    g_signal_connect(m_base, "handle-read", G_CALLBACK(&V4l2NodeHandler::onReadWrite), this);
    g_signal_connect(m_base, "handle-write", G_CALLBACK(&V4l2NodeHandler::onReadWrite), this);
    WorkerHandoff::publish();
    GError* error = nullptr;
    if (!umockdev_testbed_attach_ioctl(testbed, m_deviceNode.c_str(), m_base, &error)) {
        emulatorLog("attaching the handler of %s failed: %s", m_deviceNode.c_str(), error ? error->message : "?");
        g_clear_error(&error);
        return false;
    }
    m_attached = true;
    return true;
}

void V4l2NodeHandler::detach(UMockdevTestbed* testbed)
{
    if (!m_attached) return;
    m_attached = false;
    umockdev_testbed_detach_ioctl(testbed, m_deviceNode.c_str(), nullptr);
}

void V4l2NodeHandler::markGoneLocked()
{
    m_gone = true;
    stopStreaming(ENODEV);
}

void V4l2NodeHandler::release()
{
    std::vector<UMockdevIoctlClient*> drop;
    {
        std::lock_guard<std::mutex> registryLock(m_registry->mutex);
        std::lock_guard<std::mutex> lock(m_state.mutex);
        if (m_base != nullptr) g_signal_handlers_disconnect_by_data(m_base, this);
        markGoneLocked();
        m_registry->handler = nullptr;
        m_clients.clear();
        m_owner = nullptr;
        m_timer.stop();
        drop.swap(m_drop);
    }
    for (UMockdevIoctlClient* client : drop) g_object_unref(client);
}

gboolean V4l2NodeHandler::onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    auto* handler = static_cast<V4l2NodeHandler*>(self);
    WorkerHandoff::receive();
    handler->m_timer.learnWorkerContext();
    {
        std::lock_guard<std::mutex> lock(handler->m_state.mutex);
        handler->handle(client, handler->clientOf(client));
    }
    handler->dropReleased();
    return TRUE;
}

gboolean V4l2NodeHandler::onReadWrite(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    auto* handler = static_cast<V4l2NodeHandler*>(self);
    WorkerHandoff::receive();
    bool gone = false;
    {
        std::lock_guard<std::mutex> lock(handler->m_state.mutex);
        gone = handler->m_gone;
    }
    umockdev_ioctl_client_complete(client, -1, gone ? ENODEV : EINVAL);
    return TRUE;
}

void V4l2NodeHandler::forgetClient(gpointer record)
{
    auto* me = static_cast<Client*>(record);
    std::vector<UMockdevIoctlClient*> drop;
    {
        std::lock_guard<std::mutex> registryLock(me->registry->mutex);
        V4l2NodeHandler* handler = me->registry->handler;
        if (handler != nullptr) {
            std::lock_guard<std::mutex> lock(handler->m_state.mutex);
            handler->m_clients.remove(me);
            // Closing the owning handle frees the queue, as the kernel does.
            if (handler->m_owner == me) handler->releaseQueue();
            drop.swap(handler->m_drop);
        }
    }
    for (UMockdevIoctlClient* client : drop) g_object_unref(client);
    delete me;
}

V4l2NodeHandler::Client& V4l2NodeHandler::clientOf(UMockdevIoctlClient* client)
{
    auto* me = static_cast<Client*>(g_object_get_data(G_OBJECT(client), kClientKey));
    if (me != nullptr) return *me;
    me = new Client;
    me->registry = m_registry;
    m_clients.push_back(me);
    // umockdev 0.17 never emits "client-vanished": the record goes with the client object.
    g_object_set_data_full(G_OBJECT(client), kClientKey, me, &V4l2NodeHandler::forgetClient);
    return *me;
}

uint32_t V4l2NodeHandler::bufferType() const
{
    return m_kind == Kind::Capture ? V4L2_BUF_TYPE_VIDEO_CAPTURE : V4L2_BUF_TYPE_META_CAPTURE;
}

unsigned V4l2NodeHandler::highestPriority() const
{
    unsigned highest = V4L2_PRIORITY_UNSET;
    for (const Client* c : m_clients) highest = std::max(highest, c->priority);
    return highest;
}

bool V4l2NodeHandler::acquire(Client& me)
{
    if (m_owner != nullptr && m_owner != &me) return false;
    m_owner = &me;
    return true;
}

void V4l2NodeHandler::releaseQueue()
{
    stopStreaming(EINVAL);
    m_queue.release();
    m_owner = nullptr;
}

void V4l2NodeHandler::stopStreaming(int waitingError)
{
    for (WaitingDequeue& w : m_waiting) {
        umockdev_ioctl_client_complete(w.client, -1, waitingError);
        g_object_unref(w.buffer);
        m_drop.push_back(w.client);
    }
    m_waiting.clear();
    m_streaming = false;
    m_queue.clearQueued();
}

void V4l2NodeHandler::handle(UMockdevIoctlClient* client, Client& me)
{
    const unsigned long request = umockdev_ioctl_client_get_request(client);
    UMockdevIoctlData* arg = umockdev_ioctl_client_get_arg(client);
    auto complete = [client](int error) { umockdev_ioctl_client_complete(client, error == 0 ? 0 : -1, error); };

    // An unregistered node answers everything with ENODEV, as the V4L2 core does.
    if (m_gone) return complete(ENODEV);
    int injected = 0;
    if (m_state.takeFailure(request, injected)) return complete(injected);

    // Requests that change the device's state wait for the highest priority.
    switch (request) {
    case VIDIOC_S_PRIORITY:
    case VIDIOC_S_FMT:
    case VIDIOC_S_PARM:
    case VIDIOC_S_INPUT:
    case VIDIOC_REQBUFS:
    case VIDIOC_CREATE_BUFS:
    case VIDIOC_STREAMON:
    case VIDIOC_STREAMOFF:
        if (me.priority < highestPriority()) return complete(EBUSY);
        break;
    default:
        break;
    }

    const bool capture = m_kind == Kind::Capture;
    switch (request) {
    case VIDIOC_QUERYCAP:
        return complete(queryCap(arg));
    case VIDIOC_ENUM_FMT:
        return complete(enumFormat(arg));
    case VIDIOC_G_FMT:
    case VIDIOC_S_FMT:
    case VIDIOC_TRY_FMT:
        return complete(format(arg, request, me));
    case VIDIOC_G_PRIORITY:
    case VIDIOC_S_PRIORITY:
        return complete(priority(arg, request == VIDIOC_S_PRIORITY, me));
    case VIDIOC_REQBUFS:
        return complete(requestBuffers(arg, me));
    case VIDIOC_CREATE_BUFS:
        return complete(createBuffers(arg, me));
    case VIDIOC_QUERYBUF:
        return complete(queryBuffer(arg));
    case VIDIOC_QBUF:
        return complete(queueBuffer(arg, me));
    case VIDIOC_DQBUF: {
        const int result = dequeueBuffer(client, arg, me);
        if (result != 1) complete(result);
        return;
    }
    case VIDIOC_STREAMON:
    case VIDIOC_STREAMOFF:
        return complete(streamOn(arg, me, request == VIDIOC_STREAMON));
    // Both nodes capture from the device's one input.
    case VIDIOC_ENUMINPUT:
    case VIDIOC_G_INPUT:
    case VIDIOC_S_INPUT:
        return complete(inputs(arg, request));
    default:
        break;
    }
    if (capture) {
        switch (request) {
        case VIDIOC_ENUM_FRAMESIZES:
            return complete(frameSizes(arg));
        case VIDIOC_ENUM_FRAMEINTERVALS:
            return complete(frameIntervals(arg));
        case VIDIOC_G_PARM:
        case VIDIOC_S_PARM:
            return complete(parameters(arg, request == VIDIOC_S_PARM, me));
        default:
            break;
        }
    }
    complete(ENOTTY);
}

int V4l2NodeHandler::queryCap(UMockdevIoctlData* arg)
{
    Argument<v4l2_capability> cap(arg);
    if (!cap) return EFAULT;
    std::memset(&*cap, 0, sizeof *cap);
    copyText(cap->driver, sizeof cap->driver, "uvcvideo");
    copyText(cap->card, sizeof cap->card, m_state.config.identity.product);
    copyText(cap->bus_info, sizeof cap->bus_info, m_state.busInfo);
    cap->version = kernelVersion();
    const uint32_t meta = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING | V4L2_CAP_EXT_PIX_FORMAT;
    cap->device_caps = m_kind == Kind::Capture ? m_state.captureCaps : meta;
    // The device's capabilities are those of all its nodes; a test that overrides the
    // capture node's speaks for the device.
    cap->capabilities = (m_state.capsOverridden ? m_state.captureCaps : m_state.captureCaps | meta) |
                        V4L2_CAP_DEVICE_CAPS;
    return 0;
}

int V4l2NodeHandler::enumFormat(UMockdevIoctlData* arg)
{
    Argument<v4l2_fmtdesc> desc(arg);
    if (!desc) return EFAULT;
    const uint32_t index = desc->index;
    if (desc->type != bufferType()) return EINVAL;
    const uint32_t type = desc->type;
    if (m_kind == Kind::Metadata) {
        if (index != 0) return EINVAL;
        std::memset(&*desc, 0, sizeof *desc);
        desc->pixelformat = V4L2_META_FMT_UVC;
        copyText(desc->description, sizeof desc->description, "UVC Payload Header Metadata");
    } else {
        if (index >= m_state.formats.count()) return EINVAL;
        const UvcPixelFormat kind = m_state.formats.at(index).pixelFormat;
        std::memset(&*desc, 0, sizeof *desc);
        desc->pixelformat = V4l2FormatTable::fourccOf(kind);
        desc->flags = kind == UvcPixelFormat::Mjpeg ? V4L2_FMT_FLAG_COMPRESSED : 0;
        copyText(desc->description, sizeof desc->description,
                 kind == UvcPixelFormat::Mjpeg ? "Motion-JPEG" : "YUYV 4:2:2");
    }
    desc->index = index;
    desc->type = type;
    return 0;
}

int V4l2NodeHandler::format(UMockdevIoctlData* arg, unsigned long request, Client& me)
{
    Argument<v4l2_format> f(arg);
    if (!f) return EFAULT;
    if (f->type != bufferType()) return EINVAL;
    if (m_kind == Kind::Metadata) {
        if (request == VIDIOC_S_FMT && (m_queue.count() > 0 || !acquire(me))) return EBUSY;
        std::memset(&f->fmt, 0, sizeof f->fmt);
        f->fmt.meta.dataformat = V4L2_META_FMT_UVC;
        f->fmt.meta.buffersize = kMetaBufferSize;
        return 0;
    }
    if (request == VIDIOC_G_FMT) {
        std::memset(&f->fmt, 0, sizeof f->fmt);
        f->fmt.pix = m_state.format;
        return 0;
    }
    const v4l2_pix_format chosen = m_state.formats.negotiate(f->fmt.pix);
    if (request == VIDIOC_S_FMT) {
        // A format cannot change under allocated buffers, nor for another handle's queue.
        if (m_queue.count() > 0 || !acquire(me)) return EBUSY;
        if (chosen.pixelformat != m_state.format.pixelformat || chosen.width != m_state.format.width ||
            chosen.height != m_state.format.height)
            m_state.fps = m_state.formats.closestFps(chosen, m_state.fps);
        m_state.format = chosen;
    }
    std::memset(&f->fmt, 0, sizeof f->fmt);
    f->fmt.pix = chosen;
    return 0;
}

int V4l2NodeHandler::frameSizes(UMockdevIoctlData* arg)
{
    Argument<v4l2_frmsizeenum> e(arg);
    if (!e) return EFAULT;
    const UvcFormat* format = m_state.formats.find(e->pixel_format);
    if (format == nullptr || e->index >= format->frames.size()) return EINVAL;
    const UvcFrameSize& size = format->frames[e->index];
    const uint32_t index = e->index, pixelFormat = e->pixel_format;
    std::memset(&*e, 0, sizeof *e);
    e->index = index;
    e->pixel_format = pixelFormat;
    e->type = V4L2_FRMSIZE_TYPE_DISCRETE;
    e->discrete.width = size.width;
    e->discrete.height = size.height;
    return 0;
}

int V4l2NodeHandler::frameIntervals(UMockdevIoctlData* arg)
{
    Argument<v4l2_frmivalenum> e(arg);
    if (!e) return EFAULT;
    const UvcFrameSize* size = m_state.formats.frame(e->pixel_format, e->width, e->height);
    if (size == nullptr || e->index >= size->fps.size()) return EINVAL;
    const v4l2_frmivalenum asked = *e;
    std::memset(&*e, 0, sizeof *e);
    e->index = asked.index;
    e->pixel_format = asked.pixel_format;
    e->width = asked.width;
    e->height = asked.height;
    e->type = V4L2_FRMIVAL_TYPE_DISCRETE;
    e->discrete.numerator = 1;
    e->discrete.denominator = uint32_t(size->fps[asked.index]);
    return 0;
}

int V4l2NodeHandler::parameters(UMockdevIoctlData* arg, bool set, Client& me)
{
    Argument<v4l2_streamparm> p(arg);
    if (!p) return EFAULT;
    if (p->type != V4L2_BUF_TYPE_VIDEO_CAPTURE) return EINVAL;
    if (set) {
        if (m_streaming || !acquire(me)) return EBUSY;
        const v4l2_fract asked = p->parm.capture.timeperframe;
        const double fps = asked.numerator == 0 || asked.denominator == 0 ? 0.0
                                                                          : double(asked.denominator) / asked.numerator;
        m_state.fps = m_state.formats.closestFps(m_state.format, fps);
    }
    std::memset(&p->parm, 0, sizeof p->parm);
    p->parm.capture.capability = V4L2_CAP_TIMEPERFRAME;
    p->parm.capture.timeperframe.numerator = 1;
    p->parm.capture.timeperframe.denominator = uint32_t(m_state.fps);
    return 0;
}

int V4l2NodeHandler::inputs(UMockdevIoctlData* arg, unsigned long request)
{
    if (request == VIDIOC_ENUMINPUT) {
        Argument<v4l2_input> input(arg);
        if (!input) return EFAULT;
        if (input->index != 0) return EINVAL;
        std::memset(&*input, 0, sizeof *input);
        copyText(input->name, sizeof input->name, "Camera 1");
        input->type = V4L2_INPUT_TYPE_CAMERA;
        return 0;
    }
    Argument<int> number(arg);
    if (!number) return EFAULT;
    if (request == VIDIOC_G_INPUT) {
        *number = 0;
        return 0;
    }
    return *number == 0 ? 0 : EINVAL;
}

int V4l2NodeHandler::priority(UMockdevIoctlData* arg, bool set, Client& me)
{
    Argument<uint32_t> value(arg);
    if (!value) return EFAULT;
    if (!set) {
        *value = highestPriority();
        return 0;
    }
    if (*value > V4L2_PRIORITY_RECORD) return EINVAL;
    me.priority = *value;
    return 0;
}

int V4l2NodeHandler::requestBuffers(UMockdevIoctlData* arg, Client& me)
{
    Argument<v4l2_requestbuffers> r(arg);
    if (!r) return EFAULT;
    if (r->type != bufferType() || r->memory != V4L2_MEMORY_MMAP) return EINVAL;
    if (!acquire(me)) return EBUSY;
    std::memset(r->reserved, 0, sizeof r->reserved);
    r->capabilities = V4L2_BUF_CAP_SUPPORTS_MMAP | V4L2_BUF_CAP_SUPPORTS_ORPHANED_BUFS;
    r->flags = 0;
    if (r->count == 0) {
        releaseQueue();
        return 0;
    }
    if (m_streaming) return EBUSY;
    const unsigned count = std::min(std::max(r->count, m_state.minimumBuffers), V4l2BufferQueue::kMaxBuffers);
    if (!m_queue.allocate(count, imageSize())) return ENOMEM;
    r->count = count;
    return 0;
}

size_t V4l2NodeHandler::imageSize() const
{
    return m_kind == Kind::Capture ? m_state.format.sizeimage : kMetaBufferSize;
}

int V4l2NodeHandler::createBuffers(UMockdevIoctlData* arg, Client& me)
{
    Argument<v4l2_create_buffers> c(arg);
    if (!c) return EFAULT;
    if (c->format.type != bufferType() || c->memory != V4L2_MEMORY_MMAP) return EINVAL;
    if (!acquire(me)) return EBUSY;
    c->index = m_queue.count();
    c->capabilities = V4L2_BUF_CAP_SUPPORTS_MMAP | V4L2_BUF_CAP_SUPPORTS_ORPHANED_BUFS;
    c->flags = 0;
    std::memset(c->reserved, 0, sizeof c->reserved);
    if (c->count == 0) return 0;
    // A buffer must hold a frame of the current format; it may be larger.
    const size_t asked = m_kind == Kind::Capture ? c->format.fmt.pix.sizeimage : c->format.fmt.meta.buffersize;
    if (asked < imageSize()) return EINVAL;
    if (m_queue.count() >= V4l2BufferQueue::kMaxBuffers) return ENOBUFS;
    const unsigned count = std::min(c->count, V4l2BufferQueue::kMaxBuffers - m_queue.count());
    if (!m_queue.add(count, asked)) return ENOMEM;
    c->count = count;
    return 0;
}

void V4l2NodeHandler::describe(v4l2_buffer& b, unsigned index) const
{
    std::memset(&b, 0, sizeof b);
    b.index = index;
    b.type = bufferType();
    b.memory = V4L2_MEMORY_MMAP;
    b.m.offset = m_queue.offsetOf(index);
    b.length = uint32_t(m_queue.length(index));
    b.field = V4L2_FIELD_NONE;
    b.flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC | V4L2_BUF_FLAG_TSTAMP_SRC_SOE;
    if (m_queue.isQueued(index)) b.flags |= V4L2_BUF_FLAG_QUEUED;
}

int V4l2NodeHandler::queryBuffer(UMockdevIoctlData* arg)
{
    Argument<v4l2_buffer> b(arg);
    if (!b) return EFAULT;
    if (b->type != bufferType() || b->index >= m_queue.count()) return EINVAL;
    describe(*b, b->index);
    return 0;
}

int V4l2NodeHandler::queueBuffer(UMockdevIoctlData* arg, Client& me)
{
    Argument<v4l2_buffer> b(arg);
    if (!b) return EFAULT;
    if (m_owner != &me) return EBUSY;
    if (b->type != bufferType() || b->memory != V4L2_MEMORY_MMAP || b->index >= m_queue.count() ||
        m_queue.isQueued(b->index))
        return EINVAL;
    m_queue.enqueue(b->index);
    describe(*b, b->index);
    return 0;
}

V4l2NodeHandler::Clock::time_point V4l2NodeHandler::dueOf(uint64_t frame) const
{
    return m_streamStart + m_period * frame;
}

int V4l2NodeHandler::dequeueBuffer(UMockdevIoctlClient* client, UMockdevIoctlData* arg, Client& me)
{
    Argument<v4l2_buffer> b(arg);
    if (!b) return EFAULT;
    if (m_owner != &me) return EBUSY;
    if (b->type != bufferType() || b->memory != V4L2_MEMORY_MMAP || !m_streaming) return EINVAL;
    // With nothing queued the kernel would wait for ever; a handle cannot queue while
    // its own DQBUF waits here (the preload serialises requests per handle).
    if (!m_queue.anyQueued()) return EAGAIN;
    const Clock::time_point now = Clock::now();
    // Frames that came while no buffer was queued are lost; their numbers are skipped.
    if (now >= dueOf(m_frame + 1)) m_frame = uint64_t((now - m_streamStart) / m_period);
    const Clock::time_point due = dueOf(m_frame);
    if (due <= now) {
        deliver(client, b.keep());
        return 1;
    }
    m_waiting.push_back({static_cast<UMockdevIoctlClient*>(g_object_ref(client)), b.keep(), due});
    m_timer.scheduleAt(due);
    return 1;
}

size_t V4l2NodeHandler::produce(unsigned index, uint32_t sequence)
{
    uint8_t* out = m_queue.memory(index);
    const size_t capacity = m_queue.length(index);
    if (m_kind == Kind::Metadata) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        uvc_meta_buf record{};
        record.ns = uint64_t(now.tv_sec) * 1000000000u + uint64_t(now.tv_nsec);
        record.sof = uint16_t(sequence & 0x7ff);
        record.length = 12;
        record.flags = 0x8d;  // EOH, SCR, PTS, FID
        std::memcpy(out, &record, sizeof record);
        uint8_t header[12] = {12, 0x8d};
        std::memcpy(out + sizeof record, header, sizeof header);
        return kMetaRecordSize;
    }
    VideoFrameRequest request;
    request.format = V4l2FormatTable::kindOf(m_state.format.pixelformat);
    request.width = int(m_state.format.width);
    request.height = int(m_state.format.height);
    request.sequence = sequence;
    const size_t written = std::min(m_state.source(request, out, capacity), capacity);
    return m_state.frameBytes(written);
}

void V4l2NodeHandler::deliver(UMockdevIoctlClient* client, UMockdevIoctlData* buffer)
{
    const unsigned index = *m_queue.dequeue();
    const uint32_t sequence = uint32_t(m_frame++);
    const size_t bytes = produce(index, sequence);
    auto& b = *reinterpret_cast<v4l2_buffer*>(buffer->data);
    describe(b, index);
    b.bytesused = uint32_t(bytes);
    b.sequence = sequence;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    b.timestamp.tv_sec = now.tv_sec;
    b.timestamp.tv_usec = now.tv_nsec / 1000;
    if (m_kind == Kind::Capture) {
        ++m_state.framesDelivered;
        m_state.frameDelivered.notify_all();
    }
    umockdev_ioctl_client_complete(client, 0, 0);
    g_object_unref(buffer);
}

void V4l2NodeHandler::dropReleased()
{
    std::vector<UMockdevIoctlClient*> drop;
    {
        std::lock_guard<std::mutex> lock(m_state.mutex);
        drop.swap(m_drop);
    }
    for (UMockdevIoctlClient* client : drop) g_object_unref(client);
}

void V4l2NodeHandler::service()
{
    serviceLocked();
    dropReleased();
}

void V4l2NodeHandler::serviceLocked()
{
    std::lock_guard<std::mutex> lock(m_state.mutex);
    const Clock::time_point now = Clock::now();
    for (auto it = m_waiting.begin(); it != m_waiting.end();) {
        if (it->due > now) {
            m_timer.scheduleAt(it->due);
            ++it;
            continue;
        }
        if (m_streaming && m_queue.anyQueued()) {
            deliver(it->client, it->buffer);
        } else {
            umockdev_ioctl_client_complete(it->client, -1, m_streaming ? EAGAIN : EINVAL);
            g_object_unref(it->buffer);
        }
        m_drop.push_back(it->client);
        it = m_waiting.erase(it);
    }
}

int V4l2NodeHandler::streamOn(UMockdevIoctlData* arg, Client& me, bool on)
{
    Argument<int> type(arg);
    if (!type) return EFAULT;
    if (uint32_t(*type) != bufferType()) return EINVAL;
    if (!on) {
        if (m_owner != nullptr && m_owner != &me) return EBUSY;
        stopStreaming(EINVAL);
        return 0;
    }
    if (!acquire(me)) return EBUSY;
    if (m_queue.count() == 0) return EINVAL;
    if (m_streaming) return 0;
    m_streaming = true;
    m_streamStart = Clock::now();
    m_period = std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)) / std::max(m_state.fps, 1);
    m_frame = 0;
    return 0;
}

}  // namespace orrindale::emulator
