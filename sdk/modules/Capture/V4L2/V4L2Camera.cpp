#include "V4L2Camera.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>

#include "Logger.h"

namespace {

constexpr unsigned kBufferTable = VIDEO_MAX_FRAME;  // the most buffers a driver may grant
constexpr const char* kSysClass = "/sys/class/video4linux/";

thread_local const V4L2Camera* t_captureThreadOf = nullptr;

int xioctl(int fd, unsigned long request, void* arg)
{
    int ret;
    do {
        ret = ioctl(fd, request, arg);
    } while (ret == -1 && errno == EINTR);
    return ret;
}

std::string nodeName(std::string const& node)
{
    const auto slash = node.rfind('/');
    return slash == std::string::npos ? node : node.substr(slash + 1);
}

// First line of a sysfs file; false when it cannot be read.
bool readLine(std::string const& path, std::string& text)
{
    std::ifstream file(path);
    if (!file || !std::getline(file, text)) return false;
    while (!text.empty() && (text.back() == '\r' || text.back() == ' ')) text.pop_back();
    return true;
}

bool hex4(std::string const& text, size_t at, int& value)
{
    if (text.size() < at + 4) return false;
    int v = 0;
    for (size_t i = at; i < at + 4; ++i) {
        const char c = text[i];
        const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                           : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
        if (digit < 0) return false;
        v = v * 16 + digit;
    }
    value = v;
    return true;
}

std::string fourccText(uint32_t code)
{
    std::string text;
    for (int i = 0; i < 4; ++i) text += static_cast<char>((code >> (8 * i)) & 0xff);
    return text;
}

uint64_t nowMilliseconds(uint32_t timestampType)
{
    const auto since = timestampType != 0 ? std::chrono::system_clock::now().time_since_epoch()
                                          : std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since).count()) / 1000000;
}

}  // namespace

V4L2Camera::V4L2Camera(int vid, int pid, int bus, int address)
    : m_vid(vid), m_pid(pid), m_bus(bus), m_address(address)
{
}

V4L2Camera::~V4L2Camera()
{
    if (onCaptureThread()) {
        // The driver layer defers destruction off this thread; if it did not, the thread
        // cannot join itself: it is left to end on its own.
        QV_LOGE("the V4L2 transport destroyed on its own capture thread");
        m_streaming = false;
        m_thread.detach();
        return;
    }
    close();
}

bool V4L2Camera::onCaptureThread() const { return t_captureThreadOf == this; }

std::string V4L2Camera::videoNode() const { return m_node; }

bool V4L2Camera::readModalias(std::string const& node, int& vid, int& pid)
{
    const std::string path = kSysClass + nodeName(node) + "/device/modalias";
    std::string modalias;
    if (!readLine(path, modalias)) {
        QV_LOGE("failed to read " + path + " modalias!\n");
        return false;
    }
    if (modalias.compare(0, 5, "usb:v") != 0) {
        QV_LOGE(node, " is not a usb format modalias!\n");
        return false;
    }
    if (!hex4(modalias, 5, vid)) {
        QV_LOGE(node, " failed to read vid!\n");
        return false;
    }
    if (modalias.size() < 10 || modalias[9] != 'p' || !hex4(modalias, 10, pid)) {
        QV_LOGE(node, " failed to read pid!\n");
        return false;
    }
    return true;
}

bool V4L2Camera::isMainVideoThroughIndexFile(std::string const& node)
{
    std::string index;
    if (!readLine(kSysClass + nodeName(node) + "/index", index)) {
        QV_LOGE("failed to read video index file modalias!\n");
        return false;
    }
    return index == "0";
}

