// Whole-image colour conversion: the levels' tables, the walk over the rows, and the exported functions.
#include <utility>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"
#include "core/row_parallel.h"
#include "jpeg/colour/colour_formulas.h"
#include "jpeg/colour/colour_stream.h"
#include "jpeg/colour/colour_variants.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/colour/colour_convert.cpp"
#include "core/foreach_level.h"
#include "jpeg/colour/colour_vector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
template <size_t... kIndex>
constexpr ColourKernels MakeKernels(std::index_sequence<kIndex...>) {
  return {{ConvertRowVector<kVariants[kIndex]>...}, {ConvertRowStreaming<kVariants[kIndex]>...}};
}
}  // namespace
extern constexpr ColourKernels kColour = MakeKernels(std::make_index_sequence<kConversions>());
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

template <size_t... kIndex>
constexpr ColourKernels MakeReference(std::index_sequence<kIndex...>) {
  return {{ConvertRowReference<kVariants[kIndex]>...}, {ConvertRowReference<kVariants[kIndex]>...}};
}
constexpr ColourKernels kReference = MakeReference(std::make_index_sequence<kConversions>());
constinit Family<ColourKernels> colour("colour conversion", kReference, {ZMCJ_LEVELS(kColour)});
const Enrolment enrolment(colour);

template <class Row, class Byte>
Row RowPointers(Byte* const* planes, int count, int y, int step) {
  Row row = {};
  for (int i = 0; i < count; ++i) row[static_cast<size_t>(i)] = RowAt(planes[i], y, step);
  return row;
}

// The checks in the contract's order, then the rows.
ZmcStatus Convert(Conversion conversion, const uint8_t* const* source, int source_step, uint8_t* const* destination,
                  int destination_step, ZmciSize size) {
  const auto index = static_cast<size_t>(conversion);
  const Variant& variant = kVariants[index];
  const int source_planes = PlaneCount(variant.source), destination_planes = PlaneCount(variant.destination);
  if (ZmcStatus s = NotNull(source, destination)) return s;
  if (ZmcStatus s = FirstFailure(PlanesNotNull(source, source_planes), PlanesNotNull(destination, destination_planes),
                                 Steps(source_step, destination_step), Size(size))) {
    return s;
  }
  const int64_t row_bytes = int64_t{size.width} * PixelBytes(variant.destination);
  const bool stream = WorthStreaming(row_bytes, int64_t{size.height} * destination_planes);
  const ConvertRow convert = (stream ? colour->streaming_rows : colour->rows)[index];
  const auto convert_row = [&](int y, int64_t width) {
    convert(RowPointers<SourceRow>(source, source_planes, y, source_step),
            RowPointers<DestinationRow>(destination, destination_planes, y, destination_step),
            static_cast<ptrdiff_t>(width));
  };
  // Rows without gaps between them are converted as one, which spares their ends.
  const bool gapless = size.width % 4 == 0 && destination_step == row_bytes &&
                       source_step == int64_t{size.width} * PixelBytes(variant.source);
  const auto rows = [&](int begin, int end) {
    if (gapless) {
      convert_row(begin, int64_t{size.width} * (end - begin));
    } else {
      for (int y = begin; y < end; ++y) convert_row(y, size.width);
    }
    if (stream) StreamFence();
  };
  if (IsPacked(variant.source) || IsPacked(variant.destination)) {
    rows(0, size.height);
  } else {
    RunRowsParallel(size, rows);
  }
  return zmcStatusOk;
}

