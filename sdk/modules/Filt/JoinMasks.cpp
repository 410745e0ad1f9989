#include "JoinMasks.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "SimdSupport.h"

namespace orrindale {

namespace {

inline bool joins(int a, int b, int newVal, int maxDiff)
{
    return a > newVal && b > newVal && std::abs(a - b) <= maxDiff;
}

// Scalar bits for columns [from, width).
void rowMasksScalar(const int16_t* row, const int16_t* above, int from, int width, int newVal, int maxDiff,
                    const JoinMasks::Row& m)
{
    for (int x = from; x < width; ++x) {
        const uint64_t bit = uint64_t{1} << (x & 63);
        const int v = row[x];
        if (v <= newVal) continue;
        m.valid[x >> 6] |= bit;
        if (x + 1 < width && joins(v, row[x + 1], newVal, maxDiff)) m.right[x >> 6] |= bit;
        if (above != nullptr && joins(v, above[x], newVal, maxDiff)) m.up[x >> 6] |= bit;
    }
}

#if defined(ORR_SIMD_SSE2)
// 16 bits (columns x .. x + 15) of each mask; needs column x + 16.
inline void rowMasks16(const int16_t* row, const int16_t* above, int x, __m128i nv, __m128i md, uint32_t& valid,
                       uint32_t& right, uint32_t& up)
{
    auto ld = [](const int16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    const __m128i zero = _mm_setzero_si128();
    // |a - b| <= maxDiff on signed words: the difference max - min fits 16 bits unsigned.
    auto close = [&](__m128i a, __m128i b) {
        const __m128i diff = _mm_sub_epi16(_mm_max_epi16(a, b), _mm_min_epi16(a, b));
        return _mm_cmpeq_epi16(_mm_subs_epu16(diff, md), zero);
    };
    const __m128i a0 = ld(row + x), a1 = ld(row + x + 8);
    const __m128i r0 = ld(row + x + 1), r1 = ld(row + x + 9);
    const __m128i v0 = _mm_cmpgt_epi16(a0, nv), v1 = _mm_cmpgt_epi16(a1, nv);
    const __m128i vr0 = _mm_cmpgt_epi16(r0, nv), vr1 = _mm_cmpgt_epi16(r1, nv);
    const __m128i j0 = _mm_and_si128(_mm_and_si128(v0, vr0), close(a0, r0));
    const __m128i j1 = _mm_and_si128(_mm_and_si128(v1, vr1), close(a1, r1));
    valid = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(v0, v1)));
    right = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(j0, j1)));
    up = 0;
    if (above != nullptr) {
        const __m128i u0 = ld(above + x), u1 = ld(above + x + 8);
        const __m128i k0 = _mm_and_si128(_mm_and_si128(v0, _mm_cmpgt_epi16(u0, nv)), close(a0, u0));
        const __m128i k1 = _mm_and_si128(_mm_and_si128(v1, _mm_cmpgt_epi16(u1, nv)), close(a1, u1));
        up = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(k0, k1)));
    }
}
#elif defined(ORR_SIMD_NEON)
inline uint32_t bitsOf(uint16x8_t lo, uint16x8_t hi)
{
    const uint16x8_t weights = {1, 2, 4, 8, 16, 32, 64, 128};
    return vaddvq_u16(vandq_u16(lo, weights)) | (static_cast<uint32_t>(vaddvq_u16(vandq_u16(hi, weights))) << 8);
}

