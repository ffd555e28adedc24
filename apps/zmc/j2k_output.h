// From component samples to rows of a picture: inverse component transform, replication of sub-sampled components,
// palette, sYCC, common depth, interleaving.
#pragma once

#include <optional>
#include <vector>

#include "j2k_boxes.h"
#include "j2k_wavelet.h"
#include "picture.h"

namespace zmc::j2k {

struct DecodedTile {
  Rect rect;  // on the reference grid
  TileParameters parameters;
  std::vector<Rect> rects;    // by component, on its own grid at the decoded resolution
  std::vector<Plane> planes;  // of the components that are shown
};

class Output {
 public:
  // `region`: in pixels of the whole picture at full resolution.
  Output(const ImageSize& size, const Container& container, int reduce, const std::optional<Rect>& region);

  const PictureFormat& format() const { return format_; }
  bool Shows(int component) const { return shown_[static_cast<size_t>(component)]; }
  // The pixels of the picture, or of it a tile's share, on the grid of output pixels.
  const Rect& area() const { return area_; }
  Rect TileArea(const Rect& tile) const { return Intersect(Grid(tile), area_); }
  // The samples of a component that these pixels need, on its grid at the decoded resolution.
  Rect Samples(int component, const Rect& pixels) const;

  // One row of the tile's area, to where the area's first pixel goes. `scratch` belongs to the calling thread.
  using Scratch = std::vector<std::vector<int32_t>>;
  void WriteRow(const DecodedTile& tile, int64_t y, void* to, Scratch& scratch) const;

 private:
  Rect Grid(const Rect& reference) const;
  void LoadComponents(const DecodedTile& tile, int64_t y, Scratch& scratch) const;
  void LoadChannel(const DecodedTile& tile, const ChannelSource& source, const Rect& area, const Scratch& scratch,
                   int32_t* to) const;
  void YccToRgb(int64_t width, int32_t* y, int32_t* cb, int32_t* cr) const;

  const ImageSize& size_;
  const Container& container_;
  int reduce_;
  int dx_ = 255, dy_ = 255;  // of the output grid: the finest of the shown components
  std::vector<ChannelSource> channels_;
  std::vector<char> shown_;
  bool ycc_ = false;
  Rect area_;
  PictureFormat format_;
};

}  // namespace zmc::j2k
