// The whole-image colour conversions: each is a source layout, an arithmetic and a destination layout.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zmcj {

// How the pixels of a row lie in memory. kCmyk and kPlanes4 hold inverted colours: 255 minus R, G, B, and K beside
// them. In the packed 16-bit forms the first-named colour has the lowest bits.
enum class Layout { kPlane, kPlanes3, kPlanes4, kRgb, kBgr, kCmyk, kRgb555, kBgr555, kRgb565, kBgr565 };

constexpr int PlaneCount(Layout layout) { return layout == Layout::kPlanes3 ? 3 : layout == Layout::kPlanes4 ? 4 : 1; }
constexpr bool IsPacked(Layout layout) { return layout >= Layout::kRgb555; }
constexpr bool HasSixGreenBits(Layout layout) { return layout >= Layout::kRgb565; }
constexpr bool HasK(Layout layout) { return layout == Layout::kPlanes4 || layout == Layout::kCmyk; }
constexpr bool IsBlueFirst(Layout layout) {
  return layout == Layout::kBgr || layout == Layout::kBgr555 || layout == Layout::kBgr565;
}
// Bytes of a pixel in one buffer.
constexpr int PixelBytes(Layout layout) {
  if (layout == Layout::kRgb || layout == Layout::kBgr) return 3;
  return layout == Layout::kCmyk ? 4 : IsPacked(layout) ? 2 : 1;
}

// The fixed-point renderings of the JFIF equations; colour_formulas.h states each. Most have a grouped form, for the
// columns below the width rounded down to a multiple of four, and another for the columns that remain.
enum class Arithmetic {
  kForwardFromLuma,  // chroma from the differences to the rounded luminance
  kForwardDirect,    // 14-bit weights
  kForwardTail,      // the remaining columns' form throughout
  kLumaFloat,        // luminance in single precision
  kLumaInteger,      // luminance with 15-bit weights throughout
  kInverseSubtracted,
  kInverseAdded,
};
constexpr bool IsForward(Arithmetic arithmetic) { return arithmetic < Arithmetic::kInverseSubtracted; }

struct Variant {
  Layout source;
  Arithmetic arithmetic;
  Layout destination;
};

// Rows of kVariants, in the order of the public header.
enum class Conversion {
  kRgbToYCbCrP3,
  kRgbToYCbCrC3P3,
  kBgrToYCbCrC3P3,
  kRgbToYP3C1,
  kRgbToYC3C1,
  kBgrToYC3C1,
  kCmykToYcckP4,
  kCmykToYcckC4P4,
  kYCbCrToRgbP3,
  kYCbCrToRgbP3C3,
  kYCbCrToBgrP3C3,
  kYcckToCmykP4,
  kYcckToCmykP4C4,
  kRgb555ToYCbCr,
  kBgr555ToYCbCr,
  kRgb565ToYCbCr,
  kBgr565ToYCbCr,
  kYCbCrToRgb555,
  kYCbCrToBgr555,
  kYCbCrToRgb565,
  kYCbCrToBgr565,
};
inline constexpr size_t kConversions = 21;

inline constexpr std::array<Variant, kConversions> kVariants = {{
    {Layout::kPlanes3, Arithmetic::kForwardFromLuma, Layout::kPlanes3},
    {Layout::kRgb, Arithmetic::kForwardDirect, Layout::kPlanes3},
    {Layout::kBgr, Arithmetic::kForwardDirect, Layout::kPlanes3},
    {Layout::kPlanes3, Arithmetic::kLumaFloat, Layout::kPlane},
    {Layout::kRgb, Arithmetic::kLumaInteger, Layout::kPlane},
    {Layout::kBgr, Arithmetic::kLumaInteger, Layout::kPlane},
    {Layout::kPlanes4, Arithmetic::kForwardFromLuma, Layout::kPlanes4},
    {Layout::kCmyk, Arithmetic::kForwardFromLuma, Layout::kPlanes4},
    {Layout::kPlanes3, Arithmetic::kInverseSubtracted, Layout::kPlanes3},
    {Layout::kPlanes3, Arithmetic::kInverseAdded, Layout::kRgb},
    {Layout::kPlanes3, Arithmetic::kInverseAdded, Layout::kBgr},
    {Layout::kPlanes4, Arithmetic::kInverseSubtracted, Layout::kPlanes4},
    {Layout::kPlanes4, Arithmetic::kInverseSubtracted, Layout::kCmyk},
    {Layout::kRgb555, Arithmetic::kForwardTail, Layout::kPlanes3},
    {Layout::kBgr555, Arithmetic::kForwardTail, Layout::kPlanes3},
    {Layout::kRgb565, Arithmetic::kForwardTail, Layout::kPlanes3},
    {Layout::kBgr565, Arithmetic::kForwardTail, Layout::kPlanes3},
    {Layout::kPlanes3, Arithmetic::kInverseSubtracted, Layout::kRgb555},
    {Layout::kPlanes3, Arithmetic::kInverseSubtracted, Layout::kBgr555},
    {Layout::kPlanes3, Arithmetic::kInverseSubtracted, Layout::kRgb565},
    {Layout::kPlanes3, Arithmetic::kInverseSubtracted, Layout::kBgr565},
}};

// A row's pointers: as many as the layout has planes, the rest unused.
using SourceRow = std::array<const uint8_t*, 4>;
using DestinationRow = std::array<uint8_t*, 4>;

// Converts `width` pixels. A row may be cut at any multiple of four columns and converted piece by piece.
using ConvertRow = void (*)(const SourceRow& source, const DestinationRow& destination, ptrdiff_t width);

struct ColourKernels {
  std::array<ConvertRow, kConversions> rows;
  // The same with stores that pass the caches by, where the destination's alignment allows.
  std::array<ConvertRow, kConversions> streaming_rows;
};

}  // namespace zmcj
