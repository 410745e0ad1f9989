// What the two nodes of one emulated video function share: the configuration, the
// capture node's negotiated format and rate, the misbehaviour switches and the counters,
// all under one lock (the nodes' handlers run on umockdev's worker thread, the test's
// switches on its own threads).
#pragma once

#include <linux/videodev2.h>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "EmulatedVideoFunction.h"
#include "V4l2FormatTable.h"

namespace orrindale::emulator {

struct VideoFunctionState {
    VideoFunctionState(const VideoFunctionConfig& configuration, uint32_t patternTag, std::string usbBusInfo);

    // With `mutex` held: true (and `error` set) when a failure of `request` is due.
    bool takeFailure(unsigned long request, int& error);
    // With `mutex` held: the byte count of a frame of `bytes` after any shortening due.
    size_t frameBytes(size_t bytes);

    mutable std::mutex mutex;
    std::condition_variable frameDelivered;

    VideoFunctionConfig config;
    V4l2FormatTable formats;
    VideoFrameSource source;
    uint32_t tag;
    std::string busInfo;  // "usb-0000:00:14.0-2.2"
    v4l2_pix_format format;  // the capture node's
    int fps;
    uint32_t captureCaps = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING | V4L2_CAP_EXT_PIX_FORMAT;
    bool capsOverridden = false;
    unsigned minimumBuffers = 1;
    uint64_t framesDelivered = 0;

    struct Failure {
        int error = 0;
        int times = 0;  // -1: for ever
    };
    std::map<unsigned long, Failure> failures;
    size_t missingBytes = 0;
    int shortFrames = 0;  // -1: every frame
};

}  // namespace orrindale::emulator
