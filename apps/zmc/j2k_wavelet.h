// A tile-component's samples, and the levels of its wavelet on the library's two-dimensional transforms.
#pragma once

#include <cstdint>
#include <vector>

#include "j2k_tile.h"

namespace zmc::j2k {

struct Plane {
  int64_t width = 0, height = 0;
  std::vector<int32_t> samples;
  Plane() = default;
  Plane(int64_t w, int64_t h) : width(w), height(h), samples(static_cast<size_t>(w * h)) {}
  int32_t* Row(int64_t y) { return samples.data() + y * width; }
  const int32_t* Row(int64_t y) const { return samples.data() + y * width; }
  int Step() const { return static_cast<int>(width * 4); }
};

// The irreversible path carries this many fraction bits in its integers. With the sample's own bits and the growth in
// the wavelet (under 4 bits) they stay within the 24 bits of the single-precision arithmetic inside.
constexpr int FractionBits(int sample_bits) { return sample_bits <= 8 ? 12 : sample_bits < 20 ? 20 - sample_bits : 0; }

// In place: the smallest resolution ends in the top-left corner, each level's bands around it.
void ForwardWavelet(const TileComponent& component, Plane& plane);
// Up to and including resolution `last`; the plane has that resolution's size.
void InverseWavelet(const TileComponent& component, int last, Plane& plane);

// The L2 norm of what one unit in a band of `level` decompositions becomes in the picture, for the 9/7 wavelet: an
// error in the band weighs that much.
double SynthesisNorm(int level, Orientation orientation);

}  // namespace zmc::j2k
