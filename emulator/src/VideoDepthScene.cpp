#include "VideoDepthScene.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "Fl30cScene.h"

namespace orrindale::emulator {

std::vector<uint16_t> VideoDepthScene::render(const CameraIntrinsics& intrinsics, int width, int height)
{
    const CameraIntrinsics scaled = intrinsics.scaledTo(width, height);
    std::vector<uint16_t> image(size_t(width) * size_t(height));
    for (int v = 0; v < height; ++v)
        for (int u = 0; u < width; ++u) {
            const double mm = Fl30cScene::atDepthPixel(u, v, scaled).depthMm;
            image[size_t(v) * size_t(width) + size_t(u)] = mm > 0 && mm < 65535 ? uint16_t(std::lround(mm)) : 0;
        }
    return image;
}

VideoFrameSource VideoDepthScene::source(const CameraIntrinsics& intrinsics)
{
    // One render per frame size, made at the first frame of that size.
    struct Cache {
        std::mutex mutex;
        std::map<std::pair<int, int>, std::vector<uint8_t>> frames;
    };
    auto cache = std::make_shared<Cache>();
    return [intrinsics, cache](const VideoFrameRequest& request, uint8_t* out, size_t capacity) {
        std::lock_guard<std::mutex> lock(cache->mutex);
        std::vector<uint8_t>& frame = cache->frames[{request.width, request.height}];
        if (frame.empty()) {
            const std::vector<uint16_t> mm = render(intrinsics, request.width, request.height);
            frame.resize(mm.size() * 2);
            for (size_t i = 0; i < mm.size(); ++i) {
                frame[2 * i] = uint8_t(mm[i]);
                frame[2 * i + 1] = uint8_t(mm[i] >> 8);
            }
        }
        const size_t n = std::min(frame.size(), capacity);
        std::memcpy(out, frame.data(), n);
        return n;
    };
}

}  // namespace orrindale::emulator
