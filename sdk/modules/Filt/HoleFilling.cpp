#include "HoleFilling.h"

#include <cstring>

namespace orrindale {

int HoleFilling::apply(const int16_t* depthIn, int16_t* depthOut, uint8_t* mask, int width, int height,
                       const HoleFillingParameters& p, uint8_t* work)
{
    if (p.fillMode != kNearest && p.fillMode != kFarthest) return -2;
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (depthOut != depthIn) std::memcpy(depthOut, depthIn, pixels * sizeof(int16_t));
    std::memset(mask, 0, pixels);

    // Breadth-first search with the visit list as its own queue.
    auto* queue = reinterpret_cast<uint32_t*>(work);
    uint8_t* visited = work + pixels * sizeof(uint32_t);
    std::memset(visited, 0, pixels);

    const int newVal = p.newVal;
    auto invalid = [&](std::size_t i) { return depthOut[i] <= newVal; };

    for (std::size_t seed = 0; seed < pixels; ++seed) {
        if (visited[seed] || !invalid(seed)) continue;
        std::size_t head = 0;
        std::size_t tail = 0;
        queue[tail++] = static_cast<uint32_t>(seed);
        visited[seed] = 1;
        bool touchesBorder = false;
        bool hasBorder = false;
        uint16_t nearest = 0xFFFF;
        uint16_t farthest = 0;
        while (head != tail) {
            const std::size_t at = queue[head++];
            const int x = static_cast<int>(at % static_cast<std::size_t>(width));
            const int y = static_cast<int>(at / static_cast<std::size_t>(width));
            if (x == 0 || y == 0 || x == width - 1 || y == height - 1) touchesBorder = true;
            const bool inside[4] = {x + 1 < width, x > 0, y + 1 < height, y > 0};
            const std::size_t next[4] = {at + 1, at - 1, at + width, at - width};
            for (int k = 0; k < 4; ++k) {
                if (!inside[k]) continue;
                const std::size_t n = next[k];
                if (invalid(n)) {
                    if (!visited[n]) {
                        visited[n] = 1;
                        queue[tail++] = static_cast<uint32_t>(n);
                    }
                } else {
                    const auto depth = static_cast<uint16_t>(depthOut[n]);
                    hasBorder = true;
                    if (depth < nearest) nearest = depth;
                    if (depth > farthest) farthest = depth;
                }
            }
        }
        const bool small = tail <= static_cast<std::size_t>(p.maxHoleSize < 0 ? 0 : p.maxHoleSize);
        const bool flat = p.maxDepthSpread < 0 || farthest - nearest <= p.maxDepthSpread;
        if (!small || !hasBorder || !flat || (touchesBorder && !p.fillBorderHoles)) continue;
        const auto value = static_cast<int16_t>(p.fillMode == kNearest ? nearest : farthest);
        for (std::size_t k = 0; k < tail; ++k) {
            depthOut[queue[k]] = value;
            mask[queue[k]] = 255;
        }
    }
    return 0;
}

}  // namespace orrindale
