// Vector bodies of the forward MCU conversion. Read once per level.
#if defined(ZMCJ_MCU_FORWARD_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_MCU_FORWARD_INL_H
#undef ZMCJ_MCU_FORWARD_INL_H
#else
#define ZMCJ_MCU_FORWARD_INL_H
#endif

#include <cstdlib>

#include "jpeg/colour/mcu_forward_reference.h"
#include "jpeg/colour/mcu_vector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// The colours of four pixels a row as pairs of 16-bit lanes, (R, G) and (B, kUnit): two multiply-adds give a weighted
// sum with its constant. Sums of several pixels have the same form.
struct Pairs {
  V16 rg, b1;
};
// With 256 in place of 1 every constant, the level shift included, is within 16 bits.
constexpr int kUnit = 256;

HWY_INLINE Pairs Add(Pairs a, Pairs b) { return {hn::Add(a.rg, b.rg), hn::Add(a.b1, b.b1)}; }
HWY_INLINE Pairs AddNeighbours(Pairs a, Pairs b) {
  return {hn::Add(EvenPairs(a.rg, b.rg), OddPairs(a.rg, b.rg)), hn::Add(EvenPairs(a.b1, b.b1), OddPairs(a.b1, b.b1))};
}

// Eight pixels of whole bytes are read as two overlapping or adjoining 16-byte pieces, of four pixels each, so that
// nothing outside them is touched.
struct Pieces {
  V8 low, high;
};
template <PixelFormat F>
constexpr int kHighPiece = 8 * BytesPerPixel(F) - 16;

template <PixelFormat F>
HWY_INLINE Pieces LoadPieces(const uint8_t* p, ptrdiff_t distance) {
  return {LoadRows(p, distance), LoadRows(p + kHighPiece<F>, distance)};
}

// Gathers the bytes at two offsets of a piece's four pixels as pairs of 16-bit lanes; a negative offset gives zero.
template <PixelFormat F>
constexpr ByteTable PairTable(bool high, int offset0, int offset1) {
  ByteTable table{};
  table.fill(0x80);
  for (int i = 0; i < 4; ++i) {
    const int pixel = high ? BytesPerPixel(F) * (4 + i) - kHighPiece<F> : BytesPerPixel(F) * i;
    table[static_cast<size_t>(4 * i)] = static_cast<uint8_t>(pixel + offset0);
    if (offset1 >= 0) table[static_cast<size_t>(4 * i + 2)] = static_cast<uint8_t>(pixel + offset1);
  }
  return table;
}
// Gathers one byte of each of a piece's pixels into four of eight 16-bit lanes.
template <PixelFormat F>
constexpr ByteTable WordTable(bool high, int offset) {
  ByteTable table{};
  table.fill(0x80);
  for (int i = 0; i < 4; ++i) {
    const int pixel = high ? BytesPerPixel(F) * (4 + i) - kHighPiece<F> : BytesPerPixel(F) * i;
    table[static_cast<size_t>(2 * i + (high ? 8 : 0))] = static_cast<uint8_t>(pixel + offset);
  }
  return table;
}

template <PixelFormat F>
struct Tables {
  static constexpr ByteOrder kOrder = OrderOf(F);
  static constexpr ByteTable kRg[2] = {PairTable<F>(false, kOrder.r, kOrder.g), PairTable<F>(true, kOrder.r, kOrder.g)};
  static constexpr ByteTable kB[2] = {PairTable<F>(false, kOrder.b, -1), PairTable<F>(true, kOrder.b, -1)};
  static constexpr ByteTable kWords[4][2] = {
      {WordTable<F>(false, 0), WordTable<F>(true, 0)},
      {WordTable<F>(false, 1), WordTable<F>(true, 1)},
      {WordTable<F>(false, 2), WordTable<F>(true, 2)},
      {WordTable<F>(false, 3), WordTable<F>(true, 3)},
  };
};

HWY_INLINE V16 Gather(V8 piece, const ByteTable& table) {
  return hn::BitCast(d16, hn::TableLookupBytesOr0(piece, Load(table)));
}

// One component of eight pixels, level-shifted.
template <PixelFormat F, int component>
HWY_INLINE V16 Component(Pieces p) {
  const auto& tables = Tables<F>::kWords[component];
  return hn::Sub(hn::Or(Gather(p.low, tables[0]), Gather(p.high, tables[1])), hn::Set(d16, 128));
}

// Eight pixels, four and four, and their level-shifted K.
struct Pixels {
  Pairs low, high;
  V16 k;
};

