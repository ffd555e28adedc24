// From strips of pixels to quantised blocks, MCU by MCU.
#pragma once

#include <memory>

#include "jpeg_strip.h"
#include "jpeg_tables.h"

namespace zmc::jpeg {

class BlockMaker {
 public:
  virtual ~BlockMaker() = default;
  // Takes a strip in; it stays in use until the next.
  virtual void StartStrip(const uint8_t* strip) = 0;
  // The blocks of one MCU of the strip, in coding order.
  virtual void Make(int mcu_x, Block* blocks) = 0;
};

// How chroma is brought down to its resolution.
enum class Subsampling {
  kMcu,  // with the colour conversion, rounded once: MCU by MCU
  kBox,  // after it, on whole planes
};

// For a frame of one component, of three in YCbCr, or of four in YCCK (from strips of RGB, always by way of planes; the
// inks are inverted, as Adobe's files have them), with the sampling factors of 4:4:4, 4:2:2 or 4:2:0.
std::unique_ptr<BlockMaker> MakeBlockMaker(const Frame& frame, const PictureStrips& strips, Subsampling subsampling,
                                           const std::vector<QuantTable>& tables);

}  // namespace zmc::jpeg
