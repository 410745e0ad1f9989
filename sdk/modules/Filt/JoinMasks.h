// Which pixels of a depth row can belong to a speckle region and which neighbours join:
// one bit per pixel for "valid" (above newVal, signed), "joins its right neighbour" and
// "joins the pixel above" (both valid and at most maxDiff apart), sixteen pixels per
// vector step.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrindale {

class JoinMasks {
public:
    struct Row {
        uint64_t* valid;
        uint64_t* right;
        uint64_t* up;
    };

    static std::size_t wordsPerRow(int width) { return (static_cast<std::size_t>(width) + 63) / 64; }

    // Fills the wordsPerRow(width) words of each mask; above is null for the first row.
    static void compute(const int16_t* row, const int16_t* above, int width, int newVal, int maxDiff, const Row& m);

    // Sets words deeper than maxDepth (compared as unsigned millimetres) to 0.
    static void clearBeyond(int16_t* depth, std::size_t count, int32_t maxDepth);
};

}  // namespace orrindale