inline void rowMasks16(const int16_t* row, const int16_t* above, int x, int16x8_t nv, uint16x8_t md,
                       uint32_t& valid, uint32_t& right, uint32_t& up)
{
    auto close = [&](int16x8_t a, int16x8_t b) {
        const uint16x8_t diff = vreinterpretq_u16_s16(vsubq_s16(vmaxq_s16(a, b), vminq_s16(a, b)));
        return vcleq_u16(diff, md);
    };
    const int16x8_t a0 = vld1q_s16(row + x), a1 = vld1q_s16(row + x + 8);
    const int16x8_t r0 = vld1q_s16(row + x + 1), r1 = vld1q_s16(row + x + 9);
    const uint16x8_t v0 = vcgtq_s16(a0, nv), v1 = vcgtq_s16(a1, nv);
    const uint16x8_t j0 = vandq_u16(vandq_u16(v0, vcgtq_s16(r0, nv)), close(a0, r0));
    const uint16x8_t j1 = vandq_u16(vandq_u16(v1, vcgtq_s16(r1, nv)), close(a1, r1));
    valid = bitsOf(v0, v1);
    right = bitsOf(j0, j1);
    up = 0;
    if (above != nullptr) {
        const int16x8_t u0 = vld1q_s16(above + x), u1 = vld1q_s16(above + x + 8);
        const uint16x8_t k0 = vandq_u16(vandq_u16(v0, vcgtq_s16(u0, nv)), close(a0, u0));
        const uint16x8_t k1 = vandq_u16(vandq_u16(v1, vcgtq_s16(u1, nv)), close(a1, u1));
        up = bitsOf(k0, k1);
    }
}
#endif

}  // namespace

void JoinMasks::compute(const int16_t* row, const int16_t* above, int width, int newVal, int maxDiff, const Row& m)
{
    const std::size_t words = JoinMasks::wordsPerRow(width);
    std::memset(m.valid, 0, words * sizeof(uint64_t));
    std::memset(m.right, 0, words * sizeof(uint64_t));
    std::memset(m.up, 0, words * sizeof(uint64_t));
    int x = 0;
#if defined(ORR_SIMD_SSE2) || defined(ORR_SIMD_NEON)
    // The difference limit as an unsigned word: negative joins nothing, 65535 or more joins all.
    const int limit = maxDiff < 0 ? -1 : std::min(maxDiff, 65535);
#if defined(ORR_SIMD_SSE2)
    const __m128i nv = _mm_set1_epi16(static_cast<short>(newVal));
    const __m128i md = _mm_set1_epi16(static_cast<short>(static_cast<uint16_t>(limit < 0 ? 0 : limit)));
#else
    const int16x8_t nv = vdupq_n_s16(static_cast<int16_t>(newVal));
    const uint16x8_t md = vdupq_n_u16(static_cast<uint16_t>(limit < 0 ? 0 : limit));
#endif
    if (limit >= 0) {
        for (; x + 17 <= width; x += 16) {
            uint32_t v, r, u;
            rowMasks16(row, above, x, nv, md, v, r, u);
            const int shift = x & 63;
            m.valid[x >> 6] |= static_cast<uint64_t>(v) << shift;
            m.right[x >> 6] |= static_cast<uint64_t>(r) << shift;
            m.up[x >> 6] |= static_cast<uint64_t>(u) << shift;
        }
    }
#endif
    rowMasksScalar(row, above, x, width, newVal, maxDiff, m);
}


void JoinMasks::clearBeyond(int16_t* depth, std::size_t count, int32_t maxDepth)
{
    if (maxDepth >= 65535) return;
    std::size_t i = 0;
#if defined(ORR_SIMD_SSE2)
    if (maxDepth >= 0) {
        // Unsigned compare as signed after flipping the sign bit.
        const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
        const __m128i limit = _mm_set1_epi16(static_cast<short>(maxDepth ^ 0x8000));
        for (; i + 8 <= count; i += 8) {
            auto* p = reinterpret_cast<__m128i*>(depth + i);
            const __m128i d = _mm_loadu_si128(p);
            const __m128i beyond = _mm_cmpgt_epi16(_mm_xor_si128(d, bias), limit);
            _mm_storeu_si128(p, _mm_andnot_si128(beyond, d));
        }
    }
#elif defined(ORR_SIMD_NEON)
    if (maxDepth >= 0) {
        const uint16x8_t limit = vdupq_n_u16(static_cast<uint16_t>(maxDepth));
        for (; i + 8 <= count; i += 8) {
            auto* p = reinterpret_cast<uint16_t*>(depth + i);
            const uint16x8_t d = vld1q_u16(p);
            vst1q_u16(p, vbicq_u16(d, vcgtq_u16(d, limit)));
        }
    }
#endif
    for (; i < count; ++i)
        if (static_cast<int32_t>(static_cast<uint16_t>(depth[i])) > maxDepth) depth[i] = 0;
}


}  // namespace orrindale
