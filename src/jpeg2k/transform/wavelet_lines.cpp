// The exported line operations: one level of a wavelet along rows or columns, with the border in the caller's memory.
#include <algorithm>

#include "core/check.h"
#include "jpeg2k/transform/lifting_planes.h"

namespace zmcj {
namespace {

// Both bands have `band_length` samples. Going forward the low samples are the type A of the engine.
Line LineOf(int band_length, bool inverse, int phase) {
  return {2 * static_cast<int64_t>(band_length), inverse == (phase != zmcWTFilterFirstLow), false};
}

template <class T>
ZmcStatus Check(const T* a, const T* b, const T* c, int a_step, int b_step, int c_step, ZmciSize size) {
  return FirstFailure(NotNull(a, b, c), Steps(a_step, b_step, c_step), Size(size));
}

// The analysis filters' taps (ISO/IEC 15444-1, table F.2 gives their exact values), centre first.
constexpr float kLowTaps[5] = {0.6029490232f, 0.266864121f, -0.07822326571f, -0.0168641191f, 0.02674875781f};
constexpr float kHighTaps[4] = {1.115087032f, -0.5912717581f, -0.05754352733f, 0.09127176553f};

template <size_t kTaps>
float Convolve(const float* centre, const float (&taps)[kTaps]) {
  float sum = LoadSample<float>(centre) * taps[0];
  for (size_t i = 1; i < kTaps; ++i) sum += (LoadSample<float>(centre - i) + LoadSample<float>(centre + i)) * taps[i];
  return sum;
}

template <class W, class T = typename W::Sample>
ZmcStatus ForwardRows(const T* src, int src_step, T* low, int low_step, T* high, int high_step, ZmciSize size,
                      int phase) {
  if (ZmcStatus s = Check(src, low, high, src_step, low_step, high_step, size)) return s;
  const Line line = LineOf(size.width, false, phase);
  const auto kernel = wavelet_family->Of(W()).forward_row;
  for (int y = 0; y < size.height; ++y) {
    const T* const row = RowAt(src, y, src_step);
    T* const low_row = RowAt(low, y, low_step);
    T* const high_row = RowAt(high, y, high_step);
    if constexpr (!W::kReversible) {
      // A single pair behind a high sample: the filters' taps instead of the steps.
      if (size.width == 1 && !line.a_first) {
        StoreSample(low_row, Convolve(row + 1, kLowTaps));
        StoreSample(high_row, Convolve(row, kHighTaps));
        continue;
      }
    }
    kernel({row}, {low_row, high_row, line}, line, RowAt(src, std::min(y + 1, size.height - 1), src_step));
  }
  return zmcStatusOk;
}

template <class W, class T = typename W::Sample>
ZmcStatus InverseRows(const T* low, int low_step, const T* high, int high_step, ZmciSize size, T* dst, int dst_step,
                      int phase) {
  if (ZmcStatus s = Check(low, high, dst, low_step, high_step, dst_step, size)) return s;
  const Line line = LineOf(size.width, true, phase);
  const auto kernel = wavelet_family->Of(W()).inverse_row;
  for (int y = 0; y < size.height; ++y)
    kernel({RowAt(high, y, high_step), RowAt(low, y, low_step), line}, {RowAt(dst, y, dst_step)}, line,
           RowAt(high, std::min(y + 1, size.height - 1), high_step));
  return zmcStatusOk;
}

template <class W, class T = typename W::Sample>
ZmcStatus ForwardColumns(const T* src, int src_step, T* low, int low_step, T* high, int high_step, ZmciSize size,
                         int phase) {
  if (ZmcStatus s = Check(src, low, high, src_step, low_step, high_step, size)) return s;
  const Line line = LineOf(size.height, false, phase);
  LiftColumns<W>(wavelet_family->Of(W()).forward_columns, RowBands<const T>::InImage(src, src_step, line),
                 RowBands<T>{low, high, low_step, high_step, line.a_offset()}, line, size.width);
  return zmcStatusOk;
}

template <class W, class T = typename W::Sample>
ZmcStatus InverseColumns(const T* low, int low_step, const T* high, int high_step, ZmciSize size, T* dst, int dst_step,
                         int phase) {
  if (ZmcStatus s = Check(low, high, dst, low_step, high_step, dst_step, size)) return s;
  const Line line = LineOf(size.height, true, phase);
  // By contract the 5/3 filter finds the low row above the region one step of the high band away.
  const T* const low_above = W::kReversible && line.a_first ? RowAt(low, -1, high_step) : nullptr;
  LiftColumns<W>(wavelet_family->Of(W()).inverse_columns,
                 RowBands<const T>{high, low, high_step, low_step, line.a_offset()},
                 RowBands<T>::InImage(dst, dst_step, line), line, size.width, low_above);
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciWTFwdRow_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                          int16_t* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase) {
  return ForwardRows<B53_16s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}

ZmcStatus zmciWTFwdRow_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                          int32_t* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase) {
  return ForwardRows<B53_32s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}

ZmcStatus zmciWTFwdRow_D97_JPEG2K_32f_C1R(const float* pSrc, int srcStep, float* pDstLow, int dstLowStep,
                                          float* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase) {
  return ForwardRows<D97_32f>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}

ZmcStatus zmciWTInvRow_B53_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                          int srcHighStep, ZmciSize srcRoiSize, int16_t* pDst, int dstStep, int phase) {
  return InverseRows<B53_16s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

ZmcStatus zmciWTInvRow_B53_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                          int srcHighStep, ZmciSize srcRoiSize, int32_t* pDst, int dstStep, int phase) {
  return InverseRows<B53_32s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

ZmcStatus zmciWTInvRow_D97_JPEG2K_32f_C1R(const float* pSrcLow, int srcLowStep, const float* pSrcHigh, int srcHighStep,
                                          ZmciSize srcRoiSize, float* pDst, int dstStep, int phase) {
  return InverseRows<D97_32f>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

ZmcStatus zmciWTFwdCol_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDstLow, int dstLowStep,
                                          int16_t* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase) {
  return ForwardColumns<B53_16s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}

ZmcStatus zmciWTFwdCol_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, int32_t* pDstLow, int dstLowStep,
                                          int32_t* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase) {
  return ForwardColumns<B53_32s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}

ZmcStatus zmciWTFwdCol_D97_JPEG2K_32f_C1R(const float* pSrc, int srcStep, float* pDstLow, int dstLowStep,
                                          float* pDstHigh, int dstHighStep, ZmciSize dstRoiSize, int phase) {
  return ForwardColumns<D97_32f>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}

ZmcStatus zmciWTInvCol_B53_JPEG2K_16s_C1R(const int16_t* pSrcLow, int srcLowStep, const int16_t* pSrcHigh,
                                          int srcHighStep, ZmciSize srcRoiSize, int16_t* pDst, int dstStep, int phase) {
  return InverseColumns<B53_16s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

ZmcStatus zmciWTInvCol_B53_JPEG2K_32s_C1R(const int32_t* pSrcLow, int srcLowStep, const int32_t* pSrcHigh,
                                          int srcHighStep, ZmciSize srcRoiSize, int32_t* pDst, int dstStep, int phase) {
  return InverseColumns<B53_32s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

ZmcStatus zmciWTInvCol_D97_JPEG2K_32f_C1R(const float* pSrcLow, int srcLowStep, const float* pSrcHigh, int srcHighStep,
                                          ZmciSize srcRoiSize, float* pDst, int dstStep, int phase) {
  return InverseColumns<D97_32f>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}
