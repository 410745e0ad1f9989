#include "YuyvConverter.h"

#include "SimdSupport.h"

namespace orrindale {

namespace {

inline uint8_t clampByte(int v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

// The vector paths use 16-bit lanes with 298 = 256 + 42, 516 = 512 + 4,
// 208 = 256 - 48 and 409 = 512 - 103: since the split-off parts are whole multiples
// of 256 they leave the shift exact, e.g. B = C + 2D + ((42C + 4D + 128) >> 8),
// and every intermediate fits in a signed 16-bit word.

#if defined(ORR_SIMD_SSE2)
// 16 pixels (32 bytes in) to 48 bytes out, even and odd pixels of the 8 pairs in
// separate registers so that the pair terms need no duplication.
// The last store writes 2 bytes past the 48: the caller leaves that room.
inline void convert16(const uint8_t* in, uint8_t* out)
{
    const __m128i in0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i in1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 16));
    const __m128i byteMask = _mm_set1_epi32(0xFF);
    // Y even, U, Y odd, V of the 8 pairs as 16-bit lanes.
    const __m128i ye = _mm_packs_epi32(_mm_and_si128(in0, byteMask), _mm_and_si128(in1, byteMask));
    const __m128i u = _mm_packs_epi32(_mm_and_si128(_mm_srli_epi32(in0, 8), byteMask),
                                      _mm_and_si128(_mm_srli_epi32(in1, 8), byteMask));
    const __m128i yo = _mm_packs_epi32(_mm_and_si128(_mm_srli_epi32(in0, 16), byteMask),
                                       _mm_and_si128(_mm_srli_epi32(in1, 16), byteMask));
    const __m128i v = _mm_packs_epi32(_mm_srli_epi32(in0, 24), _mm_srli_epi32(in1, 24));
    // The offsets of C = Y - 16, D = U - 128 and E = V - 128 folded into the pair terms:
    // with k = 42 Y, B = Y + iB + ((k + tB) >> 8), iB = 2D - 16, tB = 4D + 128 - 42 * 16.
    auto set = [](int x) { return _mm_set1_epi16(static_cast<short>(x)); };
    const __m128i tB = _mm_add_epi16(_mm_slli_epi16(u, 2), set(-1056));
    const __m128i tG = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(u, set(-100)), _mm_mullo_epi16(v, set(48))),
                                     set(6112));
    const __m128i tR = _mm_add_epi16(_mm_mullo_epi16(v, set(-103)), set(12640));
    const __m128i iB = _mm_add_epi16(_mm_add_epi16(u, u), set(-272));
    const __m128i iG = _mm_sub_epi16(set(112), v);
    const __m128i iR = _mm_add_epi16(_mm_add_epi16(v, v), set(-272));
    const __m128i ke = _mm_mullo_epi16(ye, set(42));
    const __m128i ko = _mm_mullo_epi16(yo, set(42));
    // Bytes: even pixels in the low half, odd pixels in the high half.
    auto channel = [&](__m128i t, __m128i i) {
        const __m128i even = _mm_add_epi16(_mm_add_epi16(ye, i), _mm_srai_epi16(_mm_add_epi16(ke, t), 8));
        const __m128i odd = _mm_add_epi16(_mm_add_epi16(yo, i), _mm_srai_epi16(_mm_add_epi16(ko, t), 8));
        return _mm_packus_epi16(even, odd);
    };
    const __m128i b = channel(tB, iB);
    const __m128i g = channel(tG, iG);
    const __m128i r = channel(tR, iR);

    // Per pair k the six bytes B G | R B | G R as three 16-bit words w0, w1, w2.
    const __m128i zero = _mm_setzero_si128();
    const __m128i w0 = _mm_unpacklo_epi8(b, g);                     // Be Ge
    const __m128i w1 = _mm_unpacklo_epi8(r, _mm_srli_si128(b, 8));  // Re Bo
    const __m128i w2 = _mm_unpackhi_epi8(g, r);                     // Go Ro
    const __m128i w01Lo = _mm_unpacklo_epi16(w0, w1);
    const __m128i w01Hi = _mm_unpackhi_epi16(w0, w1);
    const __m128i w2Lo = _mm_unpacklo_epi16(w2, zero);
    const __m128i w2Hi = _mm_unpackhi_epi16(w2, zero);
    // Each 64-bit lane: one pair's six bytes and two zero bytes.
    const __m128i q[4] = {_mm_unpacklo_epi32(w01Lo, w2Lo), _mm_unpackhi_epi32(w01Lo, w2Lo),
                          _mm_unpacklo_epi32(w01Hi, w2Hi), _mm_unpackhi_epi32(w01Hi, w2Hi)};
    for (int k = 0; k < 4; ++k) {
        // 8-byte stores 6 bytes apart: each overwrites the 2 spare bytes of the one before.
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 12 * k), q[k]);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 12 * k + 6), _mm_srli_si128(q[k], 8));
    }
}
#elif defined(ORR_SIMD_NEON)
// 32 pixels (64 bytes in) to 96 bytes out.
inline void convert32(const uint8_t* in, uint8_t* out)
{
    const uint8x16x4_t yuyv = vld4q_u8(in);  // Y even, U, Y odd, V of 16 pairs
    const int16x8_t c16 = vdupq_n_s16(16);
    const int16x8_t c128 = vdupq_n_s16(128);
    auto widen = [](uint8x8_t x) { return vreinterpretq_s16_u16(vmovl_u8(x)); };
    uint8x16_t channels[3][2];  // [B, G, R][even, odd pixels]
    for (int half = 0; half < 2; ++half) {
        auto pick = [half](uint8x16_t x) { return half == 0 ? vget_low_u8(x) : vget_high_u8(x); };
        const int16x8_t d = vsubq_s16(widen(pick(yuyv.val[1])), c128);
        const int16x8_t e = vsubq_s16(widen(pick(yuyv.val[3])), c128);
        const int16x8_t tB = vaddq_s16(vshlq_n_s16(d, 2), c128);
        const int16x8_t tG = vaddq_s16(vmlaq_n_s16(vmulq_n_s16(d, -100), e, 48), c128);
        const int16x8_t tR = vaddq_s16(vmulq_n_s16(e, -103), c128);
        const int16x8_t iB = vaddq_s16(d, d);
        const int16x8_t iG = vnegq_s16(e);
        const int16x8_t iR = vaddq_s16(e, e);
        for (int parity = 0; parity < 2; ++parity) {
            const int16x8_t c = vsubq_s16(widen(pick(yuyv.val[2 * parity])), c16);
            const int16x8_t k = vmulq_n_s16(c, 42);
            const int16x8_t b = vaddq_s16(vaddq_s16(c, iB), vshrq_n_s16(vaddq_s16(k, tB), 8));
            const int16x8_t g = vaddq_s16(vaddq_s16(c, iG), vshrq_n_s16(vaddq_s16(k, tG), 8));
            const int16x8_t r = vaddq_s16(vaddq_s16(c, iR), vshrq_n_s16(vaddq_s16(k, tR), 8));
            if (half == 0) {
                channels[0][parity] = vcombine_u8(vqmovun_s16(b), vdup_n_u8(0));
                channels[1][parity] = vcombine_u8(vqmovun_s16(g), vdup_n_u8(0));
                channels[2][parity] = vcombine_u8(vqmovun_s16(r), vdup_n_u8(0));
            } else {
                channels[0][parity] = vcombine_u8(vget_low_u8(channels[0][parity]), vqmovun_s16(b));
                channels[1][parity] = vcombine_u8(vget_low_u8(channels[1][parity]), vqmovun_s16(g));
                channels[2][parity] = vcombine_u8(vget_low_u8(channels[2][parity]), vqmovun_s16(r));
            }
        }
    }
    // Even and odd pixels back into raster order, then stored as B, G, R triples.
    uint8x16x3_t first;
    uint8x16x3_t second;
    for (int ch = 0; ch < 3; ++ch) {
        first.val[ch] = vzip1q_u8(channels[ch][0], channels[ch][1]);
        second.val[ch] = vzip2q_u8(channels[ch][0], channels[ch][1]);
    }
    vst3q_u8(out, first);
    vst3q_u8(out + 48, second);
}
#endif

}  // namespace

