#include "MedianRows.h"

#include <algorithm>

#include "SimdSupport.h"

namespace orrindale {

namespace {

// The exchange network of the vector paths, lane by lane: sort each column of three,
// then the median is med3(max of the lows, med3 of the middles, min of the highs).
template <typename V, typename Ops>
inline V median9(const V (&a)[3], const V (&b)[3], const V (&c)[3])
{
    V lo[3], mid[3], hi[3];
    for (int k = 0; k < 3; ++k) {
        const V t1 = Ops::min(a[k], b[k]);
        const V t2 = Ops::max(a[k], b[k]);
        hi[k] = Ops::max(t2, c[k]);
        const V t3 = Ops::min(t2, c[k]);
        lo[k] = Ops::min(t1, t3);
        mid[k] = Ops::max(t1, t3);
    }
    const V maxLo = Ops::max(Ops::max(lo[0], lo[1]), lo[2]);
    const V minHi = Ops::min(Ops::min(hi[0], hi[1]), hi[2]);
    const V medMid = Ops::max(Ops::min(mid[0], mid[1]), Ops::min(Ops::max(mid[0], mid[1]), mid[2]));
    return Ops::max(Ops::min(maxLo, medMid), Ops::min(Ops::max(maxLo, medMid), minHi));
}

struct ScalarOps {
    static uint16_t min(uint16_t a, uint16_t b) { return std::min(a, b); }
    static uint16_t max(uint16_t a, uint16_t b) { return std::max(a, b); }
};

#if defined(ORR_SIMD_SSE2)
// SSE2 has only signed word min/max: words are biased by 0x8000 on load and back on store.
struct Sse2Ops {
    static __m128i min(__m128i a, __m128i b) { return _mm_min_epi16(a, b); }
    static __m128i max(__m128i a, __m128i b) { return _mm_max_epi16(a, b); }
};
#elif defined(ORR_SIMD_NEON)
struct NeonOps {
    static uint16x8_t min(uint16x8_t a, uint16x8_t b) { return vminq_u16(a, b); }
    static uint16x8_t max(uint16x8_t a, uint16x8_t b) { return vmaxq_u16(a, b); }
};
#endif

}  // namespace

void MedianRows::rowScalar(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int width)
{
    const int end = endColumn(width);
    for (int x = kFirstColumn; x < end; ++x) {
        const uint16_t ra[3] = {a[x - 1], a[x], a[x + 1]};
        const uint16_t rb[3] = {b[x - 1], b[x], b[x + 1]};
        const uint16_t rc[3] = {c[x - 1], c[x], c[x + 1]};
        out[x] = median9<uint16_t, ScalarOps>(ra, rb, rc);
    }
}

void MedianRows::row(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int width)
{
#if defined(ORR_SIMD_SSE2)
    const int end = endColumn(width);
    const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
    auto load = [bias](const uint16_t* p) {
        return _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), bias);
    };
    for (int x = kFirstColumn; x < end; x += 8) {
        const __m128i va[3] = {load(a + x - 1), load(a + x), load(a + x + 1)};
        const __m128i vb[3] = {load(b + x - 1), load(b + x), load(b + x + 1)};
        const __m128i vc[3] = {load(c + x - 1), load(c + x), load(c + x + 1)};
        const __m128i m = median9<__m128i, Sse2Ops>(va, vb, vc);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), _mm_xor_si128(m, bias));
    }
#elif defined(ORR_SIMD_NEON)
    const int end = endColumn(width);
    for (int x = kFirstColumn; x < end; x += 8) {
        const uint16x8_t va[3] = {vld1q_u16(a + x - 1), vld1q_u16(a + x), vld1q_u16(a + x + 1)};
        const uint16x8_t vb[3] = {vld1q_u16(b + x - 1), vld1q_u16(b + x), vld1q_u16(b + x + 1)};
        const uint16x8_t vc[3] = {vld1q_u16(c + x - 1), vld1q_u16(c + x), vld1q_u16(c + x + 1)};
        vst1q_u16(out + x, median9<uint16x8_t, NeonOps>(va, vb, vc));
    }
#else
    rowScalar(a, b, c, out, width);
#endif
}

}  // namespace orrindale
