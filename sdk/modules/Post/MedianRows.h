// Row kernels of the 3 x 3 median over the columns that fastMedianBlur filters.
#pragma once

#include <cstdint>

namespace orrindale {

class MedianRows {
public:
    // First filtered column, and the end of the filtered columns (exclusive) for a width.
    static constexpr int kFirstColumn = 4;
    static int endColumn(int width) { return width < 16 ? kFirstColumn : kFirstColumn + 8 * ((width - 8) / 8); }

    // out[c] = median of the 3 x 3 block of rows above/middle/below around column c,
    // for the filtered columns of `width`; other words of out are not written.
    static void row(const uint16_t* above, const uint16_t* middle, const uint16_t* below, uint16_t* out, int width);
    // Two rows at once (the rows of b and c), sharing the sort of b and c; outB and
    // outC must not alias the inputs.
    static void rowPair(const uint16_t* a, const uint16_t* b, const uint16_t* c, const uint16_t* d, uint16_t* outB,
                        uint16_t* outC, int width);
    static void rowScalar(const uint16_t* above, const uint16_t* middle, const uint16_t* below, uint16_t* out,
                          int width);
};

}  // namespace orrindale