// An image in one buffer, as an array of one plane.
struct InOneBuffer {
  explicit InOneBuffer(const void* buffer) : plane(static_cast<const uint8_t*>(buffer)) {}
  operator const uint8_t* const*() const { return &plane; }
  const uint8_t* plane;
};
struct OutOneBuffer {
  explicit OutOneBuffer(void* buffer) : plane(static_cast<uint8_t*>(buffer)) {}
  operator uint8_t* const*() const { return &plane; }
  uint8_t* plane;
};

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciRGBToYCbCr_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3], int dstStep,
                                     ZmciSize roiSize) {
  return Convert(Conversion::kRgbToYCbCrP3, pSrc, srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciRGBToYCbCr_JPEG_8u_C3P3R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                       ZmciSize roiSize) {
  return Convert(Conversion::kRgbToYCbCrC3P3, InOneBuffer(pSrc), srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciBGRToYCbCr_JPEG_8u_C3P3R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                       ZmciSize roiSize) {
  return Convert(Conversion::kBgrToYCbCrC3P3, InOneBuffer(pSrc), srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciRGBToY_JPEG_8u_P3C1R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                   ZmciSize roiSize) {
  return Convert(Conversion::kRgbToYP3C1, pSrc, srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciRGBToY_JPEG_8u_C3C1R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZmciSize roiSize) {
  return Convert(Conversion::kRgbToYC3C1, InOneBuffer(pSrc), srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciBGRToY_JPEG_8u_C3C1R(const uint8_t* pSrc, int srcStep, uint8_t* pDst, int dstStep, ZmciSize roiSize) {
  return Convert(Conversion::kBgrToYC3C1, InOneBuffer(pSrc), srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciCMYKToYCCK_JPEG_8u_P4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* const pDst[4], int dstStep,
                                     ZmciSize roiSize) {
  return Convert(Conversion::kCmykToYcckP4, pSrc, srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciCMYKToYCCK_JPEG_8u_C4P4R(const uint8_t* pSrc, int srcStep, uint8_t* const pDst[4], int dstStep,
                                       ZmciSize roiSize) {
  return Convert(Conversion::kCmykToYcckC4P4, InOneBuffer(pSrc), srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciYCbCrToRGB_JPEG_8u_P3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* const pDst[3], int dstStep,
                                     ZmciSize roiSize) {
  return Convert(Conversion::kYCbCrToRgbP3, pSrc, srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciYCbCrToRGB_JPEG_8u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                       ZmciSize roiSize) {
  return Convert(Conversion::kYCbCrToRgbP3C3, pSrc, srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciYCbCrToBGR_JPEG_8u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint8_t* pDst, int dstStep,
                                       ZmciSize roiSize) {
  return Convert(Conversion::kYCbCrToBgrP3C3, pSrc, srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciYCCKToCMYK_JPEG_8u_P4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* const pDst[4], int dstStep,
                                     ZmciSize roiSize) {
  return Convert(Conversion::kYcckToCmykP4, pSrc, srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciYCCKToCMYK_JPEG_8u_P4C4R(const uint8_t* const pSrc[4], int srcStep, uint8_t* pDst, int dstStep,
                                       ZmciSize roiSize) {
  return Convert(Conversion::kYcckToCmykP4C4, pSrc, srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciRGB555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                             ZmciSize roiSize) {
  return Convert(Conversion::kRgb555ToYCbCr, InOneBuffer(pSrc), srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciBGR555ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                             ZmciSize roiSize) {
  return Convert(Conversion::kBgr555ToYCbCr, InOneBuffer(pSrc), srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciRGB565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                             ZmciSize roiSize) {
  return Convert(Conversion::kRgb565ToYCbCr, InOneBuffer(pSrc), srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciBGR565ToYCbCr_JPEG_16u8u_C3P3R(const uint16_t* pSrc, int srcStep, uint8_t* const pDst[3], int dstStep,
                                             ZmciSize roiSize) {
  return Convert(Conversion::kBgr565ToYCbCr, InOneBuffer(pSrc), srcStep, pDst, dstStep, roiSize);
}

ZmcStatus zmciYCbCrToRGB555_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst, int dstStep,
                                             ZmciSize roiSize) {
  return Convert(Conversion::kYCbCrToRgb555, pSrc, srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciYCbCrToBGR555_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst, int dstStep,
                                             ZmciSize roiSize) {
  return Convert(Conversion::kYCbCrToBgr555, pSrc, srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciYCbCrToRGB565_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst, int dstStep,
                                             ZmciSize roiSize) {
  return Convert(Conversion::kYCbCrToRgb565, pSrc, srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}

ZmcStatus zmciYCbCrToBGR565_JPEG_8u16u_P3C3R(const uint8_t* const pSrc[3], int srcStep, uint16_t* pDst, int dstStep,
                                             ZmciSize roiSize) {
  return Convert(Conversion::kYCbCrToBgr565, pSrc, srcStep, OutOneBuffer(pDst), dstStep, roiSize);
}
#endif
