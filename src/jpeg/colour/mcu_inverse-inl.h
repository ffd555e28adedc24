// Vector bodies of the inverse MCU conversion. Read once per level.
#if defined(ZMCJ_MCU_INVERSE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_MCU_INVERSE_INL_H
#undef ZMCJ_MCU_INVERSE_INL_H
#else
#define ZMCJ_MCU_INVERSE_INL_H
#endif

#include "jpeg/colour/mcu_inverse_reference.h"
#include "jpeg/colour/mcu_vector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// What chroma adds to luminance, in 16 bits. Weights above 16 bits are split: with w = 1.402 x 2^16 red's share
// w Cr >> 16 is Cr + ((w - 2^16) Cr >> 16), blue's is Cb + Cb + a product, green's -Cr + the products. The rounded red
// and blue weights have 14 bits; 4 times them over 2^16 with the half added is a rounding high product of half the
// weight.
//
// Rounded: r, g, b are the shares, saturated. Truncated: what is left of them beside Cr, -Cr and Cb, below 26000 in
// magnitude; those go to the luminance first. A sum saturated there stays outside 0..255 whatever is then added, so the
// clamped result is that of unlimited width.
struct Chroma {
  V16 r, g, b, cb, cr;
};

template <Rounding R>
HWY_INLINE Chroma SharesOf(V16 cb, V16 cr) {
  constexpr bool rounded = R == Rounding::kRounded;
  // Green's two products share one rounding.
  constexpr int shift = rounded ? 14 : 16, bias = (128 << shift) + (rounded ? 1 << 13 : 0);
  const V16 weights = rounded ? SetPair(-5638, -11700) : SetPair(-22554, 65536 - 46802);
  const V32 left = MultiplyPairs(hn::InterleaveLower(cb, cr), weights);
  const V32 right = MultiplyPairs(hn::InterleaveUpper(d16, cb, cr), weights);
  const V16 g = NarrowTo16(hn::ShiftRight<shift>(hn::Add(left, hn::Set(d32, bias))),
                           hn::ShiftRight<shift>(hn::Add(right, hn::Set(d32, bias))));

  const V16 centre = hn::Set(d16, 128);
  const V16 red = rounded ? hn::MulFixedPoint15(cr, hn::Set(d16, (4 * 22970 - 65536) / 2))
                          : hn::MulHigh(cr, hn::Set(d16, 91881 - 65536));
  const V16 blue = rounded ? hn::MulFixedPoint15(cb, hn::Set(d16, (4 * 29032 - 131072) / 2))
                           : hn::MulHigh(cb, hn::Set(d16, 116130 - 131072));
  const V16 r = hn::Add(red, centre), b = hn::Add(hn::Add(blue, cb), centre);
  if (!rounded) return {r, g, b, cb, cr};
  return {hn::SaturatedAdd(cr, r), g, hn::SaturatedAdd(cb, b), cb, cr};
}

HWY_INLINE V16 Twice(V16 v, int half) { return half == 0 ? hn::InterleaveLower(v, v) : hn::InterleaveUpper(d16, v, v); }
// Every site's chroma for its two pixels of a row: the row's left or right eight pixels.
HWY_INLINE Chroma Replicate(const Chroma& c, int half) {
  return {Twice(c.r, half), Twice(c.g, half), Twice(c.b, half), Twice(c.cb, half), Twice(c.cr, half)};
}

// Eight pixels a row, not yet clamped.
struct Colours {
  V16 r, g, b;
};

template <PixelFormat F, Rounding R>
HWY_INLINE Colours Combine(V16 y, const Chroma& c) {
  if (F == PixelFormat::kComponents) {
    const V16 centre = hn::Set(d16, 128);
    return {hn::SaturatedAdd(y, centre), c.cb, c.cr};
  }
  if (R == Rounding::kRounded) return {hn::SaturatedAdd(y, c.r), hn::SaturatedAdd(y, c.g), hn::SaturatedAdd(y, c.b)};
  return {hn::SaturatedAdd(hn::SaturatedAdd(y, c.cr), c.r), hn::SaturatedAdd(hn::SaturatedSub(y, c.cr), c.g),
          hn::SaturatedAdd(hn::SaturatedAdd(y, c.cb), c.b)};
}

// Sixteen pixels a row as bytes in memory order: per 128 bits, register i holds bytes 16 i to 16 i + 15.
template <PixelFormat F>
struct PixelBytes {
  static constexpr int kRegisters = BytesPerPixel(F);
  V8 bytes[kRegisters];
};

