// The colour conversions' vector bodies, compiled once per level: a block of pixels at a time, 32 in 256-bit registers
// and 16 in 128-bit ones. Loads from a layout, the arithmetic, and stores to a layout are separate functions; the row
// function at the end puts them together as its Variant says.
//
// No ordinary include guard: read once per level.
#if defined(ZMCJ_COLOUR_VECTOR_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef HWY_TARGET_TOGGLE
#undef ZMCJ_COLOUR_VECTOR_INL
#else
#define ZMCJ_COLOUR_VECTOR_INL
#endif

#include <hwy/highway.h>

#include <algorithm>

#include "jpeg/colour/colour_bytes-inl.h"
#include "jpeg/colour/colour_formulas.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// R, G, B or Y, Cb, Cr; K passes from the source to the destination by itself.
struct Colours {
  V8 c[3];
};

// ---- Forward from pairs -------------------------------------------------------------------------------------------
// Luminance weights sum to one and chroma weights to zero, so one pair of differences per pixel, (G - R, G - B), serves
// all three: Y = G + weighted differences. All weights are taken to 16 bits of fraction, where the result is the high
// half of a 32-bit lane, and they fit signed 16 bits, since G - B takes Cb's 1/2 as -32768.

struct DirectWeights {
  int16_t y[2], cb[2], cr[2];
  int32_t chroma_bias;
};
// ForwardDirect's weights at 14 bits, times four.
constexpr DirectWeights kDirect = {{-19596, -7472}, {11056, -32768}, {-32768, 5328}, 4 * 2105344};
constexpr DirectWeights kTail = {{-19595, -7471}, {11059, -32768}, {-32768, 5329}, kTailChromaBias};

HWY_INLINE V16 PairWeights(const int16_t (&w)[2]) { return PairWeights(w[0], w[1]); }

// 16 bits of each sum, the pixels of a and b by turns.
HWY_INLINE V16 HighHalves(V32 a, V32 b) {
  return hn::OddEven(hn::BitCast(D16(), b), hn::BitCast(D16(), hn::ShiftRight<16>(a)));
}

// Undoes the order in which HighHalves and PackBytes leave the bytes of four registers of 32-bit lanes.
HWY_INLINE V8 InPixelOrder(V16 first, V16 second) {
  alignas(16) static constexpr uint8_t kOrder[16] = {0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15};
  return hn::TableLookupBytes(PackBytes(first, second), hn::LoadDup128(D8(), kOrder));
}

// `pairs` has G - R in the even lanes and G - B in the odd ones; `green` is G * 65536 + 32768, which luminance starts
// from.
HWY_INLINE Colours Forward(const V16 (&pairs)[4], const V32 (&green)[4], const DirectWeights& weights) {
  const V16 wy = PairWeights(weights.y), wcb = PairWeights(weights.cb), wcr = PairWeights(weights.cr);
  const V32 bias = hn::Set(D32(), weights.chroma_bias);
  V16 y[2], cb[2], cr[2];
  ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
    const V16 a = pairs[2 * i], b = pairs[2 * i + 1];
    y[i] = HighHalves(hn::Add(WeightPairs(a, wy), green[2 * i]), hn::Add(WeightPairs(b, wy), green[2 * i + 1]));
    cb[i] = HighHalves(hn::Add(WeightPairs(a, wcb), bias), hn::Add(WeightPairs(b, wcb), bias));
    cr[i] = HighHalves(hn::Add(WeightPairs(a, wcr), bias), hn::Add(WeightPairs(b, wcr), bias));
  }
  return {{InPixelOrder(y[0], y[1]), InPixelOrder(cb[0], cb[1]), InPixelOrder(cr[0], cr[1])}};
}

// ---- Interleaved RGB and BGR in -----------------------------------------------------------------------------------

// Picks bytes of four pixels into pairs of 16-bit lanes: byte `even` of each three-byte pixel, and byte `odd`.
struct PairTable {
  alignas(16) uint8_t from_start[16];
  alignas(16) uint8_t from_fourth_byte[16];
};
constexpr PairTable MakePairTable(int even, int odd) {
  PairTable t = {};
  for (int i = 0; i < 16; ++i) {
    const int byte = 3 * (i / 4) + (i % 4 == 0 ? even : odd);
    t.from_start[i] = static_cast<uint8_t>(i % 2 == 0 ? byte : 0x80);
    t.from_fourth_byte[i] = static_cast<uint8_t>(i % 2 == 0 ? byte + 4 : 0x80);
  }
  return t;
}

