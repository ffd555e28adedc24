// Loading, widening, weighting, packing and storing of bytes for the whole-image kernels, compiled once per level.
//
// A block is 16 pixels per 128 bits of a register: the first 16 pixels live in the lower 128 bits, the next 16 in the
// upper ones, and all the work stays within 128-bit parts.
//
// No ordinary include guard: read once per level.
#if defined(ZMCJ_COLOUR_BYTES_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef HWY_TARGET_TOGGLE
#undef ZMCJ_COLOUR_BYTES_INL
#else
#define ZMCJ_COLOUR_BYTES_INL
#endif

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<uint8_t>;
using D16 = hn::Repartition<int16_t, D8>;
using D32 = hn::Repartition<int32_t, D8>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;
using V32 = hn::Vec<D32>;
constexpr int kPixels = static_cast<int>(HWY_LANES(uint8_t));

// 16 bytes per part: from p, and from p + stride for the upper part; the stride is at least 16. A broadcasting load and
// a blend with a whole load leave the shuffle units alone, which an insertion would not.
HWY_INLINE V8 LoadParts(const uint8_t* p, ptrdiff_t stride) {
#if HWY_TARGET == HWY_AVX2
  return hn::ConcatUpperLower(D8(), hn::LoadDup128(D8(), p + stride), hn::LoadU(D8(), p));
#else
  static_cast<void>(stride);
  return hn::LoadU(D8(), p);
#endif
}

// Plain stores to any address, or stores past the caches to addresses divisible by a register's bytes.
enum class Stores { kPlain, kStreaming };

template <Stores kStores>
HWY_INLINE void Store(V8 v, uint8_t* p) {
  kStores == Stores::kStreaming ? hn::Stream(v, D8(), p) : hn::StoreU(v, D8(), p);
}

// The units begin..end-1 of a row, which are streamed to: whole blocks and whole cache lines, as a line that is written
// both past the caches and through them costs hundreds of nanoseconds. Before them lie no units or at least a block's,
// and so behind them.
struct StreamedUnits {
  ptrdiff_t begin, end;
};

// The length of a block is a power of two.
inline StreamedUnits FindStreamedUnits(const uint8_t* row, int unit_bytes, ptrdiff_t block, ptrdiff_t units) {
  constexpr int kLine = 64;
  // Incomplete lines at the ends cost a short row more than it gains.
  constexpr ptrdiff_t kMinRaggedBytes = 4096;
  const ptrdiff_t whole = std::max<ptrdiff_t>(kLine / std::gcd(kLine, unit_bytes), block);
  for (ptrdiff_t i = 0; i < whole; ++i) {
    if (reinterpret_cast<uintptr_t>(row + i * unit_bytes) % kLine != 0) continue;
    const ptrdiff_t begin = i == 0 || i >= block ? i : i + whole;
    const ptrdiff_t rest = (units - begin) % whole;
    const ptrdiff_t end = units - (rest == 0 || rest >= block ? rest : rest + whole);
    const bool ragged = begin > 0 || end < units;
    return ragged && units * unit_bytes < kMinRaggedBytes ? StreamedUnits{0, 0} : StreamedUnits{begin, end};
  }
  return {0, 0};
}

// Asks for the lines of begin..end-1 ahead of their use.
inline void Fetch(const uint8_t* begin, const uint8_t* end) {
  for (; begin < end; begin += 64) hwy::Prefetch(begin);
}

// Asks for what a streaming kernel's source holds a page and a half ahead, as the processor's own prefetching stops at
// the ends of pages. Of use where much more is read than written. The address may lie anywhere.
template <ptrdiff_t kBytes>
HWY_INLINE void FetchAhead(const uint8_t* source) {
  const auto ahead = reinterpret_cast<const uint8_t*>(reinterpret_cast<uintptr_t>(source) + 6144);
  ZMCJ_UNROLL for (ptrdiff_t i = 0; i < kBytes; i += 64) hwy::Prefetch(ahead + i);
}

