// Frame transport seen by a camera driver.
#pragma once

#include <cstdint>
#include <vector>

// One delivered frame; data is valid only during the callback.
struct frame_info {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t sequence = 0;
    uint64_t timestamp = 0;  // milliseconds of the configured clock
    uint32_t format = 0;
    const unsigned char* data = nullptr;
    uint32_t size = 0;
};

typedef void (*frame_callback_t)(const frame_info* frame, void* user);

// Configuration handed to ICapture::start; copied whole by the transport.
struct video_cfg {
    uint32_t format = 0;  // UVC: 0 YUYV, anything else MJPEG
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t fps = 0;
    frame_callback_t callback = nullptr;
    void* user = nullptr;
    uint32_t timestampType = 0;  // 0 steady clock, other values system clock
};

// One stream format a transport can deliver.
struct video_attr_s {
    uint32_t format = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t fps = 0;
};

class ICapture {
public:
    virtual ~ICapture() = default;
    virtual int open() = 0;
    virtual int close() = 0;
    virtual int getCapability(std::vector<video_attr_s>& list) = 0;
    virtual int start(video_cfg const& cfg) = 0;
    virtual int stop() = 0;
    virtual int cmdMsg(void* request) = 0;
    virtual int read(void* buffer, int size, int timeout) = 0;
};
