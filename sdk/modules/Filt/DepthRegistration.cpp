#include "DepthRegistration.h"

#include <cmath>
#include <cstring>

#include "SimdSupport.h"

namespace orrindale {

bool DepthRegistration::makeProjection(const ir_rgb_Parameter& c, Projection& out)
{
    const double values[] = {c.depthFx, c.depthFy, c.depthCx, c.depthCy, c.rgbFx, c.rgbFy, c.rgbCx, c.rgbCy};
    for (double v : values)
        if (!std::isfinite(v)) return false;
    if (c.depthFx == 0.0f || c.depthFy == 0.0f) return false;
    for (float v : c.rotation)
        if (!std::isfinite(v)) return false;
    for (float v : c.translation)
        if (!std::isfinite(v)) return false;

    // Kinv: depth pixel to ray; K: colour camera; M = K * R * Kinv, offset = K * T.
    const double kinv[3][3] = {{1.0 / c.depthFx, 0.0, -double(c.depthCx) / c.depthFx},
                               {0.0, 1.0 / c.depthFy, -double(c.depthCy) / c.depthFy},
                               {0.0, 0.0, 1.0}};
    const double k[3][3] = {{c.rgbFx, 0.0, c.rgbCx}, {0.0, c.rgbFy, c.rgbCy}, {0.0, 0.0, 1.0}};
    double kr[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double s = 0.0;
            for (int m = 0; m < 3; ++m) s += k[i][m] * c.rotation[m * 3 + j];
            kr[i][j] = s;
        }
    double m[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double s = 0.0;
            for (int n = 0; n < 3; ++n) s += kr[i][n] * kinv[n][j];
            m[i][j] = s;
        }
    for (int i = 0; i < 3; ++i) {
        out.column0[i] = static_cast<float>(m[i][0]);
        out.column1[i] = static_cast<float>(m[i][1]);
        out.column2[i] = static_cast<float>(m[i][2]);
        double t = 0.0;
        for (int n = 0; n < 3; ++n) t += k[i][n] * c.translation[n];
        out.offset[i] = static_cast<float>(t);
    }
    return true;
}

namespace {

// Keeps the nearest depth: 0 is "empty" and, as an unsigned word minus one, compares
// above every depth.
inline void keepNearest(uint16_t* depthOut, int outWidth, int outHeight, int ox, int oy, int zq)
{
    if (ox < 0 || ox >= outWidth || oy < 0 || oy >= outHeight) return;
    uint16_t& target = depthOut[static_cast<std::size_t>(oy) * outWidth + ox];
    const auto z = static_cast<uint16_t>(zq);
    if (static_cast<uint16_t>(z - 1u) < static_cast<uint16_t>(target - 1u)) target = z;
}

struct RowTerms {
    float baseX, baseY, baseZ;
};

// Pixels [begin, width) of one row, one at a time.
void projectRowScalar(const uint16_t* row, int begin, int width, const RowTerms& b,
                      const DepthRegistration::Projection& pr, uint16_t* depthOut, int outWidth, int outHeight)
{
    // Far outside the image: keeps the float-to-int conversion defined.
    const float limitX = static_cast<float>(outWidth) + 1.0f;
    const float limitY = static_cast<float>(outHeight) + 1.0f;
    for (int u = begin; u < width; ++u) {
        const uint16_t d = row[u];
        if (d == 0) continue;
        const float z = static_cast<float>(d);
        const float fu = static_cast<float>(u);
        const float pz = z * (pr.column0[2] * fu + b.baseZ) + pr.offset[2];
        if (!(pz > 0.5f && pz < 65535.5f)) continue;
        const float inv = 1.0f / pz;
        const float x = (z * (pr.column0[0] * fu + b.baseX) + pr.offset[0]) * inv;
        const float y = (z * (pr.column0[1] * fu + b.baseY) + pr.offset[1]) * inv;
        if (!(x > -1.0f && x < limitX && y > -1.0f && y < limitY)) continue;
        keepNearest(depthOut, outWidth, outHeight, static_cast<int>(std::lrint(x)), static_cast<int>(std::lrint(y)),
                    static_cast<int>(std::lrint(pz)));
    }
}

#if defined(ORR_SIMD_SSE2)
// Four pixels at a time up to the projection; the scatter stays scalar. Same operations
// in the same order as the scalar path (cvtps2dq rounds to nearest even, as lrint).
int projectRowVector(const uint16_t* row, int width, const RowTerms& b, const DepthRegistration::Projection& pr,
                     uint16_t* depthOut, int outWidth, int outHeight)
{
    const __m128 c0x = _mm_set1_ps(pr.column0[0]), c0y = _mm_set1_ps(pr.column0[1]), c0z = _mm_set1_ps(pr.column0[2]);
    const __m128 bx = _mm_set1_ps(b.baseX), by = _mm_set1_ps(b.baseY), bz = _mm_set1_ps(b.baseZ);
    const __m128 ox = _mm_set1_ps(pr.offset[0]), oy = _mm_set1_ps(pr.offset[1]), oz = _mm_set1_ps(pr.offset[2]);
    const __m128 zMin = _mm_set1_ps(0.5f), zMax = _mm_set1_ps(65535.5f), one = _mm_set1_ps(1.0f);
    const __m128 minusOne = _mm_set1_ps(-1.0f);
    const __m128 limitX = _mm_set1_ps(static_cast<float>(outWidth) + 1.0f);
    const __m128 limitY = _mm_set1_ps(static_cast<float>(outHeight) + 1.0f);
    const __m128 four = _mm_set1_ps(4.0f);
    const __m128i zero = _mm_setzero_si128();
    __m128 fu = _mm_set_ps(3.0f, 2.0f, 1.0f, 0.0f);
    int u = 0;
    for (; u + 4 <= width; u += 4, fu = _mm_add_ps(fu, four)) {
        const __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + u));
        const __m128 z = _mm_cvtepi32_ps(_mm_unpacklo_epi16(words, zero));
        const __m128 pz = _mm_add_ps(_mm_mul_ps(z, _mm_add_ps(_mm_mul_ps(c0z, fu), bz)), oz);
        __m128 keep = _mm_and_ps(_mm_cmpgt_ps(z, _mm_setzero_ps()),
                                 _mm_and_ps(_mm_cmpgt_ps(pz, zMin), _mm_cmplt_ps(pz, zMax)));
        if (_mm_movemask_ps(keep) == 0) continue;
        const __m128 inv = _mm_div_ps(one, pz);
        const __m128 x = _mm_mul_ps(_mm_add_ps(_mm_mul_ps(z, _mm_add_ps(_mm_mul_ps(c0x, fu), bx)), ox), inv);
        const __m128 y = _mm_mul_ps(_mm_add_ps(_mm_mul_ps(z, _mm_add_ps(_mm_mul_ps(c0y, fu), by)), oy), inv);
        keep = _mm_and_ps(keep, _mm_and_ps(_mm_and_ps(_mm_cmpgt_ps(x, minusOne), _mm_cmplt_ps(x, limitX)),
                                           _mm_and_ps(_mm_cmpgt_ps(y, minusOne), _mm_cmplt_ps(y, limitY))));
        const int mask = _mm_movemask_ps(keep);
        if (mask == 0) continue;
        alignas(16) int32_t px[4], py[4], pzq[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(px), _mm_cvtps_epi32(x));
        _mm_store_si128(reinterpret_cast<__m128i*>(py), _mm_cvtps_epi32(y));
        _mm_store_si128(reinterpret_cast<__m128i*>(pzq), _mm_cvtps_epi32(pz));
        for (int k = 0; k < 4; ++k)
            if (mask & (1 << k)) keepNearest(depthOut, outWidth, outHeight, px[k], py[k], pzq[k]);
    }
    return u;
}
#elif defined(ORR_SIMD_NEON)
// Four pixels at a time up to the projection, as the SSE2 path (vcvtnq rounds to
// nearest even, as lrint).
int projectRowVector(const uint16_t* row, int width, const RowTerms& b, const DepthRegistration::Projection& pr,
                     uint16_t* depthOut, int outWidth, int outHeight)
{
    const float32x4_t c0x = vdupq_n_f32(pr.column0[0]), c0y = vdupq_n_f32(pr.column0[1]);
    const float32x4_t c0z = vdupq_n_f32(pr.column0[2]);
    const float32x4_t bx = vdupq_n_f32(b.baseX), by = vdupq_n_f32(b.baseY), bz = vdupq_n_f32(b.baseZ);
    const float32x4_t ox = vdupq_n_f32(pr.offset[0]), oy = vdupq_n_f32(pr.offset[1]), oz = vdupq_n_f32(pr.offset[2]);
    const float32x4_t zMin = vdupq_n_f32(0.5f), zMax = vdupq_n_f32(65535.5f), one = vdupq_n_f32(1.0f);
    const float32x4_t minusOne = vdupq_n_f32(-1.0f), zero = vdupq_n_f32(0.0f);
    const float32x4_t limitX = vdupq_n_f32(static_cast<float>(outWidth) + 1.0f);
    const float32x4_t limitY = vdupq_n_f32(static_cast<float>(outHeight) + 1.0f);
    const float32x4_t four = vdupq_n_f32(4.0f);
    const float init[4] = {0.0f, 1.0f, 2.0f, 3.0f};
    float32x4_t fu = vld1q_f32(init);
    // Separate multiply and add, as in the scalar path (no fused multiply-add).
    auto mulAdd = [](float32x4_t a, float32x4_t m, float32x4_t c) { return vaddq_f32(vmulq_f32(a, m), c); };
    int u = 0;
    for (; u + 4 <= width; u += 4, fu = vaddq_f32(fu, four)) {
        const float32x4_t z = vcvtq_f32_u32(vmovl_u16(vld1_u16(row + u)));
        const float32x4_t pz = mulAdd(z, mulAdd(c0z, fu, bz), oz);
        uint32x4_t keep = vandq_u32(vcgtq_f32(z, zero), vandq_u32(vcgtq_f32(pz, zMin), vcltq_f32(pz, zMax)));
        if (vmaxvq_u32(keep) == 0) continue;
        const float32x4_t inv = vdivq_f32(one, pz);
        const float32x4_t x = vmulq_f32(mulAdd(z, mulAdd(c0x, fu, bx), ox), inv);
        const float32x4_t y = vmulq_f32(mulAdd(z, mulAdd(c0y, fu, by), oy), inv);
        keep = vandq_u32(keep, vandq_u32(vandq_u32(vcgtq_f32(x, minusOne), vcltq_f32(x, limitX)),
                                         vandq_u32(vcgtq_f32(y, minusOne), vcltq_f32(y, limitY))));
        if (vmaxvq_u32(keep) == 0) continue;
        int32_t px[4], py[4], pzq[4];
        uint32_t mask[4];
        vst1q_s32(px, vcvtnq_s32_f32(x));
        vst1q_s32(py, vcvtnq_s32_f32(y));
        vst1q_s32(pzq, vcvtnq_s32_f32(pz));
        vst1q_u32(mask, keep);
        for (int k = 0; k < 4; ++k)
            if (mask[k] != 0) keepNearest(depthOut, outWidth, outHeight, px[k], py[k], pzq[k]);
    }
    return u;
}
#endif

}  // namespace

void DepthRegistration::apply(const uint16_t* depthIn, int inWidth, int inHeight, uint16_t* depthOut, int outWidth,
                              int outHeight, const Projection& pr)
{
    std::memset(depthOut, 0, static_cast<std::size_t>(outWidth) * outHeight * sizeof(uint16_t));
    for (int v = 0; v < inHeight; ++v) {
        const uint16_t* row = depthIn + static_cast<std::size_t>(v) * inWidth;
        const float fv = static_cast<float>(v);
        const RowTerms b{pr.column1[0] * fv + pr.column2[0], pr.column1[1] * fv + pr.column2[1],
                         pr.column1[2] * fv + pr.column2[2]};
        int u = 0;
#if defined(ORR_SIMD_SSE2) || defined(ORR_SIMD_NEON)
        u = projectRowVector(row, inWidth, b, pr, depthOut, outWidth, outHeight);
#endif
        projectRowScalar(row, u, inWidth, b, pr, depthOut, outWidth, outHeight);
    }
}

}  // namespace orrindale
