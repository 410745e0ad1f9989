// What an emulated video node streams: each frame is asked of a frame source when it is
// due, written straight into the buffer the host has mapped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "UvcModelTypes.h"

namespace orrindale::emulator {

struct VideoFrameRequest {
    UvcPixelFormat format = UvcPixelFormat::Yuy2;
    int width = 0;
    int height = 0;
    uint32_t sequence = 0;  // counts from 0 at each VIDIOC_STREAMON
};

// Writes one frame into `out` (room for `capacity` bytes: the format's image size, width x
// height x 2 for YUYV) and returns the bytes written. Runs on umockdev's worker thread
// with the node's lock held: it must not call the video function it belongs to.
using VideoFrameSource = std::function<size_t(const VideoFrameRequest& request, uint8_t* out, size_t capacity)>;

}  // namespace orrindale::emulator
