// The sampling filters' vector bodies, compiled once per level.
//
// A row is filtered in blocks; rows shorter than a block go to the reference. A row may be cut at any even column.
//
// No ordinary include guard: read once per level.
#if defined(ZMCJ_SAMPLING_VECTOR_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef HWY_TARGET_TOGGLE
#undef ZMCJ_SAMPLING_VECTOR_INL
#else
#define ZMCJ_SAMPLING_VECTOR_INL
#endif

#include <hwy/highway.h>

#include <algorithm>
#include <atomic>

#include "jpeg/colour/colour_bytes-inl.h"
#include "jpeg/colour/sampling_filters.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

HWY_INLINE V8 LoadBytes(const uint8_t* p) { return hn::LoadU(D8(), p); }

// Each filter: the pairs of destination samples in a block, the source samples per pair, and the block's body. A block
// begins at an even column, so that its rounding terms are the same as those of any other.

// A rounding product with 2^14 is (s + 1) >> 1, and with 2^13 is (s + 2) >> 2. One less in the factor lowers the value
// before rounding by s / 2^15, which is below the next multiple of a quarter and matters only where the value is an
// integer (as s is below 1024): the results are s >> 1 and (s + 1) >> 2, the even columns' rounding.
HWY_INLINE V16 RoundBoxSums(V16 sums, int odd_columns) {
  return hn::MulFixedPoint15(sums, PairWeights(odd_columns - 1, odd_columns));
}

struct BoxH2V1 {
  static constexpr FilterRow kReference = BoxH2V1Reference;
  static constexpr ptrdiff_t kPairs = kPixels / 2, kSourcesPerPair = 4;

  template <Stores kStores>
  static HWY_INLINE void Block(const uint8_t* row, const uint8_t*, uint8_t* to) {
    V16 mean[2];
    ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
      mean[i] = RoundBoxSums(WeightBytes(LoadBytes(row + i * kPixels), 1, 1), 1 << 14);
    }
    Store<kStores>(QuartersInOrder(PackBytes(mean[0], mean[1])), to);
  }
};

struct BoxH2V2 {
  static constexpr FilterRow kReference = BoxH2V2Reference;
  static constexpr ptrdiff_t kPairs = kPixels / 2, kSourcesPerPair = 4;

  template <Stores kStores>
  static HWY_INLINE void Block(const uint8_t* first, const uint8_t* second, uint8_t* to) {
    V16 mean[2];
    ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
      mean[i] = RoundBoxSums(hn::Add(WeightBytes(LoadBytes(first + i * kPixels), 1, 1),
                                     WeightBytes(LoadBytes(second + i * kPixels), 1, 1)),
                             1 << 13);
    }
    Store<kStores>(QuartersInOrder(PackBytes(mean[0], mean[1])), to);
  }
};

// In bytes, without a wider intermediate. With up(a, b) = (a + b + 1) >> 1 and down(a, b) = (a + b) >> 1 =
// ~up(~a, ~b): (3 a + b + 1) >> 2 = down(a, up(a, b)) and (3 a + b + 2) >> 2 = up(a, down(a, b)); the inner rounding
// is lost only where a + b is odd, and then 3 a + b + 1 is even and 3 a + b + 2 is odd, so that no quotient changes.
struct TriangleH2V1 {
  static constexpr FilterRow kReference = TriangleH2V1Reference;
  static constexpr ptrdiff_t kPairs = kPixels, kSourcesPerPair = 1;

  template <Stores kStores>
  static HWY_INLINE void Block(const uint8_t* row, const uint8_t*, uint8_t* to) {
    const V8 s = LoadBytes(row), not_s = hn::Not(s), before = LoadBytes(row - 1), after = LoadBytes(row + 1);
    const V8 even = hn::Not(hn::AverageRound(not_s, hn::Not(hn::AverageRound(s, before))));
    const V8 odd = hn::AverageRound(s, hn::Not(hn::AverageRound(not_s, hn::Not(after))));
    const V8 parts[2] = {hn::InterleaveLower(D8(), even, odd), hn::InterleaveUpper(D8(), even, odd)};
    StoreParts<kStores>(parts, to);
  }
};

