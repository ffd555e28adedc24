// Reversible component transform (ISO/IEC 15444-1, G.2): R, G, B to Y, B - G, R - G and back, without loss.
#include <array>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg2k/transform/rct.cpp"
#include "core/foreach_level.h"

#ifndef ZMCJ_RCT_TYPES
#define ZMCJ_RCT_TYPES
namespace zmcj {

// One row of each of three planes, or of what stands in for them.
using Source3 = std::array<const int32_t*, 3>;
using Target3 = std::array<int32_t*, 3>;

struct RctKernels {
  void (*forward_interleaved)(const int32_t* src, Target3 dst, int width);
  void (*inverse_interleaved)(Source3 src, int32_t* dst, int width);
  void (*forward_planes)(Target3 src_dst, int width);
  void (*inverse_planes)(Target3 src_dst, int width);
};

// Sums wrap, so they are formed in unsigned arithmetic; the shift is arithmetic and rounds toward minus infinity.
inline int32_t FloorQuarter(uint32_t sum) { return static_cast<int32_t>(sum) >> 2; }

struct Triple {
  int32_t a, b, c;
};

inline Triple ForwardPixel(Triple rgb) {
  const auto r = static_cast<uint32_t>(rgb.a), g = static_cast<uint32_t>(rgb.b), b = static_cast<uint32_t>(rgb.c);
  return {FloorQuarter(r + 2 * g + b), static_cast<int32_t>(b - g), static_cast<int32_t>(r - g)};
}

inline Triple InversePixel(Triple yuv) {
  const auto y = static_cast<uint32_t>(yuv.a), u = static_cast<uint32_t>(yuv.b), v = static_cast<uint32_t>(yuv.c);
  const uint32_t g = y - static_cast<uint32_t>(FloorQuarter(u + v));
  return {static_cast<int32_t>(v + g), static_cast<int32_t>(g), static_cast<int32_t>(u + g)};
}

template <class Pointer>
Triple LoadTriple(const std::array<Pointer, 3>& planes, int i) {
  return {LoadSample<int32_t>(planes[0] + i), LoadSample<int32_t>(planes[1] + i), LoadSample<int32_t>(planes[2] + i)};
}

inline void StoreTriple(const Target3& planes, int i, Triple t) {
  StoreSample(planes[0] + i, t.a);
  StoreSample(planes[1] + i, t.b);
  StoreSample(planes[2] + i, t.c);
}

inline Source3 Channels(const int32_t* pixel) { return {pixel, pixel + 1, pixel + 2}; }
inline Target3 Channels(int32_t* pixel) { return {pixel, pixel + 1, pixel + 2}; }

template <class Pointer>
std::array<Pointer, 3> Advance(const std::array<Pointer, 3>& planes, int n) {
  return {planes[0] + n, planes[1] + n, planes[2] + n};
}

inline void ForwardInterleavedReference(const int32_t* src, Target3 dst, int width) {
  for (int i = 0; i < width; ++i, src += 3) StoreTriple(dst, i, ForwardPixel(LoadTriple(Channels(src), 0)));
}

inline void InverseInterleavedReference(Source3 src, int32_t* dst, int width) {
  for (int i = 0; i < width; ++i, dst += 3) StoreTriple(Channels(dst), 0, InversePixel(LoadTriple(src, i)));
}

inline void ForwardPlanesReference(Target3 src_dst, int width) {
  for (int i = 0; i < width; ++i) StoreTriple(src_dst, i, ForwardPixel(LoadTriple(src_dst, i)));
}

inline void InversePlanesReference(Target3 src_dst, int width) {
  for (int i = 0; i < width; ++i) StoreTriple(src_dst, i, InversePixel(LoadTriple(src_dst, i)));
}

}  // namespace zmcj
#endif

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using D = hn::ScalableTag<int32_t>;
using V = hn::Vec<D>;

int Lanes() { return static_cast<int>(hn::Lanes(D())); }

// R, G, B become Y, B - G, R - G in place.
HWY_INLINE void ForwardPixels(V& r_y, V& g_u, V& b_v) {
  const V r = r_y, g = g_u, b = b_v;
  r_y = hn::ShiftRight<2>(hn::Add(hn::Add(r, b), hn::Add(g, g)));
  g_u = hn::Sub(b, g);
  b_v = hn::Sub(r, g);
}

HWY_INLINE void InversePixels(V& y_r, V& u_g, V& v_b) {
  const V u = u_g, v = v_b;
  u_g = hn::Sub(y_r, hn::ShiftRight<2>(hn::Add(u, v)));
  y_r = hn::Add(v, u_g);
  v_b = hn::Add(u, u_g);
}

template <class Pointer>
HWY_INLINE void LoadPlanes(const std::array<Pointer, 3>& planes, int i, V& a, V& b, V& c) {
  a = hn::LoadU(D(), planes[0] + i);
  b = hn::LoadU(D(), planes[1] + i);
  c = hn::LoadU(D(), planes[2] + i);
}

