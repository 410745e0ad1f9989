#include "SolenVideoFrames.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <tuple>

#include "Fl30cScene.h"
#include "VideoDepthScene.h"

namespace orrindale::emulator {

namespace {

void putWords(const std::vector<uint16_t>& words, uint8_t* out)
{
    for (size_t i = 0; i < words.size(); ++i) {
        out[2 * i] = uint8_t(words[i]);
        out[2 * i + 1] = uint8_t(words[i] >> 8);
    }
}

}  // namespace

std::vector<uint16_t> SolenVideoFrames::depth(const CameraIntrinsics& intrinsics, int width, int height)
{
    return VideoDepthScene::render(intrinsics, width, height);
}

std::vector<uint16_t> SolenVideoFrames::infrared(const CameraIntrinsics& intrinsics, int width, int height)
{
    const CameraIntrinsics scaled = intrinsics.scaledTo(width, height);
    std::vector<uint16_t> image(size_t(width) * size_t(height));
    for (int v = 0; v < height; ++v)
        for (int u = 0; u < width; ++u)
            image[size_t(v) * size_t(width) + size_t(u)] =
                uint16_t(Fl30cScene::irOf(Fl30cScene::atDepthPixel(u, v, scaled).surface) * 256);
    return image;
}

CameraIntrinsics SolenVideoFrames::intrinsicsOf(const std::string& calibration)
{
    CameraIntrinsics c;
    if (std::sscanf(calibration.c_str(), "%d,%d,%f,%f,%f,%f", &c.width, &c.height, &c.fx, &c.fy, &c.cx, &c.cy) != 6)
        return CameraIntrinsics();
    return c;
}

VideoFrameSource SolenVideoFrames::source(std::shared_ptr<const SolenFirmware> firmware)
{
    // One render per stream type, size and calibration, made at its first frame.
    struct Cache {
        std::mutex mutex;
        std::map<std::tuple<int, int, int, std::string>, std::vector<uint8_t>> frames;
    };
    auto cache = std::make_shared<Cache>();
    return [firmware, cache](const VideoFrameRequest& request, uint8_t* out, size_t capacity) -> size_t {
        const SolenSettings settings = firmware->settings();
        const int type = settings.streamType;
        std::lock_guard<std::mutex> lock(cache->mutex);
        std::vector<uint8_t>& frame = cache->frames[{type, request.width, request.height, settings.calibration}];
        if (frame.empty()) {
            const CameraIntrinsics intrinsics = intrinsicsOf(settings.calibration);
            const int w = request.width;
            const int h = type == 2 ? request.height / 2 : request.height;
            if (intrinsics.width <= 0 || w <= 0 || h <= 0) return 0;
            frame.resize(size_t(request.width) * size_t(request.height) * 2);
            const std::vector<uint16_t> first = type == 1 ? infrared(intrinsics, w, h) : depth(intrinsics, w, h);
            putWords(first, frame.data());
            if (type == 2) putWords(infrared(intrinsics, w, h), frame.data() + first.size() * 2);
        }
        const size_t n = std::min(frame.size(), capacity);
        std::memcpy(out, frame.data(), n);
        return n;
    };
}

}  // namespace orrindale::emulator
