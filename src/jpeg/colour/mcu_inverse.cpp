// The exported inverse MCU conversions: level-shifted blocks of one MCU to pixels.
#include "core/check.h"
#include "core/level.h"

#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/colour/mcu_inverse.cpp"
#include "core/foreach_level.h"
// After foreach_level.h, which compiles this file, and so the bodies, once per level.
#include "jpeg/colour/mcu_inverse-inl.h"

#if HWY_ONCE
namespace zmcj {
namespace {

constexpr McuInverseKernels kReference = TableOf<McuInverseKernel, McuInverseReference>();
constinit Family<McuInverseKernels> mcu_inverse("MCU inverse", kReference, {ZMCJ_LEVELS(kMcuInverse)});
const Enrolment enrolment(mcu_inverse);

ZmcStatus Check(const int16_t* const* src, int count, const void* dst, int step) {
  if (ZmcStatus s = NotNull(src, dst)) return s;
  return FirstFailure(PlanesNotNull(src, count), Steps(step));
}

template <PixelFormat F, Sampling S>
ZmcStatus Inverse(const int16_t* const* src, void* dst, int step) {
  if (ZmcStatus s = Check(src, BlockPointers(F), dst, step)) return s;
  const auto address = [src](int i) { return reinterpret_cast<uintptr_t>(src[i]); };
  const Rounding rounding = RoundingAt(address(0) | address(1) | address(2));
  mcu_inverse->Get<F, S>(rounding)(src, static_cast<uint8_t*>(dst), step);
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;
using enum PixelFormat;
using enum Sampling;

ZmcStatus zmciYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kRgb, k444>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kRgb, k422>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kRgb, k411>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kBgr, k444>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kBgr, k422>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kBgr, k411>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return Inverse<kBgr555, k444>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return Inverse<kBgr555, k422>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return Inverse<kBgr555, k411>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return Inverse<kBgr565, k444>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return Inverse<kBgr565, k422>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const int16_t* const pSrc[3], uint16_t* pDst, int dstStep) {
  return Inverse<kBgr565, k411>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep) {
  return Inverse<kCmyk, k444>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep) {
  return Inverse<kCmyk, k422>(pSrc, pDst, dstStep);
}
ZmcStatus zmciYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const int16_t* const pSrc[4], uint8_t* pDst, int dstStep) {
  return Inverse<kCmyk, k411>(pSrc, pDst, dstStep);
}
ZmcStatus zmciSampleUp444LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kComponents, k444>(pSrc, pDst, dstStep);
}
ZmcStatus zmciSampleUp422LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kComponents, k422>(pSrc, pDst, dstStep);
}
ZmcStatus zmciSampleUp411LS_MCU_16s8u_P3C3R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  return Inverse<kComponents, k411>(pSrc, pDst, dstStep);
}

ZmcStatus zmciJoin422LS_MCU_16s8u_P3C2R(const int16_t* const pSrc[3], uint8_t* pDst, int dstStep) {
  if (ZmcStatus s = Check(pSrc, 3, pDst, dstStep)) return s;
  mcu_inverse->packed422(pSrc, pDst, dstStep);
  return zmcStatusOk;
}
#endif
