#include "FastMedianBlur.h"

#include <cstdint>
#include <cstring>

#include "Logger.h"
#include "MedianRows.h"

namespace {

bool validArguments(const unsigned short* src, const unsigned short* dst, int width, int height)
{
    if (src == nullptr || dst == nullptr) {
        QV_LOGE("src or dst is nullptr");
        return false;
    }
    if (width < 0 || height < 0) {
        QV_LOGE("invalid image size ", width, "x", height);
        return false;
    }
    if (src == dst) {
        QV_LOGE("src and dst must be different buffers");
        return false;
    }
    return true;
}

// dst = src outside the filtered block: the first and last rows whole, the columns
// left and right of the filtered range in the rows between.
void copyUnfiltered(const uint16_t* src, uint16_t* dst, int width, int height)
{
    using orrindale::MedianRows;
    const std::size_t w = static_cast<std::size_t>(width);
    const int first = MedianRows::kFirstColumn;
    const int end = MedianRows::endColumn(width);
    if (height < 3 || end <= first) {
        std::memcpy(dst, src, w * static_cast<std::size_t>(height) * sizeof(uint16_t));
        return;
    }
    std::memcpy(dst, src, w * sizeof(uint16_t));
    for (int r = 1; r <= height - 2; ++r) {
        std::memcpy(dst + r * w, src + r * w, first * sizeof(uint16_t));
        std::memcpy(dst + r * w + end, src + r * w + end, (w - end) * sizeof(uint16_t));
    }
    std::memcpy(dst + (height - 1) * w, src + (height - 1) * w, w * sizeof(uint16_t));
}

}  // namespace

int fastMedianBlur(unsigned short* src, unsigned short* dst, int width, int height)
{
    if (!validArguments(src, dst, width, height)) return -1;
    copyUnfiltered(src, dst, width, height);
    if (height < 3) return 0;
    using orrindale::MedianRows;
    const std::size_t w = static_cast<std::size_t>(width);
    int r = 1;
    for (; r + 1 <= height - 2; r += 2)
        MedianRows::rowPair(src + (r - 1) * w, src + r * w, src + (r + 1) * w, src + (r + 2) * w, dst + r * w,
                            dst + (r + 1) * w, width);
    if (r <= height - 2) MedianRows::row(src + (r - 1) * w, src + r * w, src + (r + 1) * w, dst + r * w, width);
    return 0;
}

int fastMedianBlurScalar(unsigned short* src, unsigned short* dst, int width, int height)
{
    if (!validArguments(src, dst, width, height)) return -1;
    copyUnfiltered(src, dst, width, height);
    const std::size_t w = static_cast<std::size_t>(width);
    for (int r = 1; r <= height - 2; ++r)
        orrindale::MedianRows::rowScalar(src + (r - 1) * w, src + r * w, src + (r + 1) * w, dst + r * w, width);
    return 0;
}
