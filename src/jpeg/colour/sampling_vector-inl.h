// The sampling filters' vector bodies, compiled once per level.
//
// Each runs over whole registers and takes the last one again from the row's end, repeating some samples to the same
// effect; rows shorter than a register go to the reference.
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

#include "jpeg/colour/colour_bytes-inl.h"
#include "jpeg/colour/sampling_filters.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// Calls block(x) for blocks of `size` that cover 0..count-1, count being at least `size`, the last one ending at count.
template <class Block>
HWY_INLINE void ForEachBlock(ptrdiff_t count, ptrdiff_t size, const Block& block) {
  ptrdiff_t x = 0;
  for (; x <= count - size; x += size) block(x);
  if (x < count) block(count - size);
}

// ---- Box ------------------------------------------------------------------------------------------------------------
// A rounding product with 2^14 is (s + 1) >> 1, and with 2^13 is (s + 2) >> 2. One less in the factor lowers the value
// before rounding by s / 2^15, which is below the next multiple of a quarter and matters only where the value is an
// integer (as s is below 1024): the results are s >> 1 and (s + 1) >> 2, the even columns' rounding.

V16 BoxFactors(int odd_columns) { return PairWeights(odd_columns - 1, odd_columns); }

void BoxH2V1(const uint8_t* row, const uint8_t*, uint8_t* to, ptrdiff_t count) {
  // The blocks begin at even columns: the factors alternate.
  const ptrdiff_t even = count & ~ptrdiff_t{1};
  if (even < kPixels) return BoxH2V1Reference(row, nullptr, to, count);
  const V16 factors = BoxFactors(1 << 14);
  ForEachBlock(even, kPixels, [&](ptrdiff_t x) {
    const V16 low = hn::MulFixedPoint15(WeightBytes(hn::LoadU(D8(), row + 2 * x), 1, 1), factors);
    const V16 high = hn::MulFixedPoint15(WeightBytes(hn::LoadU(D8(), row + 2 * x + kPixels), 1, 1), factors);
    hn::StoreU(QuartersInOrder(PackBytes(low, high)), D8(), to + x);
  });
  BoxH2V1Reference(row + 2 * even, nullptr, to + even, count - even);
}

void BoxH2V2(const uint8_t* first, const uint8_t* second, uint8_t* to, ptrdiff_t count) {
  const ptrdiff_t even = count & ~ptrdiff_t{1};
  if (even < kPixels) return BoxH2V2Reference(first, second, to, count);
  const V16 factors = BoxFactors(1 << 13);
  ForEachBlock(even, kPixels, [&](ptrdiff_t x) {
    V16 mean[2];
    ZMCJ_UNROLL for (ptrdiff_t i = 0; i < 2; ++i) {
      const ptrdiff_t at = 2 * x + i * kPixels;
      const V16 sum =
          hn::Add(WeightBytes(hn::LoadU(D8(), first + at), 1, 1), WeightBytes(hn::LoadU(D8(), second + at), 1, 1));
      mean[i] = hn::MulFixedPoint15(sum, factors);
    }
    hn::StoreU(QuartersInOrder(PackBytes(mean[0], mean[1])), D8(), to + x);
  });
  BoxH2V2Reference(first + 2 * even, second + 2 * even, to + even, count - even);
}

// ---- Triangle -------------------------------------------------------------------------------------------------------

// In bytes, without a wider intermediate. With up(a, b) = (a + b + 1) >> 1 and down(a, b) = (a + b) >> 1 =
// ~up(~a, ~b): (3 a + b + 1) >> 2 = down(a, up(a, b)) and (3 a + b + 2) >> 2 = up(a, down(a, b)); the inner rounding
// is lost only where a + b is odd, and then 3 a + b + 1 is even and 3 a + b + 2 is odd, so that no quotient changes.
void TriangleH2V1(const uint8_t* row, const uint8_t*, uint8_t* to, ptrdiff_t count) {
  const ptrdiff_t sources = count / 2;
  if (sources < kPixels) return TriangleH2V1Reference(row, nullptr, to, count);
  ForEachBlock(sources, kPixels, [&](ptrdiff_t x) {
    const V8 s = hn::LoadU(D8(), row + x), not_s = hn::Not(s);
    const V8 before = hn::LoadU(D8(), row + x - 1), after = hn::LoadU(D8(), row + x + 1);
    const V8 even = hn::Not(hn::AverageRound(not_s, hn::Not(hn::AverageRound(s, before))));
    const V8 odd = hn::AverageRound(s, hn::Not(hn::AverageRound(not_s, hn::Not(after))));
    const V8 parts[2] = {hn::InterleaveLower(D8(), even, odd), hn::InterleaveUpper(D8(), even, odd)};
    StoreParts(parts, to + 2 * x);
  });
  TriangleH2V1Reference(row + sources, nullptr, to + 2 * sources, count - 2 * sources);
}

// The column sums 3 near + far + 2 of a stretch of the rows. Four times the 2 is the even columns' rounding term, 8.
void ColumnSums(const uint8_t* near, const uint8_t* far, int16_t* sums, ptrdiff_t count) {
  ForEachBlock(count, kPixels, [&](ptrdiff_t x) {
    const V8 n = hn::LoadU(D8(), near + x), f = hn::LoadU(D8(), far + x);
    V8 parts[2];
    ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
      const V16 sum = WeightBytes(hn::BitCast(D8(), InterleavePart(i, n, f)), 3, 1);
      parts[i] = hn::BitCast(D8(), hn::Add(sum, hn::Set(D16(), 2)));
    }
    StoreParts(parts, reinterpret_cast<uint8_t*>(sums + x));
  });
}

// Sums first, to a buffer, so that a column's neighbours are loads and not shuffles across a register.
void TriangleH2V2(const uint8_t* near, const uint8_t* far, uint8_t* to, ptrdiff_t count) {
  constexpr ptrdiff_t kStretch = 1024, kLanes = kPixels / 2;
  const hn::Repartition<uint16_t, D8> d16;
  int16_t buffer[kStretch + 2];
  const int16_t* sums = buffer + 1;
  ptrdiff_t x = 0;
  const ptrdiff_t sources = count / 2;
  while (sources - x >= kPixels) {
    const ptrdiff_t n = std::min(sources - x, kStretch);
    ColumnSums(near + x - 1, far + x - 1, buffer, n + 2);
    ForEachBlock(n, kLanes, [&](ptrdiff_t i) {
      const V16 v = hn::LoadU(D16(), sums + i), triple = hn::Add(hn::Add(v, v), v);
      const V16 even = hn::Add(triple, hn::LoadU(D16(), sums + i - 1));
      const V16 odd = hn::Sub(hn::Add(triple, hn::LoadU(D16(), sums + i + 1)), hn::Set(D16(), 1));
      // The results' eight bits: at the lower byte's place, and at the upper byte's.
      const V8 low = hn::BitCast(D8(), hn::ShiftRight<4>(hn::BitCast(d16, even)));
      const V8 high = hn::BitCast(D8(), hn::ShiftLeft<4>(hn::BitCast(d16, odd)));
      hn::StoreU(hn::OddEven(high, low), D8(), to + 2 * (x + i));
    });
    x += n;
  }
  TriangleH2V2Reference(near + x, far + x, to + 2 * x, count - 2 * x);
}

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
