#include "CameraDriverBase.h"

#include <chrono>
#include <cstring>
#include <exception>
#include <new>

#include "Logger.h"

namespace {

int64_t steadyNowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

uint64_t nowMs(int timestampType)
{
    const auto since = timestampType != TIME_STAMP_STEADY ? std::chrono::system_clock::now().time_since_epoch()
                                                          : std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since).count()) / 1000000u;
}

}  // namespace

CameraDriverBase::CameraDriverBase(const QV_CAM_ATTR& attr, void* handle)
{
    std::memcpy(&m_attr, &attr, sizeof attr);
    m_handle = handle;
    for (int i = 0; i < CAM_DATA_SLOT_COUNT; ++i) m_frames.frame[i].type = i;
}

CameraDriverBase::~CameraDriverBase()
{
    // The transport's thread calls into this object: it must be quiet before members go, also
    // after a stop from inside a callback, which returns before that callback has.
    if (m_capture) m_capture->close();
}

int CameraDriverBase::registerDataCallback(STREAM_CALLBACK_S* callback)
{
    std::lock_guard<std::mutex> lock(m_callbackMutex);
    m_dataCallback = callback ? *callback : STREAM_CALLBACK_S{};
    return 0;
}

int CameraDriverBase::registerInnerDataCallback(STREAM_CALLBACK_INNER_S* callback)
{
    std::lock_guard<std::mutex> lock(m_callbackMutex);
    m_innerCallback = callback ? *callback : STREAM_CALLBACK_INNER_S{};
    return 0;
}

int CameraDriverBase::setTimeStampType(TIME_STAMP_TYPE type)
{
    m_timestampType = type;
    return 0;
}

int CameraDriverBase::open(char const* attrs)
{
    if (m_opened) {
        QV_LOGW("this camera already opened");
        return 0;
    }
    if (!m_capture) {
        QV_LOGE("Failed to create the camera example !");
        return -1;
    }
    int ret = readConfiguration(attrs);
    if (ret < 0) {
        QV_LOGE("get Configuration Parameters fail.");
        return ret;
    }
    if (m_capture->open() < 0) return QV_SDK_ERR_CAPTURE_OPEN;
    ret = sendStartupCommand();
    if (ret != 0) {
        QV_LOGE("send clear feature fail !");
        return -1;
    }
    applySettings();
    m_opened = true;
    return ret;
}

int CameraDriverBase::close()
{
    if (m_opened) {
        // A camera closed while streaming stops first, so the transport never outlives its stream.
        if (m_started) stopStreaming(0);
        m_capture->close();
        m_opened = false;
    }
    return 0;
}

int CameraDriverBase::startStreaming(int mediaMask)
{
    if (!m_opened) {
        QV_LOGE("this camera not open, pelase open the camera first");
        return -1;
    }
    const uint32_t mask = mediaMask != 0 ? (m_mediaMask | static_cast<uint32_t>(mediaMask)) : defaultMediaMask();
    if (!supportsMediaMask(mask)) {
        QV_LOGE("not support media type");
        return QV_SDK_ERR_MEDIA_TYPE;
    }
    m_mediaMask = mask;
    if (mask & QV_MEDIA_IR) {
        forceIrDepthSize();
        QV_LOGI("When you open ir, the depth size must be 640x480");
    }
    if (!checkFpsCfg()) return QV_SDK_ERR_FPS_COMBINATION;
    if (m_streaming) return 0;  // the new mask applies from the next transfer

    video_cfg cfg;
    if (buildVideoCfg(cfg) < 0) return -1;
    cfg.callback = &CameraDriverBase::streamCallback;
    cfg.user = this;
    cfg.timestampType = static_cast<uint32_t>(m_timestampType.load());
    m_streamTimestampType = m_timestampType.load();
    preStart();
    // Stamped and marked started before the transport starts: its first frame may arrive at
    // once, and a stop from inside that frame's callback must find a stream to stop.
    m_streamStartNs = steadyNowNs();
    m_streaming = true;
    m_started = true;
    if (m_capture->start(cfg) < 0) {
        m_streaming = false;
        m_started = false;
        return QV_SDK_ERR_CAPTURE_START;
    }
    postStart();
    QV_LOGI("start streaming");
    return 0;
}

