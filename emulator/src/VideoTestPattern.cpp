#include "VideoTestPattern.h"

#include <algorithm>
#include <cstring>

#include "GenericUvcCamera.h"
#include "LittleEndian.h"

namespace orrindale::emulator {

namespace {

size_t writeFrame(uint32_t tag, const VideoFrameRequest& request, uint8_t* out, size_t capacity)
{
    if (request.format == UvcPixelFormat::Mjpeg) {
        const std::vector<uint8_t> jpeg =
            GenericUvcCamera::expectedFrame(UvcPixelFormat::Mjpeg, request.width, request.height, request.sequence);
        const size_t n = std::min(jpeg.size(), capacity);
        std::memcpy(out, jpeg.data(), n);
        return n;
    }
    const size_t n = std::min(size_t(request.width) * size_t(request.height) * 2, capacity);
    uint8_t head[8];
    putU32(head, request.sequence);
    putU32(head + 4, tag);
    for (size_t i = 0; i < n; ++i) out[i] = i < 8 ? head[i] : VideoTestPattern::byteAt(tag, request.sequence, i);
    return n;
}

}  // namespace

VideoFrameSource VideoTestPattern::source(uint32_t tag)
{
    return [tag](const VideoFrameRequest& request, uint8_t* out, size_t capacity) {
        return writeFrame(tag, request, out, capacity);
    };
}

std::vector<uint8_t> VideoTestPattern::expectedFrame(uint32_t tag, const VideoFrameRequest& request)
{
    std::vector<uint8_t> frame(size_t(request.width) * size_t(request.height) * 2);
    frame.resize(writeFrame(tag, request, frame.data(), frame.size()));
    return frame;
}

bool VideoTestPattern::identify(const uint8_t* data, size_t length, uint32_t& tag, uint32_t& sequence)
{
    if (data == nullptr || length < 8) return false;
    sequence = getU32(data);
    tag = getU32(data + 4);
    return true;
}

}  // namespace orrindale::emulator
