// Compile-time choice of the vector instruction set of the image kernels: SSE2 on
// x86-64 (part of its baseline), NEON on aarch64 (always present), otherwise the scalar
// loops, which give bit-identical results.
#pragma once

#if defined(__SSE2__)
#define ORR_SIMD_SSE2 1
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#define ORR_SIMD_NEON 1
#include <arm_neon.h>
#endif

namespace orrindale {

// Name of the vector path compiled in ("SSE2", "NEON" or "scalar").
constexpr const char* simdPathName()
{
#if defined(ORR_SIMD_SSE2)
    return "SSE2";
#elif defined(ORR_SIMD_NEON)
    return "NEON";
#else
    return "scalar";
#endif
}

}  // namespace orrindale