int V4L2Camera::get_vidoeNode_info(std::string node, int* busnum, int* devnum)
{
    if (busnum == nullptr || devnum == nullptr) {
        QV_LOGE("invalid parameter!\n");
        return -1;
    }
    const std::string base = kSysClass + nodeName(node);
    std::string bus, devpath, dev;
    const std::pair<const char*, std::string*> files[] = {
        {"/../../../busnum", &bus}, {"/../../../devpath", &devpath}, {"/../../../devnum", &dev}};
    for (const auto& [file, value] : files) {
        if (!readLine(base + file, *value)) {
            QV_LOGE("fail to read " + base + file + " attr!");
            return -1;
        }
    }
    if (!isMainVideoThroughIndexFile(node)) return -1;
    *busnum = static_cast<int>(std::strtol(bus.c_str(), nullptr, 10));
    *devnum = static_cast<int>(std::strtol(dev.c_str(), nullptr, 10));
    return 0;
}

int V4L2Camera::matchVideoNode()
{
    m_node.clear();
    FILE* list = popen("ls /dev/video* 2> /dev/null", "r");
    if (list == nullptr) {
        QV_LOGE("open v4l2 device fail.\n");
        return -1;
    }
    char line[20];
    while (std::fgets(line, sizeof line, list) != nullptr) {
        std::string node(line);
        while (!node.empty() && (node.back() == '\n' || node.back() == '\r')) node.pop_back();
        if (node.empty()) continue;
        if (node.compare(0, 5, "/dev/") != 0 || node.size() == 5) {
            QV_LOGE(node, " is not valid!\n");
            continue;
        }
        if (access(node.c_str(), F_OK | R_OK | W_OK) != 0) {
            QV_LOGI(node, " is no access!.\n");
            continue;
        }
        int vid = -1, pid = -1, bus = -1, dev = -1;
        if (!readModalias(node, vid, pid)) continue;
        if (get_vidoeNode_info(node, &bus, &dev) != 0) continue;
        if (vid == m_vid && pid == m_pid && bus == m_bus && dev == m_address) {
            QV_LOGI(node, " is uvc video device.\n");
            m_node = node;
            break;
        }
        QV_LOGI(node, " not uvcvideo dev.\n");
    }
    pclose(list);
    if (m_node.empty()) {
        QV_LOGE("open v4l2 device fail.\n");
        return -1;
    }
    QV_LOGI("match video node.");
    return 0;
}

int V4L2Camera::QV_V4L2_CheckCapabilities()
{
    v4l2_capability cap{};
    if (xioctl(m_fd, VIDIOC_QUERYCAP, &cap) == -1) {
        QV_LOGE("failed to get capabilities for device:", std::strerror(errno));
        return -1;
    }
    if ((cap.capabilities & V4L2_CAP_VIDEO_CAPTURE) == 0 || (cap.capabilities & V4L2_CAP_STREAMING) == 0) {
        QV_LOGE("Mandatory capability not available for device\n");
        return -1;
    }
    return 0;
}

int V4L2Camera::open()
{
    if (onCaptureThread()) {
        if (m_opened && !m_closePending) return 0;
        QV_LOGE("open from inside the frame callback of a closing transport is refused");
        return -1;
    }
    std::lock_guard<std::mutex> lock(m_op);
    endStreamLocked();
    if (m_opened) return 0;
    if (matchVideoNode() != 0) return -1;
    m_buffers.reset(new (std::nothrow) Mapping[kBufferTable]);
    if (!m_buffers) {
        QV_LOGE("request os memory fail.\n");
        return -1;
    }
    m_fd = ::open(m_node.c_str(), O_RDWR | O_CLOEXEC);
    if (m_fd < 0) {
        QV_LOGE("open device [%s] fail.\n");
        m_buffers.reset();
        return -1;
    }
    if (QV_V4L2_CheckCapabilities() != 0) {
        QV_LOGE("check capibilites failed!\n");
        closeNodeLocked();
        return -1;
    }
    m_deviceGone = false;
    m_opened = true;
    return 0;
}

void V4L2Camera::closeNodeLocked()
{
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
    m_buffers.reset();
    m_opened = false;
    m_reading = false;
    m_streaming = false;
    m_closePending = false;
}