// With v = 3 near + far, out of pairs of bytes: 3 v in one weighting, the neighbours' v in another. A rounding product
// with 2^11 is (x + 8) >> 4, the even columns' rounding; with -2^11 it is (8 - x) >> 4 = -((x + 7) >> 4), the odd
// columns'.
struct TriangleH2V2 {
  static constexpr FilterRow kReference = TriangleH2V2Reference;
  static constexpr ptrdiff_t kPairs = kPixels, kSourcesPerPair = 1;

  template <Stores kStores>
  static HWY_INLINE void Block(const uint8_t* near, const uint8_t* far, uint8_t* to) {
    const V16 sixteenth = hn::Set(D16(), 1 << 11), minus_sixteenth = hn::Set(D16(), -(1 << 11));
    const V8 n = LoadBytes(near), n_before = LoadBytes(near - 1), n_after = LoadBytes(near + 1);
    const V8 f = LoadBytes(far), f_before = LoadBytes(far - 1), f_after = LoadBytes(far + 1);
    // Keeps g++ 12 from loading each of them twice, once for either part.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    V8 parts[2];
    ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
      const V16 centre = Weight(i, n, f, 9, 3);
      const V16 even = hn::MulFixedPoint15(hn::Add(centre, Weight(i, n_before, f_before, 3, 1)), sixteenth);
      const V16 minus_odd = hn::MulFixedPoint15(hn::Add(centre, Weight(i, n_after, f_after, 3, 1)), minus_sixteenth);
      parts[i] = hn::BitCast(D8(), hn::Sub(even, hn::ShiftLeft<8>(minus_odd)));
    }
    StoreParts<kStores>(parts, to);
  }

 private:
  static HWY_INLINE V16 Weight(int part, V8 near, V8 far, int near_weight, int far_weight) {
    return WeightBytes(hn::BitCast(D8(), InterleavePart(part, near, far)), near_weight, far_weight);
  }
};

template <class Filter, Stores kStores>
HWY_INLINE void FilterBlock(const uint8_t* first, const uint8_t* second, uint8_t* to, ptrdiff_t pair) {
  const ptrdiff_t from = pair * Filter::kSourcesPerPair;
  Filter::template Block<kStores>(first + from, second + from, to + 2 * pair);
}

template <class Filter>
void FilterRowVector(const uint8_t* first, const uint8_t* second, uint8_t* to, ptrdiff_t count) {
  const ptrdiff_t pairs = count / 2, last = pairs - Filter::kPairs;
  if (last < 0) return Filter::kReference(first, second, to, count);
  ptrdiff_t pair = 0;
  // Four blocks at a time take 7 % off the box over two rows.
#pragma GCC unroll 4
  for (; pair <= last; pair += Filter::kPairs) FilterBlock<Filter, Stores::kPlain>(first, second, to, pair);
  // The last block may make some samples for the second time, to the same effect.
  if (pair < pairs) FilterBlock<Filter, Stores::kPlain>(first, second, to, last);
  const ptrdiff_t from = pairs * Filter::kSourcesPerPair;
  Filter::kReference(first + from, second + from, to + 2 * pairs, count - 2 * pairs);
}

template <class Filter>
void FilterRowStreaming(const uint8_t* first, const uint8_t* second, uint8_t* to, ptrdiff_t count) {
  constexpr ptrdiff_t kSources = Filter::kSourcesPerPair;
  const auto [begin, end] = FindStreamedUnits(to, 2, Filter::kPairs, count / 2);
  if (begin >= end) return FilterRowVector<Filter>(first, second, to, count);
  Fetch(to + 2 * end, to + count);
  FilterRowVector<Filter>(first, second, to, 2 * begin);
  for (ptrdiff_t pair = begin; pair < end; pair += Filter::kPairs) {
    if (kSources > 1) {
      FetchAhead<kSources * Filter::kPairs>(first + kSources * pair);
      if (second != first) FetchAhead<kSources * Filter::kPairs>(second + kSources * pair);
    }
    FilterBlock<Filter, Stores::kStreaming>(first, second, to, pair);
  }
  FilterRowVector<Filter>(first + kSources * end, second + kSources * end, to + 2 * end, count - 2 * end);
}

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