// The 16 bytes of pixels 4 i to 4 i + 3 of each 16-pixel part. The last are loaded from four bytes earlier, so that
// nothing behind the block is read.
HWY_INLINE V8 LoadQuad(const uint8_t* p, int i) { return LoadParts(p + (i < 3 ? 12 * i : 32), 48); }

HWY_INLINE V16 Pick(V8 quad, const PairTable& table, int i) {
  return hn::BitCast(
      D16(), hn::TableLookupBytesOr0(quad, hn::LoadDup128(D8(), i < 3 ? table.from_start : table.from_fourth_byte)));
}

template <bool kBlueFirst>
HWY_INLINE Colours ForwardDirect(const uint8_t* p) {
  static constexpr PairTable kOuter = kBlueFirst ? MakePairTable(2, 0) : MakePairTable(0, 2);
  static constexpr PairTable kGreen = MakePairTable(1, 1);
  V16 pairs[4];
  V32 green[4];
  ZMCJ_UNROLL for (int i = 0; i < 4; ++i) {
    const V8 quad = LoadQuad(p, i);
    const V16 g = Pick(quad, kGreen, i);
    pairs[i] = hn::Sub(g, Pick(quad, kOuter, i));
    green[i] = hn::BitCast(D32(), hn::OddEven(g, hn::Set(D16(), -32768)));
  }
  return Forward(pairs, green, kDirect);
}

// LumaInteger at 16 bits of fraction: twice the weights, G's in equal parts beside R and beside B.
template <bool kBlueFirst>
HWY_INLINE V8 LumaInteger(const uint8_t* p) {
  static constexpr PairTable kRedGreen = MakePairTable(kBlueFirst ? 2 : 0, 1);
  static constexpr PairTable kBlueGreen = MakePairTable(kBlueFirst ? 0 : 2, 1);
  const V16 red_green = PairWeights(2 * 9798, 19235), blue_green = PairWeights(2 * 3736, 19235);
  V32 sum[4];
  ZMCJ_UNROLL for (int i = 0; i < 4; ++i) {
    const V8 quad = LoadQuad(p, i);
    sum[i] = hn::Add(WeightPairs(Pick(quad, kRedGreen, i), red_green),
                     hn::Add(WeightPairs(Pick(quad, kBlueGreen, i), blue_green), hn::Set(D32(), 2 * 16266)));
  }
  return InPixelOrder(HighHalves(sum[0], sum[1]), HighHalves(sum[2], sum[3]));
}

// ---- Packed 16-bit pixels in --------------------------------------------------------------------------------------

template <Layout kLayout>
HWY_INLINE Colours ForwardPacked(const uint8_t* p) {
  constexpr bool kSix = HasSixGreenBits(kLayout);
  const V16 high_five = hn::Set(D16(), 0xF8), middle_bits = hn::Set(D16(), kSix ? 0xFC : 0xF8);
  const V16 half = hn::Set(D16(), -32768);
  V16 pairs[4];
  V32 green[4];
  ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
    const V16 v = hn::BitCast(D16(), LoadParts(p + 16 * i, 32));
    const V16 low = hn::And(hn::ShiftLeft<3>(v), high_five);
    const V16 g = hn::And(hn::ShiftRight < kSix ? 3 : 2 > (v), middle_bits);
    const V16 high = hn::And(hn::ShiftRight < kSix ? 8 : 7 > (v), high_five);
    const V16 red = hn::Sub(g, IsBlueFirst(kLayout) ? high : low);
    const V16 blue = hn::Sub(g, IsBlueFirst(kLayout) ? low : high);
    pairs[2 * i] = hn::InterleaveLower(D16(), red, blue);
    pairs[2 * i + 1] = hn::InterleaveUpper(D16(), red, blue);
    green[2 * i] = hn::BitCast(D32(), hn::InterleaveLower(D16(), half, g));
    green[2 * i + 1] = hn::BitCast(D32(), hn::InterleaveUpper(D16(), half, g));
  }
  return Forward(pairs, green, kTail);
}

// ---- Planes and CMYK in -------------------------------------------------------------------------------------------

HWY_INLINE Colours LoadPlanes(const SourceRow& row, ptrdiff_t x) {
  return {{hn::LoadU(D8(), row[0] + x), hn::LoadU(D8(), row[1] + x), hn::LoadU(D8(), row[2] + x)}};
}

HWY_INLINE Colours Invert(const Colours& p) { return {{hn::Not(p.c[0]), hn::Not(p.c[1]), hn::Not(p.c[2])}}; }