HWY_INLINE void StorePlanes(const Target3& planes, int i, V a, V b, V c) {
  hn::StoreU(a, D(), planes[0] + i);
  hn::StoreU(b, D(), planes[1] + i);
  hn::StoreU(c, D(), planes[2] + i);
}

void ForwardInterleaved(const int32_t* src, Target3 dst, int width) {
  int i = 0;
  for (; i <= width - Lanes(); i += Lanes()) {
    V a, b, c;
    hn::LoadInterleaved3(D(), src + 3 * static_cast<ptrdiff_t>(i), a, b, c);
    ForwardPixels(a, b, c);
    StorePlanes(dst, i, a, b, c);
  }
  ForwardInterleavedReference(src + 3 * static_cast<ptrdiff_t>(i), Advance(dst, i), width - i);
}

void InverseInterleaved(Source3 src, int32_t* dst, int width) {
  int i = 0;
  for (; i <= width - Lanes(); i += Lanes()) {
    V a, b, c;
    LoadPlanes(src, i, a, b, c);
    InversePixels(a, b, c);
    hn::StoreInterleaved3(a, b, c, D(), dst + 3 * static_cast<ptrdiff_t>(i));
  }
  InverseInterleavedReference(Advance(src, i), dst + 3 * static_cast<ptrdiff_t>(i), width - i);
}

void ForwardPlanes(Target3 src_dst, int width) {
  int i = 0;
  for (; i <= width - Lanes(); i += Lanes()) {
    V a, b, c;
    LoadPlanes(src_dst, i, a, b, c);
    ForwardPixels(a, b, c);
    StorePlanes(src_dst, i, a, b, c);
  }
  ForwardPlanesReference(Advance(src_dst, i), width - i);
}

void InversePlanes(Target3 src_dst, int width) {
  int i = 0;
  for (; i <= width - Lanes(); i += Lanes()) {
    V a, b, c;
    LoadPlanes(src_dst, i, a, b, c);
    InversePixels(a, b, c);
    StorePlanes(src_dst, i, a, b, c);
  }
  InversePlanesReference(Advance(src_dst, i), width - i);
}

}  // namespace
extern constexpr RctKernels kRct = {ForwardInterleaved, InverseInterleaved, ForwardPlanes, InversePlanes};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

constexpr RctKernels kReference = {ForwardInterleavedReference, InverseInterleavedReference, ForwardPlanesReference,
                                   InversePlanesReference};
constinit Family<RctKernels> rct("reversible component transform", kReference, {ZMCJ_LEVELS(kRct)});
const Enrolment enrolment(rct);

template <class Pointer>
std::array<Pointer, 3> RowsAt(Pointer const planes[3], int64_t y, int step) {
  return {RowAt(planes[0], y, step), RowAt(planes[1], y, step), RowAt(planes[2], y, step)};
}

ZmcStatus TransformInPlace(void (*row)(Target3, int), int32_t* const planes[3], int step, ZmciSize size) {
  if (ZmcStatus s = NotNull(planes)) return s;
  if (ZmcStatus s = FirstFailure(PlanesNotNull(planes, 3), Steps(step), Size(size))) return s;
  for (int y = 0; y < size.height; ++y) row(RowsAt(planes, y, step), size.width);
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciRCTFwd_JPEG2K_32s_C3P3R(const int32_t* pSrc, int srcStep, int32_t* const pDst[3], int dstStep,
                                      ZmciSize roiSize) {
  if (ZmcStatus s = NotNull(pSrc, pDst)) return s;
  if (ZmcStatus s = FirstFailure(PlanesNotNull(pDst, 3), Steps(srcStep, dstStep), Size(roiSize))) return s;
  for (int y = 0; y < roiSize.height; ++y)
    rct->forward_interleaved(RowAt(pSrc, y, srcStep), RowsAt(pDst, y, dstStep), roiSize.width);
  return zmcStatusOk;
}

ZmcStatus zmciRCTInv_JPEG2K_32s_P3C3R(const int32_t* const pSrc[3], int srcStep, int32_t* pDst, int dstStep,
                                      ZmciSize roiSize) {
  if (ZmcStatus s = NotNull(pSrc, pDst)) return s;
  if (ZmcStatus s = FirstFailure(PlanesNotNull(pSrc, 3), Steps(srcStep, dstStep), Size(roiSize))) return s;
  for (int y = 0; y < roiSize.height; ++y)
    rct->inverse_interleaved(RowsAt(pSrc, y, srcStep), RowAt(pDst, y, dstStep), roiSize.width);
  return zmcStatusOk;
}

ZmcStatus zmciRCTFwd_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZmciSize roiSize) {
  return TransformInPlace(rct->forward_planes, pSrcDst, srcDstStep, roiSize);
}

ZmcStatus zmciRCTInv_JPEG2K_32s_P3IR(int32_t* const pSrcDst[3], int srcDstStep, ZmciSize roiSize) {
  return TransformInPlace(rct->inverse_planes, pSrcDst, srcDstStep, roiSize);
}
#endif
