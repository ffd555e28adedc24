// Level shift between 8-bit samples and values centred on zero, for regions of any size.
#include <algorithm>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"

#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/coding/level_shift.cpp"
#include "core/foreach_level.h"

#ifndef ZMCJ_LEVEL_SHIFT_TYPES
#define ZMCJ_LEVEL_SHIFT_TYPES
namespace zmcj {

struct LevelShiftKernels {
  void (*sub128_row)(const uint8_t* src, int16_t* dst, int width);
  void (*add128_row)(const int16_t* src, uint8_t* dst, int width);
};

inline void Sub128Reference(const uint8_t* src, int16_t* dst, int width) {
  for (int i = 0; i < width; ++i) StoreSample(dst + i, static_cast<int16_t>(src[i] - 128));
}

inline void Add128Reference(const int16_t* src, uint8_t* dst, int width) {
  for (int i = 0; i < width; ++i) dst[i] = static_cast<uint8_t>(std::clamp(LoadSample<int16_t>(src + i) + 128, 0, 255));
}

}  // namespace zmcj
#endif

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
namespace hn = hwy::HWY_NAMESPACE;

void Sub128Row(const uint8_t* src, int16_t* dst, int width) {
  const hn::ScalableTag<int16_t> d16;
  const hn::Rebind<uint8_t, decltype(d16)> d8;
  const int lanes = static_cast<int>(hn::Lanes(d16));
  int i = 0;
  for (; i <= width - lanes; i += lanes) {
    hn::StoreU(hn::Sub(hn::PromoteTo(d16, hn::LoadU(d8, src + i)), hn::Set(d16, 128)), d16, dst + i);
  }
  Sub128Reference(src + i, dst + i, width - i);
}

void Add128Row(const int16_t* src, uint8_t* dst, int width) {
  const hn::ScalableTag<int16_t> d16;
  const hn::Rebind<uint8_t, decltype(d16)> d8;
  const int lanes = static_cast<int>(hn::Lanes(d16));
  int i = 0;
  for (; i <= width - lanes; i += lanes) {
    const auto sum = hn::SaturatedAdd(hn::LoadU(d16, src + i), hn::Set(d16, 128));
    hn::StoreU(hn::DemoteTo(d8, sum), d8, dst + i);
  }
  Add128Reference(src + i, dst + i, width - i);
}

}  // namespace
extern constexpr LevelShiftKernels kLevelShift = {Sub128Row, Add128Row};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

constexpr LevelShiftKernels kReference = {Sub128Reference, Add128Reference};
constinit Family<LevelShiftKernels> level_shift("level shift", kReference, {ZMCJ_LEVELS(kLevelShift)});
const Enrolment enrolment(level_shift);

template <class Source, class Destination>
ZmcStatus ConvertRows(void (*row)(const Source*, Destination*, int), const Source* src, int src_step, Destination* dst,
                      int dst_step, ZmciSize size) {
  for (int y = 0; y < size.height; ++y) row(RowAt(src, y, src_step), RowAt(dst, y, dst_step), size.width);
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciSub128_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst, int dstStep, ZmciSize roiSize) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc, pDst), Steps(srcStep, dstStep), Size(roiSize))) return s;
  return ConvertRows(level_shift->sub128_row, pSrc, srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciAdd128_JPEG_16s8u_C1R(const int16_t* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZmciSize roiSize) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), Steps(srcStep), NotNull(pDst), Steps(dstStep), Size(roiSize))) return s;
  return ConvertRows(level_shift->add128_row, pSrc, srcStep, pDst, dstStep, roiSize);
}
#endif
