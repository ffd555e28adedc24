// The exported two-dimensional wavelets: in place, and from or to four separate images.
#include <algorithm>

#include "core/check.h"
#include "jpeg2k/transform/wavelet_region.h"

namespace zmcj {
namespace {

// Bytes of work memory, for any rectangle: the sums do not overflow 64 bits, and a negative size counts as written.
// In place: one line with the border of the filter on both sides.
template <class W>
int64_t LineBufferBytes(const ZmciRect& rect) {
  const int longest = std::max(rect.width, rect.height);
  const int smallest_line = W::kReversible ? 3 : 2;
  if (longest < smallest_line) return 0;
  return static_cast<int64_t>(sizeof(typename W::Sample)) * (static_cast<int64_t>(longest) + 2 * W::kSteps);
}

template <class T>
int64_t CopyStep(const ZmciRect& rect) {
  return (static_cast<int64_t>(sizeof(T)) * rect.width + 31) / 32 * 32;
}

// The copy of the region, in units of 32 bytes: below 2^60 for every rectangle.
template <class W>
int64_t CopyBytes(const ZmciRect& rect) {
  if (rect.width < 1 || rect.height < 1) return 0;
  const int64_t units = CopyStep<typename W::Sample>(rect) / 32 * rect.height;
  return 32 * std::min<int64_t>(units, INT32_MAX);
}

template <class W>
int64_t RegionBufferBytes(const ZmciRect& rect) {
  return CopyBytes<W>(rect) + LineBufferBytes<W>(rect);
}

ZmcStatus GiveSize(int64_t (*bytes)(const ZmciRect&), const ZmciRect* rect, int32_t* size) {
  if (ZmcStatus s = NotNull(rect, size)) return s;
  *size = static_cast<int32_t>(std::min<int64_t>(bytes(*rect), INT32_MAX));
  return zmcStatusOk;
}

template <class W, bool kInverse>
ZmcStatus TransformInPlace(typename W::Sample* samples, int step, const ZmciRect* rect, uint8_t* buffer) {
  if (ZmcStatus s = FirstFailure(NotNull(samples), Steps(step), NotNull(rect, buffer))) return s;
  // A region without samples needs no work; one whose buffer no query could have told the size of gets none.
  if (rect->width < 1 || rect->height < 1) return zmcStatusOk;
  if (LineBufferBytes<W>(*rect) > INT32_MAX) return zmcStatusBadSize;
  RegionTransform<W, kInverse>(samples, step, *rect, buffer).Run();
  return zmcStatusOk;
}

template <class T>
void CopyRows(const T* src, int src_step, T* dst, int dst_step, int width, int height) {
  for (int y = 0; y < height; ++y)
    std::memcpy(RowAt(dst, y, dst_step), RowAt(src, y, src_step), sizeof(T) * static_cast<size_t>(width));
}

// A band's place in the region's copy, always as if the region's origin were even. Bands 0 to 3: LL, LH, HL, HH.
struct BandRect {
  int x, y, width, height;
};
BandRect BandAt(const ZmciRect& rect, int band) {
  const int low_width = rect.width - rect.width / 2, low_height = rect.height - rect.height / 2;
  const bool high_x = band >= 2, high_y = band % 2 != 0;
  return {high_x ? low_width : 0, high_y ? low_height : 0, high_x ? rect.width / 2 : low_width,
          high_y ? rect.height / 2 : low_height};
}

template <class W, class Pointer>
ZmcStatus CheckRegion(const void* image, int step, const ZmciRect* rect, Pointer const bands[4],
                      const int band_steps[4], const uint8_t* buffer) {
  if (ZmcStatus s =
          FirstFailure(NotNull(static_cast<const char*>(image), bands, band_steps, rect, buffer), Steps(step)))
    return s;
  return FirstFailure(PlanesNotNull(bands, 4), Steps(band_steps[0], band_steps[1], band_steps[2], band_steps[3]),
                      Size({rect->width, rect->height}),
                      // No query could have told the size of this buffer.
                      Require(RegionBufferBytes<W>(*rect) <= INT32_MAX, zmcStatusBadSize));
}

template <class W, class T = typename W::Sample>
ZmcStatus ForwardToBands(const T* src, int src_step, const ZmciRect* rect, T* const dst[4], const int dst_step[4],
                         uint8_t* buffer) {
  if (ZmcStatus s = CheckRegion<W>(src, src_step, rect, dst, dst_step, buffer)) return s;
  T* const copy = reinterpret_cast<T*>(buffer);
  const int copy_step = static_cast<int>(CopyStep<T>(*rect));
  CopyRows(src, src_step, copy, copy_step, rect->width, rect->height);
  RegionTransform<W, false>(copy, copy_step, *rect, buffer + CopyBytes<W>(*rect)).Run();
  for (int i = 0; i < 4; ++i) {
    const BandRect band = BandAt(*rect, i);
    CopyRows<T>(RowAt(copy, band.y, copy_step) + band.x, copy_step, dst[i], dst_step[i], band.width, band.height);
  }
  return zmcStatusOk;
}

template <class W, class T = typename W::Sample>
ZmcStatus InverseFromBands(const T* const src[4], const int src_step[4], T* dst, int dst_step, const ZmciRect* rect,
                           uint8_t* buffer) {
  if (ZmcStatus s = CheckRegion<W>(dst, dst_step, rect, src, src_step, buffer)) return s;
  T* const copy = reinterpret_cast<T*>(buffer);
  const int copy_step = static_cast<int>(CopyStep<T>(*rect));
  for (int i = 0; i < 4; ++i) {
    const BandRect band = BandAt(*rect, i);
    CopyRows<T>(src[i], src_step[i], RowAt(copy, band.y, copy_step) + band.x, copy_step, band.width, band.height);
  }
  RegionTransform<W, true>(copy, copy_step, *rect, buffer + CopyBytes<W>(*rect)).Run();
  CopyRows<T>(copy, copy_step, dst, dst_step, rect->width, rect->height);
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciWTFwd_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return TransformInPlace<B53_16s, false>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTFwd_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return TransformInPlace<B53_32s, false>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTInv_B53_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return TransformInPlace<B53_16s, true>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTInv_B53_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return TransformInPlace<B53_32s, true>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTFwd_B53_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZmciRect* pTileRect,
                                       int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer) {
  return ForwardToBands<B53_16s>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}

ZmcStatus zmciWTFwd_B53_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZmciRect* pTileRect,
                                       int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer) {
  return ForwardToBands<B53_32s>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}

ZmcStatus zmciWTInv_B53_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst, int dstStep,
                                       const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return InverseFromBands<B53_16s>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTInv_B53_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst, int dstStep,
                                       const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return InverseFromBands<B53_32s>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTGetBufSize_B53_JPEG2K_16s_C1IR(const ZmciRect* pTileRect, int32_t* pSize) {
  return GiveSize(LineBufferBytes<B53_16s>, pTileRect, pSize);
}

ZmcStatus zmciWTGetBufSize_B53_JPEG2K_32s_C1IR(const ZmciRect* pTileRect, int32_t* pSize) {
  return GiveSize(LineBufferBytes<B53_32s>, pTileRect, pSize);
}

ZmcStatus zmciWTGetBufSize_B53_JPEG2K_16s_C1R(const ZmciRect* pTileRect, int32_t* pSize) {
  return GiveSize(RegionBufferBytes<B53_16s>, pTileRect, pSize);
}

ZmcStatus zmciWTGetBufSize_B53_JPEG2K_32s_C1R(const ZmciRect* pTileRect, int32_t* pSize) {
  return GiveSize(RegionBufferBytes<B53_32s>, pTileRect, pSize);
}

ZmcStatus zmciWTFwd_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return TransformInPlace<D97_16s, false>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTFwd_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return TransformInPlace<D97_32s, false>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTInv_D97_JPEG2K_16s_C1IR(int16_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return TransformInPlace<D97_16s, true>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTInv_D97_JPEG2K_32s_C1IR(int32_t* pSrcDst, int srcDstStep, const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return TransformInPlace<D97_32s, true>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTFwd_D97_JPEG2K_16s_C1R(const int16_t* pSrc, int srcStep, const ZmciRect* pTileRect,
                                       int16_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer) {
  return ForwardToBands<D97_16s>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}

ZmcStatus zmciWTFwd_D97_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, const ZmciRect* pTileRect,
                                       int32_t* const pDst[4], const int dstStep[4], uint8_t* pBuffer) {
  return ForwardToBands<D97_32s>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}

ZmcStatus zmciWTInv_D97_JPEG2K_16s_C1R(const int16_t* const pSrc[4], const int srcStep[4], int16_t* pDst, int dstStep,
                                       const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return InverseFromBands<D97_16s>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTInv_D97_JPEG2K_32s_C1R(const int32_t* const pSrc[4], const int srcStep[4], int32_t* pDst, int dstStep,
                                       const ZmciRect* pTileRect, uint8_t* pBuffer) {
  return InverseFromBands<D97_32s>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}

ZmcStatus zmciWTGetBufSize_D97_JPEG2K_16s_C1IR(const ZmciRect* pTileRect, int32_t* pSize) {
  return GiveSize(LineBufferBytes<D97_16s>, pTileRect, pSize);
}

ZmcStatus zmciWTGetBufSize_D97_JPEG2K_32s_C1IR(const ZmciRect* pTileRect, int32_t* pSize) {
  return GiveSize(LineBufferBytes<D97_32s>, pTileRect, pSize);
}

ZmcStatus zmciWTGetBufSize_D97_JPEG2K_16s_C1R(const ZmciRect* pTileRect, int32_t* pSize) {
  return GiveSize(RegionBufferBytes<D97_16s>, pTileRect, pSize);
}

ZmcStatus zmciWTGetBufSize_D97_JPEG2K_32s_C1R(const ZmciRect* pTileRect, int32_t* pSize) {
  return GiveSize(RegionBufferBytes<D97_32s>, pTileRect, pSize);
}
