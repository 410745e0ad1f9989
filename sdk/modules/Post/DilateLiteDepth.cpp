#include "DilateLiteDepth.h"

#include <cstdint>
#include <cstring>

#include "Logger.h"
#include "MaxFilter3x3.h"

int dilate_lite_depth_img(short* src, short* dst, int width, int height)
{
    if (src == nullptr || dst == nullptr) {
        QV_LOGE("src or dst is nullptr");
        return -1;
    }
    if (width < 0 || height < 0) {
        QV_LOGE("invalid image size ", width, "x", height);
        return -1;
    }
    using orrindale::MaxFilter3x3;
    auto* out = reinterpret_cast<uint16_t*>(dst);
    if (src == dst) {
        MaxFilter3x3::applyInPlace(out, width, height, MaxFilter3x3::Order::kSigned);
        return 0;
    }
    // dst = src outside the interior (three rows and columns on each side); the interior
    // is then written once by the maximum.
    const std::size_t w = static_cast<std::size_t>(width);
    const std::size_t h = static_cast<std::size_t>(height);
    if (width < 7 || height < 7) {
        std::memmove(dst, src, w * h * sizeof(short));
        return 0;
    }
    std::memcpy(dst, src, 3 * w * sizeof(short));
    for (std::size_t r = 3; r + 3 < h; ++r) {
        std::memcpy(dst + r * w, src + r * w, 3 * sizeof(short));
        std::memcpy(dst + r * w + w - 3, src + r * w + w - 3, 3 * sizeof(short));
    }
    std::memcpy(dst + (h - 3) * w, src + (h - 3) * w, 3 * w * sizeof(short));
    MaxFilter3x3::apply(reinterpret_cast<const uint16_t*>(src), out, width, height, MaxFilter3x3::Order::kSigned);
    return 0;
}
