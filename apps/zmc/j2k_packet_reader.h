// Packets to code-blocks: which layers bring which coding passes, and where their bytes lie (ISO/IEC 15444-1, B.9,
// B.10).
#pragma once

#include <vector>

#include "j2k_tile.h"

namespace zmc::j2k {

// The compressed data of one code-block, as the library's decoder takes it.
struct BlockInput {
  const Band* band = nullptr;
  Rect rect;
  int planes = 0;  // magnitude bit-planes with anything in them
  int passes = 0;
  std::vector<uint32_t> segment_lengths;
  std::vector<Bytes> chunks;  // in order: together all segments
};

struct PacketLimits {
  int layers = 65535;
  int discard_resolutions = 0;
};

// Reads the packets of a tile's parts until they end. What is damaged or missing is appended to the report.
std::vector<BlockInput> ReadPackets(Tile& tile, const TileParameters& parameters, const std::vector<TilePart>& parts,
                                    Bytes packet_headers, const PacketLimits& limits, std::string* report);

}  // namespace zmc::j2k
