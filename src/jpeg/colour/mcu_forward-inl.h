// Vector bodies of the forward MCU conversion. Read once per level.
#if defined(ZMCJ_MCU_FORWARD_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_MCU_FORWARD_INL_H
#undef ZMCJ_MCU_FORWARD_INL_H
#else
#define ZMCJ_MCU_FORWARD_INL_H
#endif

#include "jpeg/colour/mcu_forward_reference.h"
#include "jpeg/colour/mcu_vector-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// Eight pixels a row as 16-bit lanes. CMYK holds C, M, Y, the complements of r, g, b.
struct Words {
  V16 r, g, b, k;
};

// Eight pixels of three bytes are read in two pieces, bytes 0 to 15 and 8 to 23, so that nothing outside them is
// touched. A blend of their 16-bit lanes and one shuffle gather a component. A byte that both pieces hold is taken from
// the first unless its lane must be the second's: then its lane in the second piece is one that nobody needs of the
// first.
constexpr bool HasBit(int bits, int i) { return (bits >> i & 1) != 0; }
constexpr int SecondPieceLanes(int component) {
  int lanes = 0;
  for (int byte = component; byte < 24; byte += 3) {
    if (byte >= 16) lanes |= 1 << (byte - 8) / 2;
  }
  for (int byte = component; byte < 16; byte += 3) {
    if (byte >= 8 && HasBit(lanes, byte / 2)) lanes |= 1 << (byte - 8) / 2;
  }
  return lanes;
}
constexpr ByteTable GatherTable(int component) {
  const int lanes = SecondPieceLanes(component);
  ByteTable table;
  for (int i = 0; i < 8; ++i) {
    const int byte = 3 * i + component;
    const bool second = byte >= 16 || (byte >= 8 && HasBit(lanes, byte / 2));
    table.Set(2 * i, second ? byte - 8 : byte);
    table.Set(2 * i + 1, 0x80);
  }
  return table;
}
// Four pixels of four bytes: each component's together.
constexpr ByteTable GroupTable() {
  ByteTable table;
  for (int i = 0; i < 16; ++i) table.Set(i, 4 * (i % 4) + i / 4);
  return table;
}
struct GatherTables {
  static constexpr ByteTable kGather[3] = {GatherTable(0), GatherTable(1), GatherTable(2)};
  static constexpr ByteTable kGroup = GroupTable();
};

template <int component>
HWY_INLINE V16 Gather(V8 piece0, V8 piece1) {
  const V8 both = ChooseWords<SecondPieceLanes(component)>(piece1, piece0);
  return hn::BitCast(d16, hn::TableLookupBytesOr0(both, Load(GatherTables::kGather[component])));
}

HWY_INLINE Words LoadCmyk(const uint8_t* p, ptrdiff_t distance) {
  const V8 table = Load(GatherTables::kGroup), zero = hn::Zero(d8);
  const V32 left = hn::BitCast(d32, hn::TableLookupBytes(LoadRows(p, distance), table));
  const V32 right = hn::BitCast(d32, hn::TableLookupBytes(LoadRows(p + 16, distance), table));
  const V8 cm = hn::BitCast(d8, hn::InterleaveLower(left, right));
  const V8 yk = hn::BitCast(d8, hn::InterleaveUpper(d32, left, right));
  return {hn::BitCast(d16, hn::InterleaveLower(cm, zero)), hn::BitCast(d16, hn::InterleaveUpper(d8, cm, zero)),
          hn::BitCast(d16, hn::InterleaveLower(yk, zero)), hn::BitCast(d16, hn::InterleaveUpper(d8, yk, zero))};
}

