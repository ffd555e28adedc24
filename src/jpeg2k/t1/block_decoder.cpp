// The exported code-block decoder: checks, clearing, and what is done to the coefficients after the last pass.
#include <algorithm>

#include "core/check.h"
#include "core/memory.h"
#include "jpeg2k/t1/t1.h"

namespace zmcj::t1 {
namespace {

template <class Change>
void ChangeWords(const DecodeJob& job, Change change) {
  for (int y = 0; y < job.size.height; ++y) {
    int32_t* const row = RowAt(job.dst, y, job.dst_step);
    for (int x = 0; x < job.size.width; ++x) StoreSample(row + x, change(LoadSample<uint32_t>(row + x)));
  }
}

// The planes from `plane` up of what was decoded, at the midpoint; no sign without a magnitude.
void Conceal(const DecodeJob& job, int plane) {
  const uint32_t unit = 1u << plane;
  ChangeWords(job, [unit](uint32_t word) {
    const uint32_t kept = word & ~(unit - 1);
    return (kept & 0x7FFFFFFF) != 0 ? kept | unit : 0;
  });
}

ZmcStatus Decode(const DecodeJob& job, int32_t* error_plane) {
  const size_t row_bytes = static_cast<size_t>(job.size.width) * sizeof(int32_t);
  if ((job.options & kDestinationIsZero) == 0) {
    for (int y = 0; y < job.size.height; ++y) std::memset(RowAt(job.dst, y, job.dst_step), 0, row_bytes);
  }
  if ((job.options & kWorkBufferIsZero) == 0) {
    std::memset(job.work, 0, static_cast<size_t>(WorkBytes(job.size.width, job.size.height)));
  }
  const DecodeEnd end = kernels->decode(job);
  if (end.fault) {
    if (error_plane != nullptr) *error_plane = end.plane;
    if (job.options & kConceal) Conceal(job, end.plane);
    return zmcStatusCodeBlockDecodeError;
  }
  if ((job.options & kKeepHalfSteps) == 0 && end.plane >= 1) {
    const uint32_t decoded = ~((1u << end.plane) - 1);
    ChangeWords(job, [decoded](uint32_t word) { return word & decoded; });
  }
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj::t1

using namespace zmcj;

ZmcStatus zmciDecodeGetBufSize_JPEG2K(int width, int height, uint32_t* pSize) {
  if (ZmcStatus s = NotNull(pSize)) return s;
  *pSize = static_cast<uint32_t>(std::clamp<int64_t>(t1::WorkBytes(width, height), 0, UINT32_MAX));
  return zmcStatusOk;
}

ZmcStatus zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(const uint8_t* pSrc, int32_t* pDst, int dstStep, ZmciSize size,
                                               int orientation, int nBitPlanes, int nPasses,
                                               const uint32_t* pSegmentLengths, uint32_t nSegments, int flags,
                                               int32_t* pErrorBitPlane, uint8_t* pBuffer) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc, pBuffer), Size(size), NotNull(pSegmentLengths, pDst), Steps(dstStep),
                                 Require(nBitPlanes <= t1::kMaxPlanes, zmcStatusBadArgument))) {
    return s;
  }
  // The query cannot tell the buffer's size for a larger block.
  if (t1::WorkBytes(size.width, size.height) > UINT32_MAX) return zmcStatusBadSize;
  return t1::Decode({pSrc, pDst, dstStep, size, orientation, nBitPlanes, nPasses, pSegmentLengths, nSegments,
                     static_cast<uint32_t>(flags), pBuffer},
                    pErrorBitPlane);
}
