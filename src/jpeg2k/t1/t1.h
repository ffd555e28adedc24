// Code-block coding (tier 1, ISO/IEC 15444-1 Annexes C and D): what the decoder, the encoder and their kernels share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/level.h"
#include "zmcj.h"

namespace zmcj::t1 {

// Option bits of both directions (the code-block style of Table A.19), then the decoder's own.
enum Option : uint32_t {
  kCausal = 0x1,
  kBypass = 0x2,
  kTerminateEachPass = 0x4,
  kResetContexts = 0x8,
  kSegmentationSymbols = 0x10,
  kPredictableTermination = 0x20,  // encoder only
  kConceal = 0x10000,
  kDestinationIsZero = 0x20000,
  kKeepHalfSteps = 0x40000,
  kWorkBufferIsZero = 0x80000,
  kCheckTermination = 0x100000,
};

enum class Pass { kSignificance, kRefinement, kCleanup };

inline constexpr int kMaxPlanes = 31;
inline constexpr int kMaxPasses = 3 * kMaxPlanes - 2;  // the first plane has a cleanup pass only
inline constexpr int kStripe = 4;

// Passes below the four most significant planes are raw in the bypass mode, except the cleanup pass.
constexpr bool IsRaw(uint32_t options, Pass pass, int plane, int planes) {
  return (options & kBypass) != 0 && pass != Pass::kCleanup && plane < planes - 4;
}

// Bytes of the work buffer that a block needs, and of one of its rows: enough for one 32-bit word per two samples with
// a guard word at either end and a guard row above and below.
constexpr int64_t WorkRowBytes(int width) { return (int64_t{width} * 4 + 8 + 31) / 32 * 32; }
constexpr int64_t WorkBytes(int width, int height) {
  const int64_t rows = (int64_t{height} + 1) / 2 + 2, row_bytes = WorkRowBytes(width);
  // 2^33 bytes times 2^30 rows would not fit any more.
  return rows > 0 && row_bytes > INT64_MAX / rows ? INT64_MAX : rows * row_bytes;
}

// A block to decode. The work buffer is all zero.
struct DecodeJob {
  const uint8_t* src;
  int32_t* dst;
  int dst_step;
  ZmciSize size;
  int orientation;
  int planes;
  int passes;
  const uint32_t* segment_lengths;
  uint32_t segments;
  uint32_t options;
  unsigned char* work;
};

// Where decoding stopped: the plane of the last pass decoded (-1 after the last plane), and whether that pass found its
// data damaged.
struct DecodeEnd {
  int plane;
  bool fault;
};

// A block to encode, two's complement coefficients. The work buffer is all zero.
struct ModelJob {
  const int32_t* src;
  int src_step;
  ZmciSize size;
  int orientation;
  int magnitude_bits;
  uint32_t options;
  unsigned char* work;
  uint32_t* magnitudes;  // as many as MagnitudeWords tells
};

// Scratch words for the magnitudes of a block: stripes of whole groups of 16 columns.
constexpr int64_t MagnitudeWords(int width, int height) {
  return (int64_t{width} + 15) / 16 * 16 * ((int64_t{height} + kStripe - 1) / kStripe * kStripe);
}

// The decisions of a block's passes, one byte each: context times two plus the decision (a raw decision has context 0).
// A zero follows the last: the encoder reads one ahead.
struct Recording {
  uint8_t* decisions;
  int planes;
  int passes;
  int64_t end[kMaxPasses];        // of each pass, in decisions
  double distortion[kMaxPasses];  // the pass's reduction of the squared error
};

// An upper bound of the decisions of a block. A column of a stripe yields at most 4 decisions a plane, 4 signs, and 2
// more in the one plane in which its run of insignificant samples is broken; a plane adds 4 for its segmentation
// symbol.
constexpr int64_t kDecisionsPerColumn = 4 * kMaxPlanes + 4 + 2;
constexpr int64_t kDecisionsOfSymbols = 4 * kMaxPlanes;
constexpr int64_t kDecisionsSlack = 16;  // recording writes ahead of itself

struct MqEncoder;
struct MqContexts;

struct Kernels {
  DecodeEnd (*decode)(const DecodeJob& job);
  // Finds the planes and records every pass of the block.
  void (*model)(const ModelJob& job, Recording& recording);
  // Codes n recorded decisions, with one more behind them; writes at most 3 bytes for each at `out` and returns the end
  // of what it wrote.
  uint8_t* (*encode)(MqEncoder& encoder, MqContexts& contexts, const uint8_t* decisions, int64_t n, uint8_t* out);
};

extern Family<Kernels> kernels;

// The plain implementation that defines the results.
DecodeEnd DecodeReference(const DecodeJob& job);
void ModelReference(const ModelJob& job, Recording& recording);

}  // namespace zmcj::t1
