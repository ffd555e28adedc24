// What the two directions of MCU conversion share: pixel formats, sampling factors, the two roundings, and the table of
// kernels that these three span.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "zmcj.h"

namespace zmcj {

// kComponents: three interleaved bytes that are already Y, Cb, Cr (or whatever the caller's colour space is).
enum class PixelFormat { kRgb, kBgr, kBgr555, kBgr565, kCmyk, kComponents };
enum class Sampling { k444, k422, k411 };
// Each direction has two fixed-point arithmetics; block alignment selects between them.
enum class Rounding { kRounded, kTruncated };
inline constexpr int kPixelFormats = 6, kSamplings = 3, kRoundings = 2;

constexpr bool IsPacked16(PixelFormat f) { return f == PixelFormat::kBgr555 || f == PixelFormat::kBgr565; }
constexpr int BytesPerPixel(PixelFormat f) { return IsPacked16(f) ? 2 : f == PixelFormat::kCmyk ? 4 : 3; }
constexpr int BlockPointers(PixelFormat f) { return f == PixelFormat::kCmyk ? 4 : 3; }

// Pixels that share one chroma sample, across and down.
constexpr int Horizontal(Sampling s) { return s == Sampling::k444 ? 1 : 2; }
constexpr int Vertical(Sampling s) { return s == Sampling::k411 ? 2 : 1; }
// log2 of the pixels that share one chroma sample.
constexpr int ChromaShift(Sampling s) { return Horizontal(s) * Vertical(s) / 2; }
static_assert(ChromaShift(Sampling::k444) == 0 && ChromaShift(Sampling::k411) == 2);

// Where the luminance of pixel (x, y) stands behind an MCU's first pointer: 8x8 blocks, row by row of blocks.
constexpr ptrdiff_t LuminanceIndex(Sampling s, int x, int y) {
  const int block = y / 8 * Horizontal(s) + x / 8;
  return 64 * block + 8 * (y % 8) + x % 8;
}

// Byte offsets of the colours in a pixel of whole bytes. CMYK takes C, M, Y for the complements of R, G, B.
struct ByteOrder {
  int r, g, b, k;
};
constexpr ByteOrder OrderOf(PixelFormat f) {
  if (f == PixelFormat::kBgr) return {2, 1, 0, -1};
  return {0, 1, 2, f == PixelFormat::kCmyk ? 3 : -1};
}

// One family's kernels: every format, sampling and rounding, and the packed 4:2:2 form (Y0 Cb Y1 Cr) beside them.
template <class Kernel>
struct McuKernels {
  Kernel convert[kPixelFormats][kSamplings][kRoundings];
  Kernel packed422;

  template <PixelFormat F, Sampling S>
  Kernel Get(Rounding rounding) const {
    return convert[static_cast<int>(F)][static_cast<int>(S)][static_cast<int>(rounding)];
  }
};

// Fills a table from Bodies::Convert<format, sampling, rounding> and Bodies::Packed422.
template <class Kernel, class Bodies>
constexpr McuKernels<Kernel> TableOf() {
  McuKernels<Kernel> table{};
  const auto fill = [&table]<size_t... I>(std::index_sequence<I...>) {
    ((table.convert[I / 6][I / 2 % 3][I % 2] =
          &Bodies::template Convert<static_cast<PixelFormat>(I / 6), static_cast<Sampling>(I / 2 % 3),
                                    static_cast<Rounding>(I % 2)>),
     ...);
  };
  fill(std::make_index_sequence<kPixelFormats * kSamplings * kRoundings>());
  table.packed422 = &Bodies::Packed422;
  return table;
}

inline Rounding RoundingAt(uintptr_t addresses) {
  return addresses % 16 == 0 ? Rounding::kRounded : Rounding::kTruncated;
}

}  // namespace zmcj