template <PixelFormat F>
HWY_INLINE Pixels LoadPixels(const uint8_t* p, ptrdiff_t distance) {
  const V16 unit = SetPair(0, kUnit);
  if constexpr (IsPacked16(F)) {
    constexpr int kGreenDown = F == PixelFormat::kBgr555 ? 2 : 3;
    const V16 word = hn::BitCast(d16, LoadRows(p, distance));
    const V16 r = hn::And(hn::ShiftRight<kGreenDown + 5>(word), hn::Set(d16, 0xF8));
    const V16 g = hn::And(hn::ShiftRight<kGreenDown>(word), hn::Set(d16, kGreenDown == 2 ? 0xF8 : 0xFC));
    const V16 b = hn::And(hn::ShiftLeft<3>(word), hn::Set(d16, 0xF8));
    const V16 units = hn::Set(d16, kUnit);
    return {{hn::InterleaveLower(r, g), hn::InterleaveLower(b, units)},
            {hn::InterleaveUpper(d16, r, g), hn::InterleaveUpper(d16, b, units)},
            hn::Zero(d16)};
  } else {
    using T = Tables<F>;
    const Pieces piece = LoadPieces<F>(p, distance);
    return {{Gather(piece.low, T::kRg[0]), hn::Or(Gather(piece.low, T::kB[0]), unit)},
            {Gather(piece.high, T::kRg[1]), hn::Or(Gather(piece.high, T::kB[1]), unit)},
            F == PixelFormat::kCmyk ? Component<F, 3>(piece) : hn::Zero(d16)};
  }
}

// The weights for complemented colours: w (255 - c) = 255 w - w c.
constexpr Weights Complement(Weights w) { return {-w.r, -w.g, -w.b, w.constant + 255 * (w.r + w.g + w.b)}; }
template <PixelFormat F>
constexpr Weights ForFormat(Weights w) {
  return F == PixelFormat::kCmyk ? Complement(w) : w;
}

constexpr bool Fits16(int v) { return v == static_cast<int16_t>(v); }

template <int r, int g, int b, int constant>
HWY_INLINE V32 Weigh(Pairs p) {
  static_assert(constant % kUnit == 0 && Fits16(constant / kUnit));
  if constexpr (Fits16(r) && Fits16(g) && Fits16(b)) {
    return hn::Add(MultiplyPairs(p.rg, SetPair(r, g)), MultiplyPairs(p.b1, SetPair(b, constant / kUnit)));
  } else {
    // A weight beyond 16 bits is applied in two parts.
    return hn::Add(Weigh<r / 2, g / 2, b / 2, 0>(p), Weigh<r - r / 2, g - g / 2, b - b / 2, constant>(p));
  }
}

// Eight samples from four and four (sums of) pixels.
template <const Weights& w, int shift>
HWY_INLINE V16 Samples(Pairs low, Pairs high) {
  return NarrowTo16(hn::ShiftRight<shift>(Weigh<w.r, w.g, w.b, w.constant>(low)),
                    hn::ShiftRight<shift>(Weigh<w.r, w.g, w.b, w.constant>(high)));
}

// Level-shifted samples, already added over the rows, to the mean of each chroma site.
template <Sampling S>
HWY_INLINE V16 Means(V16 left, V16 right) {
  if constexpr (S == Sampling::k444) return left;
  const V16 ones = hn::Set(d16, 1);
  const V16 sums = NarrowTo16(MultiplyPairs(left, ones), MultiplyPairs(right, ones));
  constexpr int kShift = ChromaShift(S);
  return hn::ShiftRight<kShift>(hn::Add(sums, hn::Set(d16, (1 << kShift) / 2)));
}

template <PixelFormat F, Sampling S, Rounding R>
struct ForwardWeights {
  static constexpr ForwardArithmetic kArithmetic = ForwardArithmeticOf(F, S, R);
  static constexpr Weights kY = ForFormat<F>(kArithmetic.y);
  static constexpr Weights kCb = ForFormat<F>(kArithmetic.cb);
  static constexpr Weights kCr = ForFormat<F>(kArithmetic.cr);
  static constexpr int kShift = kArithmetic.shift;
};

