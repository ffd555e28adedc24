// Code-blocks for tests: coefficients of several kinds, and the coder's calls rolled into one for each direction.
#pragma once

#include <cmath>

#include "support/testing.h"

namespace zmcj::testing {

enum class Kind { kZero, kSparse, kLaplacian, kDense, kFullDepth, kSingle };
inline constexpr Kind kKinds[] = {Kind::kZero,  Kind::kSparse,    Kind::kLaplacian,
                                  Kind::kDense, Kind::kFullDepth, Kind::kSingle};

inline std::vector<int32_t> Coefficients(Kind kind, ZmciSize size, Random& random) {
  std::vector<int32_t> block(static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
  const double scale = 1 << random.In(0, 9);
  for (auto& v : block) {
    switch (kind) {
      case Kind::kSparse:
        v = random.In(0, 30) == 0 ? random.In(-300, 300) : 0;
        break;
      case Kind::kLaplacian:
        v = static_cast<int32_t>(-scale * std::log((random.In(0, 99999) + 0.5) / 1e5)) * (random.In(0, 1) ? 1 : -1);
        break;
      case Kind::kDense:
        v = random.In(-255, 255);
        break;
      case Kind::kFullDepth:
        v = random.In(-0x7FFFFFFF, 0x7FFFFFFF) >> random.In(0, 31);
        break;
      default:
        break;
    }
  }
  if (kind == Kind::kSingle) block[static_cast<size_t>(random.In(0, static_cast<int>(block.size()) - 1))] = -5;
  return block;
}

struct Style {
  int flags;        // of the encoder and the decoder
  int termination;  // the encoder's passParameter
  int orientation;
};

struct Coded {
  uint32_t planes = 0, passes = 0, segments = 0;
  std::vector<uint8_t> bytes;
  std::vector<uint32_t> lengths;  // of the segments
  std::vector<uint32_t> rates;    // by pass
  std::vector<double> distortions;
};

// room: bytes a call may store.
inline Coded Encode(ZmciEncodeState_JPEG2K* state, const std::vector<int32_t>& block, ZmciSize size, Style style,
                    int room = 1 << 20) {
  Coded coded;
  EXPECT_EQ(zmciEncodeLoadCodeBlock_JPEG2K_32s_C1R(block.data(), 4 * size.width, size, state, style.orientation, 31,
                                                   style.termination, 0, style.flags, &coded.planes, &coded.passes,
                                                   &coded.segments),
            zmcStatusOk);
  for (int32_t more = 1; more != 0;) {
    int32_t length = room;
    const size_t at = coded.bytes.size();
    coded.bytes.resize(at + static_cast<size_t>(room));
    EXPECT_EQ(zmciEncodeStoreBits_JPEG2K_1u(coded.bytes.data() + at, &length, state, &more), zmcStatusOk);
    EXPECT_TRUE(more == 0 || length == room);
    coded.bytes.resize(at + static_cast<size_t>(length));
  }
  coded.lengths.resize(coded.segments);
  coded.rates.resize(coded.passes);
  coded.distortions.resize(coded.passes);
  for (uint32_t i = 0; i < coded.segments; ++i)
    EXPECT_EQ(zmciEncodeGetTermPassLen_JPEG2K(state, static_cast<int>(i), &coded.lengths[i]), zmcStatusOk);
  for (uint32_t i = 0; i < coded.passes; ++i) {
    EXPECT_EQ(zmciEncodeGetRate_JPEG2K(state, static_cast<int>(i), &coded.rates[i]), zmcStatusOk);
    EXPECT_EQ(zmciEncodeGetDist_JPEG2K(state, static_cast<int>(i), &coded.distortions[i]), zmcStatusOk);
  }
  return coded;
}

// The codeword cut to its first `passes` passes, at the recorded length.
inline Coded Truncated(const Coded& coded, uint32_t passes) {
  Coded cut = coded;
  cut.passes = passes;
  cut.bytes.resize(passes == 0 ? 0 : coded.rates[passes - 1]);
  uint32_t left = static_cast<uint32_t>(cut.bytes.size());
  for (auto& length : cut.lengths) left -= length = std::min(length, left);
  return cut;
}

inline ZmcStatus Decode(const Coded& coded, ZmciSize size, Style style, int extra_flags, std::vector<int32_t>& out,
                        int32_t* error_plane = nullptr) {
  // Every buffer has its exact size, so that an address sanitizer sees what leaves it.
  std::vector<uint8_t> bytes(coded.bytes);
  if (bytes.empty()) bytes.resize(1);
  uint32_t work_size = 0;
  EXPECT_EQ(zmciDecodeGetBufSize_JPEG2K(size.width, size.height, &work_size), zmcStatusOk);
  std::vector<uint8_t> work(work_size);
  for (size_t i = 0; i < work.size(); i += 3) work[i] = 0xA5;
  std::vector<uint32_t> lengths(coded.lengths);
  lengths.resize(lengths.size() + lengths.empty());
  out.assign(static_cast<size_t>(size.width) * static_cast<size_t>(size.height), -1);
  return zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(bytes.data(), out.data(), 4 * size.width, size, style.orientation,
                                              static_cast<int>(coded.planes), static_cast<int>(coded.passes),
                                              lengths.data(), static_cast<uint32_t>(coded.lengths.size()),
                                              style.flags | extra_flags, error_plane, work.data());
}

inline std::vector<int32_t> SignMagnitude(std::vector<int32_t> block) {
  for (auto& v : block) {
    if (v < 0) v = static_cast<int32_t>(0x80000000u | (0u - static_cast<uint32_t>(v)));
  }
  return block;
}

class EncodeState {
 public:
  EncodeState(int width, int height) { EXPECT_EQ(zmciEncodeInitAlloc_JPEG2K(&state_, width, height), zmcStatusOk); }
  ~EncodeState() { EXPECT_EQ(zmciEncodeFree_JPEG2K(state_), zmcStatusOk); }
  EncodeState(const EncodeState&) = delete;
  EncodeState& operator=(const EncodeState&) = delete;
  operator ZmciEncodeState_JPEG2K*() const { return state_; }

 private:
  ZmciEncodeState_JPEG2K* state_ = nullptr;
};

}  // namespace zmcj::testing