// Sends byte i to 3 i + offset, modulo 16: as 3 and 16 have no common factor, one shuffle a component places all of its
// bytes, and choosing by position does the rest.
constexpr ByteTable SpreadTable(int offset) {
  ByteTable table{};
  for (int i = 0; i < 16; ++i) table.Set((3 * i + offset) % 16, i);
  return table;
}
// Bytes of register `index` that belong to a component.
constexpr ByteTable PlaceTable(int index, int component) {
  ByteTable table{};
  for (int i = 0; i < 16; ++i) table.Set(i, (16 * index + i) % 3 == component ? 0xFF : 0);
  return table;
}
struct Interleave3Tables {
  static constexpr ByteTable kSpread[3] = {SpreadTable(0), SpreadTable(1), SpreadTable(2)};
  static constexpr ByteTable kPlace[3][2] = {
      {PlaceTable(0, 0), PlaceTable(0, 1)}, {PlaceTable(1, 0), PlaceTable(1, 1)}, {PlaceTable(2, 0), PlaceTable(2, 1)}};
};

template <PixelFormat F>
HWY_INLINE PixelBytes<F> Interleave3(V8 first, V8 second, V8 third) {
  using T = Interleave3Tables;
  const V8 a = hn::TableLookupBytes(first, Load(T::kSpread[0]));
  const V8 b = hn::TableLookupBytes(second, Load(T::kSpread[1]));
  const V8 c = hn::TableLookupBytes(third, Load(T::kSpread[2]));
  return {{Choose(T::kPlace[0][0], a, Choose(T::kPlace[0][1], b, c)),
           Choose(T::kPlace[1][0], a, Choose(T::kPlace[1][1], b, c)),
           Choose(T::kPlace[2][0], a, Choose(T::kPlace[2][1], b, c))}};
}

template <PixelFormat F>
HWY_INLINE V8 PackWords(const Colours& colours) {
  constexpr int green_bits = F == PixelFormat::kBgr565 ? 6 : 5;
  const V16 zero = hn::Zero(d16), top = hn::Set(d16, 255);
  const V16 r = hn::Min(hn::Max(colours.r, zero), top), g = hn::Min(hn::Max(colours.g, zero), top);
  const V16 b = hn::Min(hn::Max(colours.b, zero), top);
  const V16 red = hn::ShiftLeft<green_bits + 2>(hn::And(r, hn::Set(d16, 0xF8)));
  const V16 green = hn::ShiftLeft<green_bits - 3>(hn::And(g, hn::Set(d16, green_bits == 6 ? 0xFC : 0xF8)));
  return hn::BitCast(d8, hn::Or(hn::Or(red, green), hn::ShiftRight<3>(b)));
}

// k: sixteen K bytes a row, in use for CMYK only.
template <PixelFormat F>
HWY_INLINE PixelBytes<F> Pack(const Colours (&halves)[2], V8 k) {
  if constexpr (IsPacked16(F)) {
    return {{PackWords<F>(halves[0]), PackWords<F>(halves[1])}};
  } else {
    const V8 r = NarrowTo8(halves[0].r, halves[1].r), g = NarrowTo8(halves[0].g, halves[1].g);
    const V8 b = NarrowTo8(halves[0].b, halves[1].b);
    if constexpr (F == PixelFormat::kCmyk) {
      const V16 cm_low = hn::BitCast(d16, hn::Not(hn::InterleaveLower(r, g)));
      const V16 cm_high = hn::BitCast(d16, hn::Not(hn::InterleaveUpper(d8, r, g)));
      const V8 not_b = hn::Not(b);
      const V16 yk_low = hn::BitCast(d16, hn::InterleaveLower(not_b, k));
      const V16 yk_high = hn::BitCast(d16, hn::InterleaveUpper(d8, not_b, k));
      return {{hn::BitCast(d8, hn::InterleaveLower(cm_low, yk_low)),
               hn::BitCast(d8, hn::InterleaveUpper(d16, cm_low, yk_low)),
               hn::BitCast(d8, hn::InterleaveLower(cm_high, yk_high)),
               hn::BitCast(d8, hn::InterleaveUpper(d16, cm_high, yk_high))}};
    } else {
      return OrderOf(F).r == 0 ? Interleave3<F>(r, g, b) : Interleave3<F>(b, g, r);
    }
  }
}

// Sixteen pixels of one row.
template <PixelFormat F>
HWY_INLINE void StoreSixteen(const PixelBytes<F>& pixels, int row, uint8_t* to) {
  ZMCJ_UNROLL for (int i = 0; i < PixelBytes<F>::kRegisters; ++i) StoreRow(pixels.bytes[i], row, to + 16 * i);
}

// Eight pixels of one row, the first or second half of the registers' sixteen. 24 bytes go out as two overlapping
// stores.
template <PixelFormat F>
HWY_INLINE void StoreEight(const PixelBytes<F>& pixels, int half, int row, uint8_t* to) {
  const V8* bytes = pixels.bytes;
  if constexpr (BytesPerPixel(F) == 2) {
    StoreRow(bytes[half], row, to);
  } else if constexpr (BytesPerPixel(F) == 4) {
    StoreRow(bytes[2 * half], row, to);
    StoreRow(bytes[2 * half + 1], row, to + 16);
  } else {
    const V8 middle = hn::CombineShiftRightBytes<8>(d8, bytes[half + 1], bytes[half]);
    StoreRow(half == 0 ? bytes[0] : middle, row, to);
    StoreRow(half == 0 ? middle : bytes[2], row, to + 8);
  }
}