// Part by part: all registers' lower parts, then all their upper ones.
template <Stores kStores, size_t kCount>
HWY_INLINE void StoreParts(const V8 (&v)[kCount], uint8_t* p) {
#if HWY_TARGET == HWY_AVX2
  const D8 d;
  constexpr size_t kWhole = kCount / 2;
  ZMCJ_UNROLL for (size_t i = 0; i < kWhole; ++i)
      Store<kStores>(hn::ConcatLowerLower(d, v[2 * i + 1], v[2 * i]), p + 32 * i);
  if (kCount % 2 == 1) Store<kStores>(hn::ConcatUpperLower(d, v[0], v[kCount - 1]), p + 32 * kWhole);
  uint8_t* upper = p + 16 * kCount + 16 * (kCount % 2);
  ZMCJ_UNROLL for (size_t i = 0; i < kWhole; ++i) {
    const size_t first = 2 * i + kCount % 2;
    Store<kStores>(hn::ConcatUpperUpper(d, v[first + 1], v[first]), upper + 32 * i);
  }
#else
  ZMCJ_UNROLL for (size_t i = 0; i < kCount; ++i) Store<kStores>(v[i], p + 16 * i);
#endif
}

// The lower (part 0) or upper eight bytes of each 128 bits, `low` bytes below `high` bytes.
HWY_INLINE V16 InterleavePart(int part, V8 low, V8 high) {
  return hn::BitCast(D16(), part == 0 ? hn::InterleaveLower(D8(), low, high) : hn::InterleaveUpper(D8(), low, high));
}
HWY_INLINE V16 WidenPart(int part, V8 v) { return InterleavePart(part, v, hn::Zero(D8())); }

// Back to bytes, each 128 bits by itself, clamping to 0..255 or to -128..127.
HWY_INLINE V8 PackBytes(V16 low, V16 high) {
#if HWY_TARGET == HWY_AVX2
  return V8{_mm256_packus_epi16(low.raw, high.raw)};
#elif HWY_TARGET == HWY_SSE4
  return V8{_mm_packus_epi16(low.raw, high.raw)};
#else
  const hn::Half<D8> half;
  return hn::Combine(D8(), hn::DemoteTo(half, high), hn::DemoteTo(half, low));
#endif
}
HWY_INLINE V8 PackSignedBytes(V16 low, V16 high) {
#if HWY_TARGET == HWY_AVX2
  return V8{_mm256_packs_epi16(low.raw, high.raw)};
#elif HWY_TARGET == HWY_SSE4
  return V8{_mm_packs_epi16(low.raw, high.raw)};
#else
  const hn::Repartition<int8_t, D8> d8s;
  const hn::Half<decltype(d8s)> half;
  return hn::BitCast(D8(), hn::Combine(d8s, hn::DemoteTo(half, high), hn::DemoteTo(half, low)));
#endif
}

// The sum of the two bytes of each 16-bit lane, weighted. The weights are below 128, the sums below 32768.
HWY_INLINE V16 WeightBytes(V8 v, int low, int high) {
#if HWY_TARGET == HWY_AVX2
  return V16{_mm256_maddubs_epi16(v.raw, hn::Set(D16(), static_cast<int16_t>(high << 8 | low)).raw)};
#elif HWY_TARGET == HWY_SSE4
  return V16{_mm_maddubs_epi16(v.raw, hn::Set(D16(), static_cast<int16_t>(high << 8 | low)).raw)};
#else
  const hn::Repartition<uint16_t, D8> d16;
  const auto lanes = hn::BitCast(d16, v);
  const V16 low_bytes = hn::BitCast(D16(), hn::And(lanes, hn::Set(d16, 0xFF)));
  const V16 high_bytes = hn::BitCast(D16(), hn::ShiftRight<8>(lanes));
  return hn::Add(hn::Mul(low_bytes, hn::Set(D16(), static_cast<int16_t>(low))),
                 hn::Mul(high_bytes, hn::Set(D16(), static_cast<int16_t>(high))));
#endif
}

// What PackBytes made of two registers that each hold consecutive samples: 64-bit quarters 0 2 1 3 to 0 1 2 3.
HWY_INLINE V8 QuartersInOrder(V8 v) {
#if HWY_TARGET == HWY_AVX2
  return V8{_mm256_permute4x64_epi64(v.raw, 0xD8)};
#else
  return v;
#endif
}

// Both weights in every 32-bit lane, and the sum of a lane's two products.
HWY_INLINE V16 PairWeights(int even, int odd) {
  return hn::BitCast(
      D16(), hn::Set(D32(), static_cast<int32_t>(static_cast<uint32_t>(odd) << 16 | static_cast<uint16_t>(even))));
}
HWY_INLINE V32 WeightPairs(V16 pairs, V16 weights) {
  V32 upper = hn::Zero(D32());
  const V32 sum = hn::ReorderWidenMulAccumulate(D32(), pairs, weights, hn::Zero(D32()), upper);
  return hn::RearrangeToOddPlusEven(sum, upper);
}

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
