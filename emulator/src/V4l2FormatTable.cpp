#include "V4l2FormatTable.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orrindale::emulator {

V4l2FormatTable::V4l2FormatTable(std::vector<UvcFormat> formats) : m_formats(std::move(formats)) {}

uint32_t V4l2FormatTable::fourccOf(UvcPixelFormat format)
{
    return format == UvcPixelFormat::Mjpeg ? V4L2_PIX_FMT_MJPEG : V4L2_PIX_FMT_YUYV;
}

UvcPixelFormat V4l2FormatTable::kindOf(uint32_t fourcc)
{
    return fourcc == V4L2_PIX_FMT_MJPEG ? UvcPixelFormat::Mjpeg : UvcPixelFormat::Yuy2;
}

uint32_t V4l2FormatTable::imageSize(UvcPixelFormat, uint32_t width, uint32_t height)
{
    // uvcvideo sizes MJPEG buffers by the device's largest frame; ours is the raw size.
    return width * height * 2;
}

const UvcFormat* V4l2FormatTable::find(uint32_t fourcc) const
{
    for (const UvcFormat& format : m_formats)
        if (fourccOf(format.pixelFormat) == fourcc) return &format;
    return nullptr;
}

const UvcFrameSize* V4l2FormatTable::frame(uint32_t fourcc, uint32_t width, uint32_t height) const
{
    const UvcFormat* format = find(fourcc);
    if (format == nullptr) return nullptr;
    for (const UvcFrameSize& size : format->frames)
        if (size.width == width && size.height == height) return &size;
    return nullptr;
}

v4l2_pix_format V4l2FormatTable::negotiate(const v4l2_pix_format& requested) const
{
    const UvcFormat* format = find(requested.pixelformat);
    if (format == nullptr) format = &m_formats.front();
    // uvcvideo's distance: the area the two sizes do not share.
    const UvcFrameSize* best = &format->frames.front();
    uint64_t bestDistance = std::numeric_limits<uint64_t>::max();
    for (const UvcFrameSize& size : format->frames) {
        const uint64_t w = size.width, h = size.height;
        const uint64_t common = std::min<uint64_t>(w, requested.width) * std::min<uint64_t>(h, requested.height);
        const uint64_t distance = w * h + uint64_t(requested.width) * requested.height - 2 * common;
        if (distance < bestDistance) {
            bestDistance = distance;
            best = &size;
        }
    }
    v4l2_pix_format out{};
    out.width = best->width;
    out.height = best->height;
    out.pixelformat = fourccOf(format->pixelFormat);
    out.field = V4L2_FIELD_NONE;
    out.bytesperline = format->pixelFormat == UvcPixelFormat::Mjpeg ? 0 : out.width * 2;
    out.sizeimage = imageSize(format->pixelFormat, out.width, out.height);
    out.colorspace = V4L2_COLORSPACE_SRGB;
    out.xfer_func = V4L2_XFER_FUNC_DEFAULT;
    out.ycbcr_enc = V4L2_YCBCR_ENC_DEFAULT;
    out.quantization = V4L2_QUANTIZATION_DEFAULT;
    return out;
}

v4l2_pix_format V4l2FormatTable::defaultFormat() const
{
    v4l2_pix_format first{};
    first.pixelformat = fourccOf(m_formats.front().pixelFormat);
    first.width = m_formats.front().frames.front().width;
    first.height = m_formats.front().frames.front().height;
    return negotiate(first);
}

int V4l2FormatTable::closestFps(const v4l2_pix_format& format, double fps) const
{
    const UvcFrameSize* size = frame(format.pixelformat, format.width, format.height);
    if (size == nullptr || size->fps.empty()) return 30;
    if (fps <= 0) return size->fps.front();
    // Closest in frame interval, as uvcvideo compares them.
    int best = size->fps.front();
    for (int offered : size->fps)
        if (std::fabs(1.0 / offered - 1.0 / fps) < std::fabs(1.0 / best - 1.0 / fps)) best = offered;
    return best;
}

}  // namespace orrindale::emulator
