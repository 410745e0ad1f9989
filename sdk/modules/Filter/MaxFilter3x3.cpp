#include "MaxFilter3x3.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "SimdSupport.h"

namespace orrindale {

namespace {

constexpr int kBorder = 3;

template <typename T>
void rowScalar(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int begin, int end)
{
    auto at = [](const uint16_t* p, int i) { return static_cast<T>(p[i]); };
    for (int x = begin; x < end; ++x) {
        T m = at(a, x - 1);
        for (int dx = -1; dx <= 1; ++dx) {
            m = std::max(m, at(a, x + dx));
            m = std::max(m, at(b, x + dx));
            m = std::max(m, at(c, x + dx));
        }
        out[x] = static_cast<uint16_t>(m);
    }
}

void rowDispatchScalar(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int begin, int end,
                       MaxFilter3x3::Order order)
{
    if (order == MaxFilter3x3::Order::kSigned)
        rowScalar<int16_t>(a, b, c, out, begin, end);
    else
        rowScalar<uint16_t>(a, b, c, out, begin, end);
}

#if defined(ORR_SIMD_SSE2)
inline __m128i load(const uint16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
// SSE2 has only the signed word maximum; the unsigned one is b + (a -sat b).
inline __m128i maxU16(__m128i a, __m128i b) { return _mm_add_epi16(b, _mm_subs_epu16(a, b)); }

template <bool Signed>
int rowVector(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int begin, int end)
{
    auto mx = [](__m128i p, __m128i q) { return Signed ? _mm_max_epi16(p, q) : maxU16(p, q); };
    int x = begin;
    for (; x + 8 <= end; x += 8) {
        const __m128i left = mx(mx(load(a + x - 1), load(b + x - 1)), load(c + x - 1));
        const __m128i mid = mx(mx(load(a + x), load(b + x)), load(c + x));
        const __m128i right = mx(mx(load(a + x + 1), load(b + x + 1)), load(c + x + 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), mx(mx(left, mid), right));
    }
    return x;
}
#elif defined(ORR_SIMD_NEON)
template <bool Signed>
int rowVector(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int begin, int end)
{
    int x = begin;
    for (; x + 8 <= end; x += 8) {
        if constexpr (Signed) {
            auto ld = [](const uint16_t* p) { return vreinterpretq_s16_u16(vld1q_u16(p)); };
            const int16x8_t left = vmaxq_s16(vmaxq_s16(ld(a + x - 1), ld(b + x - 1)), ld(c + x - 1));
            const int16x8_t mid = vmaxq_s16(vmaxq_s16(ld(a + x), ld(b + x)), ld(c + x));
            const int16x8_t right = vmaxq_s16(vmaxq_s16(ld(a + x + 1), ld(b + x + 1)), ld(c + x + 1));
            vst1q_u16(out + x, vreinterpretq_u16_s16(vmaxq_s16(vmaxq_s16(left, mid), right)));
        } else {
            const uint16x8_t left = vmaxq_u16(vmaxq_u16(vld1q_u16(a + x - 1), vld1q_u16(b + x - 1)), vld1q_u16(c + x - 1));
            const uint16x8_t mid = vmaxq_u16(vmaxq_u16(vld1q_u16(a + x), vld1q_u16(b + x)), vld1q_u16(c + x));
            const uint16x8_t right =
                vmaxq_u16(vmaxq_u16(vld1q_u16(a + x + 1), vld1q_u16(b + x + 1)), vld1q_u16(c + x + 1));
            vst1q_u16(out + x, vmaxq_u16(vmaxq_u16(left, mid), right));
        }
    }
    return x;
}
#endif

bool hasInterior(int width, int height) { return width > 2 * kBorder && height > 2 * kBorder; }

}  // namespace

void MaxFilter3x3::row(const uint16_t* a, const uint16_t* b, const uint16_t* c, uint16_t* out, int begin, int end,
                       Order order)
{
    int x = begin;
#if defined(ORR_SIMD_SSE2) || defined(ORR_SIMD_NEON)
    x = order == Order::kSigned ? rowVector<true>(a, b, c, out, begin, end)
                                : rowVector<false>(a, b, c, out, begin, end);
#endif
    rowDispatchScalar(a, b, c, out, x, end, order);
}

void MaxFilter3x3::apply(const uint16_t* src, uint16_t* dst, int width, int height, Order order)
{
    if (!hasInterior(width, height)) return;
    const std::size_t w = static_cast<std::size_t>(width);
    for (int r = kBorder; r <= height - 1 - kBorder; ++r)
        row(src + (r - 1) * w, src + r * w, src + (r + 1) * w, dst + r * w, kBorder, width - kBorder, order);
}

void MaxFilter3x3::applyScalar(const uint16_t* src, uint16_t* dst, int width, int height, Order order)
{
    if (!hasInterior(width, height)) return;
    const std::size_t w = static_cast<std::size_t>(width);
    for (int r = kBorder; r <= height - 1 - kBorder; ++r)
        rowDispatchScalar(src + (r - 1) * w, src + r * w, src + (r + 1) * w, dst + r * w, kBorder, width - kBorder,
                          order);
}

void MaxFilter3x3::applyInPlace(uint16_t* image, int width, int height, Order order)
{
    if (!hasInterior(width, height)) return;
    const std::size_t w = static_cast<std::size_t>(width);
    // The original of the row above and of the current row, which the output overwrites.
    std::vector<uint16_t> saved(2 * w);
    uint16_t* above = saved.data();
    uint16_t* current = saved.data() + w;
    std::memcpy(above, image + (kBorder - 1) * w, w * sizeof(uint16_t));
    for (int r = kBorder; r <= height - 1 - kBorder; ++r) {
        uint16_t* out = image + r * w;
        std::memcpy(current, out, w * sizeof(uint16_t));
        row(above, current, out + w, out, kBorder, width - kBorder, order);
        std::swap(above, current);
    }
}

}  // namespace orrindale
