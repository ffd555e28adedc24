#include "j2k_block_encoder.h"

#include <algorithm>
#include <cmath>

#include "failure.h"
#include "j2k_block_decoder.h"

namespace zmc::j2k {
namespace {

constexpr int kShortestTermination = 1, kPredictableTermination = 2;

void QuantiseRow(const int32_t* from, int64_t width, float scale, int32_t* to) {
  for (int64_t x = 0; x < width; ++x) to[x] = static_cast<int32_t>(static_cast<float>(from[x]) * scale);
}

}  // namespace

BlockEncoder::~BlockEncoder() {
  if (state_ != nullptr) zmciEncodeFree_JPEG2K(state_);
}

void BlockEncoder::Reserve(int width, int height) {
  if (state_ != nullptr && width <= width_ && height <= height_) return;
  if (state_ != nullptr) zmciEncodeFree_JPEG2K(state_);
  state_ = nullptr;
  width_ = std::max(width, width_);
  height_ = std::max(height, height_);
  if (zmciEncodeInitAlloc_JPEG2K(&state_, width_, height_) != zmcStatusOk) throw std::bad_alloc();
}

void BlockEncoder::Encode(const Plane& plane, const BlockEncoding& encoding, EncodedBlock& block) {
  const ZmciSize size = {static_cast<int32_t>(block.rect.width()), static_cast<int32_t>(block.rect.height())};
  Reserve(size.width, size.height);
  const Band& band = *block.band;
  const int64_t y = band.plane_y + block.rect.y0 - band.rect.y0;
  const int32_t* samples = plane.Row(y) + band.plane_x + block.rect.x0 - band.rect.x0;
  int step = plane.Step();
  const double weight = std::ldexp(encoding.weight, 2 * encoding.dropped_planes);
  if (encoding.scale > 0) {
    quantised_.resize(static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
    const auto scale = static_cast<float>(std::ldexp(encoding.scale, -encoding.dropped_planes));
    for (int64_t i = 0; i < size.height; ++i) {
      QuantiseRow(samples + i * plane.width, size.width, scale, quantised_.data() + i * size.width);
    }
    samples = quantised_.data();
    step = size.width * 4;
  }
  const int style = encoding.style;
  const int termination = (style & kPredictable) != 0 ? kPredictableTermination : kShortestTermination;
  const int predictable_flag = (style & kPredictable) != 0 ? 0x20 : 0;
  uint32_t planes = 0, passes = 0, segments = 0;
  const ZmcStatus status =
      zmciEncodeLoadCodeBlock_JPEG2K_32s_C1R(samples, step, size, state_, band.orientation, 31, termination, 0,
                                             BlockFlags(style) | predictable_flag, &planes, &passes, &segments);
  if (status != zmcStatusOk) throw Failure("a code-block could not be coded");
  block.zero_planes = band.planes - static_cast<int>(planes) - (passes > 0 ? encoding.dropped_planes : 0);
  if (block.zero_planes < 0) throw Failure("coefficients beyond the range that the quantisation allows");
  StorePasses(style, passes, weight, block);
}

void BlockEncoder::StorePasses(int style, uint32_t passes, double weight, EncodedBlock& block) {
  block.passes.clear();
  block.bytes.clear();
  int32_t unfinished = passes > 0 ? 1 : 0;
  size_t used = 0;
  while (unfinished != 0) {
    if (used == bytes_.size()) bytes_.resize(std::max<size_t>(1 << 14, 2 * used));
    auto room = static_cast<int32_t>(bytes_.size() - used);
    if (zmciEncodeStoreBits_JPEG2K_1u(bytes_.data() + used, &room, state_, &unfinished) != zmcStatusOk) {
      throw Failure("a code-block could not be coded");
    }
    used += static_cast<size_t>(room);
  }
  block.bytes.assign(bytes_.begin(), bytes_.begin() + static_cast<ptrdiff_t>(used));
  for (int i = 0; i < static_cast<int>(passes); ++i) {
    EncodedBlock::Pass pass{};
    zmciEncodeGetRate_JPEG2K(state_, i, &pass.length);
    zmciEncodeGetDist_JPEG2K(state_, i, &pass.distortion);
    pass.distortion *= weight;
    pass.length = std::min(pass.length, static_cast<uint32_t>(used));
    // A cut codeword must not end in 0xFF: a decoder supplies it.
    const bool ends_segment = i + 1 == static_cast<int>(passes) || SegmentEnd(style, i) == i + 1;
    const uint32_t before = block.passes.empty() ? 0 : block.passes.back().length;
    while (!ends_segment && pass.length > before && block.bytes[pass.length - 1] == 0xFF) --pass.length;
    block.passes.push_back(pass);
  }
}

}  // namespace zmc::j2k
