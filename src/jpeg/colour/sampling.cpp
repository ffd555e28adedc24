// Sampling of whole planes and of single rows: the levels' tables, the walk over the rows, and the exported functions.
#include <algorithm>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"
#include "core/row_parallel.h"
#include "jpeg/colour/colour_stream.h"
#include "jpeg/colour/sampling_filters.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/colour/sampling.cpp"
#include "core/foreach_level.h"
#include "jpeg/colour/sampling_vector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
extern constexpr SamplingKernels kSampling = {
    {FilterRowVector<BoxH2V1>, FilterRowVector<BoxH2V2>, FilterRowVector<TriangleH2V1>, FilterRowVector<TriangleH2V2>},
    {FilterRowStreaming<BoxH2V1>, FilterRowStreaming<BoxH2V2>, FilterRowStreaming<TriangleH2V1>,
     FilterRowStreaming<TriangleH2V2>}};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

constexpr std::array<FilterRow, kFilters> kReferenceRows = {BoxH2V1Reference, BoxH2V2Reference, TriangleH2V1Reference,
                                                            TriangleH2V2Reference};
constexpr SamplingKernels kReference = {kReferenceRows, kReferenceRows};
constinit Family<SamplingKernels> sampling("sampling", kReference, {ZMCJ_LEVELS(kSampling)});
const Enrolment enrolment(sampling);

FilterRow RowFilter(Filter filter) { return sampling->rows[static_cast<size_t>(filter)]; }

struct RowPair {
  int64_t first, second;
};

// The source rows of destination row y. The triangle's farther row is replicated from the edge where it would lie
// outside the source region.
RowPair SourceRows(Filter filter, int y, int source_height) {
  switch (filter) {
    case Filter::kBoxH2V2:
      return {int64_t{2} * y, int64_t{2} * y + 1};
    case Filter::kTriangleH2V2: {
      const int last = source_height - 1;
      const int near = y / 2, far = y % 2 == 0 ? near - 1 : near + 1;
      return {std::min(near, last), std::clamp(far, 0, last)};
    }
    default:
      return {y, y};
  }
}

ZmcStatus SamplePlane(Filter filter, const uint8_t* source, int source_step, ZmciSize source_size, uint8_t* destination,
                      int destination_step, ZmciSize destination_size) {
  if (ZmcStatus s = FirstFailure(NotNull(source), Steps(source_step), Size(source_size), NotNull(destination),
                                 Steps(destination_step), Size(destination_size))) {
    return s;
  }
  const bool stream = WorthStreaming(destination_size.width, destination_size.height);
  const FilterRow filter_row = stream ? sampling->streaming_rows[static_cast<size_t>(filter)] : RowFilter(filter);
  const auto rows = [&](int begin, int end) {
    for (int y = begin; y < end; ++y) {
      const auto [first, second] = SourceRows(filter, y, source_size.height);
      filter_row(RowAt(source, first, source_step), RowAt(source, second, source_step),
                 RowAt(destination, y, destination_step), destination_size.width);
    }
    if (stream) StreamFence();
  };
  if (filter == Filter::kTriangleH2V1) {
    rows(0, destination_size.height);
  } else {
    RunRowsParallel(destination_size, rows);
  }
  return zmcStatusOk;
}

// A row with no samples beyond its ends: the two end samples are filtered beside copies of themselves.
void SampleRowUp(Filter filter, const uint8_t* first, const uint8_t* second, ptrdiff_t width, uint8_t* to) {
  const auto filter_one = [&](ptrdiff_t before, ptrdiff_t x, ptrdiff_t after) {
    const uint8_t a[3] = {first[before], first[x], first[after]}, b[3] = {second[before], second[x], second[after]};
    RowFilter(filter)(a + 1, b + 1, to + 2 * x, 2);
  };
  const ptrdiff_t last = width - 1;
  filter_one(0, 0, std::min<ptrdiff_t>(1, last));
  if (last == 0) return;
  RowFilter(filter)(first + 1, second + 1, to + 2, 2 * (last - 1));
  filter_one(last - 1, last, last);
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciSampleDownH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZmciSize srcSize, uint8_t* pDst, int dstStep,
                                         ZmciSize dstSize) {
  return SamplePlane(Filter::kBoxH2V1, pSrc, srcStep, srcSize, pDst, dstStep, dstSize);
}

ZmcStatus zmciSampleDownH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZmciSize srcSize, uint8_t* pDst, int dstStep,
                                         ZmciSize dstSize) {
  return SamplePlane(Filter::kBoxH2V2, pSrc, srcStep, srcSize, pDst, dstStep, dstSize);
}

ZmcStatus zmciSampleUpH2V1_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZmciSize srcSize, uint8_t* pDst, int dstStep,
                                       ZmciSize dstSize) {
  return SamplePlane(Filter::kTriangleH2V1, pSrc, srcStep, srcSize, pDst, dstStep, dstSize);
}

ZmcStatus zmciSampleUpH2V2_JPEG_8u_C1R(const uint8_t* pSrc, int srcStep, ZmciSize srcSize, uint8_t* pDst, int dstStep,
                                       ZmciSize dstSize) {
  return SamplePlane(Filter::kTriangleH2V2, pSrc, srcStep, srcSize, pDst, dstStep, dstSize);
}

ZmcStatus zmciSampleDownRowH2V1_Box_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc, pDst), Length(srcWidth))) return s;
  RowFilter(Filter::kBoxH2V1)(pSrc, pSrc, pDst, srcWidth / 2);
  return zmcStatusOk;
}

ZmcStatus zmciSampleDownRowH2V2_Box_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                               uint8_t* pDst) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc1, pSrc2, pDst), Length(srcWidth))) return s;
  RowFilter(Filter::kBoxH2V2)(pSrc1, pSrc2, pDst, srcWidth / 2);
  return zmcStatusOk;
}

ZmcStatus zmciSampleUpRowH2V1_Triangle_JPEG_8u_C1(const uint8_t* pSrc, int srcWidth, uint8_t* pDst) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc, pDst), Length(srcWidth))) return s;
  SampleRowUp(Filter::kTriangleH2V1, pSrc, pSrc, srcWidth, pDst);
  return zmcStatusOk;
}

ZmcStatus zmciSampleUpRowH2V2_Triangle_JPEG_8u_C1(const uint8_t* pSrc1, const uint8_t* pSrc2, int srcWidth,
                                                  uint8_t* pDst) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc1, pSrc2, pDst), Length(srcWidth))) return s;
  SampleRowUp(Filter::kTriangleH2V2, pSrc1, pSrc2, srcWidth, pDst);
  return zmcStatusOk;
}
#endif
