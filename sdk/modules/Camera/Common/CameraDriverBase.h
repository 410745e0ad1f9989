// The skeleton every streaming driver shares: open, start, stop and close in their
// fixed order, and delivery of each transfer to the application's callback. A model
// fills in the steps that are its own (configuration, start-up commands, the split of
// a transfer into frames).
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "ICameraOps.h"

class CameraDriverBase : public ICameraOps {
public:
    // Deferred setting applied once per driver, on the first frame this long after a stream started.
    static constexpr int64_t kDeferredSettingDelayNs = 2000999999;
    static constexpr size_t kInnerRgbBytes = 4147200;
    static constexpr size_t kInnerIrBytes = 2764800;

    CameraDriverBase(const QV_CAM_ATTR& attr, void* handle);
    ~CameraDriverBase() override;

    int registerDataCallback(STREAM_CALLBACK_S* callback) override;
    int registerInnerDataCallback(STREAM_CALLBACK_INNER_S* callback) override;
    int open(char const* attrs) override;
    int close() override;
    int startStreaming(int mediaMask) override;
    int stopStreaming(int mediaMask) override;
    ICommand* cmd() override { return m_command.get(); }
    ICapture* capture() override { return m_capture.get(); }
    int setTimeStampType(TIME_STAMP_TYPE type) override;

    // Frame handler registered with the transport; user is the driver.
    static void streamCallback(const frame_info* frame, void* user);

    bool isOpened() const { return m_opened; }
    bool isStarted() const { return m_started; }
    uint32_t mediaMask() const { return m_mediaMask; }

protected:
    // ---- steps of a model
    // Reads the configuration file at path (null: built-in defaults); negative on failure.
    virtual int readConfiguration(char const* path) = 0;
    // First command after the transport opened; failure aborts open.
    virtual int sendStartupCommand() = 0;
    // Applies the stored settings and reads what open must learn from the camera.
    virtual int applySettings() = 0;
    virtual uint32_t defaultMediaMask() const = 0;
    virtual bool supportsMediaMask(uint32_t mask) const = 0;
    // Infrared needs the full depth size: force it (called when IR is requested).
    virtual void forceIrDepthSize() = 0;
    // The frame rates configured for the requested streams are an allowed combination.
    virtual bool checkFpsCfg() = 0;
    // Size, format and rate of the transport's stream; negative when not possible.
    virtual int buildVideoCfg(video_cfg& cfg) = 0;
    virtual void preStart() = 0;
    virtual void postStart() = 0;
    // Setting applied once, on the first frame after kDeferredSettingDelayNs.
    virtual void applyDeferredSetting() = 0;
    // Frames dropped after the first start of the process, counted per driver class.
    virtual int frameSkipCount() const = 0;
    virtual std::atomic<int>& frameSkipCounter() = 0;
    // Fills the raw colour and infrared images of the inner callback; false when not possible.
    virtual bool fillInnerFrames(const frame_info& frame, unsigned char* rgb, unsigned char* ir,
                                 CAM_DATA_INNER& inner) = 0;
    // Splits one transfer into m_frames; 0 when something is to be delivered.
    virtual int processRawData(const frame_info& frame) = 0;

    // Millisecond stamp of the chosen clock for a frame the transport stamped with its own.
    uint64_t frameTimestamp(const frame_info& frame) const;

    QV_CAM_ATTR m_attr;
    CAM_DATA m_frames{};
    std::atomic<bool> m_opened{false};
    std::atomic<bool> m_started{false};
    std::atomic<uint32_t> m_mediaMask{0};
    std::atomic<bool> m_streaming{false};
    std::atomic<int> m_timestampType{TIME_STAMP_STEADY};

private:
    void handleFrame(const frame_info& frame);
    // Runs the inner callback when one is registered; false when the frame must be abandoned.
    bool deliverInner(const frame_info& frame);
    bool skipFrame();

    std::mutex m_callbackMutex;  // only copies the callback records; never held while one runs
    STREAM_CALLBACK_S m_dataCallback{};
    STREAM_CALLBACK_INNER_S m_innerCallback{};
    std::atomic<int64_t> m_streamStartNs{0};
    std::atomic<bool> m_deferredDone{false};
    std::atomic<int> m_streamTimestampType{TIME_STAMP_STEADY};  // the clock the transport stamps with
};
