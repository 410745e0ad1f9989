#include "MedianRows.h"

#include <algorithm>

#include "SimdSupport.h"

namespace orrindale {

namespace {

// The exchange network, lane by lane. Two output rows share the sort of their two
// common input rows: with (s1, s2) = sort(b, c), the column (a, b, c) sorts to
// (min(a, s1), max(s1, min(a, s2)), max(a, s2)), and (b, c, d) likewise with d.
// The median of the 3 x 3 block is then med3(max of the lows, med3 of the middles,
// min of the highs).
template <typename Ops>
struct Network {
    using V = typename Ops::V;
    static V med3(V a, V b, V c) { return Ops::max(Ops::min(a, b), Ops::min(Ops::max(a, b), c)); }

    static V fromColumns(const V (&lo)[3], const V (&mid)[3], const V (&hi)[3])
    {
        const V maxLo = Ops::max(Ops::max(lo[0], lo[1]), lo[2]);
        const V minHi = Ops::min(Ops::min(hi[0], hi[1]), hi[2]);
        return med3(maxLo, med3(mid[0], mid[1], mid[2]), minHi);
    }

    // Medians of the rows of b and c at the position of `at`: rows a, b, c, d are read
    // at columns at - 1, at, at + 1 through load(row, offset).
    template <typename Load>
    static void pair(Load load, V& outB, V& outC)
    {
        V lo0[3], mid0[3], hi0[3], lo1[3], mid1[3], hi1[3];
        for (int k = 0; k < 3; ++k) {
            const V a = load(0, k - 1), b = load(1, k - 1), c = load(2, k - 1), d = load(3, k - 1);
            const V s1 = Ops::min(b, c), s2 = Ops::max(b, c);
            lo0[k] = Ops::min(a, s1);
            hi0[k] = Ops::max(a, s2);
            mid0[k] = Ops::max(s1, Ops::min(a, s2));
            lo1[k] = Ops::min(d, s1);
            hi1[k] = Ops::max(d, s2);
            mid1[k] = Ops::max(s1, Ops::min(d, s2));
        }
        outB = fromColumns(lo0, mid0, hi0);
        outC = fromColumns(lo1, mid1, hi1);
    }

    template <typename Load>
    static V single(Load load)
    {
        V lo[3], mid[3], hi[3];
        for (int k = 0; k < 3; ++k) {
            const V a = load(0, k - 1), b = load(1, k - 1), c = load(2, k - 1);
            const V s1 = Ops::min(b, c), s2 = Ops::max(b, c);
            lo[k] = Ops::min(a, s1);
            hi[k] = Ops::max(a, s2);
            mid[k] = Ops::max(s1, Ops::min(a, s2));
        }
        return fromColumns(lo, mid, hi);
    }
};

struct ScalarOps {
    using V = uint16_t;
    static uint16_t min(uint16_t a, uint16_t b) { return std::min(a, b); }
    static uint16_t max(uint16_t a, uint16_t b) { return std::max(a, b); }
};

#if defined(ORR_SIMD_SSE2)
// SSE2 has only signed word min/max: words are biased by 0x8000 on load and back on store.
struct VectorOps {
    using V = __m128i;
    static V min(V a, V b) { return _mm_min_epi16(a, b); }
    static V max(V a, V b) { return _mm_max_epi16(a, b); }
    static V load(const uint16_t* p)
    {
        return _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_set1_epi16(-32768));
    }
    static void store(uint16_t* p, V v)
    {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_xor_si128(v, _mm_set1_epi16(-32768)));
    }
};
#elif defined(ORR_SIMD_NEON)
struct VectorOps {
    using V = uint16x8_t;
    static V min(V a, V b) { return vminq_u16(a, b); }
    static V max(V a, V b) { return vmaxq_u16(a, b); }
    static V load(const uint16_t* p) { return vld1q_u16(p); }
    static void store(uint16_t* p, V v) { vst1q_u16(p, v); }
};
#endif

}  // namespace

void MedianRows::rowScalar(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int width)
{
    const int end = endColumn(width);
    const uint16_t* rows[3] = {a, b, c};
    for (int x = kFirstColumn; x < end; ++x)
        out[x] = Network<ScalarOps>::single([&](int r, int dx) { return rows[r][x + dx]; });
}

void MedianRows::row(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int width)
{
#if defined(ORR_SIMD_SSE2) || defined(ORR_SIMD_NEON)
    const int end = endColumn(width);
    const uint16_t* rows[3] = {a, b, c};
    for (int x = kFirstColumn; x < end; x += 8)
        VectorOps::store(out + x, Network<VectorOps>::single(
                                      [&](int r, int dx) { return VectorOps::load(rows[r] + x + dx); }));
#else
    rowScalar(a, b, c, out, width);
#endif
}

void MedianRows::rowPair(const uint16_t* a, const uint16_t* b, const uint16_t* c, const uint16_t* d, uint16_t* outB,
                         uint16_t* outC, int width)
{
#if defined(ORR_SIMD_SSE2) || defined(ORR_SIMD_NEON)
    const int end = endColumn(width);
    const uint16_t* rows[4] = {a, b, c, d};
    for (int x = kFirstColumn; x < end; x += 8) {
        VectorOps::V mb, mc;
        Network<VectorOps>::pair([&](int r, int dx) { return VectorOps::load(rows[r] + x + dx); }, mb,
                                               mc);
        VectorOps::store(outB + x, mb);
        VectorOps::store(outC + x, mc);
    }
#else
    rowScalar(a, b, c, outB, width);
    rowScalar(b, c, d, outC, width);
#endif
}

}  // namespace orrindale
