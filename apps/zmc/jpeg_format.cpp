#include "jpeg_format.h"

#include <algorithm>
#include <numeric>

namespace zmc::jpeg {
namespace {

int CeilDiv(int64_t a, int64_t b) { return static_cast<int>((a + b - 1) / b); }

}  // namespace

int HuffmanTable::Count() const { return std::accumulate(bits.begin(), bits.end(), 0); }

void Frame::Layout() {
  h_max = v_max = 1;
  for (const Component& c : components) {
    h_max = std::max(h_max, c.h);
    v_max = std::max(v_max, c.v);
  }
  mcus_wide = CeilDiv(width, 8 * h_max);
  mcus_high = CeilDiv(height, 8 * v_max);
  for (Component& c : components) {
    c.width = CeilDiv(int64_t{width} * c.h, h_max);
    c.height = CeilDiv(int64_t{height} * c.v, v_max);
    c.blocks_wide = CeilDiv(c.width, 8);
    c.blocks_high = CeilDiv(c.height, 8);
    c.padded_wide = mcus_wide * c.h;
    c.padded_high = mcus_high * c.v;
  }
}

int64_t Frame::PaddedBlocks() const {
  int64_t blocks = 0;
  for (const Component& c : components) blocks += int64_t{c.padded_wide} * c.padded_high;
  return blocks;
}

ScanShape ShapeOf(const Frame& frame, const Scan& scan) {
  if (scan.components.size() == 1) {
    const int index = scan.components[0].index;
    const Component& c = frame.components[static_cast<size_t>(index)];
    return {c.blocks_wide, c.blocks_high, {{0, index, 0, 0, 1, 1}}};
  }
  ScanShape shape = {frame.mcus_wide, frame.mcus_high, {}};
  for (int i = 0; i < static_cast<int>(scan.components.size()); ++i) {
    const int index = scan.components[static_cast<size_t>(i)].index;
    const Component& c = frame.components[static_cast<size_t>(index)];
    for (int y = 0; y < c.v; ++y) {
      for (int x = 0; x < c.h; ++x) shape.places.push_back({i, index, x, y, c.h, c.v});
    }
  }
  return shape;
}

}  // namespace zmc::jpeg
