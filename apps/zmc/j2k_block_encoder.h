// One code-block from its plane to a codeword with the rate and distortion of every place where it may be cut.
#pragma once

#include <cstdint>
#include <vector>

#include "j2k_tile.h"
#include "j2k_wavelet.h"
#include "zmcj.h"

namespace zmc::j2k {

struct EncodedBlock {
  const Band* band = nullptr;
  Rect rect;
  int zero_planes = 0;
  std::vector<uint8_t> bytes;
  struct Pass {
    uint32_t length;    // of the codeword up to and with this pass
    double distortion;  // squared error in the picture that the passes up to this one remove
  };
  std::vector<Pass> passes;
  std::vector<int> layer_ends;  // by layer: how many passes it and those before it have
  uint32_t Length(int pass_count) const {
    return pass_count == 0 ? 0 : passes[static_cast<size_t>(pass_count) - 1].length;
  }
};

struct BlockEncoding {
  int style = 0;           // sum of BlockStyle
  double scale = 0;        // from the plane's integers to quantiser steps; 0: they are coded as they are
  int dropped_planes = 0;  // the lowest bit-planes, which are not worth coding at this rate
  double weight = 1;       // squared error in the picture of one squared quantiser step
};

// Keeps the library's handle of one thread.
class BlockEncoder {
 public:
  BlockEncoder() = default;
  ~BlockEncoder();
  BlockEncoder(const BlockEncoder&) = delete;
  BlockEncoder& operator=(const BlockEncoder&) = delete;
  // Fills in zero_planes, bytes and passes; band and rect are given.
  void Encode(const Plane& plane, const BlockEncoding& encoding, EncodedBlock& block);

 private:
  void Reserve(int width, int height);
  void StorePasses(int style, uint32_t passes, double weight, EncodedBlock& block);

  ZmciEncodeState_JPEG2K* state_ = nullptr;
  int width_ = 0, height_ = 0;
  std::vector<int32_t> quantised_;
  std::vector<uint8_t> bytes_;
};

}  // namespace zmc::j2k
