// All quantised coefficients of a picture: what progressive files are decoded to, and what several passes encode from.
#pragma once

#include <string>
#include <vector>

#include "jpeg_parse.h"

namespace zmc::jpeg {

struct CoefficientPlane {
  int wide = 0, high = 0;  // in blocks
  std::vector<Block> blocks;
  Block& at(int x, int y) {
    return blocks[static_cast<size_t>(y) * static_cast<size_t>(wide) + static_cast<size_t>(x)];
  }
  const Block& at(int x, int y) const { return const_cast<CoefficientPlane*>(this)->at(x, y); }
};

struct Coefficients {
  // All zero, padded to whole MCUs.
  explicit Coefficients(const Frame& frame);
  std::vector<CoefficientPlane> planes;  // one for each component
};

// Decodes every scan of a file of any process. Damage is appended to `damage`; the rest is decoded.
Coefficients ReadCoefficients(const JpegFile& file, std::string& damage);

}  // namespace zmc::jpeg
