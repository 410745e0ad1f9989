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
    std::size_t i = 0;
#if defined(ORR_SIMD_SSE2)
    // psrlw yields 0 for counts above 15, as the 32-bit scalar shift of a word does.
    const __m128i s = _mm_cvtsi32_si128(static_cast<int>(shift & 31u));
    const __m128i r = _mm_cvtsi32_si128(static_cast<int>((shift - 1u) & 31u));
    const __m128i one = _mm_set1_epi16(1);
    for (; i + 16 <= count; i += 16) {
        auto* p = reinterpret_cast<__m128i*>(words + i);
        const __m128i a = _mm_loadu_si128(p);
        const __m128i b = _mm_loadu_si128(p + 1);
        _mm_storeu_si128(p, _mm_add_epi16(_mm_srl_epi16(a, s), _mm_and_si128(_mm_srl_epi16(a, r), one)));
        _mm_storeu_si128(p + 1, _mm_add_epi16(_mm_srl_epi16(b, s), _mm_and_si128(_mm_srl_epi16(b, r), one)));
    }
#elif defined(ORR_SIMD_NEON)
    // A negative count shifts right; counts of 16 or more give 0.
    const int16x8_t s = vdupq_n_s16(static_cast<int16_t>(-static_cast<int>(shift & 31u)));
    const int16x8_t r = vdupq_n_s16(static_cast<int16_t>(-static_cast<int>((shift - 1u) & 31u)));
    const uint16x8_t one = vdupq_n_u16(1);
    for (; i + 16 <= count; i += 16) {
        auto* p = reinterpret_cast<uint8_t*>(words + i);
        const uint16x8_t a = vreinterpretq_u16_u8(vld1q_u8(p));
        const uint16x8_t b = vreinterpretq_u16_u8(vld1q_u8(p + 16));
        vst1q_u8(p, vreinterpretq_u8_u16(vaddq_u16(vshlq_u16(a, s), vandq_u16(vshlq_u16(a, r), one))));
        vst1q_u8(p + 16, vreinterpretq_u8_u16(vaddq_u16(vshlq_u16(b, s), vandq_u16(vshlq_u16(b, r), one))));
    }
#endif
    shiftWordsScalar(words + i, count - i, shift);
}

}  // namespace orrindale::depth_filter
