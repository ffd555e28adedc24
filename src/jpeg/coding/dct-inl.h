// The vector bodies of the DCT with quantisation: whole blocks in registers from the load to the store. Columns are
// taken eight at a time, a row to a register of 128 bits; rows as many at a time as a register holds.
// Read once per level.
#if defined(ZMCJ_JPEG_CODING_DCT_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_JPEG_CODING_DCT_INL_H_
#undef ZMCJ_JPEG_CODING_DCT_INL_H_
#else
#define ZMCJ_JPEG_CODING_DCT_INL_H_
#endif

#include <hwy/highway.h>

#include "core/memory.h"
#include "jpeg/coding/dct_tables.h"
#include "jpeg/coding/quant-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Row = hn::FixedTag<int16_t, 8>;
using RowV = hn::VFromD<Row>;
using Rows = hn::CappedTag<int16_t, 32>;
using RowsV = hn::VFromD<Rows>;
constexpr size_t kRegisters = 64 / hn::MaxLanes(Rows());

struct Block {
  RowV row[8];
};

// The compiler keeps arrays of vectors in registers only where it unrolls the loops over them: hence ZMCJ_UNROLL.

HWY_INLINE RowV Sum(RowV a, RowV b) { return hn::SaturatedAdd(a, b); }
HWY_INLINE RowV Difference(RowV a, RowV b) { return hn::SaturatedSub(a, b); }
HWY_INLINE RowV Times(RowV v, const dct::Lanes<int16_t, 8>& factor) {
  return hn::MulHigh(v, hn::Load(Row(), factor.data()));
}
// By a factor that is stored less one.
HWY_INLINE RowV TimesLess1(RowV v, const dct::Lanes<int16_t, 8>& factor) { return Sum(v, Times(v, factor)); }

// Register i of an array of rows, and back.
template <class D>
HWY_INLINE hn::VFromD<D> JoinRows(D d, const RowV* rows, size_t i) {
  if constexpr (hn::MaxLanes(d) > 8) {
    const hn::Half<D> half;
    return hn::Combine(d, JoinRows(half, rows, 2 * i + 1), JoinRows(half, rows, 2 * i));
  } else {
    return rows[i];
  }
}
template <class D>
HWY_INLINE void SplitRows(D d, hn::VFromD<D> joined, size_t i, RowV* rows) {
  if constexpr (hn::MaxLanes(d) > 8) {
    const hn::Half<D> half;
    SplitRows(half, hn::LowerHalf(half, joined), 2 * i, rows);
    SplitRows(half, hn::UpperHalf(half, joined), 2 * i + 1, rows);
  } else {
    rows[i] = joined;
  }
}

// The coefficients of one group for the rows of register i.
HWY_INLINE RowsV Group(const dct::RowTables& tables, size_t i, size_t group) {
  return hn::LoadU(Rows(), tables.data() + dct::RowTableIndex(i * (8 / kRegisters), group));
}

// Sums of the products of pairs, p * a + q * b. They wrap at 32 bits, far beyond what samples lead to.
HWY_INLINE hn::VFromD<hn::RepartitionToWide<Rows>> PairProducts(RowsV p, RowsV a, RowsV q, RowsV b) {
  const hn::RepartitionToWide<Rows> d32;
  auto odd = hn::Zero(d32);
  const auto even = hn::ReorderWidenMulAccumulate(d32, p, a, hn::Zero(d32), odd);
  return hn::RearrangeToOddPlusEven(hn::ReorderWidenMulAccumulate(d32, q, b, even, odd), odd);
}

// Register i of a caller's table.
HWY_INLINE RowsV LoadTable(const uint16_t* table, size_t i) {
  const hn::RebindToUnsigned<Rows> du;
  return hn::BitCast(Rows(), hn::LoadU(du, table + i * hn::MaxLanes(du)));
}

