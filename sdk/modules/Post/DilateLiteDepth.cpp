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
    std::memmove(dst, src, static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * sizeof(short));
    MaxFilter3x3::apply(reinterpret_cast<const uint16_t*>(src), out, width, height, MaxFilter3x3::Order::kSigned);
    return 0;
}
