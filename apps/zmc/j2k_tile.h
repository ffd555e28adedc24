// How a tile divides: components, resolutions, subbands, precincts, code-blocks (ISO/IEC 15444-1, Annex B).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "j2k_codestream.h"
#include "j2k_tag_tree.h"

namespace zmc::j2k {

// Values as the library's block coder takes them.
enum Orientation : int { kLL = 0, kLH = 1, kHL = 2, kHH = 3 };

struct Band {
  int component = 0;
  Orientation orientation = kLL;
  int level = 0;        // decompositions between the full resolution and this band
  Rect rect;            // on the band's own grid
  int64_t plane_x = 0;  // where the band lies in its component's plane: the small resolutions sit in the
  int64_t plane_y = 0;  // top-left corner, as the in-place wavelet leaves them
  double step = 1;      // of the quantiser; 1 on the reversible path
  int planes = 0;       // magnitude bit-planes with region-of-interest shift: M_b of the standard
};

struct CodeBlock {
  Rect rect;         // on the band's grid
  int payload = -1;  // index of what the encoder or decoder knows of it; decoder: negative before its first packet
  // State of the packet headers.
  int passes = 0;
  int length_bits = 3;
  int zero_planes = 0;
};

// What of one band lies in one precinct.
struct PrecinctBand {
  const Band* band = nullptr;
  int blocks_wide = 0, blocks_high = 0;
  std::vector<CodeBlock> blocks;
  TagTree inclusion;    // the layer in which a block comes first
  TagTree zero_planes;  // its bit-planes without anything, from the top
};

struct Precinct {
  std::vector<PrecinctBand> bands;
};

struct Resolution {
  Rect rect;
  int64_t precincts_wide = 0, precincts_high = 0;
  std::vector<Band> bands;                           // one for the smallest, three for the others
  std::vector<std::unique_ptr<Precinct>> precincts;  // each made when first asked for
  std::vector<int> layers_done;                      // by precinct: packets read or written
};

// A codestream of a few bytes may claim billions of precincts or blocks: beyond these numbers they are a Failure.
struct TileLimits {
  int64_t precincts = INT64_MAX;
  int64_t blocks = INT64_MAX;  // of a component
};

class TileComponent {
 public:
  TileComponent(const ImageSize& size, const ComponentParameters& parameters, const Rect& tile, int component,
                int64_t max_blocks);

  const ComponentParameters& parameters() const { return parameters_; }
  int levels() const { return parameters_.coding.levels; }
  Precinct& PrecinctAt(int resolution, int64_t index);
  // The reference-grid position that places a precinct in position-driven progressions.
  int64_t PrecinctX(int resolution, int64_t index) const;
  int64_t PrecinctY(int resolution, int64_t index) const;
  int64_t PrecinctCount() const;

  Rect rect;  // of samples
  std::vector<Resolution> resolutions;

 private:
  const ComponentParameters& parameters_;
  ComponentSize sampling_;
  Rect tile_;
  int64_t blocks_left_;
};

struct Tile {
  // The parameters outlive the tile.
  Tile(const ImageSize& size, const TileParameters& parameters, const Rect& tile_rect, const TileLimits& limits = {});
  Rect rect;
  std::vector<TileComponent> components;
};

// The index of the first pass that is not in the codeword segment of `pass`, under a sum of BlockStyle: bypass ends a
// segment wherever arithmetic coding and raw bits take turns (Table D.9).
int SegmentEnd(int style, int pass);

}  // namespace zmc::j2k
