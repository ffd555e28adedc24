#include "j2k_tile.h"

#include <algorithm>
#include <cmath>

#include "failure.h"

namespace zmc::j2k {
namespace {

Rect ShiftRect(const Rect& r, int n) {
  return {CeilShift(r.x0, n), CeilShift(r.y0, n), CeilShift(r.x1, n), CeilShift(r.y1, n)};
}

// A band's share of a tile-component (equation B-15): samples at odd positions of `level` for the high-pass direction.
Rect BandRect(const Rect& component, int level, Orientation orientation) {
  if (level == 0) return component;
  const int64_t half = int64_t{1} << (level - 1);
  const int64_t dx = (orientation & kHL) != 0 ? half : 0;
  const int64_t dy = (orientation & kLH) != 0 ? half : 0;
  return ShiftRect(Rect{component.x0 - dx, component.y0 - dy, component.x1 - dx, component.y1 - dy}, level);
}

// The bits that a band's samples grow by in the wavelet (Table E.1).
int BandGain(Orientation orientation) { return orientation == kLL ? 0 : orientation == kHH ? 2 : 1; }

}  // namespace

TileComponent::TileComponent(const ImageSize& size, const ComponentParameters& parameters, const Rect& tile,
                             int component, int64_t max_blocks)
    : parameters_(parameters),
      sampling_(size.components[static_cast<size_t>(component)]),
      tile_(tile),
      blocks_left_(max_blocks) {
  rect = {CeilDiv(tile.x0, sampling_.dx), CeilDiv(tile.y0, sampling_.dy), CeilDiv(tile.x1, sampling_.dx),
          CeilDiv(tile.y1, sampling_.dy)};
  const CodingStyle& coding = parameters.coding;
  const Quantisation& quantisation = parameters.quantisation;
  resolutions.resize(static_cast<size_t>(coding.levels) + 1);
  for (size_t r = 0; r < resolutions.size(); ++r) {
    Resolution& resolution = resolutions[r];
    resolution.rect = ShiftRect(rect, coding.levels - static_cast<int>(r));
    const Rect& here = resolution.rect;
    const int px = coding.precinct_width_log2[r], py = coding.precinct_height_log2[r];
    if (!here.empty()) {
      resolution.precincts_wide = CeilShift(here.x1, px) - (here.x0 >> px);
      resolution.precincts_high = CeilShift(here.y1, py) - (here.y0 >> py);
    }
    const size_t first = r == 0 ? 0 : 3 * r - 2;  // number of this resolution's first band
    for (size_t b = 0; b < (r == 0 ? 1u : 3u); ++b) {
      Band band;
      band.component = component;
      band.orientation = r == 0 ? kLL : b == 0 ? kHL : b == 1 ? kLH : kHH;
      band.level = coding.levels - static_cast<int>(r) + (r == 0 ? 0 : 1);
      band.rect = BandRect(rect, band.level, band.orientation);
      if ((band.orientation & kHL) != 0) band.plane_x = resolutions[r - 1].rect.width();
      if ((band.orientation & kLH) != 0) band.plane_y = resolutions[r - 1].rect.height();
      const Quantisation::Step& step = quantisation.steps[first + b];
      band.planes = quantisation.guard_bits + step.exponent - 1 + parameters.roi_shift;
      if (!coding.reversible) {  // equation E-3
        band.step = std::ldexp(1 + step.mantissa / 2048.0, sampling_.bits + BandGain(band.orientation) - step.exponent);
      }
      resolution.bands.push_back(band);
    }
  }
}

int64_t TileComponent::PrecinctCount() const {
  int64_t count = 0;
  for (const Resolution& r : resolutions) count += r.precincts_wide * r.precincts_high;
  return count;
}

Precinct& TileComponent::PrecinctAt(int r, int64_t index) {
  Resolution& resolution = resolutions[static_cast<size_t>(r)];
  auto& precinct = resolution.precincts[static_cast<size_t>(index)];
  if (precinct) return *precinct;
  precinct = std::make_unique<Precinct>();
  const CodingStyle& coding = parameters_.coding;
  // Above the smallest resolution a precinct covers half as much of each band in either direction.
  const int half = r > 0 ? 1 : 0;
  const int px = coding.precinct_width_log2[static_cast<size_t>(r)] - half;
  const int py = coding.precinct_height_log2[static_cast<size_t>(r)] - half;
  const int bx = std::min(coding.block_width_log2, px);
  const int by = std::min(coding.block_height_log2, py);
  const int64_t column = (resolution.rect.x0 >> (px + half)) + index % resolution.precincts_wide;
  const int64_t row = (resolution.rect.y0 >> (py + half)) + index / resolution.precincts_wide;
  for (const Band& band : resolution.bands) {
    PrecinctBand part;
    part.band = &band;
    const Rect cover = Intersect({column << px, row << py, (column + 1) << px, (row + 1) << py}, band.rect);
    if (!cover.empty()) {
      const int64_t x0 = cover.x0 >> bx, y0 = cover.y0 >> by;
      part.blocks_wide = static_cast<int>(CeilShift(cover.x1, bx) - x0);
      part.blocks_high = static_cast<int>(CeilShift(cover.y1, by) - y0);
      blocks_left_ -= int64_t{part.blocks_wide} * part.blocks_high;
      if (blocks_left_ < 0) throw Failure("JPEG 2000: more code-blocks than the data can hold");
      for (int64_t y = y0; y < y0 + part.blocks_high; ++y) {
        for (int64_t x = x0; x < x0 + part.blocks_wide; ++x) {
          CodeBlock block;
          block.rect = Intersect({x << bx, y << by, (x + 1) << bx, (y + 1) << by}, cover);
          part.blocks.push_back(block);
        }
      }
    }
    part.inclusion = TagTree(part.blocks_wide, part.blocks_high);
    part.zero_planes = TagTree(part.blocks_wide, part.blocks_high);
    precinct->bands.push_back(std::move(part));
  }
  return *precinct;
}

int64_t TileComponent::PrecinctX(int r, int64_t index) const {
  const Resolution& resolution = resolutions[static_cast<size_t>(r)];
  const int px = parameters_.coding.precinct_width_log2[static_cast<size_t>(r)];
  const int64_t x = ((resolution.rect.x0 >> px) + index % resolution.precincts_wide) << px;
  return x < resolution.rect.x0 ? tile_.x0 : (x << (levels() - r)) * sampling_.dx;
}

int64_t TileComponent::PrecinctY(int r, int64_t index) const {
  const Resolution& resolution = resolutions[static_cast<size_t>(r)];
  const int py = parameters_.coding.precinct_height_log2[static_cast<size_t>(r)];
  const int64_t y = ((resolution.rect.y0 >> py) + index / resolution.precincts_wide) << py;
  return y < resolution.rect.y0 ? tile_.y0 : (y << (levels() - r)) * sampling_.dy;
}

Tile::Tile(const ImageSize& size, const TileParameters& parameters, const Rect& tile_rect, const TileLimits& limits)
    : rect(tile_rect) {
  int64_t precincts = 0;
  for (size_t c = 0; c < size.components.size(); ++c) {
    components.emplace_back(size, parameters.components[c], tile_rect, static_cast<int>(c), limits.blocks);
    precincts += components.back().PrecinctCount();
    if (precincts > limits.precincts) throw Failure("JPEG 2000: more precincts than the data can hold");
  }
  for (TileComponent& component : components) {
    for (Resolution& r : component.resolutions) {
      r.precincts.resize(static_cast<size_t>(r.precincts_wide * r.precincts_high));
      r.layers_done.resize(r.precincts.size());
    }
  }
}

int SegmentEnd(int style, int pass) {
  if ((style & kTermall) != 0) return pass + 1;
  if ((style & kBypass) == 0) return INT32_MAX;
  if (pass < 10) return 10;
  // From the fifth bit-plane on: significance and refinement raw, then the cleanup pass.
  const int plane_start = 10 + (pass - 10) / 3 * 3;
  return pass < plane_start + 2 ? plane_start + 2 : plane_start + 3;
}

}  // namespace zmc::j2k
