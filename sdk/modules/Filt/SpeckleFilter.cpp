#include "SpeckleFilter.h"

#include <cstdlib>

#include "JoinMasks.h"

namespace orrindale {

namespace {

struct StackEntry {
    int32_t x;
    int32_t y;
};

}  // namespace

void SpeckleFilter::apply(int16_t* depth, int width, int height, const SpeckleParameters& params, uint8_t* work)
{
    if (depth == nullptr || work == nullptr || width <= 0 || height <= 0) return;
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    auto* labels = reinterpret_cast<int32_t*>(work);
    auto* stack = reinterpret_cast<StackEntry*>(work + pixels * sizeof(int32_t));
    uint8_t* regionType = work + pixels * (sizeof(int32_t) + sizeof(StackEntry));

    JoinMasks::clearBeyond(depth, pixels, params.maxDepth);

    const int newVal = params.newVal;
    const int maxDiff = params.maxDiff;
    const int64_t maxSpeckleSize = params.maxSpeckleSize;
    int32_t currentLabel = 0;

    for (int y = 0; y < height; ++y) {
        int16_t* row = depth + static_cast<std::size_t>(y) * width;
        const int32_t* rowLabels = labels + static_cast<std::size_t>(y) * width;
        for (int x = 0; x < width; ++x) {
            if (row[x] <= newVal) continue;
            const int32_t label = rowLabels[x];
            if (label != 0) {
                // Region types are indexed from label 1.
                if (regionType[label - 1]) row[x] = static_cast<int16_t>(newVal);
                continue;
            }
            ++currentLabel;
            labels[static_cast<std::size_t>(y) * width + x] = currentLabel;
            std::size_t top = 0;
            stack[top++] = {x, y};
            int64_t regionSize = 0;
            while (top != 0) {
                const StackEntry p = stack[--top];
                ++regionSize;
                const std::size_t at = static_cast<std::size_t>(p.y) * width + p.x;
                const int value = depth[at];
                auto joins = [&](std::size_t n) {
                    const int v = depth[n];
                    return labels[n] == 0 && v > newVal && std::abs(v - value) <= maxDiff;
                };
                if (p.x + 1 < width && joins(at + 1)) {
                    labels[at + 1] = currentLabel;
                    stack[top++] = {p.x + 1, p.y};
                }
                if (p.x > 0 && joins(at - 1)) {
                    labels[at - 1] = currentLabel;
                    stack[top++] = {p.x - 1, p.y};
                }
                if (p.y + 1 < height && joins(at + width)) {
                    labels[at + width] = currentLabel;
                    stack[top++] = {p.x, p.y + 1};
                }
                if (p.y > 0 && joins(at - width)) {
                    labels[at - width] = currentLabel;
                    stack[top++] = {p.x, p.y - 1};
                }
            }
            const bool speckle = regionSize <= maxSpeckleSize;
            regionType[currentLabel - 1] = speckle ? 1 : 0;
            if (speckle) row[x] = static_cast<int16_t>(newVal);
        }
    }
}

}  // namespace orrindale
