// The formats, frame sizes and frame intervals a video node offers, and the negotiation
// of uvcvideo: an unknown pixel format falls back to the first one, a size to the
// closest frame, a frame interval to the closest offered one.
#pragma once

#include <linux/videodev2.h>

#include <cstdint>
#include <vector>

#include "UvcModelTypes.h"

namespace orrindale::emulator {

class V4l2FormatTable {
public:
    explicit V4l2FormatTable(std::vector<UvcFormat> formats);

    size_t count() const { return m_formats.size(); }
    const UvcFormat& at(size_t index) const { return m_formats[index]; }
    // Null when the node offers no such format.
    const UvcFormat* find(uint32_t fourcc) const;
    const UvcFrameSize* frame(uint32_t fourcc, uint32_t width, uint32_t height) const;

    static uint32_t fourccOf(UvcPixelFormat format);
    static UvcPixelFormat kindOf(uint32_t fourcc);
    // Bytes of the largest frame a buffer of this size must hold.
    static uint32_t imageSize(UvcPixelFormat format, uint32_t width, uint32_t height);

    // What TRY_FMT makes of a request (S_FMT applies it).
    v4l2_pix_format negotiate(const v4l2_pix_format& requested) const;
    v4l2_pix_format defaultFormat() const;
    // The offered rate of `format`'s frame closest to `fps` (the frame's first rate when fps is 0).
    int closestFps(const v4l2_pix_format& format, double fps) const;

private:
    std::vector<UvcFormat> m_formats;
};

}  // namespace orrindale::emulator
