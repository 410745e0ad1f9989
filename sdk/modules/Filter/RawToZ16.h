// Raw sensor words to depth: a right shift by `shift` that rounds half up, in place.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Frame.h"

namespace orrindale::depth_filter {

class RawToZ16 : public IFilter<Frame> {
public:
    explicit RawToZ16(uint32_t shiftBits = 0) : shift(shiftBits) {}
    Frame process(Frame frame) override;

    // d = (d >> shift) + ((d >> (shift - 1)) & 1) for each word, both shift counts
    // taken modulo 32 (so shift 0 leaves the words unchanged).
    static void shiftWords(uint16_t* words, std::size_t count, uint32_t shift);
    static void shiftWordsScalar(uint16_t* words, std::size_t count, uint32_t shift);

    uint32_t shift;  // low bits to drop
};

}  // namespace orrindale::depth_filter