// Four interleaved components; the fourth goes to `k`.
HWY_INLINE Colours LoadInterleaved4(const uint8_t* p, V8& k) {
  alignas(16) static constexpr uint8_t kByComponent[16] = {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15};
  const hn::Repartition<uint64_t, D8> d64;
  V32 quad[4];
  ZMCJ_UNROLL for (int i = 0; i < 4; ++i) {
    quad[i] = hn::BitCast(D32(), hn::TableLookupBytes(LoadParts(p + 16 * i, 64), hn::LoadDup128(D8(), kByComponent)));
  }
  const auto c01 = hn::BitCast(d64, hn::InterleaveLower(D32(), quad[0], quad[1]));
  const auto c23 = hn::BitCast(d64, hn::InterleaveLower(D32(), quad[2], quad[3]));
  const auto y01 = hn::BitCast(d64, hn::InterleaveUpper(D32(), quad[0], quad[1]));
  const auto y23 = hn::BitCast(d64, hn::InterleaveUpper(D32(), quad[2], quad[3]));
  k = hn::BitCast(D8(), hn::InterleaveUpper(d64, y01, y23));
  return {{hn::BitCast(D8(), hn::InterleaveLower(d64, c01, c23)), hn::BitCast(D8(), hn::InterleaveUpper(d64, c01, c23)),
           hn::BitCast(D8(), hn::InterleaveLower(d64, y01, y23))}};
}

// Luminance as above, from one pair of differences to G. Chroma is a rounding product of two 16-bit values, exactly
// the formula's: (x * w + 2^14) >> 15. It clamps to -128..127 where the formula's 128 + x clamps to 0..255.
HWY_INLINE Colours ForwardFromLuma(const Colours& rgb) {
  const V16 wy = PairWeights(19595, 7471);
  const V32 half = hn::Set(D32(), 32768);
  V16 y[2], cb[2], cr[2];
  ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
    const V16 r = WidenPart(i, rgb.c[0]), g = WidenPart(i, rgb.c[1]), b = WidenPart(i, rgb.c[2]);
    const V16 rg = hn::Sub(r, g), bg = hn::Sub(b, g);
    const V32 low = hn::Add(WeightPairs(hn::InterleaveLower(D16(), rg, bg), wy), half);
    const V32 high = hn::Add(WeightPairs(hn::InterleaveUpper(D16(), rg, bg), wy), half);
    y[i] = hn::Add(g, hn::ReorderDemote2To(D16(), hn::ShiftRight<16>(low), hn::ShiftRight<16>(high)));
    cb[i] = hn::MulFixedPoint15(hn::Sub(b, y[i]), hn::Set(D16(), 18491));
    cr[i] = hn::MulFixedPoint15(hn::Sub(r, y[i]), hn::Set(D16(), 23373));
  }
  const V8 centre = hn::Set(D8(), 0x80);
  return {{PackBytes(y[0], y[1]), hn::Xor(PackSignedBytes(cb[0], cb[1]), centre),
           hn::Xor(PackSignedBytes(cr[0], cr[1]), centre)}};
}

// Bytes 4 i to 4 i + 3 of each 128 bits, each as the lowest byte of a 32-bit lane.
struct QuarterTables {
  alignas(16) uint8_t quarter[4][16];
};
constexpr QuarterTables MakeQuarterTables() {
  QuarterTables t = {};
  for (int i = 0; i < 64; ++i) t.quarter[i / 16][i % 16] = static_cast<uint8_t>(i % 4 == 0 ? i / 4 : 0x80);
  return t;
}

// Adding 2^23 rounds to the nearest integer, ties to even, and leaves it in the low bits.
HWY_INLINE V8 LumaFloat(const Colours& rgb) {
  static constexpr QuarterTables kTables = MakeQuarterTables();
  const hn::Repartition<float, D8> df;
  const auto wr = hn::Set(df, 0.299f), wg = hn::Set(df, 0.587f), wb = hn::Set(df, 0.114f);
  const auto round = hn::Set(df, 8388608.0f);
  V32 y[4];
  ZMCJ_UNROLL for (int i = 0; i < 4; ++i) {
    const auto widen = [&](V8 v) {
      const V8 bytes = hn::TableLookupBytesOr0(v, hn::LoadDup128(D8(), kTables.quarter[i]));
      return hn::ConvertTo(df, hn::BitCast(D32(), bytes));
    };
    const auto sum =
        hn::Add(hn::Add(hn::Mul(widen(rgb.c[0]), wr), hn::Mul(widen(rgb.c[1]), wg)), hn::Mul(widen(rgb.c[2]), wb));
    y[i] = hn::Sub(hn::BitCast(D32(), hn::Add(sum, round)), hn::BitCast(D32(), round));
  }
  return PackBytes(hn::ReorderDemote2To(D16(), y[0], y[1]), hn::ReorderDemote2To(D16(), y[2], y[3]));
}