template <PixelFormat F>
HWY_INLINE Words LoadWords(const uint8_t* p, ptrdiff_t distance) {
  if constexpr (IsPacked16(F)) {
    constexpr int kGreenDown = F == PixelFormat::kBgr555 ? 2 : 3;
    const V16 word = hn::BitCast(d16, LoadRows(p, distance)), top5 = hn::Set(d16, 0xF8);
    return {hn::And(hn::ShiftRight<kGreenDown + 5>(word), top5),
            hn::And(hn::ShiftRight<kGreenDown>(word), kGreenDown == 2 ? top5 : hn::Set(d16, 0xFC)),
            hn::And(hn::ShiftLeft<3>(word), top5), hn::Zero(d16)};
  } else if constexpr (F == PixelFormat::kCmyk) {
    return LoadCmyk(p, distance);
  } else {
    const V8 piece0 = LoadRows(p, distance), piece1 = LoadRows(p + 8, distance);
    constexpr ByteOrder order = OrderOf(F);
    return {Gather<order.r>(piece0, piece1), Gather<order.g>(piece0, piece1), Gather<order.b>(piece0, piece1),
            hn::Zero(d16)};
  }
}

// What chroma is made of, one value a pixel or, added up, one a site: R - G and B - G, or two plain components.
struct Pair {
  V16 r, b;
};

template <PixelFormat F>
HWY_INLINE Pair ChromaOf(const Words& w) {
  if (F == PixelFormat::kComponents) return {w.g, w.b};
  if (F == PixelFormat::kCmyk) return {hn::Sub(w.g, w.r), hn::Sub(w.g, w.b)};
  return {hn::Sub(w.r, w.g), hn::Sub(w.b, w.g)};
}

// The weights of luminance add up to one, so Y = G + the weighted differences; those of chroma to zero, and one of them
// is a half. Hence, with S for sums over a site's n pixels and every >> rounding down,
//   Cb = ((weight (SR - SG) >> 16) + (SB - SG) + bias) >> (1 + log2 n)
// in 16 bits. The two shifts give what a single one gives: between them only whole numbers are added.
template <PixelFormat F, Sampling S, Rounding R>
struct Fixed {
  static constexpr ForwardArithmetic k = ForwardArithmeticOf(F, S, R);
  static_assert(k.y.r + k.y.g + k.y.b == 1 << k.shift);
  static_assert(k.cb.r + k.cb.g + k.cb.b == 0 && k.cb.b == 1 << (k.shift - 1));
  static_assert(k.cr.r + k.cr.g + k.cr.b == 0 && k.cr.r == 1 << (k.shift - 1));
  static constexpr int kCbWeight = k.cb.r * (1 << (17 - k.shift)), kCrWeight = k.cr.b * (1 << (17 - k.shift));
  static constexpr int kBias = (k.cb.constant >> (k.shift - 1)) << ChromaShift(S);
};

template <PixelFormat F, Sampling S, Rounding R>
HWY_INLINE V16 Luminance(const Words& w, const Pair& difference) {
  if constexpr (F == PixelFormat::kComponents) return hn::Sub(w.r, hn::Set(d16, 128));
  constexpr ForwardArithmetic k = Fixed<F, S, R>::k;
  constexpr bool complement = F == PixelFormat::kCmyk;
  const V16 weights = SetPair(k.y.r, k.y.b);
  const V32 constant = hn::Set(d32, k.y.constant + (complement ? 255 << k.shift : 0));
  const V32 left = MultiplyPairs(hn::InterleaveLower(difference.r, difference.b), weights);
  const V32 right = MultiplyPairs(hn::InterleaveUpper(d16, difference.r, difference.b), weights);
  const V16 rest =
      NarrowTo16(hn::ShiftRight<k.shift>(hn::Add(left, constant)), hn::ShiftRight<k.shift>(hn::Add(right, constant)));
  return complement ? hn::Sub(rest, w.g) : hn::Add(rest, w.g);
}

// A row's left and right eight pixels, already added over the rows of a site, to sums of sites.
template <Sampling S>
HWY_INLINE V16 SiteSums(V16 left, V16 right) {
  if (S == Sampling::k444) return left;
  const V16 ones = hn::Set(d16, 1);
  return NarrowTo16(MultiplyPairs(left, ones), MultiplyPairs(right, ones));
}

