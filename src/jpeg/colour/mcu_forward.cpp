// The exported forward MCU conversions: pixels of one MCU to level-shifted blocks.
#include "core/check.h"
#include "core/level.h"

#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/colour/mcu_forward.cpp"
#include "core/foreach_level.h"
// After foreach_level.h, which compiles this file, and so the bodies, once per level.
#include "jpeg/colour/mcu_forward-inl.h"

#if HWY_ONCE
namespace zmcj {
namespace {

constexpr McuForwardKernels kReference = TableOf<McuForwardKernel, McuForwardReference>();
constinit Family<McuForwardKernels> mcu_forward("MCU forward", kReference, {ZMCJ_LEVELS(kMcuForward)});
const Enrolment enrolment(mcu_forward);

ZmcStatus Check(const void* src, int step, int16_t* const* dst, int count) {
  if (ZmcStatus s = FirstFailure(NotNull(src, dst), Steps(step))) return s;
  return PlanesNotNull(dst, count);
}

template <PixelFormat F, Sampling S>
ZmcStatus Forward(const void* src, int step, int16_t* const* dst) {
  if (ZmcStatus s = Check(src, step, dst, BlockPointers(F))) return s;
  const Rounding rounding = RoundingAt(reinterpret_cast<uintptr_t>(dst[0]));
  mcu_forward->Get<F, S>(rounding)(static_cast<const uint8_t*>(src), step, dst);
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;
using enum PixelFormat;
using enum Sampling;

ZmcStatus zmciRGBToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kRgb, k444>(pSrc, srcStep, pDst);
}
ZmcStatus zmciRGBToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kRgb, k422>(pSrc, srcStep, pDst);
}
ZmcStatus zmciRGBToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kRgb, k411>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGRToYCbCr444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr, k444>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGRToYCbCr422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr, k422>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGRToYCbCr411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr, k411>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr555, k444>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr555, k422>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr555, k411>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr565, k444>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr565, k422>(pSrc, srcStep, pDst);
}
ZmcStatus zmciBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const uint16_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kBgr565, k411>(pSrc, srcStep, pDst);
}
ZmcStatus zmciCMYKToYCCK444LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return Forward<kCmyk, k444>(pSrc, srcStep, pDst);
}
ZmcStatus zmciCMYKToYCCK422LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return Forward<kCmyk, k422>(pSrc, srcStep, pDst);
}
ZmcStatus zmciCMYKToYCCK411LS_MCU_8u16s_C4P4R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[4]) {
  return Forward<kCmyk, k411>(pSrc, srcStep, pDst);
}
ZmcStatus zmciSampleDown444LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kComponents, k444>(pSrc, srcStep, pDst);
}
ZmcStatus zmciSampleDown422LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kComponents, k422>(pSrc, srcStep, pDst);
}
ZmcStatus zmciSampleDown411LS_MCU_8u16s_C3P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  return Forward<kComponents, k411>(pSrc, srcStep, pDst);
}

ZmcStatus zmciSplit422LS_MCU_8u16s_C2P3R(const uint8_t* pSrc, int srcStep, int16_t* const pDst[3]) {
  if (ZmcStatus s = Check(pSrc, srcStep, pDst, 3)) return s;
  mcu_forward->packed422(pSrc, srcStep, pDst);
  return zmcStatusOk;
}
#endif
