// The whole-image operations share regions of more than 8192 pixels among threads. A codec that works strip by strip
// would start and join them thousands of times a picture, and while a machine is busy each join waits for the slowest:
// it gives them smaller pieces instead.
#pragma once

#include <algorithm>

#include "zmcj.h"

namespace zmc::jpeg {

// convert(x, y, piece) for pieces that cover the region. They break columns only at multiples of 8, so that the
// groups of pixels in a row stay the same.
template <class Convert>
void InPieces(ZmciSize size, Convert convert) {
  constexpr int kMostPixels = 8192;
  const int wide = std::min(size.width, kMostPixels), high = std::max(1, kMostPixels / wide);
  for (int y = 0; y < size.height; y += high) {
    for (int x = 0; x < size.width; x += wide) {
      convert(x, y, ZmciSize{std::min(wide, size.width - x), std::min(high, size.height - y)});
    }
  }
}

}  // namespace zmc::jpeg
