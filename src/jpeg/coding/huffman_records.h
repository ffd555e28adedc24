// The records behind the Huffman coders' handles, and what all of those coders share. Callers give memory at any
// address, so the records are packed: every access works unaligned.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "zmcj.h"

// Entries are (code length << 16) | code, indexed by symbol; 0 where the table gives the symbol no code.
struct [[gnu::packed]] ZmciEncodeHuffmanSpec_JPEG_8u {
  uint32_t entries[256];
};

struct [[gnu::packed]] ZmciEncodeHuffmanState_JPEG_8u {
  uint32_t accumulator;  // pending bits, left-aligned below bit 24
  uint32_t reserved;     // every write sets it to 0
  int32_t count;         // of pending bits: 0 to 7 between calls
  int32_t eob_run;       // blocks whose band has ended and whose end-of-band code is still to be written
  int32_t corrections;   // correction bits that wait for that code, one per byte of the following
  uint8_t correction[1024];
  uint32_t spare;
};

struct [[gnu::packed]] ZmciDecodeHuffmanSpec_JPEG_8u {
  uint16_t values[256];  // symbols in the order of their codes
  // By the next 9 bits: the symbol, and the bits that the code takes with those behind it; 0: no code of up to 9 bits
  // fits.
  uint8_t total[512];
  uint8_t symbol[512];
  uint16_t mincode[17];  // by code length: code of the first symbol
  uint16_t maxcode[18];  // by code length: code of the last symbol; 65535: none
  uint16_t valptr[17];   // by code length: place of the first symbol in `values`
  uint32_t spare;
};

struct [[gnu::packed]] ZmciDecodeHuffmanState_JPEG_8u {
  uint32_t accumulator;  // bytes enter at the bottom; the lowest `count` bits are unread
  uint32_t reserved;
  int32_t count;
  int32_t eob_run;  // blocks whose band is still to be passed over
};

static_assert(sizeof(ZmciEncodeHuffmanSpec_JPEG_8u) == 1024 && sizeof(ZmciEncodeHuffmanState_JPEG_8u) == 1048);
static_assert(sizeof(ZmciDecodeHuffmanSpec_JPEG_8u) == 1644 && sizeof(ZmciDecodeHuffmanState_JPEG_8u) == 16);

namespace zmcj {

using EncodeSpec = ZmciEncodeHuffmanSpec_JPEG_8u;
using EncodeState = ZmciEncodeHuffmanState_JPEG_8u;
using DecodeSpec = ZmciDecodeHuffmanSpec_JPEG_8u;
using DecodeState = ZmciDecodeHuffmanState_JPEG_8u;

inline constexpr int kMaxCodeLength = 16;
inline constexpr int kNoCode = 65535;  // in maxcode

// Of an encoder's entry; 0: no code. So has an entry that no Init has made, which would lead outside the destination.
inline uint32_t CodeLength(uint32_t entry) { return entry >> 16 <= kMaxCodeLength ? entry >> 16 : 0; }

// A code of up to kLookahead bits and its symbol: what the decoder looks up.
inline constexpr int kLookahead = 9;
// Codes that take more with their bits, which no picture has, are left to the search by length: two found ones and the
// next code fit into 56 bits.
inline constexpr uint32_t kLongestFound = 23;
class FoundCode {
 public:
  constexpr FoundCode() : total_(0), symbol_(0) {}
  constexpr FoundCode(uint32_t total, uint32_t symbol) : total_(total), symbol_(symbol) {}
  constexpr bool found() const { return total_ != 0; }
  constexpr uint32_t symbol() const { return symbol_; }
  constexpr uint32_t run() const { return symbol_ >> 4; }
  constexpr uint32_t size() const { return symbol_ & 15; }  // bits that follow the code
  constexpr uint32_t total() const { return total_; }       // the code and those
  constexpr uint32_t length() const { return total_ - size(); }

 private:
  uint32_t total_, symbol_;
};

// Symbols with a meaning of their own (ISO/IEC 10918-1, F.1.2.2.1): the block ends in zeros; sixteen zeros.
inline constexpr uint32_t kEndOfBlock = 0x00;
inline constexpr uint32_t kZeroRun16 = 0xF0;

// Zigzag position to natural (row-major) index, ISO/IEC 10918-1, figure A.6. A damaged run of zeros may lead past
// position 63: the two positions behind it fall on the last coefficient, later ones are not stored at all.
inline constexpr int kLastStoredPosition = 65;
alignas(64) inline constexpr uint8_t kNaturalOrder[kLastStoredPosition + 1] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63, 63, 63};

// The number of bits of |v|. The bit added below keeps zero from being a case of its own.
inline int MagnitudeCategory(int32_t v) { return 31 - std::countl_zero(static_cast<uint32_t>(std::abs(v)) << 1 | 1); }

// What follows the code of a value's category: v itself, or v - 1 for a negative v (its ones' complement). Only the low
// `category` bits count; the others are cleared.
inline uint32_t AppendedBits(int32_t v, int category) {
  const uint32_t mask = (uint32_t{1} << category) - 1;
  return static_cast<uint32_t>(v + (v >> 31)) & mask;
}

// Both at once by table for the values that 8-bit pictures have (F.1.2.2.1: at most 10 bits). One more than needed on
// the negative side makes the test for it a single one.
struct Magnitude {
  uint16_t appended;
  uint16_t category;
};
class MagnitudeTable {
 public:
  static constexpr int kReach = 1024;
  constexpr MagnitudeTable() {
    for (int v = -kReach; v < kReach; ++v) {
      const int category = static_cast<int>(std::bit_width(static_cast<uint32_t>(v < 0 ? -v : v)));
      const int bits = (v < 0 ? v - 1 : v) & ((1 << category) - 1);
      entries_[v + kReach] = {static_cast<uint16_t>(bits), static_cast<uint16_t>(category)};
    }
  }
  constexpr const Magnitude* middle() const { return entries_ + kReach; }  // indexed by v
  static constexpr bool Has(int32_t v) { return v >= -kReach && v < kReach; }

 private:
  alignas(64) Magnitude entries_[2 * kReach] = {};
};
inline constexpr MagnitudeTable kMagnitudes;

// The value that `size` received bits stand for (ISO/IEC 10918-1, F.2.2.1, EXTEND). size 1 to 15.
inline int32_t Extend(uint32_t bits, int size) {
  // Arithmetic, since whether the top bit is set is as good as random: a branch would be mispredicted half the time.
  const uint32_t negative = (bits >> (size - 1)) - 1;
  return static_cast<int32_t>(bits - (negative & ((uint32_t{1} << size) - 1)));
}

// All that a new scan or a restart needs; the status is always zmcStatusOk.
ZmcStatus ResetState(EncodeState* state);

}  // namespace zmcj
