#include "RawToZ16.h"

#include <cstring>

#include "SimdSupport.h"

namespace orrindale::depth_filter {

Frame RawToZ16::process(Frame frame)
{
    const CAM_FRAME f = frame.getFrameData();
    if (f.data == nullptr) return frame;
    // An odd trailing byte is not a word and is left alone.
    shiftWords(reinterpret_cast<uint16_t*>(f.data), f.size / 2, shift);
    return frame;
}

void RawToZ16::shiftWordsScalar(uint16_t* words, std::size_t count, uint32_t shift)
{
    const uint32_t s = shift & 31u;
    const uint32_t r = (shift - 1u) & 31u;
    for (std::size_t i = 0; i < count; ++i) {
        uint16_t d;
        std::memcpy(&d, words + i, sizeof d);  // the frame buffer may be unaligned
        const uint32_t w = d;
        d = static_cast<uint16_t>((w >> s) + ((w >> r) & 1u));
        std::memcpy(words + i, &d, sizeof d);
    }
}

void RawToZ16::shiftWords(uint16_t* words, std::size_t count, uint32_t shift)
{
    const uint32_t s = shift & 31u;
    // Shift 0 adds (d >> 31) & 1 = 0: nothing changes.
    if (s == 0) return;
    std::size_t i = 0;
    // With x = d >> (s - 1): (d >> s) + (x & 1) = (x + 1) >> 1, which the rounding
    // average of x and 0 computes without overflow.
#if defined(ORR_SIMD_SSE2)
    const __m128i r = _mm_cvtsi32_si128(static_cast<int>(s - 1));  // counts above 15 give 0
    const __m128i zero = _mm_setzero_si128();
    for (; i + 16 <= count; i += 16) {
        auto* p = reinterpret_cast<__m128i*>(words + i);
        _mm_storeu_si128(p, _mm_avg_epu16(_mm_srl_epi16(_mm_loadu_si128(p), r), zero));
        _mm_storeu_si128(p + 1, _mm_avg_epu16(_mm_srl_epi16(_mm_loadu_si128(p + 1), r), zero));
    }
#elif defined(ORR_SIMD_NEON)
    // Rounding shift right by s, with the rounding addition done in wider precision.
    const int16x8_t negShift = vdupq_n_s16(static_cast<int16_t>(-static_cast<int>(s)));
    for (; i + 16 <= count; i += 16) {
        auto* p = reinterpret_cast<uint8_t*>(words + i);
        vst1q_u8(p, vreinterpretq_u8_u16(vrshlq_u16(vreinterpretq_u16_u8(vld1q_u8(p)), negShift)));
        vst1q_u8(p + 16, vreinterpretq_u8_u16(vrshlq_u16(vreinterpretq_u16_u8(vld1q_u8(p + 16)), negShift)));
    }
#endif
    shiftWordsScalar(words + i, count - i, shift);
}

}  // namespace orrindale::depth_filter
