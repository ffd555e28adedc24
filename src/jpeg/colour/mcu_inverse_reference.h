// Level-shifted blocks of one MCU to pixels: the arithmetic, and the scalar reference that every level equals.
#pragma once

#include <algorithm>

#include "core/memory.h"
#include "jpeg/colour/mcu_formats.h"

namespace zmcj {

using McuInverseKernel = void (*)(const int16_t* const* src, uint8_t* dst, int step);
using McuInverseKernels = McuKernels<McuInverseKernel>;

struct InversePixel {
  uint8_t r, g, b, k;
};

// Blocks hold any 16-bit values: damaged files produce them. Both arithmetics are defined for all.
struct McuInverseReference {
  template <PixelFormat F, Sampling S, Rounding R>
  static void Convert(const int16_t* const* src, uint8_t* dst, int step) {
    for (int y = 0; y < 8 * Vertical(S); ++y) {
      for (int x = 0; x < 8 * Horizontal(S); ++x) {
        const int chroma = 8 * (y / Vertical(S)) + x / Horizontal(S);
        const int16_t cb = LoadSample<int16_t>(src[1] + chroma), cr = LoadSample<int16_t>(src[2] + chroma);
        const int16_t luminance = LoadSample<int16_t>(src[0] + LuminanceIndex(S, x, y));
        InversePixel p;
        if constexpr (F == PixelFormat::kComponents) {
          p = {Clamp8(luminance + 128), Clamp8(cb + 128), Clamp8(cr + 128), 0};
        } else {
          p = R == Rounding::kRounded ? Rounded(luminance, cb, cr) : Truncated(luminance, cb, cr);
        }
        if constexpr (F == PixelFormat::kCmyk) p.k = Clamp8(LoadSample<int16_t>(src[3] + chroma) + 128);
        StorePixel<F>(p, RowAt(dst, y, step) + x * BytesPerPixel(F));
      }
    }
  }

  static void Packed422(const int16_t* const* src, uint8_t* dst, int step) {
    for (int y = 0; y < 8; ++y) {
      uint8_t* p = RowAt(dst, y, step);
      for (int x = 0; x < 16; ++x) {
        p[2 * x] = Clamp8(LoadSample<int16_t>(src[0] + LuminanceIndex(Sampling::k422, x, y)) + 128);
        p[2 * x + 1] = Clamp8(LoadSample<int16_t>(src[1 + x % 2] + 8 * y + x / 2) + 128);
      }
    }
  }

 private:
  static uint8_t Clamp8(int64_t v) { return static_cast<uint8_t>(std::clamp<int64_t>(v, 0, 255)); }

  // At 14 bits (22970 = 1.402 x 2^14 and so on), the half added. The chroma's share narrows to 16 bits with saturation,
  // and so does its sum with the luminance: seen only where a block holds values far outside -128..127.
  static InversePixel Rounded(int y, int cb, int cr) {
    constexpr int kBias = (128 << 14) + 8192;
    return {AddNarrow(y, (22970 * cr + kBias) >> 14), AddNarrow(y, (-5638 * cb - 11700 * cr + kBias) >> 14),
            AddNarrow(y, (29032 * cb + kBias) >> 14), 0};
  }
  static int Narrow16(int v) { return std::clamp(v, -32768, 32767); }
  static uint8_t AddNarrow(int y, int share) { return Clamp8(Narrow16(y + Narrow16(share))); }

  // At 16 bits (91881 = 1.402 x 2^16 and so on), nothing added, no width in between that limits.
  static InversePixel Truncated(int64_t y, int64_t cb, int64_t cr) {
    return {Clamp8(y + (91881 * cr >> 16) + 128), Clamp8(y + ((-22554 * cb - 46802 * cr) >> 16) + 128),
            Clamp8(y + (116130 * cb >> 16) + 128), 0};
  }

  template <PixelFormat F>
  static void StorePixel(InversePixel p, uint8_t* to) {
    if constexpr (F == PixelFormat::kBgr555) {
      StoreSample(to, static_cast<uint16_t>(p.r >> 3 << 10 | p.g >> 3 << 5 | p.b >> 3));
    } else if constexpr (F == PixelFormat::kBgr565) {
      StoreSample(to, static_cast<uint16_t>(p.r >> 3 << 11 | p.g >> 2 << 5 | p.b >> 3));
    } else if constexpr (F == PixelFormat::kCmyk) {
      const uint8_t bytes[4] = {static_cast<uint8_t>(255 - p.r), static_cast<uint8_t>(255 - p.g),
                                static_cast<uint8_t>(255 - p.b), p.k};
      std::copy_n(bytes, 4, to);
    } else {
      constexpr ByteOrder order = OrderOf(F);
      to[order.r] = p.r;
      to[order.g] = p.g;
      to[order.b] = p.b;
    }
  }
};

}  // namespace zmcj