// ---- Inverse --------------------------------------------------------------------------------------------------------
// A centred chroma sample c stands in the high byte of a 16-bit lane; what stands in the low byte, t, adds w * t / 256
// to the product w * c and so brings the rounding term for nothing.
//
// R and B: with the lane's value v = 256 c + t, MulFixedPoint15(v, w) >> 7 is
// (w c + w t / 256 + 64) >> 14, the division being exact in its effect, as floors nest. All 256 samples give the
// formulas' results when the rounding term w t / 256 + 64 lies in
//   8044..8177 for R (the formula's 8145):         t = 89 gives 8049.7;
//   7512..7551 for B, subtracted form (7535):      t = 66 gives 7548.8;
//   8096..8135 for B, added form (8135):           t = 71 gives 8115.8.
//
// G: the sums are formed in 32 bits, exactly. Subtracting floor((s + 8081) / 2^14) is adding floor((8302 - s) / 2^14).
struct InverseTerms {
  uint8_t red_low, blue_low;
  int32_t green_bias;
};
constexpr InverseTerms kSubtracted = {89, 66, 8082};
constexpr InverseTerms kAdded = {89, 71, 8081};

HWY_INLINE Colours Inverse(const Colours& ycc, const InverseTerms& terms) {
  const V8 centre = hn::Set(D8(), 0x80);
  const V8 cb8 = hn::Xor(ycc.c[1], centre), cr8 = hn::Xor(ycc.c[2], centre);
  const V8 red_low = hn::Set(D8(), terms.red_low), blue_low = hn::Set(D8(), terms.blue_low);
  const V16 wg = PairWeights(5638, 11700);
  // The pairs hold 256 c + t; what the low bytes add is taken off again.
  const V32 green_bias = hn::Set(D32(), 256 * terms.green_bias - 5638 * terms.blue_low - 11700 * terms.red_low);
  V16 r[2], g[2], b[2];
  ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
    const V16 y = WidenPart(i, ycc.c[0]);
    const V16 cb = InterleavePart(i, blue_low, cb8), cr = InterleavePart(i, red_low, cr8);
    r[i] = hn::Add(y, hn::ShiftRight<7>(hn::MulFixedPoint15(cr, hn::Set(D16(), 22970))));
    b[i] = hn::Add(y, hn::ShiftRight<7>(hn::MulFixedPoint15(cb, hn::Set(D16(), 29032))));
    const V32 low = hn::Add(WeightPairs(hn::InterleaveLower(D16(), cb, cr), wg), green_bias);
    const V32 high = hn::Add(WeightPairs(hn::InterleaveUpper(D16(), cb, cr), wg), green_bias);
    g[i] = hn::Sub(y, hn::ReorderDemote2To(D16(), hn::ShiftRight<22>(low), hn::ShiftRight<22>(high)));
  }
  return {{PackBytes(r[0], r[1]), PackBytes(g[0], g[1]), PackBytes(b[0], b[1])}};
}

// ---- Stores -------------------------------------------------------------------------------------------------------

template <Stores kStores>
HWY_INLINE void StorePlanes(const Colours& p, const DestinationRow& row, ptrdiff_t x) {
  Store<kStores>(p.c[0], row[0] + x);
  Store<kStores>(p.c[1], row[1] + x);
  Store<kStores>(p.c[2], row[2] + x);
}

// Byte n of the 48 that 16 pixels take is component n % 3 of pixel n / 3. As 16 = 1 (mod 3), the positions that a
// component takes in the three registers do not coincide: one shuffle brings all its bytes to their places, and
// selecting by position modulo 3 makes the three registers.
struct TripleTables {
  alignas(16) uint8_t place[3][16];
  alignas(16) uint8_t is_first[16], is_second[16];
};
constexpr TripleTables MakeTripleTables() {
  TripleTables t = {};
  for (int n = 0; n < 48; ++n) t.place[n % 3][n % 16] = static_cast<uint8_t>(n / 3);
  for (int i = 0; i < 16; ++i) {
    t.is_first[i] = i % 3 == 0 ? 0xFF : 0;
    t.is_second[i] = i % 3 == 1 ? 0xFF : 0;
  }
  return t;
}