// Within each row.
HWY_INLINE RowsV Shuffle(RowsV rows, const dct::Lanes<uint8_t, 16>& bytes) {
  const hn::Repartition<uint8_t, Rows> d8;
  return hn::BitCast(Rows(), hn::TableLookupBytes(hn::BitCast(d8, rows), hn::LoadDup128(d8, bytes.data())));
}
HWY_INLINE RowsV SwapPairs(RowsV rows) {
  return hn::BitCast(Rows(), hn::Shuffle2301(hn::BitCast(hn::RepartitionToWide<Rows>(), rows)));
}

// What the forward column pass starts from: 8 * (row i +- row 7-i), but differences 1 and 2 twice that.
struct Folded {
  RowV sum[4];
  RowV difference[4];
};

HWY_INLINE Folded FoldWords(const int16_t* src) {
  Folded folded;
  ZMCJ_UNROLL
  for (size_t i = 0; i < 4; ++i) {
    const RowV upper = hn::ShiftLeft<dct::kForwardScaleBits>(hn::LoadU(Row(), src + 8 * i));
    const RowV lower = hn::ShiftLeft<dct::kForwardScaleBits>(hn::LoadU(Row(), src + 8 * (7 - i)));
    folded.sum[i] = Sum(upper, lower);
    const RowV difference = Difference(upper, lower);
    folded.difference[i] = i % 3 == 0 ? difference : Sum(difference, difference);
  }
  return folded;
}

// Of bytes that are not centred on zero yet.
HWY_INLINE Folded FoldBytes(const uint8_t* src, int step) {
  const hn::Rebind<uint8_t, Row> d8;
  Folded folded;
  ZMCJ_UNROLL
  for (size_t i = 0; i < 4; ++i) {
    const auto upper = hn::LoadU(d8, RowAt(src, static_cast<int64_t>(i), step));
    const auto lower = hn::LoadU(d8, RowAt(src, static_cast<int64_t>(7 - i), step));
#if HWY_ARCH_X86
    using Bytes = hn::FixedTag<int8_t, 16>;
    // One instruction widens, scales and adds.
    const __m128i pairs = _mm_unpacklo_epi8(upper.raw, lower.raw);
    folded.sum[i] = RowV{_mm_maddubs_epi16(pairs, hn::Load(Bytes(), dct::kScaledSum.data()).raw)};
    const auto& signs = i % 3 == 0 ? dct::kScaledDifference : dct::kTwiceScaledDifference;
    folded.difference[i] = RowV{_mm_maddubs_epi16(pairs, hn::Load(Bytes(), signs.data()).raw)};
#else
    const RowV x = hn::PromoteTo(Row(), upper), y = hn::PromoteTo(Row(), lower);
    folded.sum[i] = hn::ShiftLeft<dct::kForwardScaleBits>(hn::Add(x, y));
    const RowV difference = hn::ShiftLeft<dct::kForwardScaleBits>(hn::Sub(x, y));
    folded.difference[i] = i % 3 == 0 ? difference : hn::Add(difference, difference);
#endif
  }
  return folded;
}

HWY_INLINE Block ForwardColumns(const Folded& x) {
  const RowV sum03 = Sum(x.sum[0], x.sum[3]), difference03 = Difference(x.sum[0], x.sum[3]);
  const RowV sum12 = Sum(x.sum[1], x.sum[2]), difference12 = Difference(x.sum[1], x.sum[2]);
  Block y;
  y.row[0] = Sum(sum03, sum12);
  y.row[4] = Difference(sum03, sum12);
  y.row[2] = Sum(difference03, Times(difference12, dct::kTan2));
  y.row[6] = Difference(Times(difference03, dct::kTan2), difference12);

  const RowV middle_sum = Times(Sum(x.difference[1], x.difference[2]), dct::kHalfCosHalf);
  const RowV middle_difference = Times(Difference(x.difference[1], x.difference[2]), dct::kHalfCosHalf);
  const RowV a = Sum(x.difference[0], middle_sum), b = Sum(x.difference[3], middle_difference);
  y.row[1] = Sum(a, Times(b, dct::kTan1));
  y.row[7] = Difference(Times(a, dct::kTan1), b);
  const RowV c = Difference(x.difference[0], middle_sum), d = Difference(x.difference[3], middle_difference);
  y.row[3] = Difference(c, TimesLess1(d, dct::kTan3Less1));
  y.row[5] = Sum(TimesLess1(c, dct::kTan3Less1), d);
  return y;
}