void V4L2Camera::endStreamLocked()
{
    m_streaming = false;
    {
        std::lock_guard<std::mutex> wakeLock(m_wakeMutex);
        m_wake.notify_all();
    }
    if (m_thread.joinable()) m_thread.join();
    if (m_closePending) closeNodeLocked();
}

int V4L2Camera::close()
{
    if (onCaptureThread()) {
        // Finished by the next open/start/close or the destructor, from another thread.
        m_closePending = true;
        m_opened = false;
        m_streaming = false;
        return 0;
    }
    std::lock_guard<std::mutex> lock(m_op);
    endStreamLocked();
    closeNodeLocked();
    return 0;
}

int V4L2Camera::stop()
{
    if (onCaptureThread()) {
        m_streaming = false;  // no callback after the current one; the thread ends by itself
        return 0;
    }
    std::lock_guard<std::mutex> lock(m_op);
    endStreamLocked();
    return 0;
}

int V4L2Camera::QV_V4L2_SetFormat(uint32_t fourcc)
{
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    int ret = xioctl(m_fd, VIDIOC_G_FMT, &format);
    if (ret != -1) {
        format.fmt.pix.width = m_cfg.width;
        format.fmt.pix.height = m_cfg.height;
        format.fmt.pix.pixelformat = fourcc;
        format.fmt.pix.field = V4L2_FIELD_ANY;
        ret = xioctl(m_fd, VIDIOC_S_FMT, &format);
    }
    if (ret == -1) {
        QV_LOGE("failed to set format:", fourccText(fourcc), " for device:", std::strerror(errno));
        return ret;
    }
    const v4l2_pix_format& got = format.fmt.pix;
    if (got.width != m_cfg.width || got.height != m_cfg.height || got.pixelformat != fourcc)
        QV_LOGW("the device streams ", fourccText(got.pixelformat), " ", got.width, "x", got.height, " instead of ",
                fourccText(fourcc), " ", m_cfg.width, "x", m_cfg.height,
                ": only frames of width x height x 2 bytes are delivered");
    return 0;
}

int V4L2Camera::QV_V4L2_SetParam()
{
    v4l2_streamparm parm{};
    parm.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    parm.parm.capture.timeperframe.numerator = 1;
    parm.parm.capture.timeperframe.denominator = m_cfg.fps;
    const int ret = xioctl(m_fd, VIDIOC_S_PARM, &parm);
    if (ret == -1) QV_LOGW("failed to set param for device:", std::strerror(errno));
    return ret;
}

int V4L2Camera::mapBuffers()
{
    v4l2_requestbuffers request{};
    request.count = 1;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    if (xioctl(m_fd, VIDIOC_REQBUFS, &request) == -1) {
        if (errno == EINVAL)
            QV_LOGE(m_node, " does not support memory mapping");
        else
            perror("VIDIOC_REQBUFS");
        return -1;
    }
    if (request.count == 0) {
        QV_LOGE(m_node, " granted no buffer");
        return -1;
    }
    // A driver may grant more than asked; the table holds what any driver can grant.
    const unsigned count = std::min(request.count, kBufferTable);
    for (m_mapped = 0; m_mapped < count; ++m_mapped) {
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = m_mapped;
        if (xioctl(m_fd, VIDIOC_QUERYBUF, &buffer) == -1) {
            perror("VIDIOC_QUERYBUF");
            return -1;
        }
        void* start = mmap(nullptr, buffer.length, PROT_READ, MAP_SHARED, m_fd, buffer.m.offset);
        if (start == MAP_FAILED) {
            perror("mmap");
            return -1;
        }
        m_buffers[m_mapped] = {start, buffer.length};
    }
    for (unsigned i = 0; i < m_mapped; ++i) {
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = i;
        if (xioctl(m_fd, VIDIOC_QBUF, &buffer) == -1) {
            perror("VIDIOC_QBUF");
            return -1;
        }
    }
    return 0;
}

