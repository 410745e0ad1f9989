// The frames an emulated video function sends unless told otherwise, predictable from
// the function's tag and the frame's sequence number, which each frame carries:
//  - YUYV: bytes 0..3 the sequence number, 4..7 the tag (little-endian), byte i >= 8 is
//    byteAt(tag, sequence, i);
//  - MJPEG: the colour-bar JPEG of GenericUvcCamera with the sequence number in a comment
//    segment right after SOI.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "VideoFrameSource.h"

namespace orrindale::emulator {

class VideoTestPattern {
public:
    static uint8_t byteAt(uint32_t tag, uint32_t sequence, size_t offset)
    {
        return uint8_t(sequence * 31u + offset * 7u + (offset >> 10) + tag * 13u);
    }
    // The source that writes these frames for `tag`.
    static VideoFrameSource source(uint32_t tag);
    static std::vector<uint8_t> expectedFrame(uint32_t tag, const VideoFrameRequest& request);
    // Tag and sequence number a YUYV frame carries; false when it is shorter than 8 bytes.
    static bool identify(const uint8_t* data, size_t length, uint32_t& tag, uint32_t& sequence);
};

}  // namespace orrindale::emulator