void YuyvConverter::convertScalar(const uint8_t* yuyv, uint8_t* bgr, std::size_t pairs)
{
    for (std::size_t p = 0; p < pairs; ++p) {
        const uint8_t* in = yuyv + 4 * p;
        uint8_t* out = bgr + 6 * p;
        const int d = in[1] - 128;
        const int e = in[3] - 128;
        for (int k = 0; k < 2; ++k) {
            const int c = in[2 * k] - 16;
            out[3 * k + 0] = clampByte((298 * c + 516 * d + 128) >> 8);
            out[3 * k + 1] = clampByte((298 * c - 100 * d - 208 * e + 128) >> 8);
            out[3 * k + 2] = clampByte((298 * c + 409 * e + 128) >> 8);
        }
    }
}

void YuyvConverter::convert(const uint8_t* yuyv, uint8_t* bgr, std::size_t pairs)
{
    std::size_t p = 0;
#if defined(ORR_SIMD_SSE2)
    // Blocks of 8 pairs while at least one more pair follows (room for the spare bytes).
    for (; p + 9 <= pairs; p += 8) convert16(yuyv + 4 * p, bgr + 6 * p);
#elif defined(ORR_SIMD_NEON)
    for (; p + 16 <= pairs; p += 16) convert32(yuyv + 4 * p, bgr + 6 * p);
#endif
    convertScalar(yuyv + 4 * p, bgr + 6 * p, pairs - p);
}

}  // namespace orrindale