// Register i of the row pass.
HWY_INLINE RowsV ForwardRows(RowsV x, size_t i) {
  const Rows d;
  const RowsV reversed = Shuffle(x, dct::kReversed);
  const RowsV sum = hn::SaturatedAdd(x, reversed), difference = hn::SaturatedSub(x, reversed);
  const dct::RowTables& tables = dct::kForwardTables;
  const auto even = PairProducts(sum, Group(tables, i, 0), SwapPairs(sum), Group(tables, i, 1));
  const auto odd = PairProducts(difference, Group(tables, i, 2), SwapPairs(difference), Group(tables, i, 3));
  // The upper halves of all sums, already in order.
  const RowsV upper = hn::OddEven(hn::BitCast(d, odd), hn::BitCast(d, hn::ShiftRight<16>(even)));
  return hn::MulFixedPoint15(upper, hn::LoadDup128(d, dct::kForwardRounding.data()));
}

// Whether a reciprocal takes all 16 bits: only those of the quantisers 1 and 0 do.
HWY_INLINE bool HasLargeReciprocals(const uint16_t* reciprocals) {
  RowsV all = hn::Zero(Rows());
  ZMCJ_UNROLL
  for (size_t i = 0; i < kRegisters; ++i) all = hn::Or(all, LoadTable(reciprocals, i));
  return !hn::AllFalse(Rows(), hn::Lt(all, hn::Zero(Rows())));
}

template <bool kLargeReciprocals>
HWY_INLINE void ForwardRowsQuantised(const Block& columns, int16_t* dst, const uint16_t* reciprocals) {
  const Rows d;
  ZMCJ_UNROLL
  for (size_t i = 0; i < kRegisters; ++i) {
    const RowsV coefficients = ForwardRows(JoinRows(d, columns.row, i), i);
    const RowsV table = LoadTable(reciprocals, i);
    const RowsV quantised =
        kLargeReciprocals ? Quantise(d, coefficients, table) : QuantiseBelow2Pow15(d, coefficients, table);
    hn::StoreU(quantised, d, dst + i * hn::MaxLanes(d));
  }
}

HWY_INLINE void FinishForward(const Block& columns, int16_t* dst, const uint16_t* reciprocals) {
  if (HasLargeReciprocals(reciprocals)) return ForwardRowsQuantised<true>(columns, dst, reciprocals);
  ForwardRowsQuantised<false>(columns, dst, reciprocals);
}

void ForwardWords(const int16_t* src, int16_t* dst, const uint16_t* reciprocals) {
  FinishForward(ForwardColumns(FoldWords(src)), dst, reciprocals);
}

void ForwardBytes(const uint8_t* src, int step, int16_t* dst, const uint16_t* reciprocals) {
  Block columns = ForwardColumns(FoldBytes(src, step));
  // The centre of the bytes is felt in one place only.
  columns.row[0] = hn::Sub(columns.row[0], hn::Load(Row(), dct::kForwardCentre.data()));
  FinishForward(columns, dst, reciprocals);
}

