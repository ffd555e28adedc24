// Pixels of one MCU to level-shifted blocks: the arithmetic, and the scalar reference that every level equals.
#pragma once

#include "core/memory.h"
#include "jpeg/colour/mcu_formats.h"

namespace zmcj {

using McuForwardKernel = void (*)(const uint8_t* src, int step, int16_t* const* dst);
using McuForwardKernels = McuKernels<McuForwardKernel>;

// A component is the sum over its pixels of r R + g G + b B + constant, shifted right (floor) by the arithmetic's shift
// and by log2 of the number of pixels.
struct Weights {
  int r, g, b, constant;
};
struct ForwardArithmetic {
  int shift;
  Weights y, cb, cr;
};

// ISO/IEC 10918-5 (JFIF) conversion at 14 bits with the half added, and at 16 bits without. Luminance is 0.299, 0.587,
// 0.114 and carries the level shift of 128; chroma weights add up to zero and have no offset, so chroma is centred.
inline constexpr ForwardArithmetic kForwardArithmetic[kRoundings] = {
    {14, {4899, 9617, 1868, 8192 - (128 << 14)}, {-2764, -5428, 8192, 8192}, {8192, -6860, -1332, 8192}},
    {16, {19595, 38470, 7471, -(128 << 16)}, {-11059, -21709, 32768, 0}, {32768, -27439, -5329, 0}},
};

// Only 4:1:1 has the second arithmetic, and plain components have none.
constexpr ForwardArithmetic ForwardArithmeticOf(PixelFormat f, Sampling s, Rounding rounding) {
  const bool truncated = s == Sampling::k411 && f != PixelFormat::kComponents && rounding == Rounding::kTruncated;
  return kForwardArithmetic[truncated];
}

struct Pixel {
  int r, g, b, k;
};

template <PixelFormat F>
Pixel LoadPixel(const uint8_t* p) {
  if constexpr (IsPacked16(F)) {
    const int word = LoadSample<uint16_t>(p);
    if (F == PixelFormat::kBgr555) return {word >> 7 & 0xF8, word >> 2 & 0xF8, word << 3 & 0xF8, 0};
    return {word >> 8 & 0xF8, word >> 3 & 0xFC, word << 3 & 0xF8, 0};
  } else if constexpr (F == PixelFormat::kCmyk) {
    return {255 - p[0], 255 - p[1], 255 - p[2], p[3]};
  } else {
    constexpr ByteOrder order = OrderOf(F);
    return {p[order.r], p[order.g], p[order.b], 0};
  }
}

struct McuForwardReference {
  template <PixelFormat F, Sampling S, Rounding R>
  static void Convert(const uint8_t* src, int step, int16_t* const* dst) {
    constexpr ForwardArithmetic arithmetic = ForwardArithmeticOf(F, S, R);
    constexpr int across = Horizontal(S), down = Vertical(S), shift = ChromaShift(S), count = 1 << shift;
    for (int row = 0; row < 8; ++row) {
      for (int column = 0; column < 8; ++column) {
        Pixel sum = {0, 0, 0, 0};
        for (int y = row * down; y < (row + 1) * down; ++y) {
          for (int x = column * across; x < (column + 1) * across; ++x) {
            const Pixel p = LoadPixel<F>(RowAt(src, y, step) + x * BytesPerPixel(F));
            const int luminance =
                F == PixelFormat::kComponents ? p.r - 128 : Weigh(arithmetic.y, p, 1) >> arithmetic.shift;
            StoreSample(dst[0] + LuminanceIndex(S, x, y), static_cast<int16_t>(luminance));
            sum = {sum.r + p.r, sum.g + p.g, sum.b + p.b, sum.k + p.k};
          }
        }
        const int at = 8 * row + column;
        if constexpr (F == PixelFormat::kComponents) {
          StoreSample(dst[1] + at, Mean(sum.g, shift));
          StoreSample(dst[2] + at, Mean(sum.b, shift));
        } else {
          const int chroma_shift = arithmetic.shift + shift;
          StoreSample(dst[1] + at, static_cast<int16_t>(Weigh(arithmetic.cb, sum, count) >> chroma_shift));
          StoreSample(dst[2] + at, static_cast<int16_t>(Weigh(arithmetic.cr, sum, count) >> chroma_shift));
        }
        if constexpr (F == PixelFormat::kCmyk) StoreSample(dst[3] + at, Mean(sum.k, shift));
      }
    }
  }

  static void Packed422(const uint8_t* src, int step, int16_t* const* dst) {
    for (int row = 0; row < 8; ++row) {
      const uint8_t* p = RowAt(src, row, step);
      for (int x = 0; x < 16; ++x) {
        StoreSample(dst[0] + LuminanceIndex(Sampling::k422, x, row), static_cast<int16_t>(p[2 * x] - 128));
        StoreSample(dst[1 + x % 2] + 8 * row + x / 2, static_cast<int16_t>(p[2 * x + 1] - 128));
      }
    }
  }

 private:
  static int Weigh(const Weights& w, const Pixel& sum, int count) {
    return w.r * sum.r + w.g * sum.g + w.b * sum.b + w.constant * count;
  }
  // The mean of 2^shift samples, half added, level-shifted.
  static int16_t Mean(int sum, int shift) { return static_cast<int16_t>(((sum + (1 << shift) / 2) >> shift) - 128); }
};

}  // namespace zmcj