template <Sampling S>
HWY_INLINE V16 Mean(V16 sums) {
  constexpr int shift = ChromaShift(S);
  const V16 rounded = S == Sampling::k444 ? sums : hn::Add(sums, hn::Set(d16, (1 << shift) / 2));
  return hn::Sub(hn::ShiftRight<shift>(rounded), hn::Set(d16, 128));
}

template <PixelFormat F, Sampling S, Rounding R>
HWY_INLINE Pair Chroma(const Pair& sums) {
  if constexpr (F == PixelFormat::kComponents) return {Mean<S>(sums.r), Mean<S>(sums.b)};
  using K = Fixed<F, S, R>;
  const V16 bias = hn::Set(d16, K::kBias);
  const V16 cb = hn::Add(hn::MulHigh(sums.r, hn::Set(d16, K::kCbWeight)), hn::Add(sums.b, bias));
  const V16 cr = hn::Add(hn::MulHigh(sums.b, hn::Set(d16, K::kCrWeight)), hn::Add(sums.r, bias));
  return {hn::ShiftRight<1 + ChromaShift(S)>(cb), hn::ShiftRight<1 + ChromaShift(S)>(cr)};
}

struct McuForwardVectors {
  // In 4:1:1 a register takes every other source row, so that adding it to the rows between gives rows of sites.
  template <PixelFormat F, Sampling S, Rounding R>
  static void Convert(const uint8_t* src, int step, int16_t* const* dst) {
    constexpr int across = Horizontal(S), down = Vertical(S);
    int16_t *const y = dst[0], *const cb = dst[1], *const cr = dst[2];
    for (int row = 0; row < 8; row += kRows) {
      int16_t* const luminance = y + LuminanceIndex(S, 0, row * down);
      Pair chroma[2];
      V16 k[2];
      ZMCJ_UNROLL for (int half = 0; half < across; ++half) {
        ZMCJ_UNROLL for (int i = 0; i < down; ++i) {
          const uint8_t* p = RowAt(src, row * down + i, step) + 8 * half * BytesPerPixel(F);
          if (half == 0) PrefetchRows(p, ptrdiff_t{down} * step, kRows);
          const Words w = LoadWords<F>(p, ptrdiff_t{down} * step);
          const Pair c = ChromaOf<F>(w);
          StoreBlockRows<8 * down>(Luminance<F, S, R>(w, c), luminance + 64 * half + 8 * i);
          chroma[half] = i == 0 ? c : Pair{hn::Add(chroma[half].r, c.r), hn::Add(chroma[half].b, c.b)};
          k[half] = i == 0 ? w.k : hn::Add(k[half], w.k);
        }
      }
      const Pair &left = chroma[0], &right = chroma[across - 1];
      const Pair cbcr = Chroma<F, S, R>({SiteSums<S>(left.r, right.r), SiteSums<S>(left.b, right.b)});
      StoreBlockRows(cbcr.r, cb + 8 * row);
      StoreBlockRows(cbcr.b, cr + 8 * row);
      if (F == PixelFormat::kCmyk) StoreBlockRows(Mean<S>(SiteSums<S>(k[0], k[across - 1])), dst[3] + 8 * row);
    }
  }

  static void Packed422(const uint8_t* src, int step, int16_t* const* dst) {
    const V16 centre = hn::Set(d16, 128);
    const V32 byte = hn::Set(d32, 0xFF);
    for (int row = 0; row < 8; row += kRows) {
      V32 quads[2];  // Y0 Cb Y1 Cr, twice four a row
      ZMCJ_UNROLL for (int half = 0; half < 2; ++half) {
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
};

}  // namespace
extern constexpr McuForwardKernels kMcuForward = TableOf<McuForwardKernel, McuForwardVectors>();
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