HWY_INLINE V16 Uncentred(const int16_t* rows) { return hn::SaturatedAdd(LoadBlockRows(rows), hn::Set(d16, 128)); }

// Plain components need no shares: they are cb and cr themselves.
template <PixelFormat F, Rounding R>
HWY_INLINE Chroma LoadChroma(const int16_t* const* src, int row) {
  if constexpr (F == PixelFormat::kComponents) {
    const V16 cb = Uncentred(src[1] + 8 * row), cr = Uncentred(src[2] + 8 * row);
    return {cb, cb, cb, cb, cr};
  } else {
    return SharesOf<R>(LoadBlockRows(src[1] + 8 * row), LoadBlockRows(src[2] + 8 * row));
  }
}

// Rows are written in ascending order at every level.
struct McuInverseVectors {
  template <PixelFormat F, Sampling S, Rounding R>
  static void Convert(const int16_t* const* src, uint8_t* dst, int step) {
    if constexpr (S == Sampling::k444) {
      Narrow<F, R>(src, dst, step);
    } else {
      Wide<F, S, R>(src, dst, step);
    }
  }

  static void Packed422(const int16_t* const* src, uint8_t* dst, int step) {
    for (int row = 0; row < 8; row += kRows) {
      const V16 cb = Uncentred(src[1] + 8 * row), cr = Uncentred(src[2] + 8 * row);
      const V8 chroma = hn::InterleaveLower(NarrowTo8(cb, cb), NarrowTo8(cr, cr));
      const V8 y = NarrowTo8(Uncentred(src[0] + 8 * row), Uncentred(src[0] + 64 + 8 * row));
      const V8 left = hn::InterleaveLower(y, chroma), right = hn::InterleaveUpper(d8, y, chroma);
      ZMCJ_UNROLL for (int i = 0; i < kRows; ++i) {
        StoreRow(left, i, RowAt(dst, row + i, step));
        StoreRow(right, i, RowAt(dst, row + i, step) + 16);
      }
    }
  }

 private:
  // Eight pixels a row: a register's sixteen are two rows.
  template <PixelFormat F, Rounding R>
  static HWY_INLINE void Narrow(const int16_t* const* src, uint8_t* dst, int step) {
    for (int row = 0; row < 8; row += 2 * kRows) {
      PrefetchRows(RowAt(dst, row, step), step, 2 * kRows);
      Colours colours[2];
      ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
        const int first = row + i * kRows;
        colours[i] = Combine<F, R>(LoadBlockRows(src[0] + 8 * first), LoadChroma<F, R>(src, first));
      }
      V8 k = hn::Zero(d8);
      if constexpr (F == PixelFormat::kCmyk) {
        k = NarrowTo8(Uncentred(src[3] + 8 * row), Uncentred(src[3] + 8 * (row + kRows)));
      }
      const PixelBytes<F> pixels = Pack<F>(colours, k);
      ZMCJ_UNROLL for (int i = 0; i < 2 * kRows; ++i)
          StoreEight(pixels, i / kRows, i % kRows, RowAt(dst, row + i, step));
    }
  }

  // Sixteen pixels a row. In 4:1:1 a register takes every other row, all of one row of chroma a time.
  template <PixelFormat F, Sampling S, Rounding R>
  static HWY_INLINE void Wide(const int16_t* const* src, uint8_t* dst, int step) {
    constexpr int down = Vertical(S);
    for (int row = 0; row < 8; row += kRows) {
      PrefetchRows(RowAt(dst, row * down, step), step, kRows * down);
      const Chroma sites = LoadChroma<F, R>(src, row);
      const Chroma chroma[2] = {Replicate(sites, 0), Replicate(sites, 1)};
      V8 k = hn::Zero(d8);
      if constexpr (F == PixelFormat::kCmyk) {
        const V16 k_sites = Uncentred(src[3] + 8 * row);
        k = NarrowTo8(Twice(k_sites, 0), Twice(k_sites, 1));
      }
      PixelBytes<F> pixels[down];
      ZMCJ_UNROLL for (int i = 0; i < down; ++i) {
        const int16_t* y = src[0] + LuminanceIndex(S, 0, row * down + i);
        const Colours colours[2] = {Combine<F, R>(LoadBlockRows<8 * down>(y), chroma[0]),
                                    Combine<F, R>(LoadBlockRows<8 * down>(y + 64), chroma[1])};
        pixels[i] = Pack<F>(colours, k);
      }
      ZMCJ_UNROLL for (int i = 0; i < kRows * down; ++i) {
        StoreSixteen(pixels[i % down], i / down, RowAt(dst, row * down + i, step));
      }
    }
  }
};

}  // namespace
extern constexpr McuInverseKernels kMcuInverse = TableOf<McuInverseKernel, McuInverseVectors>();
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
