#include "j2k_output.h"

#include <algorithm>
#include <cmath>

#include "failure.h"
#include "zmcj.h"

namespace zmc::j2k {
namespace {

constexpr int kMaxBits = 24;

// Brings samples from around zero (unsigned ones were shifted there; signed ones are shown that way) to 0 .. 2^bits
// - 1.
void ShiftAndClamp(int32_t* row, int64_t width, int bits) {
  const int32_t offset = 1 << (bits - 1), limit = (1 << bits) - 1;
  for (int64_t x = 0; x < width; ++x) {
    row[x] = std::clamp(static_cast<int32_t>(static_cast<uint32_t>(row[x]) + static_cast<uint32_t>(offset)), 0, limit);
  }
}

// The same for samples with fraction bits, rounded.
void ScaleAndClamp(int32_t* row, int64_t width, int bits, int fraction_bits) {
  const float scale = std::ldexp(1.0f, -fraction_bits);
  const float offset = std::ldexp(1.0f, bits - 1) + 0.5f, limit = std::ldexp(1.0f, bits) - 1;
  for (int64_t x = 0; x < width; ++x) {
    row[x] = static_cast<int32_t>(std::clamp(static_cast<float>(row[x]) * scale + offset, 0.0f, limit));
  }
}

// The irreversible component transform's inverse (ISO/IEC 15444-1, G.3.2), shifted, rounded and clamped.
void InverseIrreversibleColour(int32_t* c0, int32_t* c1, int32_t* c2, int64_t width, int bits, int fraction_bits) {
  const float scale = std::ldexp(1.0f, -fraction_bits);
  const float offset = std::ldexp(1.0f, bits - 1) + 0.5f, limit = std::ldexp(1.0f, bits) - 1;
  for (int64_t x = 0; x < width; ++x) {
    const float y = static_cast<float>(c0[x]) * scale + offset;
    const float cb = static_cast<float>(c1[x]) * scale, cr = static_cast<float>(c2[x]) * scale;
    c0[x] = static_cast<int32_t>(std::clamp(y + 1.402f * cr, 0.0f, limit));
    c1[x] = static_cast<int32_t>(std::clamp(y - 0.344136f * cb - 0.714136f * cr, 0.0f, limit));
    c2[x] = static_cast<int32_t>(std::clamp(y + 1.772f * cb, 0.0f, limit));
  }
}

// From one full range to another.
void ChangeDepth(int32_t* row, int64_t width, int from, int to) {
  if (from > to) {
    for (int64_t x = 0; x < width; ++x) row[x] >>= from - to;
  } else if (from < to) {
    const int32_t range = (1 << from) - 1, target = (1 << to) - 1;
    for (int64_t x = 0; x < width; ++x) {
      row[x] = static_cast<int32_t>((int64_t{row[x]} * target + range / 2) / range);
    }
  }
}

template <typename Sample>
void Interleave(const std::vector<const int32_t*>& channels, int64_t width, Sample* to) {
  if (channels.size() == 3) {
    const int32_t *r = channels[0], *g = channels[1], *b = channels[2];
    for (int64_t x = 0; x < width; ++x, to += 3) {
      to[0] = static_cast<Sample>(r[x]);
      to[1] = static_cast<Sample>(g[x]);
      to[2] = static_cast<Sample>(b[x]);
    }
    return;
  }
  for (size_t c = 0; c < channels.size(); ++c) {
    for (int64_t x = 0; x < width; ++x) {
      to[static_cast<size_t>(x) * channels.size() + c] = static_cast<Sample>(channels[c][x]);
    }
  }
}

}  // namespace

Output::Output(const ImageSize& size, const Container& container, int reduce, const std::optional<Rect>& region)
    : size_(size), container_(container), reduce_(reduce), channels_(ShownChannels(container, size.components.size())) {
  shown_.resize(size.components.size());
  int bits = 0;
  for (const ChannelSource& source : channels_) {
    const ComponentSize& c = size.components[static_cast<size_t>(source.component)];
    if (c.bits > kMaxBits) throw Failure("JPEG 2000: samples of more than 24 bits are not supported");
    shown_[static_cast<size_t>(source.component)] = true;
    dx_ = std::min(dx_, c.dx);
    dy_ = std::min(dy_, c.dy);
    const auto column = static_cast<size_t>(source.palette_column);
    bits = std::max(bits, source.palette_column < 0 ? c.bits : container.palette.bits[column]);
  }
  // A bare codestream does not say, but only YCC is worth sub-sampling.
  const auto& components = size.components;
  const bool subsampled = components.size() >= 3 && components[0].dx == 1 && components[1].dx > 1;
  ycc_ = channels_.size() >= 3 && (container.colour == Container::Colour::kYcc ||
                                   (container.colour == Container::Colour::kUnknown && subsampled));
  area_ = Grid(size.image);
  if (region) {
    const int64_t x = CeilDiv(size.image.x0, dx_), y = CeilDiv(size.image.y0, dy_);
    const Rect moved = {x + region->x0, y + region->y0, x + region->x1, y + region->y1};
    area_ = Intersect({CeilShift(moved.x0, reduce), CeilShift(moved.y0, reduce), CeilShift(moved.x1, reduce),
                       CeilShift(moved.y1, reduce)},
                      area_);
  }
  if (area_.empty()) throw Failure("JPEG 2000: no pixels in this region at this resolution");
  format_.width = area_.width();
  format_.height = area_.height();
  format_.channels = static_cast<int>(channels_.size());
  format_.bits = std::min(bits, 16);
}

Rect Output::Grid(const Rect& r) const {
  return {CeilShift(CeilDiv(r.x0, dx_), reduce_), CeilShift(CeilDiv(r.y0, dy_), reduce_),
          CeilShift(CeilDiv(r.x1, dx_), reduce_), CeilShift(CeilDiv(r.y1, dy_), reduce_)};
}

Rect Output::Samples(int component, const Rect& pixels) const {
  const ComponentSize& c = size_.components[static_cast<size_t>(component)];
  return {pixels.x0 * dx_ / c.dx, pixels.y0 * dy_ / c.dy, (pixels.x1 - 1) * dx_ / c.dx + 1,
          (pixels.y1 - 1) * dy_ / c.dy + 1};
}

// Whole rows of the components' own samples, with the component transform undone, in 0 .. 2^bits - 1.
void Output::LoadComponents(const DecodedTile& tile, int64_t y, Scratch& scratch) const {
  const size_t count = tile.planes.size();
  scratch.resize(count + 4);  // four channels behind them
  for (size_t c = 0; c < count; ++c) {
    const Plane& plane = tile.planes[c];
    scratch[c].clear();
    if (plane.samples.empty()) continue;
    const int64_t sample_y = y * dy_ / size_.components[c].dy - tile.rects[c].y0;
    const int32_t* row = plane.Row(std::clamp<int64_t>(sample_y, 0, plane.height - 1));
    scratch[c].assign(row, row + plane.width);
  }
  const auto& first = tile.parameters.components[0];
  const int bits = size_.components[0].bits;
  const bool colour = tile.parameters.colour_transform && count >= 3 && !tile.planes[0].samples.empty() &&
                      !tile.planes[1].samples.empty() && !tile.planes[2].samples.empty() &&
                      scratch[0].size() == scratch[1].size() && scratch[0].size() == scratch[2].size();
  if (colour) {
    int32_t* rows[3] = {scratch[0].data(), scratch[1].data(), scratch[2].data()};
    const int64_t width = tile.planes[0].width;
    if (first.coding.reversible) {
      const int32_t count32 = static_cast<int32_t>(width);
      zmciRCTInv_JPEG2K_32s_P3IR(rows, count32 * 4, {count32, 1});
    } else {
      InverseIrreversibleColour(rows[0], rows[1], rows[2], width, bits, FractionBits(bits));
    }
  }
  for (size_t c = 0; c < count; ++c) {
    const bool reversible = tile.parameters.components[c].coding.reversible;
    if (scratch[c].empty() || (colour && c < 3 && !reversible)) continue;
    const int own_bits = size_.components[c].bits;
    const auto width = static_cast<int64_t>(scratch[c].size());
    if (reversible) {
      ShiftAndClamp(scratch[c].data(), width, own_bits);
    } else {
      ScaleAndClamp(scratch[c].data(), width, own_bits, FractionBits(own_bits));
    }
  }
}

// A channel's pixels of the area: replicated where its component is sub-sampled, through the palette, at the common
// depth.
void Output::LoadChannel(const DecodedTile& tile, const ChannelSource& source, const Rect& area, const Scratch& scratch,
                         int32_t* to) const {
  const auto c = static_cast<size_t>(source.component);
  const std::vector<int32_t>& row = scratch[c];
  const ComponentSize& component = size_.components[c];
  const int64_t width = area.width();
  const int64_t origin = tile.rects[c].x0;
  if (row.empty()) {
    std::fill(to, to + width, 0);
  } else if (component.dx == dx_) {
    std::copy_n(row.data() + (area.x0 - origin), width, to);
  } else {
    const auto last = static_cast<int64_t>(row.size()) - 1;
    for (int64_t x = 0; x < width; ++x) {
      const int64_t sample_x = (area.x0 + x) * dx_ / component.dx - origin;
      to[x] = row[static_cast<size_t>(std::clamp<int64_t>(sample_x, 0, last))];
    }
  }
  int bits = component.bits;
  if (source.palette_column >= 0) {
    const auto& column = container_.palette.columns[static_cast<size_t>(source.palette_column)];
    bits = container_.palette.bits[static_cast<size_t>(source.palette_column)];
    for (int64_t x = 0; x < width; ++x) to[x] = column[std::min(static_cast<size_t>(to[x]), column.size() - 1)];
  }
  ChangeDepth(to, width, bits, format_.bits);
}

void Output::YccToRgb(int64_t width, int32_t* y, int32_t* cb, int32_t* cr) const {
  const int32_t centre = 1 << (format_.bits - 1);
  for (int64_t x = 0; x < width; ++x) {
    y[x] -= centre;
    cb[x] -= centre;
    cr[x] -= centre;
  }
  InverseIrreversibleColour(y, cb, cr, width, format_.bits, 0);
}

void Output::WriteRow(const DecodedTile& tile, int64_t y, void* to, Scratch& scratch) const {
  const Rect area = TileArea(tile.rect);
  LoadComponents(tile, y, scratch);
  std::vector<const int32_t*> channels;
  for (size_t i = 0; i < channels_.size(); ++i) {
    auto& row = scratch[tile.planes.size() + i];
    row.resize(static_cast<size_t>(area.width()));
    LoadChannel(tile, channels_[i], area, scratch, row.data());
    channels.push_back(row.data());
  }
  if (ycc_) {
    auto* rows = &scratch[tile.planes.size()];
    YccToRgb(area.width(), rows[0].data(), rows[1].data(), rows[2].data());
  }
  if (format_.bits > 8) {
    Interleave(channels, area.width(), static_cast<uint16_t*>(to));
  } else {
    Interleave(channels, area.width(), static_cast<uint8_t*>(to));
  }
}

}  // namespace zmc::j2k
