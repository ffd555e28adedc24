// Compiles the including file once per vector level. The including file first defines HWY_TARGET_INCLUDE as its own
// path below src/ and writes its bodies between HWY_BEFORE_NAMESPACE() and HWY_AFTER_NAMESPACE(), inside `namespace
// zmcj::HWY_NAMESPACE` and `#if ZMCJ_VECTOR_LEVEL`. What is to be compiled once (the scalar reference, the table, the
// exported functions) stands under `#if HWY_ONCE`.
//
// No include guard: this is read once per level.

#ifndef ZMCJ_FOREACH_LEVEL_CONFIGURED
#define ZMCJ_FOREACH_LEVEL_CONFIGURED
// Fused multiply-add would change specified single-precision results; AES, carry-less products and half floats are of
// no use here and would only shrink the set of processors that qualify.
#define HWY_DISABLE_BMI2_FMA
#define HWY_DISABLE_PCLMUL_AES
#define HWY_DISABLE_F16C
// Highway 1.0.3 takes its AVX2 for broken on 32-bit x86; without FMA and BMI2 it compiles and is tested here.
#define HWY_BROKEN_TARGETS 0
// AVX-512 is compiled for the families that gain by it: their files define ZMCJ_WANT_AVX512 before they include this.
#if defined(ZMCJ_WANT_AVX512) && defined(__x86_64__)
#define ZMCJ_DISABLED_AVX512 0
#else
#define ZMCJ_DISABLED_AVX512 HWY_AVX3
#endif
// SSSE3 is as fast as SSE4 here.
#define HWY_DISABLED_TARGETS \
  (HWY_SSSE3 | ZMCJ_DISABLED_AVX512 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
// NEON is part of 64-bit Arm, so nothing is dispatched there; Highway would otherwise compile its bodies for processors
// with cryptographic instructions, into which nothing that the compiler generates by itself can be inlined.
#if defined(__aarch64__)
#define TOOLCHAIN_MISS_SYS_AUXV_H
#endif
#endif

#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// False for Highway's own scalar targets: below SSE4 the scalar reference runs.
#undef ZMCJ_VECTOR_LEVEL
#define ZMCJ_VECTOR_LEVEL (HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR)

// On a function inside a level's namespace: bit-manipulation instructions where the level's processors have them.
// The level's own features are named again, for clang, where a function's attribute replaces those of the namespace.
#undef ZMCJ_BIT_INSTRUCTIONS
#if HWY_TARGET == HWY_AVX3
#define ZMCJ_BIT_INSTRUCTIONS \
  __attribute__((target(HWY_TARGET_STR ",bmi,bmi2,lzcnt,popcnt,avx512cd,avx512vbmi,avx512vbmi2")))
#elif HWY_TARGET == HWY_AVX2
#define ZMCJ_BIT_INSTRUCTIONS __attribute__((target(HWY_TARGET_STR ",bmi,bmi2,lzcnt,popcnt")))
#elif HWY_TARGET == HWY_SSE4
#define ZMCJ_BIT_INSTRUCTIONS __attribute__((target(HWY_TARGET_STR ",popcnt")))
#else
#define ZMCJ_BIT_INSTRUCTIONS
#endif

// Before a short loop over the parts of a block, whose index must become a constant: g++ keeps such loops at -O2.
#undef ZMCJ_UNROLL
#if defined(__clang__)
#define ZMCJ_UNROLL _Pragma("unroll")
#else
#define ZMCJ_UNROLL _Pragma("GCC unroll 8")
#endif

// The rows of a family's table: `kernels` is the name of the constant that each level's namespace defines.
#undef ZMCJ_LEVELS
#if HWY_TARGETS & HWY_AVX3
#define ZMCJ_LEVELS(kernels)                                                            \
  {::zmcj::Level::kSse4, &N_SSE4::kernels}, {::zmcj::Level::kAvx2, &N_AVX2::kernels}, { \
    ::zmcj::Level::kAvx512, &N_AVX3::kernels                                            \
  }
#elif (HWY_TARGETS & HWY_SSE4) && (HWY_TARGETS & HWY_AVX2)
#define ZMCJ_LEVELS(kernels) \
  {::zmcj::Level::kSse4, &N_SSE4::kernels}, { ::zmcj::Level::kAvx2, &N_AVX2::kernels }
#elif HWY_TARGETS & HWY_AVX2
#define ZMCJ_LEVELS(kernels) \
  { ::zmcj::Level::kAvx2, &N_AVX2::kernels }
#elif HWY_TARGETS & HWY_NEON
#define ZMCJ_LEVELS(kernels) \
  { ::zmcj::Level::kNeon, &N_NEON::kernels }
#else
#define ZMCJ_LEVELS(kernels)
#endif