struct McuForwardVectors {
  // In 4:1:1 a register takes every other source row, so that adding it to the rows between gives rows of chroma.
  template <PixelFormat F, Sampling S, Rounding R>
  static void Convert(const uint8_t* src, int step, int16_t* const* dst) {
    if constexpr (F == PixelFormat::kComponents) return SampleDown<S>(src, step, dst);
    using W = ForwardWeights<F, S, R>;
    constexpr int across = Horizontal(S), down = Vertical(S);
    for (int row = 0; row < 8; row += kRows) {
      Pairs chroma[2];
      V16 k[2];
      for (int half = 0; half < across; ++half) {
        Pixels sum;
        for (int i = 0; i < down; ++i) {
          const int y = row * down + i;
          const uint8_t* p = RowAt(src, y, step) + 8 * half * BytesPerPixel(F);
          const Pixels pixels = LoadPixels<F>(p, static_cast<ptrdiff_t>(down) * step);
          StoreBlockRows<8 * down>(Samples<W::kY, W::kShift>(pixels.low, pixels.high),
                                   dst[0] + LuminanceIndex(S, 8 * half, y));
          sum =
              i == 0 ? pixels : Pixels{Add(sum.low, pixels.low), Add(sum.high, pixels.high), hn::Add(sum.k, pixels.k)};
        }
        if constexpr (S == Sampling::k444) {
          chroma[0] = sum.low;
          chroma[1] = sum.high;
        } else {
          chroma[half] = AddNeighbours(sum.low, sum.high);
        }
        k[half] = sum.k;
      }
      constexpr int shift = W::kShift + ChromaShift(S);
      StoreBlockRows(Samples<W::kCb, shift>(chroma[0], chroma[1]), dst[1] + 8 * row);
      StoreBlockRows(Samples<W::kCr, shift>(chroma[0], chroma[1]), dst[2] + 8 * row);
      if constexpr (F == PixelFormat::kCmyk) StoreBlockRows(Means<S>(k[0], k[across - 1]), dst[3] + 8 * row);
    }
  }

  static void Packed422(const uint8_t* src, int step, int16_t* const* dst) {
    const V16 centre = hn::Set(d16, 128);
    const V32 byte = hn::Set(d32, 0xFF);
    for (int row = 0; row < 8; row += kRows) {
      V32 quads[2];  // Y0 Cb Y1 Cr, twice four a row
      for (int half = 0; half < 2; ++half) {
        const V8 bytes = LoadRows(RowAt(src, row, step) + 16 * half, step);
        quads[half] = hn::BitCast(d32, bytes);
        const V16 y = hn::And(hn::BitCast(d16, bytes), hn::Set(d16, 0xFF));
        StoreBlockRows(hn::Sub(y, centre), dst[0] + LuminanceIndex(Sampling::k422, 8 * half, row));
      }
      const V16 cb = NarrowTo16(hn::And(hn::ShiftRight<8>(quads[0]), byte), hn::And(hn::ShiftRight<8>(quads[1]), byte));
      const V16 cr =
          NarrowTo16(hn::And(hn::ShiftRight<24>(quads[0]), byte), hn::And(hn::ShiftRight<24>(quads[1]), byte));
      StoreBlockRows(hn::Sub(cb, centre), dst[1] + 8 * row);
      StoreBlockRows(hn::Sub(cr, centre), dst[2] + 8 * row);
    }
  }

 private:
  template <Sampling S>
  static HWY_INLINE void SampleDown(const uint8_t* src, int step, int16_t* const* dst) {
    constexpr PixelFormat F = PixelFormat::kComponents;
    constexpr int across = Horizontal(S), down = Vertical(S);
    for (int row = 0; row < 8; row += kRows) {
      V16 cb[2], cr[2];
      for (int half = 0; half < across; ++half) {
        for (int i = 0; i < down; ++i) {
          const int y = row * down + i;
          const uint8_t* p = RowAt(src, y, step) + 24 * half;
          const Pieces pieces = LoadPieces<F>(p, static_cast<ptrdiff_t>(down) * step);
          StoreBlockRows<8 * down>(Component<F, 0>(pieces), dst[0] + LuminanceIndex(S, 8 * half, y));
          const V16 cb_row = Component<F, 1>(pieces), cr_row = Component<F, 2>(pieces);
          cb[half] = i == 0 ? cb_row : hn::Add(cb[half], cb_row);
          cr[half] = i == 0 ? cr_row : hn::Add(cr[half], cr_row);
        }
      }
      StoreBlockRows(Means<S>(cb[0], cb[across - 1]), dst[1] + 8 * row);
      StoreBlockRows(Means<S>(cr[0], cr[across - 1]), dst[2] + 8 * row);
    }
  }
};

}  // namespace
extern constexpr McuForwardKernels kMcuForward = TableOf<McuForwardKernel, McuForwardVectors>();
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
