// Code-blocks to packets: the headers that say which passes come in a layer, then their bytes (ISO/IEC 15444-1, B.10).
#pragma once

#include <span>
#include <vector>

#include "j2k_block_encoder.h"

namespace zmc::j2k {

struct Packets {
  std::vector<uint8_t> bytes;
  std::vector<uint32_t> lengths;       // of each packet, in order
  std::vector<int64_t> layer_lengths;  // by layer
};

// The blocks' layer_ends say what goes where; CodeBlock::payload is a block's index in `blocks`. May be called again
// after another allocation.
Packets WritePackets(Tile& tile, const TileParameters& parameters, std::span<const EncodedBlock> blocks);

}  // namespace zmc::j2k