// Register i of the row pass. Columns 4 to 7 come out in reverse, and stay so through the column pass.
HWY_INLINE RowsV InverseRows(RowsV x, size_t i) {
  const Rows d;
  const hn::RepartitionToWide<Rows> d32;
  const RowsV even_pairs = Shuffle(x, dct::kEvenPairs), odd_pairs = Shuffle(x, dct::kOddPairs);
  const dct::RowTables& tables = dct::kInverseTables;
  const auto even =
      PairProducts(even_pairs, Group(tables, i, 0), Shuffle(x, dct::kEvenPairsSwapped), Group(tables, i, 1));
  const auto odd = PairProducts(odd_pairs, Group(tables, i, 2), Shuffle(x, dct::kOddPairsSwapped), Group(tables, i, 3));
  const auto rounded = hn::Add(even, hn::LoadU(d32, dct::kInverseRounding.data() + i * hn::MaxLanes(d32)));
  const auto left = hn::ShiftRight<dct::kInverseRowShift>(hn::Add(rounded, odd));
  const auto right = hn::ShiftRight<dct::kInverseRowShift>(hn::Sub(rounded, odd));
  return hn::ReorderDemote2To(d, left, right);
}

// What the inverse column pass ends with: rows i and 7-i of the block are even[i] +- odd[i], divided by 2^5.
struct Unfolded {
  RowV even[4];
  RowV odd[4];
};

// Without kAllRows, rows 4 to 7 are taken to be zero.
template <bool kAllRows>
HWY_INLINE Unfolded InverseColumns(const Block& y) {
  RowV sum04 = y.row[0], difference04 = y.row[0];
  RowV sum26 = y.row[2], difference26 = Times(y.row[2], dct::kTan2);
  RowV a = y.row[1], b = Times(y.row[1], dct::kTan1);
  RowV c = y.row[3], d = TimesLess1(y.row[3], dct::kTan3Less1);
  if constexpr (kAllRows) {
    sum04 = Sum(sum04, y.row[4]);
    difference04 = Difference(difference04, y.row[4]);
    sum26 = Sum(sum26, Times(y.row[6], dct::kTan2));
    difference26 = Difference(difference26, y.row[6]);
    a = Sum(a, Times(y.row[7], dct::kTan1));
    b = Difference(b, y.row[7]);
    c = Sum(c, TimesLess1(y.row[5], dct::kTan3Less1));
    d = Difference(d, y.row[5]);
  }
  const RowV ac = Difference(a, c), bd = Sum(b, d);
  Unfolded x;
  x.even[0] = Sum(sum04, sum26);
  x.even[1] = Sum(difference04, difference26);
  x.even[2] = Difference(difference04, difference26);
  x.even[3] = Difference(sum04, sum26);
  x.odd[0] = Sum(a, c);
  x.odd[1] = TimesLess1(Sum(ac, bd), dct::kCosHalfLess1);
  x.odd[2] = TimesLess1(Difference(ac, bd), dct::kCosHalfLess1);
  x.odd[3] = Difference(b, d);
  return x;
}

HWY_INLINE Unfolded Inverse(const int16_t* src, const uint16_t* quantisers) {
  const Rows d;
  RowsV coefficients[kRegisters];
  RowsV lower = hn::Zero(d);
  ZMCJ_UNROLL
  for (size_t i = 0; i < kRegisters; ++i) {
    coefficients[i] = hn::LoadU(d, src + i * hn::MaxLanes(d));
    if (i >= kRegisters / 2) lower = hn::Or(lower, coefficients[i]);
  }
  Block rows;
  ZMCJ_UNROLL
  for (size_t i = 0; i < kRegisters / 2; ++i) {
    SplitRows(d, InverseRows(hn::Mul(coefficients[i], LoadTable(quantisers, i)), i), i, rows.row);
  }
  // Common in pictures: no high vertical frequencies. Such rows come out as zeros, their rounding being too small.
  if (hn::AllTrue(d, hn::Eq(lower, hn::Zero(d)))) return InverseColumns<false>(rows);
  ZMCJ_UNROLL
  for (size_t i = kRegisters / 2; i < kRegisters; ++i) {
    SplitRows(d, InverseRows(hn::Mul(coefficients[i], LoadTable(quantisers, i)), i), i, rows.row);
  }
  return InverseColumns<true>(rows);
}

