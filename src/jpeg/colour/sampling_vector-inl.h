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

// With v = 3 near + far, out of pairs of bytes: 3 v in one weighting, the neighbours' v in another. A rounding product
// with 2^11 is (x + 8) >> 4, the even columns' rounding; with -2^11 it is (8 - x) >> 4 = -((x + 7) >> 4), the odd
// ones'.
void TriangleH2V2(const uint8_t* near, const uint8_t* far, uint8_t* to, ptrdiff_t count) {
  const ptrdiff_t sources = count / 2;
  if (sources < kPixels) return TriangleH2V2Reference(near, far, to, count);
  const V16 sixteenth = hn::Set(D16(), 1 << 11), minus_sixteenth = hn::Set(D16(), -(1 << 11));
  ForEachBlock(sources, kPixels, [&](ptrdiff_t x) {
    const auto load = [](const uint8_t* p) { return hn::LoadU(D8(), p); };
    const V8 n = load(near + x), n_before = load(near + x - 1), n_after = load(near + x + 1);
    const V8 f = load(far + x), f_before = load(far + x - 1), f_after = load(far + x + 1);
    V8 parts[2];
    ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
      const auto weight = [i](V8 a, V8 b, int wa, int wb) {
        return WeightBytes(hn::BitCast(D8(), InterleavePart(i, a, b)), wa, wb);
      };
      const V16 centre = weight(n, f, 9, 3);
      const V16 even = hn::MulFixedPoint15(hn::Add(centre, weight(n_before, f_before, 3, 1)), sixteenth);
      const V16 minus_odd = hn::MulFixedPoint15(hn::Add(centre, weight(n_after, f_after, 3, 1)), minus_sixteenth);
      parts[i] = hn::BitCast(D8(), hn::Sub(even, hn::ShiftLeft<8>(minus_odd)));
    }
    StoreParts(parts, to + 2 * x);
  });
  TriangleH2V2Reference(near + sources, far + sources, to + 2 * sources, count - 2 * sources);
}

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