int CameraDriverBase::stopStreaming(int mediaMask)
{
    if (!m_started) {
        QV_LOGW("The camera is not started");
        return 0;
    }
    const uint32_t remaining = m_mediaMask & ~static_cast<uint32_t>(mediaMask);
    if (mediaMask != 0 && remaining != 0) {  // other streams keep the transport running
        m_mediaMask = remaining;
        return 0;
    }
    QV_LOGI("stop streaming");
    // The transport first: a transfer it is still handing over keeps the streams it was
    // asked for, instead of arriving as an empty group.
    m_capture->stop();
    m_mediaMask = 0;
    m_streaming = false;
    m_started = false;
    return 0;
}

uint64_t CameraDriverBase::frameTimestamp(const frame_info& frame) const
{
    const int wanted = m_timestampType;
    return wanted == m_streamTimestampType ? frame.timestamp : nowMs(wanted);
}

void CameraDriverBase::streamCallback(const frame_info* frame, void* user)
{
    if (frame == nullptr || user == nullptr) return;
    static_cast<CameraDriverBase*>(user)->handleFrame(*frame);
}

bool CameraDriverBase::skipFrame()
{
    std::atomic<int>& counter = frameSkipCounter();
    int seen = counter.load();
    while (seen < frameSkipCount()) {
        if (counter.compare_exchange_weak(seen, seen + 1)) return true;
    }
    return false;
}

void CameraDriverBase::handleFrame(const frame_info& frame)
{
    // Runs on the transport's thread: nothing may escape into the transport.
    try {
        if (!m_deferredDone && steadyNowNs() - m_streamStartNs > kDeferredSettingDelayNs) {
            applyDeferredSetting();
            m_deferredDone = true;
        }
        if (skipFrame()) return;
        if (!deliverInner(frame)) return;

        const int split = processRawData(frame);
        STREAM_CALLBACK_S callback;
        {
            std::lock_guard<std::mutex> lock(m_callbackMutex);
            callback = m_dataCallback;
        }
        if (split == 0 && callback.callback != nullptr) {
            for (int slot = CAM_DATA_SLOT_DEPTH; slot <= CAM_DATA_SLOT_POINTCLOUD; ++slot)
                m_frames.frame[slot].frameId = frame.sequence;
            callback.callback(m_handle, &m_frames, callback.privateData);
        }
        // A record is delivered only in the group that produced it.
        for (CAM_FRAME& f : m_frames.frame) f.size = 0;
    } catch (const std::exception& e) {
        QV_LOGE("frame ", frame.sequence, " dropped: ", e.what());
        for (CAM_FRAME& f : m_frames.frame) f.size = 0;
    } catch (...) {
        QV_LOGE("frame ", frame.sequence, " dropped");
        for (CAM_FRAME& f : m_frames.frame) f.size = 0;
    }
}

bool CameraDriverBase::deliverInner(const frame_info& frame)
{
    STREAM_CALLBACK_INNER_S inner;
    {
        std::lock_guard<std::mutex> lock(m_callbackMutex);
        inner = m_innerCallback;
    }
    if (inner.callback == nullptr) return true;
    std::unique_ptr<unsigned char[]> rgb(new (std::nothrow) unsigned char[kInnerRgbBytes]);
    std::unique_ptr<unsigned char[]> ir(new (std::nothrow) unsigned char[kInnerIrBytes]);
    if (!rgb || !ir) return false;  // out of memory: the whole frame is abandoned
    CAM_DATA_INNER data{};
    if (fillInnerFrames(frame, rgb.get(), ir.get(), data)) inner.callback(m_handle, &data, inner.privateData);
    return true;
}
