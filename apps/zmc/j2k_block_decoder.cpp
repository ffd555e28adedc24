#include "j2k_block_decoder.h"

#include <algorithm>
#include <cmath>

#include "zmcj.h"

namespace zmc::j2k {
namespace {

// The decoder's own options.
constexpr int kConceal = 0x10000;       // after damage keep what is sure
constexpr int kKeepHalfStep = 0x40000;  // reconstruct in the middle of the interval that is left
constexpr int kCheckTermination = 0x100000;

constexpr uint32_t kMagnitude = 0x7FFFFFFF;
constexpr int kMaxPlanes = 31;

// Samples of the region of interest were coded that many planes higher than all others (ISO/IEC 15444-1, Annex H).
void LowerRegionOfInterest(int32_t* row, int64_t width, int shift) {
  for (int64_t x = 0; x < width; ++x) {
    const auto word = static_cast<uint32_t>(row[x]);
    const uint32_t lowered = (word & kMagnitude) >> shift;
    // The last bit is the half step and does not count.
    if (lowered > 1) row[x] = static_cast<int32_t>((word & ~kMagnitude) | lowered);
  }
}

// Sign and magnitude with a half-step bit, to integers.
void StoreReversible(const int32_t* from, int64_t width, int dropped_bits, int32_t* to) {
  for (int64_t x = 0; x < width; ++x) {
    const auto magnitude = static_cast<int32_t>((static_cast<uint32_t>(from[x]) & kMagnitude) >> dropped_bits);
    const int32_t sign = from[x] >> 31;
    to[x] = (magnitude ^ sign) - sign;
  }
}

void StoreScaled(const int32_t* from, int64_t width, float scale, int32_t* to) {
  constexpr float kLimit = 1 << 30;  // hostile data may claim any step
  for (int64_t x = 0; x < width; ++x) {
    const auto magnitude = static_cast<int32_t>(static_cast<uint32_t>(from[x]) & kMagnitude);
    const auto scaled = static_cast<int32_t>(std::min(static_cast<float>(magnitude) * scale, kLimit));
    const int32_t sign = from[x] >> 31;
    to[x] = (scaled ^ sign) - sign;
  }
}

}  // namespace

int BlockFlags(int style) {
  int flags = 0;
  if ((style & kCausal) != 0) flags |= 0x1;
  if ((style & kBypass) != 0) flags |= 0x2;
  if ((style & kTermall) != 0) flags |= 0x4;
  if ((style & kReset) != 0) flags |= 0x8;
  if ((style & kSegsym) != 0) flags |= 0x10;
  return flags;
}

void BlockDecoder::Join(const BlockInput& block) {
  joined_.clear();
  for (const Bytes& chunk : block.chunks) joined_.insert(joined_.end(), chunk.begin(), chunk.end());
  lengths_ = block.segment_lengths;
}

// Encoders leave out raw bytes that end in ones: a decoder reads ones behind the end. The library's check of raw
// segments counts bytes, so it gets the longest ending that may be left out.
void BlockDecoder::FillRawSegments(int style) {
  filled_.clear();
  auto next = joined_.begin();
  int pass = 0;
  for (uint32_t& length : lengths_) {
    filled_.insert(filled_.end(), next, next + length);
    next += length;
    if (pass >= 10 && (pass - 10) % 3 < 2) {
      filled_.insert(filled_.end(), {0xFF, 0x7F});
      length += 2;
    }
    pass = SegmentEnd(style, pass);
  }
  joined_.swap(filled_);
}

bool BlockDecoder::Decode(const BlockInput& block, const ComponentParameters& parameters, int fraction_bits,
                          Plane& plane) {
  if (block.passes == 0) return true;
  if (block.planes < 1 || block.planes > kMaxPlanes) return false;
  const ZmciSize size = {static_cast<int32_t>(block.rect.width()), static_cast<int32_t>(block.rect.height())};
  uint32_t work_bytes = 0;
  zmciDecodeGetBufSize_JPEG2K(size.width, size.height, &work_bytes);
  work_.resize(std::max(work_.size(), size_t{work_bytes}));
  coefficients_.resize(
      std::max(coefficients_.size(), static_cast<size_t>(size.width) * static_cast<size_t>(size.height)));
  const int style = parameters.coding.style;
  const uint8_t* data = block.chunks.empty() ? work_.data() : block.chunks[0].data();
  const std::vector<uint32_t>* lengths = &block.segment_lengths;
  if (block.chunks.size() > 1 || (style & kBypass) != 0) {
    Join(block);
    if ((style & kBypass) != 0) FillRawSegments(style);
    data = joined_.empty() ? work_.data() : joined_.data();
    lengths = &lengths_;
  }
  // Decoded one plane higher, so that the half step below the last plane has a bit too.
  const int half = block.planes < kMaxPlanes ? 1 : 0;
  int flags = BlockFlags(style) | kConceal | kKeepHalfStep;
  // Only where every pass ends a segment is the last one present sure to be terminated.
  if ((style & kTermall) != 0 && (style & kPredictable) != 0) flags |= kCheckTermination;
  const ZmcStatus status = zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(
      data, coefficients_.data(), size.width * 4, size, block.band->orientation, block.planes + half,
      std::min(block.passes, 3 * block.planes - 2), lengths->data(), static_cast<uint32_t>(lengths->size()), flags,
      nullptr, work_.data());

  const Band& band = *block.band;
  const int64_t x = band.plane_x + block.rect.x0 - band.rect.x0;
  const int64_t y = band.plane_y + block.rect.y0 - band.rect.y0;
  const auto scale = static_cast<float>(std::ldexp(band.step, fraction_bits - half));
  for (int64_t i = 0; i < size.height; ++i) {
    int32_t* from = coefficients_.data() + i * size.width;
    int32_t* to = plane.Row(y + i) + x;
    if (parameters.roi_shift > 0) LowerRegionOfInterest(from, size.width, std::min(parameters.roi_shift, 31));
    if (parameters.coding.reversible) {
      StoreReversible(from, size.width, half, to);
    } else {
      StoreScaled(from, size.width, scale, to);
    }
  }
  return status == zmcStatusOk;
}

}  // namespace zmc::j2k
