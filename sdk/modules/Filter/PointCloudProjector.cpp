#include "PointCloudProjector.h"

#include <cstring>

#include "SimdSupport.h"

namespace orrindale {

namespace {

inline uint16_t wordAt(const uint16_t* p)
{
    uint16_t d;
    std::memcpy(&d, p, sizeof d);  // frame buffers may be unaligned
    return d;
}

inline bool keeps(uint16_t d) { return d != 0 && d <= PointCloudProjector::kMaxDepth; }

// One row of the scalar path from column `begin`; returns the advanced output pointer.
float* projectRowScalar(const uint16_t* row, int begin, int width, float fv, const PinholeIntrinsics& k,
                        bool organized, float* out)
{
    for (int u = begin; u < width; ++u) {
        const uint16_t d = wordAt(row + u);
        if (!organized && !keeps(d)) continue;
        const float z = static_cast<float>(d);
        out[0] = (static_cast<float>(u) - k.cx) * z / k.fx;
        out[1] = (fv - k.cy) * z / k.fy;
        out[2] = z;
        out += 3;
    }
    return out;
}

#if defined(ORR_SIMD_SSE2)
float* projectRowVector(const uint16_t* row, int width, float fv, const PinholeIntrinsics& k, bool organized,
                        float* out, int& done)
{
    const __m128 cx = _mm_set1_ps(k.cx);
    const __m128 fx = _mm_set1_ps(k.fx);
    const __m128 fy = _mm_set1_ps(k.fy);
    const __m128 dy = _mm_set1_ps(fv - k.cy);
    const __m128 four = _mm_set1_ps(4.0f);
    const __m128i zero = _mm_setzero_si128();
    // Signed compare of words: valid words are 1 .. 5000, so "d - 1 < 5000" unsigned is
    // (d - 1) ^ 0x8000 < 5000 ^ 0x8000 signed.
    const __m128i bias = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i limit = _mm_set1_epi16(static_cast<short>(PointCloudProjector::kMaxDepth ^ 0x8000));
    const __m128i one = _mm_set1_epi16(1);
    __m128 u = _mm_set_ps(3.0f, 2.0f, 1.0f, 0.0f);
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
        int keepMask = 0xFF;
        if (!organized) {
            const __m128i keep = _mm_cmplt_epi16(_mm_xor_si128(_mm_sub_epi16(words, one), bias), limit);
            keepMask = _mm_movemask_epi8(_mm_packs_epi16(keep, zero));
            if (keepMask == 0) {
                u = _mm_add_ps(u, _mm_add_ps(four, four));
                continue;
            }
        }
        const __m128i halves[2] = {_mm_unpacklo_epi16(words, zero), _mm_unpackhi_epi16(words, zero)};
        for (int h = 0; h < 2; ++h) {
            const __m128 z = _mm_cvtepi32_ps(halves[h]);
            const __m128 px = _mm_div_ps(_mm_mul_ps(_mm_sub_ps(u, cx), z), fx);
            const __m128 py = _mm_div_ps(_mm_mul_ps(dy, z), fy);
            u = _mm_add_ps(u, four);
            if (organized) {
                const __m128 xyLo = _mm_unpacklo_ps(px, py);  // x0 y0 x1 y1
                const __m128 xyHi = _mm_unpackhi_ps(px, py);  // x2 y2 x3 y3
                const __m128 t0 = _mm_shuffle_ps(z, px, _MM_SHUFFLE(1, 1, 0, 0));     // z0 z0 x1 x1
                const __m128 t1 = _mm_shuffle_ps(xyLo, z, _MM_SHUFFLE(1, 1, 3, 3));   // y1 y1 z1 z1
                const __m128 t2 = _mm_shuffle_ps(z, xyHi, _MM_SHUFFLE(3, 2, 3, 2));   // z2 z3 x3 y3
                _mm_storeu_ps(out, _mm_shuffle_ps(xyLo, t0, _MM_SHUFFLE(2, 0, 1, 0)));      // x0 y0 z0 x1
                _mm_storeu_ps(out + 4, _mm_shuffle_ps(t1, xyHi, _MM_SHUFFLE(1, 0, 2, 0)));  // y1 z1 x2 y2
                _mm_storeu_ps(out + 8, _mm_shuffle_ps(t2, t2, _MM_SHUFFLE(1, 3, 2, 0)));    // z2 x3 y3 z3
                out += 12;
            } else {
                // One register per point (x, y, z, 0); the next point overwrites the spare
                // fourth float, and a dropped point is simply overwritten.
                const __m128 xyLo = _mm_unpacklo_ps(px, py);
                const __m128 xyHi = _mm_unpackhi_ps(px, py);
                const __m128 zLo = _mm_unpacklo_ps(z, _mm_setzero_ps());  // z0 0 z1 0
                const __m128 zHi = _mm_unpackhi_ps(z, _mm_setzero_ps());  // z2 0 z3 0
                const int m = keepMask >> (4 * h);
                _mm_storeu_ps(out, _mm_movelh_ps(xyLo, zLo));
                out += 3 * (m & 1);
                _mm_storeu_ps(out, _mm_movehl_ps(zLo, xyLo));
                out += 3 * ((m >> 1) & 1);
                _mm_storeu_ps(out, _mm_movelh_ps(xyHi, zHi));
                out += 3 * ((m >> 2) & 1);
                _mm_storeu_ps(out, _mm_movehl_ps(zHi, xyHi));
                out += 3 * ((m >> 3) & 1);
            }
        }
    }
    done = x;
    return out;
}
#elif defined(ORR_SIMD_NEON)
float* projectRowVector(const uint16_t* row, int width, float fv, const PinholeIntrinsics& k, bool organized,
                        float* out, int& done)
{
    const float32x4_t cx = vdupq_n_f32(k.cx);
    const float32x4_t fx = vdupq_n_f32(k.fx);
    const float32x4_t fy = vdupq_n_f32(k.fy);
    const float32x4_t dy = vdupq_n_f32(fv - k.cy);
    const float32x4_t four = vdupq_n_f32(4.0f);
    const float32x4_t zeroF = vdupq_n_f32(0.0f);
    const uint16x8_t limit = vdupq_n_u16(PointCloudProjector::kMaxDepth);
    const uint16x8_t one = vdupq_n_u16(1);
    const uint16x8_t bits = {1, 2, 4, 8, 16, 32, 64, 128};
    const float init[4] = {0.0f, 1.0f, 2.0f, 3.0f};
    float32x4_t u = vld1q_f32(init);
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        const uint16x8_t words = vreinterpretq_u16_u8(vld1q_u8(reinterpret_cast<const uint8_t*>(row + x)));
        unsigned keepMask = 0xFF;
        if (!organized) {
            const uint16x8_t keep = vcltq_u16(vsubq_u16(words, one), limit);
            keepMask = vaddvq_u16(vandq_u16(keep, bits));
            if (keepMask == 0) {
                u = vaddq_f32(u, vaddq_f32(four, four));
                continue;
            }
        }
        const uint32x4_t halves[2] = {vmovl_u16(vget_low_u16(words)), vmovl_u16(vget_high_u16(words))};
        for (int h = 0; h < 2; ++h) {
            const float32x4_t z = vcvtq_f32_u32(halves[h]);
            const float32x4_t px = vdivq_f32(vmulq_f32(vsubq_f32(u, cx), z), fx);
            const float32x4_t py = vdivq_f32(vmulq_f32(dy, z), fy);
            u = vaddq_f32(u, four);
            if (organized) {
                float32x4x3_t xyz = {{px, py, z}};
                vst3q_f32(out, xyz);
                out += 12;
            } else {
                const float32x4x2_t xy = vzipq_f32(px, py);    // x0 y0 x1 y1 | x2 y2 x3 y3
                const float32x4x2_t zz = vzipq_f32(z, zeroF);  // z0 0 z1 0 | z2 0 z3 0
                const unsigned m = keepMask >> (4 * h);
                vst1q_f32(out, vcombine_f32(vget_low_f32(xy.val[0]), vget_low_f32(zz.val[0])));
                out += 3 * (m & 1);
                vst1q_f32(out, vcombine_f32(vget_high_f32(xy.val[0]), vget_high_f32(zz.val[0])));
                out += 3 * ((m >> 1) & 1);
                vst1q_f32(out, vcombine_f32(vget_low_f32(xy.val[1]), vget_low_f32(zz.val[1])));
                out += 3 * ((m >> 2) & 1);
                vst1q_f32(out, vcombine_f32(vget_high_f32(xy.val[1]), vget_high_f32(zz.val[1])));
                out += 3 * ((m >> 3) & 1);
            }
        }
    }
    done = x;
    return out;
}
#endif

}  // namespace

std::size_t PointCloudProjector::projectScalar(const uint16_t* depth, int width, int height,
                                               const PinholeIntrinsics& k, bool organized, float* points)
{
    float* out = points;
    for (int v = 0; v < height; ++v)
        out = projectRowScalar(depth + static_cast<std::size_t>(v) * width, 0, width, static_cast<float>(v), k,
                               organized, out);
    return static_cast<std::size_t>(out - points) / 3;
}

std::size_t PointCloudProjector::project(const uint16_t* depth, int width, int height, const PinholeIntrinsics& k,
                                         bool organized, float* points)
{
#if defined(ORR_SIMD_SSE2) || defined(ORR_SIMD_NEON)
    float* out = points;
    for (int v = 0; v < height; ++v) {
        const uint16_t* row = depth + static_cast<std::size_t>(v) * width;
        const float fv = static_cast<float>(v);
        int done = 0;
        out = projectRowVector(row, width, fv, k, organized, out, done);
        out = projectRowScalar(row, done, width, fv, k, organized, out);
    }
    return static_cast<std::size_t>(out - points) / 3;
#else
    return projectScalar(depth, width, height, k, organized, points);
#endif
}

}  // namespace orrindale
