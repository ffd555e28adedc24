#include "j2k_progression.h"

#include <algorithm>
#include <array>

namespace zmc::j2k {
namespace {

struct PrecinctPlace {
  int component, resolution;
  int64_t precinct, x, y;
};

// What decides first, second, ... between two precincts. Layers are not among it.
std::array<int64_t, 5> SortKey(Progression order, const PrecinctPlace& p) {
  switch (order) {
    case Progression::kRPCL:
      return {p.resolution, p.y, p.x, p.component, p.precinct};
    case Progression::kPCRL:
      return {p.y, p.x, p.component, p.resolution, p.precinct};
    case Progression::kCPRL:
      return {p.component, p.y, p.x, p.resolution, p.precinct};
    default:
      return {p.resolution, p.component, p.precinct, 0, 0};
  }
}

std::vector<PrecinctPlace> PrecinctsOf(const Tile& tile, const ProgressionVolume& volume) {
  std::vector<PrecinctPlace> list;
  const int components = std::min(volume.end_component, static_cast<int>(tile.components.size()));
  for (int c = volume.first_component; c < components; ++c) {
    const TileComponent& component = tile.components[static_cast<size_t>(c)];
    const int resolutions = std::min(volume.end_resolution, component.levels() + 1);
    for (int r = volume.first_resolution; r < resolutions; ++r) {
      const auto& done = component.resolutions[static_cast<size_t>(r)].layers_done;
      for (int64_t p = 0; p < static_cast<int64_t>(done.size()); ++p) {
        if (done[static_cast<size_t>(p)] < volume.end_layer)
          list.push_back({c, r, p, component.PrecinctX(r, p), component.PrecinctY(r, p)});
      }
    }
  }
  std::sort(list.begin(), list.end(), [&](const PrecinctPlace& a, const PrecinctPlace& b) {
    return SortKey(volume.order, a) < SortKey(volume.order, b);
  });
  return list;
}

}  // namespace

void ForEachPacket(Tile& tile, const TileParameters& parameters, const std::function<bool(const PacketPlace&)>& visit) {
  for (const ProgressionVolume& volume : parameters.Volumes()) {
    const std::vector<PrecinctPlace> list = PrecinctsOf(tile, volume);
    const int layers = std::min(volume.end_layer, parameters.layers);
    // Precincts that go through all layers together: all, those of one resolution, or each alone.
    const auto together = [&](const PrecinctPlace& a, const PrecinctPlace& b) {
      if (volume.order == Progression::kLRCP) return true;
      return volume.order == Progression::kRLCP && a.resolution == b.resolution;
    };
    for (size_t begin = 0, end; begin < list.size(); begin = end) {
      for (end = begin + 1; end < list.size() && together(list[begin], list[end]);) ++end;
      for (int layer = 0; layer < layers; ++layer) {
        for (size_t i = begin; i < end; ++i) {
          const PrecinctPlace& p = list[i];
          auto& resolution =
              tile.components[static_cast<size_t>(p.component)].resolutions[static_cast<size_t>(p.resolution)];
          int& done = resolution.layers_done[static_cast<size_t>(p.precinct)];
          if (layer < done) continue;  // an earlier volume had this packet
          if (!visit({p.component, p.resolution, p.precinct, layer})) return;
          done = layer + 1;
        }
      }
    }
  }
}

}  // namespace zmc::j2k