// Register i of the upper four rows, and of the lower four from the last upwards.
HWY_INLINE RowsV UpperRows(const Unfolded& x, size_t i) {
  const Rows d;
  return hn::ShiftRight<dct::kInverseColumnShift>(hn::SaturatedAdd(JoinRows(d, x.even, i), JoinRows(d, x.odd, i)));
}
HWY_INLINE RowsV LowerRows(const Unfolded& x, size_t i) {
  const Rows d;
  return hn::ShiftRight<dct::kInverseColumnShift>(hn::SaturatedSub(JoinRows(d, x.even, i), JoinRows(d, x.odd, i)));
}

void InverseWords(const int16_t* src, int16_t* dst, const uint16_t* quantisers) {
  const Rows d;
  const Unfolded x = Inverse(src, quantisers);
  ZMCJ_UNROLL
  for (size_t i = 0; i < kRegisters / 2; ++i) {
    const RowsV upper = Shuffle(UpperRows(x, i), dct::kUpperHalfReversed);
    const RowsV lower = hn::ReverseBlocks(d, Shuffle(LowerRows(x, i), dct::kUpperHalfReversed));
    hn::StoreU(upper, d, dst + i * hn::MaxLanes(d));
    hn::StoreU(lower, d, dst + (kRegisters - 1 - i) * hn::MaxLanes(d));
  }
}

// Saturated to signed bytes: within each 128 bits, a row of `a` and then one of `b`.
HWY_INLINE RowsV SaturatedBytes(RowsV a, RowsV b) {
#if HWY_TARGET == HWY_AVX3
  return RowsV{_mm512_packs_epi16(a.raw, b.raw)};
#elif HWY_TARGET == HWY_AVX2
  return RowsV{_mm256_packs_epi16(a.raw, b.raw)};
#elif HWY_TARGET == HWY_SSE4
  return RowsV{_mm_packs_epi16(a.raw, b.raw)};
#else
  const hn::Rebind<int8_t, Rows> half;
  return hn::BitCast(Rows(),
                     hn::Combine(hn::Repartition<int8_t, Rows>(), hn::DemoteTo(half, b), hn::DemoteTo(half, a)));
#endif
}

HWY_INLINE void StoreHalves(RowV bytes, uint8_t* lower, uint8_t* upper) {
#if HWY_ARCH_X86
  _mm_storel_epi64(reinterpret_cast<__m128i*>(lower), bytes.raw);
  _mm_storeh_pi(reinterpret_cast<__m64*>(upper), _mm_castsi128_ps(bytes.raw));
#else
  const hn::FixedTag<uint8_t, 8> half;
  const auto both = hn::BitCast(hn::FixedTag<uint8_t, 16>(), bytes);
  hn::StoreU(hn::LowerHalf(half, both), half, lower);
  hn::StoreU(hn::UpperHalf(half, both), half, upper);
#endif
}

void InverseBytes(const int16_t* src, uint8_t* dst, int step, const uint16_t* quantisers) {
  const Rows d;
  const Unfolded x = Inverse(src, quantisers);
  RowV pairs[4];  // rows i and 7-i
  ZMCJ_UNROLL
  for (size_t i = 0; i < kRegisters / 2; ++i) {
    const RowsV bytes = Shuffle(SaturatedBytes(UpperRows(x, i), LowerRows(x, i)), dct::kUpperBytesReversed);
    // In signed bytes, adding 128 is changing the sign.
    SplitRows(d, hn::Xor(bytes, hn::LoadDup128(d, dct::kByteSigns.data())), i, pairs);
  }
  ZMCJ_UNROLL
  for (size_t i = 0; i < 4; ++i) {
    StoreHalves(pairs[i], RowAt(dst, static_cast<int64_t>(i), step), RowAt(dst, static_cast<int64_t>(7 - i), step));
  }
}

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
