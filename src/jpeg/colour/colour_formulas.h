// The colour conversions' arithmetic, pixel by pixel: the reference that defines every level's bits.
//
// All weights are those of JFIF (ITU-R BT.601 luminance, full range): Y = 0.299 R + 0.587 G + 0.114 B,
// Cb = 128 + 0.5 / 0.886 (B - Y), Cr = 128 + 0.5 / 0.701 (R - Y); R = Y + 1.402 (Cr - 128),
// G = Y - 0.344136 (Cb - 128) - 0.714136 (Cr - 128), B = Y + 1.772 (Cb - 128).
#pragma once

#include <algorithm>

#include "core/memory.h"
#include "jpeg/colour/colour_variants.h"

namespace zmcj {

// R, G, B or Y, Cb, Cr; then K, which passes through unchanged.
struct Pixel {
  int c[4];
};

constexpr int Clamp8(int v) { return std::clamp(v, 0, 255); }

// Weights at 16 bits, each row summing to 65536 or 0.
constexpr int Luma(int r, int g, int b) { return (19595 * r + 38470 * g + 7471 * b + 32768) >> 16; }

// The chroma offset 128.5 less one part in 65536: so the result never reaches 256.
inline constexpr int kTailChromaBias = 128 * 65536 + 32767;

constexpr Pixel ForwardTail(Pixel p) {
  const auto [r, g, b, k] = p.c;
  return {{Luma(r, g, b), (-11059 * r - 21709 * g + 32768 * b + kTailChromaBias) >> 16,
           (32768 * r - 27439 * g - 5329 * b + kTailChromaBias) >> 16, k}};
}

// 18491 = round(0.5 / 0.886 * 2^15), 23373 = round(0.5 / 0.701 * 2^15); 4210688 = 128.5 * 2^15.
constexpr Pixel ForwardFromLuma(Pixel p) {
  const auto [r, g, b, k] = p.c;
  const int y = Luma(r, g, b);
  return {{y, Clamp8(((b - y) * 18491 + 4210688) >> 15), Clamp8(((r - y) * 23373 + 4210688) >> 15), k}};
}

// Weights at 14 bits; 2105344 = 128.5 * 2^14.
constexpr Pixel ForwardDirect(Pixel p) {
  const auto [r, g, b, k] = p.c;
  return {{Clamp8((4899 * r + 9617 * g + 1868 * b + 8192) >> 14),
           Clamp8((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14),
           Clamp8((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14), k}};
}

// Weights at 15 bits, their sum one too many; the bias is a little under the half, 16384, to make up for it.
constexpr Pixel LumaInteger(Pixel p) {
  return {{(9798 * p.c[0] + 19235 * p.c[1] + 3736 * p.c[2] + 16266) >> 15, 0, 0, 0}};
}

// Three products and two sums, each rounded to single precision, in this order. Adding and taking away 2^23 rounds to
// the nearest integer, ties to even.
constexpr Pixel LumaFloat(Pixel p) {
  const float sum =
      static_cast<float>(p.c[0]) * 0.299f + static_cast<float>(p.c[1]) * 0.587f + static_cast<float>(p.c[2]) * 0.114f;
  constexpr float kRound = 8388608.0f;
  const float rounded = sum + kRound;
  return {{Clamp8(static_cast<int>(rounded - kRound)), 0, 0, 0}};
}

constexpr Pixel LumaTail(Pixel p) { return {{Luma(p.c[0], p.c[1], p.c[2]), 0, 0, 0}}; }

constexpr Pixel InverseTail(Pixel p) {
  const int y = p.c[0], cb = p.c[1] - 128, cr = p.c[2] - 128;
  return {{Clamp8(y + ((91881 * cr + 32768) >> 16)), Clamp8(y + ((-22554 * cb - 46802 * cr + 32768) >> 16)),
           Clamp8(y + ((116130 * cb + 32768) >> 16)), p.c[3]}};
}

// Weights at 14 bits. The biases are 128 times the weights and a rounding term near the half, 8192, but not equal to
// it: 8145 for R, 8082 inside G's difference, 7535 for B.
constexpr Pixel InverseSubtracted(Pixel p) {
  const auto [y, cb, cr, k] = p.c;
  return {{Clamp8(y + ((22970 * cr - 2932015) >> 14)), Clamp8(y - ((5638 * cb + 11700 * cr - 2211182) >> 14)),
           Clamp8(y + ((29032 * cb - 3708561) >> 14)), k}};
}

// The same weights, with the rounding terms 8145, 8302 and 8135, all added.
constexpr Pixel InverseAdded(Pixel p) {
  const auto [y, cb, cr, k] = p.c;
  return {{Clamp8(y + ((22970 * cr - 2932015) >> 14)), Clamp8(y + ((-5638 * cb - 11700 * cr + 2227566) >> 14)),
           Clamp8(y + ((29032 * cb - 3707961) >> 14)), k}};
}

template <Arithmetic kArithmetic>
constexpr Pixel Grouped(Pixel p) {
  switch (kArithmetic) {
    case Arithmetic::kForwardFromLuma:
      return ForwardFromLuma(p);
    case Arithmetic::kForwardDirect:
      return ForwardDirect(p);
    case Arithmetic::kForwardTail:
      return ForwardTail(p);
    case Arithmetic::kLumaFloat:
      return LumaFloat(p);
    case Arithmetic::kLumaInteger:
      return LumaInteger(p);
    case Arithmetic::kInverseSubtracted:
      return InverseSubtracted(p);
    case Arithmetic::kInverseAdded:
      return InverseAdded(p);
  }
}

template <Arithmetic kArithmetic>
constexpr Pixel Tail(Pixel p) {
  if (kArithmetic == Arithmetic::kLumaInteger) return LumaInteger(p);
  if (kArithmetic == Arithmetic::kLumaFloat) return LumaTail(p);
  return IsForward(kArithmetic) ? ForwardTail(p) : InverseTail(p);
}

// The packed fields: five bits, five or six bits, five bits from bit 0 up. Widening leaves the low bits zero.
template <Layout kLayout>
constexpr Pixel Unpack16(int v) {
  constexpr int kMiddle = HasSixGreenBits(kLayout) ? 6 : 5;
  const int low = (v & 31) << 3, middle = ((v >> 5) << (8 - kMiddle)) & 0xFF;
  const int high = ((v >> (5 + kMiddle)) & 31) << 3;
  return IsBlueFirst(kLayout) ? Pixel{{high, middle, low, 0}} : Pixel{{low, middle, high, 0}};
}

template <Layout kLayout>
constexpr int Pack16(Pixel p) {
  constexpr int kMiddle = HasSixGreenBits(kLayout) ? 6 : 5;
  const int low = p.c[IsBlueFirst(kLayout) ? 2 : 0], high = p.c[IsBlueFirst(kLayout) ? 0 : 2];
  return low >> 3 | p.c[1] >> (8 - kMiddle) << 5 | high >> 3 << (5 + kMiddle);
}

template <Layout kLayout>
Pixel LoadPixel(const SourceRow& row, ptrdiff_t x) {
  if (IsPacked(kLayout)) return Unpack16<kLayout>(LoadSample<uint16_t>(row[0] + 2 * x));
  Pixel p = {};
  constexpr int kBytes = PixelBytes(kLayout);
  constexpr int kComponents = kBytes > 1 ? kBytes : PlaneCount(kLayout);
  for (int i = 0; i < kComponents; ++i) {
    const int c = IsBlueFirst(kLayout) ? 2 - i : i;
    p.c[c] = kBytes > 1 ? row[0][x * kBytes + i] : row[static_cast<size_t>(i)][x];
  }
  return p;
}

template <Layout kLayout>
void StorePixel(const DestinationRow& row, ptrdiff_t x, Pixel p) {
  if (IsPacked(kLayout)) {
    StoreSample(row[0] + 2 * x, static_cast<uint16_t>(Pack16<kLayout>(p)));
    return;
  }
  constexpr int kBytes = PixelBytes(kLayout);
  constexpr int kComponents = kBytes > 1 ? kBytes : PlaneCount(kLayout);
  for (int i = 0; i < kComponents; ++i) {
    const auto value = static_cast<uint8_t>(p.c[IsBlueFirst(kLayout) ? 2 - i : i]);
    (kBytes > 1 ? row[0][x * kBytes + i] : row[static_cast<size_t>(i)][x]) = value;
  }
}

// Four-component colours are stored inverted.
constexpr Pixel Invert(Pixel p) { return {{255 - p.c[0], 255 - p.c[1], 255 - p.c[2], p.c[3]}}; }

// Columns begin..end-1, all by the arithmetic's grouped form or all by its form for the remaining columns.
template <Variant kVariant, Pixel (*kFormula)(Pixel)>
void ConvertColumns(const SourceRow& source, const DestinationRow& destination, ptrdiff_t begin, ptrdiff_t end) {
  constexpr bool kForward = IsForward(kVariant.arithmetic);
  for (ptrdiff_t x = begin; x < end; ++x) {
    Pixel p = LoadPixel<kVariant.source>(source, x);
    if (HasK(kVariant.source) && kForward) p = Invert(p);
    p = kFormula(p);
    if (HasK(kVariant.destination) && !kForward) p = Invert(p);
    StorePixel<kVariant.destination>(destination, x, p);
  }
}

template <Variant kVariant>
void ConvertTailColumns(const SourceRow& source, const DestinationRow& destination, ptrdiff_t begin, ptrdiff_t end) {
  ConvertColumns<kVariant, Tail<kVariant.arithmetic>>(source, destination, begin, end);
}

// The columns below this one take the grouped form.
constexpr ptrdiff_t GroupedColumns(ptrdiff_t width) { return width & ~ptrdiff_t{3}; }

template <Variant kVariant>
void ConvertRowReference(const SourceRow& source, const DestinationRow& destination, ptrdiff_t width) {
  const ptrdiff_t grouped = GroupedColumns(width);
  ConvertColumns<kVariant, Grouped<kVariant.arithmetic>>(source, destination, 0, grouped);
  ConvertTailColumns<kVariant>(source, destination, grouped, width);
}

}  // namespace zmcj