void V4L2Camera::releaseStream()
{
    const bool device = !m_deviceGone;
    v4l2_buf_type type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (device && xioctl(m_fd, VIDIOC_STREAMOFF, &type) == -1) perror("VIDIOC_STREAMOFF");
    for (unsigned i = 0; i < m_mapped; ++i)
        if (munmap(m_buffers[i].start, m_buffers[i].length) == -1) perror("munmap");
    m_mapped = 0;
    if (device) {
        v4l2_requestbuffers request{};
        request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        request.memory = V4L2_MEMORY_MMAP;
        if (xioctl(m_fd, VIDIOC_REQBUFS, &request) == -1) perror("VIDIOC_REQBUFS");
    }
    m_frame.reset();
    m_frameSize = 0;
    m_reading = false;
}

int V4L2Camera::start(video_cfg const& cfg)
{
    if (onCaptureThread()) {
        QV_LOGE(m_streaming ? "the stream is already started" : "the stream ends: start it again from another thread");
        return -1;
    }
    std::lock_guard<std::mutex> lock(m_op);
    if (m_streaming) {
        QV_LOGE("the stream is already started");
        return -1;
    }
    endStreamLocked();
    if (!m_opened) {
        QV_LOGE("the camera not opened");
        return -1;
    }
    if (cfg.width == 0 || cfg.height == 0) {
        QV_LOGE("invalid frame size ", cfg.width, "x", cfg.height);
        return -1;
    }
    m_cfg = cfg;
    const uint32_t fourcc = cfg.format == 1                     ? V4L2_PIX_FMT_MJPEG
                            : cfg.format == 2 || cfg.format == 3 ? V4L2_PIX_FMT_H264
                                                                 : V4L2_PIX_FMT_YUYV;
    int ret = QV_V4L2_SetFormat(fourcc);
    if (ret != 0) {
        QV_LOGE("set format failed!\n");
        return ret;
    }
    ret = QV_V4L2_SetParam();
    if (ret != 0) {
        QV_LOGE("set param failed!\n");
        return ret;
    }
    m_frameSize = size_t(cfg.width) * cfg.height * 2;
    m_frame.reset(new (std::nothrow) unsigned char[m_frameSize]);
    if (!m_frame) {
        QV_LOGE("request os memory fail.\n");
        releaseStream();
        return -1;
    }
    if (mapBuffers() != 0) {
        releaseStream();
        return -1;
    }
    v4l2_buf_type type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (xioctl(m_fd, VIDIOC_STREAMON, &type) == -1) perror("VIDIOC_STREAMON");
    m_info = frame_info();
    m_info.width = cfg.width;
    m_info.height = cfg.height;
    m_info.format = cfg.format;
    m_info.data = m_frame.get();
    m_reading = true;
    m_streaming = true;
    m_thread = std::thread(&V4L2Camera::getFrame, this, cfg);
    return 0;
}

int V4L2Camera::read(void* buffer, int size, int timeoutSeconds)
{
    if (buffer == nullptr || size < 0) {
        QV_LOGE("invalid read buffer or size");
        return -1;
    }
    if (!m_reading) {
        QV_LOGE("the stream is not started");
        return -1;
    }
    pollfd readable{m_fd, POLLIN, 0};
    if (poll(&readable, 1, std::max(timeoutSeconds, 0) * 1000) <= 0) return 0;
    v4l2_buffer dequeued{};
    dequeued.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    dequeued.memory = V4L2_MEMORY_MMAP;
    if (xioctl(m_fd, VIDIOC_DQBUF, &dequeued) == -1) {
        // A device that is gone fails for ever: the capture thread reports that once.
        if (errno == ENODEV)
            m_deviceGone = true;
        else
            perror("VIDIOC_DQBUF");
        return -1;
    }
    if (dequeued.index != 0) {
        perror("buf.index to large");
        return -2;
    }
    const size_t copied = std::min(static_cast<size_t>(size), m_buffers[0].length);
    std::memcpy(buffer, m_buffers[0].start, copied);
    // QBUF writes the buffer's state back into the record: keep the byte count first.
    const uint32_t bytes = dequeued.bytesused;
    if (xioctl(m_fd, VIDIOC_QBUF, &dequeued) == -1) {
        perror("VIDIOC_QBUF");
        return -3;
    }
    return static_cast<int>(bytes);
}

