// 3 x 3 grey-level maximum of 16-bit images over rows 3 .. height - 4 and columns
// 3 .. width - 4: a border three pixels wide is left as it is (the dilation that
// closes registration holes keeps it so on purpose).
#pragma once

#include <cstdint>

namespace orrindale {

class MaxFilter3x3 {
public:
    enum class Order { kUnsigned, kSigned };

    // dst (rows 3 .. height - 4, columns 3 .. width - 4 only) = 3 x 3 maximum of src;
    // no other word of dst is written. src and dst must not overlap.
    static void apply(const uint16_t* src, uint16_t* dst, int width, int height, Order order);
    // The same, in place, with two rows of scratch memory.
    static void applyInPlace(uint16_t* image, int width, int height, Order order);
    // The same results from plain loops, for comparison with the vector path.
    static void applyScalar(const uint16_t* src, uint16_t* dst, int width, int height, Order order);

    // out[c] = maximum of above, middle and below at columns c - 1 .. c + 1, for
    // c in [begin, end); columns begin - 1 and end must exist.
    static void row(const uint16_t* above, const uint16_t* middle, const uint16_t* below, uint16_t* out, int begin,
                    int end, Order order);
};

}  // namespace orrindale
