// ICapture over the kernel's video node (/dev/video*) of one USB video function, found
// by vendor, product, bus number and device address through sysfs. Streams with one
// memory-mapped buffer on a capture thread of its own and delivers only frames of
// exactly width x height x 2 bytes.
//
// Lifecycle: open/close/open again; the frame callback runs on the capture thread with
// no transport lock held and may call any operation, stop and close included (they then
// mark the stream stopped and return at once; the thread ends after the callback, and
// the next open/start/close or the destructor, from another thread, joins it). From any
// other thread stop and close return once the thread is joined. An unplugged device
// ends the capture thread with one log line.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ICapture.h"

class V4L2Camera : public ICapture {
public:
    V4L2Camera(int vid, int pid, int bus, int address);
    ~V4L2Camera() override;
    V4L2Camera(const V4L2Camera&) = delete;
    V4L2Camera& operator=(const V4L2Camera&) = delete;

    int open() override;
    int close() override;
    int getCapability(std::vector<video_attr_s>& list) override;
    int start(video_cfg const& cfg) override;
    int stop() override;
    int cmdMsg(void* request) override;
    // Waits up to timeoutSeconds for a frame and copies at most `size` bytes of it (never
    // more than the mapped buffer holds); returns the frame's byte count, 0 on timeout,
    // -1 when dequeuing fails, -2 for a buffer other than the first, -3 when requeuing fails.
    int read(void* buffer, int size, int timeoutSeconds) override;

    // Body of the capture thread.
    void getFrame(video_cfg cfg);
    // USB bus number and device number of a video node's device from sysfs, for the
    // device's main node (index 0) only; 0 on success.
    int get_vidoeNode_info(std::string node, int* busnum, int* devnum);
    // True when the node's "index" file says it is its device's main node.
    bool isMainVideoThroughIndexFile(std::string const& node);

    // The matched node ("/dev/video0"); empty before a successful open.
    std::string videoNode() const;

private:
    struct Mapping {
        void* start = nullptr;
        size_t length = 0;
    };

    // Runs "ls /dev/video*" and keeps the node of this very device.
    int matchVideoNode();
    // Identifiers from the node's modalias; false (logged) when they cannot be read.
    bool readModalias(std::string const& node, int& vid, int& pid);
    int QV_V4L2_CheckCapabilities();
    int QV_V4L2_SetFormat(uint32_t fourcc);
    int QV_V4L2_SetParam();
    int mapBuffers();
    // Undoes start: streaming off, buffers unmapped and released, frame buffer freed.
    // Without a device (unplugged) only the memory is given back.
    void releaseStream();
    // With m_op held, from another thread than the capture thread: ends the stream
    // (joins the capture thread) and finishes a close asked for from inside a callback.
    void endStreamLocked();
    void closeNodeLocked();
    bool onCaptureThread() const;
    // Waits one frame period (or until the stream is stopped) after a failed read.
    void pauseAfterFailure(uint32_t fps);

    const int m_vid, m_pid, m_bus, m_address;
    std::string m_node;
    int m_fd = -1;
    std::unique_ptr<Mapping[]> m_buffers;
    unsigned m_mapped = 0;
    video_cfg m_cfg;
    frame_info m_info;
    std::unique_ptr<unsigned char[]> m_frame;
    size_t m_frameSize = 0;
    std::atomic<bool> m_opened{false};
    std::atomic<bool> m_reading{false};
    std::atomic<bool> m_streaming{false};
    std::atomic<bool> m_deviceGone{false};
    std::atomic<bool> m_closePending{false};  // close() was called inside a frame callback
    std::thread m_thread;

    std::mutex m_op;  // serialises the operations called from outside the capture thread
    std::mutex m_wakeMutex;
    std::condition_variable m_wake;
};