void V4L2Camera::pauseAfterFailure(uint32_t fps)
{
    std::unique_lock<std::mutex> lock(m_wakeMutex);
    m_wake.wait_for(lock, std::chrono::milliseconds(1000 / std::max<uint32_t>(fps, 1)),
                    [this] { return !m_streaming; });
}

void V4L2Camera::getFrame(video_cfg cfg)
{
    t_captureThreadOf = this;
    const size_t wanted = m_frameSize;
    while (m_streaming) {
        const int bytes = read(m_frame.get(), static_cast<int>(wanted), 2);
        if (m_deviceGone) {
            QV_LOGE(m_node, " is gone (VIDIOC_DQBUF: No such device): the capture thread ends");
            break;
        }
        if (bytes < 0) pauseAfterFailure(cfg.fps);
        // Only whole frames of two bytes per pixel are delivered.
        if (bytes < 0 || static_cast<size_t>(bytes) != wanted) {
            m_info.size = 0;
            continue;
        }
        if (!m_streaming) break;
        m_info.size = static_cast<uint32_t>(bytes);
        if (cfg.callback == nullptr) continue;
        m_info.timestamp = nowMilliseconds(cfg.timestampType);
        const frame_info delivered = m_info;
        ++m_info.sequence;
        cfg.callback(&delivered, cfg.user);
    }
    // The thread owns the stream it ran: it gives it back however it ended.
    releaseStream();
    t_captureThreadOf = nullptr;
}

int V4L2Camera::getCapability(std::vector<video_attr_s>& list)
{
    std::unique_lock<std::mutex> lock(m_op, std::defer_lock);
    if (!onCaptureThread()) lock.lock();
    if (!m_opened) {
        QV_LOGE("the camera not opened");
        return -1;
    }
    v4l2_streamparm parm{};
    parm.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (xioctl(m_fd, VIDIOC_G_PARM, &parm) == -1) QV_LOGW("failed to set param for device:", std::strerror(errno));
    v4l2_fmtdesc format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    for (; xioctl(m_fd, VIDIOC_ENUM_FMT, &format) == 0; ++format.index) {
        // Only codes that start() can ask for have an index.
        uint32_t index = 0;
        if (format.pixelformat == V4L2_PIX_FMT_YUYV)
            index = 0;
        else if (format.pixelformat == V4L2_PIX_FMT_MJPEG)
            index = 1;
        else if (format.pixelformat == V4L2_PIX_FMT_H264)
            index = 2;
        else
            continue;
        v4l2_frmsizeenum size{};
        size.pixel_format = format.pixelformat;
        for (; xioctl(m_fd, VIDIOC_ENUM_FRAMESIZES, &size) == 0; ++size.index) {
            if (size.type != V4L2_FRMSIZE_TYPE_DISCRETE) continue;
            v4l2_frmivalenum interval{};
            interval.pixel_format = format.pixelformat;
            interval.width = size.discrete.width;
            interval.height = size.discrete.height;
            for (; xioctl(m_fd, VIDIOC_ENUM_FRAMEINTERVALS, &interval) == 0; ++interval.index) {
                if (interval.type != V4L2_FRMIVAL_TYPE_DISCRETE || interval.discrete.numerator == 0) continue;
                video_attr_s attr;
                attr.format = index;
                attr.width = size.discrete.width;
                attr.height = size.discrete.height;
                attr.fps = static_cast<uint32_t>(
                    std::lround(double(interval.discrete.denominator) / interval.discrete.numerator));
                list.push_back(attr);
            }
        }
    }
    return 0;
}

int V4L2Camera::cmdMsg(void*)
{
    QV_LOGW("Not support yet.");
    return 0;
}