template <Stores kStores>
HWY_INLINE void StoreInterleaved3(V8 first, V8 second, V8 third, uint8_t* p) {
  static constexpr TripleTables kTables = MakeTripleTables();
  const D8 d;
  const V8 a = hn::TableLookupBytes(first, hn::LoadDup128(d, kTables.place[0]));
  const V8 b = hn::TableLookupBytes(second, hn::LoadDup128(d, kTables.place[1]));
  const V8 c = hn::TableLookupBytes(third, hn::LoadDup128(d, kTables.place[2]));
  const auto is_first = hn::MaskFromVec(hn::LoadDup128(d, kTables.is_first));
  const auto is_second = hn::MaskFromVec(hn::LoadDup128(d, kTables.is_second));
  const auto select = [&](V8 x, V8 y, V8 z) { return hn::IfThenElse(is_first, x, hn::IfThenElse(is_second, y, z)); };
  const V8 parts[3] = {select(a, b, c), select(b, c, a), select(c, a, b)};
  StoreParts<kStores>(parts, p);
}

template <Stores kStores>
HWY_INLINE void StoreInterleaved4(const Colours& p, V8 k, uint8_t* to) {
  V8 parts[4];
  ZMCJ_UNROLL for (int i = 0; i < 2; ++i) {
    const V16 cm = InterleavePart(i, p.c[0], p.c[1]), yk = InterleavePart(i, p.c[2], k);
    parts[2 * i] = hn::BitCast(D8(), hn::InterleaveLower(D16(), cm, yk));
    parts[2 * i + 1] = hn::BitCast(D8(), hn::InterleaveUpper(D16(), cm, yk));
  }
  StoreParts<kStores>(parts, to);
}

// The two bytes of a pixel: `low` << 3 | `middle` << 5, and what is left of `middle` | `high`. Bytes are shifted as
// halves of 16-bit lanes and masked.
template <Stores kStores, bool kSix>
HWY_INLINE void StorePacked(V8 low, V8 middle, V8 high, uint8_t* to) {
  const auto bits = [](V16 v, uint8_t mask) { return hn::And(hn::BitCast(D8(), v), hn::Set(D8(), mask)); };
  const V16 low16 = hn::BitCast(D16(), low), middle16 = hn::BitCast(D16(), middle), high16 = hn::BitCast(D16(), high);
  const V8 first = hn::Or(bits(hn::ShiftRight<3>(low16), 0x1F),
                          kSix ? bits(hn::ShiftLeft<3>(middle16), 0xE0) : bits(hn::ShiftLeft<2>(middle16), 0xE0));
  const V8 second = kSix ? hn::Or(bits(hn::ShiftRight<5>(middle16), 0x07), bits(high16, 0xF8))
                         : hn::Or(bits(hn::ShiftRight<6>(middle16), 0x03), bits(hn::ShiftRight<1>(high16), 0x7C));
  const V8 parts[2] = {hn::BitCast(D8(), InterleavePart(0, first, second)),
                       hn::BitCast(D8(), InterleavePart(1, first, second))};
  StoreParts<kStores>(parts, to);
}

// ---- Rows -----------------------------------------------------------------------------------------------------------

template <Layout kLayout>
HWY_INLINE Colours LoadColours(const SourceRow& row, ptrdiff_t x, V8& k) {
  if constexpr (kLayout == Layout::kCmyk) return LoadInterleaved4(row[0] + 4 * x, k);
  if constexpr (kLayout == Layout::kPlanes4) k = hn::LoadU(D8(), row[3] + x);
  return LoadPlanes(row, x);
}

// kPixels pixels from column x. A fourth component goes to `k`.
template <Variant kVariant>
HWY_INLINE Colours ConvertColours(const SourceRow& source, ptrdiff_t x, V8& k) {
  constexpr Layout kFrom = kVariant.source;
  if constexpr (kVariant.arithmetic == Arithmetic::kForwardDirect) {
    return ForwardDirect<IsBlueFirst(kFrom)>(source[0] + 3 * x);
  } else if constexpr (kVariant.arithmetic == Arithmetic::kForwardTail) {
    return ForwardPacked<kFrom>(source[0] + 2 * x);
  } else if constexpr (kVariant.arithmetic == Arithmetic::kForwardFromLuma) {
    const Colours rgb = LoadColours<kFrom>(source, x, k);
    return ForwardFromLuma(HasK(kFrom) ? Invert(rgb) : rgb);
  } else {
    const Colours rgb = Inverse(LoadColours<kFrom>(source, x, k),
                                kVariant.arithmetic == Arithmetic::kInverseAdded ? kAdded : kSubtracted);
    return HasK(kFrom) ? Invert(rgb) : rgb;
  }
}

