#include "FastMedianBlur.h"

#include <cstdint>
#include <cstring>

#include "Logger.h"
#include "MedianRows.h"

namespace {

using RowKernel = void (*)(const uint16_t*, const uint16_t*, const uint16_t*, uint16_t*, int);

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

void blur(const uint16_t* src, uint16_t* dst, int width, int height, RowKernel kernel)
{
    const std::size_t w = static_cast<std::size_t>(width);
    std::memcpy(dst, src, w * static_cast<std::size_t>(height) * sizeof(uint16_t));
    if (height < 3) return;
    for (int r = 1; r <= height - 2; ++r) kernel(src + (r - 1) * w, src + r * w, src + (r + 1) * w, dst + r * w, width);
}

}  // namespace

int fastMedianBlur(unsigned short* src, unsigned short* dst, int width, int height)
{
    if (!validArguments(src, dst, width, height)) return -1;
    blur(src, dst, width, height, &orrindale::MedianRows::row);
    return 0;
}

int fastMedianBlurScalar(unsigned short* src, unsigned short* dst, int width, int height)
{
    if (!validArguments(src, dst, width, height)) return -1;
    blur(src, dst, width, height, &orrindale::MedianRows::rowScalar);
    return 0;
}
