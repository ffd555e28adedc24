// One code-block from its codeword to coefficients in its component's plane.
#pragma once

#include <cstdint>
#include <vector>

#include "j2k_packet_reader.h"
#include "j2k_wavelet.h"

namespace zmc::j2k {

// The library's option bits for a sum of BlockStyle, for its encoder and its decoder.
int BlockFlags(int style);

// Keeps the buffers of one thread.
class BlockDecoder {
 public:
  // False when the codeword is damaged; what was decoded before the damage is in the plane.
  bool Decode(const BlockInput& block, const ComponentParameters& parameters, int fraction_bits, Plane& plane);

 private:
  void Join(const BlockInput& block);
  void FillRawSegments(int style);

  std::vector<uint8_t> work_;
  std::vector<uint8_t> joined_, filled_;
  std::vector<uint32_t> lengths_;
  std::vector<int32_t> coefficients_;
};

}  // namespace zmc::j2k
