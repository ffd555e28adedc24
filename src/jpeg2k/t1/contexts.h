// The coding contexts: numbering, and the standard's rules that choose among them (ISO/IEC 15444-1, D.3). The kernels
// build their tables from these rules at compile time, each for its own layout of the neighbourhood.
#pragma once

#include <algorithm>
#include <cstdint>

namespace zmcj::t1 {

// The numbers are the standard's labels plus 2, behind its labels 18 and 17.
inline constexpr int kUniform = 0;
inline constexpr int kRunLength = 1;
inline constexpr int kZeroCoding = 2;
inline constexpr int kSignCoding = 11;
inline constexpr int kMagnitudeRefinement = 16;
inline constexpr int kContexts = 19;

// Which column of Table D.1 a subband takes.
enum class Band { kLowOrVerticallyHigh, kHorizontallyHigh, kDiagonallyHigh };

constexpr Band BandOf(int orientation) {
  return orientation == 2   ? Band::kHorizontallyHigh
         : orientation == 3 ? Band::kDiagonallyHigh
                            : Band::kLowOrVerticallyHigh;
}

// Table D.1: the context of a sample with h horizontal, v vertical and d diagonal significant neighbours.
constexpr int ZeroCodingContext(Band band, int h, int v, int d) {
  if (band == Band::kDiagonallyHigh) {
    const int direct = std::min(h + v, 2);
    if (d >= 3) return kZeroCoding + 8;
    if (d == 2) return kZeroCoding + (direct >= 1 ? 7 : 6);
    return kZeroCoding + 3 * d + direct;
  }
  if (band == Band::kHorizontallyHigh) std::swap(h, v);
  if (h == 2) return kZeroCoding + 8;
  if (h == 1) return kZeroCoding + (v >= 1 ? 7 : d >= 1 ? 6 : 5);
  if (v >= 1) return kZeroCoding + 2 + v;
  return kZeroCoding + std::min(d, 2);
}

struct SignContext {
  int context;
  int flip;  // the decision is the sign XOR this
};

// Tables D.2 and D.3. A direct neighbour contributes 1 when positive, -1 when negative, 0 when insignificant; h and v
// are the sums of the horizontal and the vertical pair.
constexpr SignContext SignCodingContext(int h, int v) {
  h = std::clamp(h, -1, 1);
  v = std::clamp(v, -1, 1);
  const int flip = h < 0 || (h == 0 && v < 0);
  if (flip) h = -h, v = -v;
  return {kSignCoding + (h == 0 ? v : 3 + v), flip};
}

// Table D.4.
constexpr int RefinementContext(bool refined_before, bool any_neighbour) {
  return kMagnitudeRefinement + (refined_before ? 2 : any_neighbour ? 1 : 0);
}

}  // namespace zmcj::t1