template <Variant kVariant, Stores kStores>
HWY_INLINE void ConvertBlock(const SourceRow& source, const DestinationRow& destination, ptrdiff_t x) {
  constexpr Layout kFrom = kVariant.source, kTo = kVariant.destination;
  uint8_t* to = destination[0] + x * PixelBytes(kTo);
  if constexpr (kVariant.arithmetic == Arithmetic::kLumaInteger) {
    Store<kStores>(LumaInteger<IsBlueFirst(kFrom)>(source[0] + 3 * x), to);
  } else if constexpr (kVariant.arithmetic == Arithmetic::kLumaFloat) {
    Store<kStores>(LumaFloat(LoadPlanes(source, x)), to);
  } else {
    V8 k = hn::Zero(D8());
    const Colours p = ConvertColours<kVariant>(source, x, k);
    const V8 first = p.c[IsBlueFirst(kTo) ? 2 : 0], third = p.c[IsBlueFirst(kTo) ? 0 : 2];
    if constexpr (IsPacked(kTo)) {
      StorePacked<kStores, HasSixGreenBits(kTo)>(first, p.c[1], third, to);
    } else if constexpr (kTo == Layout::kCmyk) {
      StoreInterleaved4<kStores>(p, k, to);
    } else if constexpr (PixelBytes(kTo) == 3) {
      StoreInterleaved3<kStores>(first, p.c[1], third, to);
    } else {
      StorePlanes<kStores>(p, destination, x);
      if constexpr (kTo == Layout::kPlanes4) Store<kStores>(k, destination[3] + x);
    }
  }
}

// Columns begin..end-1: none, or at least a block's. The last block may take some for the second time, to the same
// effect.
template <Variant kVariant>
HWY_NOINLINE void ConvertBlocks(SourceRow source, DestinationRow destination, ptrdiff_t begin, ptrdiff_t end) {
  for (ptrdiff_t x = begin; x < end; x += kPixels)
    ConvertBlock<kVariant, Stores::kPlain>(source, destination, std::min(x, end - kPixels));
}

template <Variant kVariant>
void ConvertRowVector(const SourceRow& source, const DestinationRow& destination, ptrdiff_t width) {
  const ptrdiff_t grouped = GroupedColumns(width);
  if (grouped < kPixels) return ConvertRowReference<kVariant>(source, destination, width);
  ConvertBlocks<kVariant>(source, destination, 0, grouped);
  ConvertTailColumns<kVariant>(source, destination, grouped, width);
}

template <Variant kVariant>
HWY_INLINE void StreamBlocks(SourceRow source, DestinationRow destination, ptrdiff_t begin, ptrdiff_t end) {
  for (ptrdiff_t x = begin; x < end; x += kPixels) {
    if constexpr (kVariant.arithmetic == Arithmetic::kLumaInteger) FetchAhead<3 * kPixels>(source[0] + 3 * x);
    ConvertBlock<kVariant, Stores::kStreaming>(source, destination, x);
  }
}

template <Variant kVariant>
void ConvertRowStreaming(const SourceRow& source, const DestinationRow& destination, ptrdiff_t width) {
  constexpr ptrdiff_t kBytes = PixelBytes(kVariant.destination);
  constexpr size_t kPlanes = PlaneCount(kVariant.destination);
  const ptrdiff_t grouped = GroupedColumns(width);
  const auto [begin, end] = FindStreamedUnits(destination[0], kBytes, kPixels, grouped);
  bool possible = begin < end;
  for (size_t i = 1; i < kPlanes; ++i) possible &= reinterpret_cast<uintptr_t>(destination[i] + begin) % kPixels == 0;
  if (!possible) return ConvertRowVector<kVariant>(source, destination, width);
  // The lines of the row's end, and of the next one's beginning where no gap lies between.
  for (size_t i = 0; i < kPlanes; ++i) Fetch(destination[i] + kBytes * end, destination[i] + kBytes * width);
  ConvertBlocks<kVariant>(source, destination, 0, begin);
  StreamBlocks<kVariant>(source, destination, begin, end);
  ConvertBlocks<kVariant>(source, destination, end, grouped);
  ConvertTailColumns<kVariant>(source, destination, grouped, width);
}

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
