// The order of packets. A progression order is a sort order of precincts, with the layers outside, inside, or between
// resolutions (ISO/IEC 15444-1, B.12).
#pragma once

#include <functional>

#include "j2k_tile.h"

namespace zmc::j2k {

struct PacketPlace {
  int component = 0;
  int resolution = 0;
  int64_t precinct = 0;
  int layer = 0;
};

// Calls `visit` for each packet of the tile in codestream order, no packet twice, until it returns false.
void ForEachPacket(Tile& tile, const TileParameters& parameters, const std::function<bool(const PacketPlace&)>& visit);

}  // namespace zmc::j2k
