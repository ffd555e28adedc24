// The state of a block's samples as the fast passes keep it, in two forms.
//
// Sets, for deciding which samples a pass visits: 16 columns of a stripe are one 64-bit word each for significant,
// visited and refined, bit 4 * column + row, which is scan order. A pass walks through the ones of a word and takes no
// branch for samples that it leaves out.
//
// Neighbourhoods, for the contexts: a column of a stripe has one 32-bit word and one byte of signs. With rows 0 to 5
// for the row above, the four samples and the row below:
//   word, bit 3 * row + side    significant; sides 0 left column, 1 this column, 2 right column
//   signs, bit row              negative, this column
// Signs stand apart so that a sample's context does not wait for the sign decoded just before: it needs none.
//
// Decoding 64 x 64 blocks at 4.2 and 1 bit a coefficient takes 38 and 12 ns a coefficient so, and 137 and 36 with a
// 16-bit state per sample and the standard's MQ registers (reference.cpp), on a Zen 5 at 3.6 GHz.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg2k/t1/contexts.h"
#include "jpeg2k/t1/t1.h"

namespace zmcj::t1 {

inline constexpr int kGroup = 16;  // columns
inline constexpr uint64_t kTopRow = 0x1111111111111111;
inline constexpr uint64_t kBottomRow = kTopRow << 3;

struct Group {
  uint64_t significant;
  uint64_t visited;  // by the significance pass of this plane
  uint64_t refined;
};

// Indexed by the word shifted right by three times the row, nine bits.
constexpr auto MakeZeroCodingByColumn(Band band) {
  std::array<uint8_t, 512> table{};
  for (uint32_t w = 0; w < 512; ++w) {
    const auto bit = [w](int i) { return static_cast<int>(w >> i & 1); };
    table[w] = static_cast<uint8_t>(
        ZeroCodingContext(band, bit(3) + bit(5), bit(1) + bit(7), bit(0) + bit(2) + bit(6) + bit(8)));
  }
  return table;
}
inline constexpr std::array kZeroCodingByColumn = {MakeZeroCodingByColumn(Band::kLowOrVerticallyHigh),
                                                   MakeZeroCodingByColumn(Band::kHorizontallyHigh),
                                                   MakeZeroCodingByColumn(Band::kDiagonallyHigh)};

// Significance of the sides at bits 1, 3, 5, 7 (above, left, right, below), their signs at bits 0, 4, 6, 2.
constexpr uint32_t SignIndex(uint32_t word, const uint8_t* signs, uint32_t row) {
  const uint32_t left = signs[-1], right = signs[1];
  return (word >> 3 * row & 0xAA) | (uint32_t{signs[0]} >> row & 0x5) | (left >> (row + 1) & 1) << 4 |
         (right >> (row + 1) & 1) << 6;
}
// The context, plus 128 where the decision is the sign's complement.
inline constexpr auto kSignCodingByIndex = [] {
  std::array<uint8_t, 256> table{};
  for (uint32_t w = 0; w < 256; ++w) {
    const auto side = [w](int significant, int negative) {
      return static_cast<int>(w >> significant & 1) * (1 - 2 * static_cast<int>(w >> negative & 1));
    };
    const SignContext sign = SignCodingContext(side(3, 4) + side(5, 6), side(1, 0) + side(7, 2));
    table[w] = static_cast<uint8_t>(sign.context + 128 * sign.flip);
  }
  return table;
}();

// Where all this stands in a work buffer: the groups, then the words, then the signs, a guard column at either end of
// each stripe of the latter two. A stripe takes less than the two rows of words that the plain layout needs for it,
// with its guard rows making up for an odd address and for blocks of one stripe.
class BlockState {
 public:
  BlockState(unsigned char* work, ZmciSize size)
      : groups_((size.width - 1) / kGroup + 1),
        stripes_((size.height - 1) / kStripe + 1),
        pitch_(ptrdiff_t{size.width} + 2),
        group_(reinterpret_cast<Group*>(work + ((0 - reinterpret_cast<uintptr_t>(work)) & 7))),
        words_(reinterpret_cast<uint32_t*>(group_ + ptrdiff_t{groups_} * stripes_)),
        signs_(reinterpret_cast<uint8_t*>(words_ + pitch_ * stripes_)),
        last_columns_(~uint64_t{0} >> 4 * (groups_ * int64_t{kGroup} - size.width)),
        last_rows_(kTopRow * ((1u << (size.height - (stripes_ - 1) * int64_t{kStripe})) - 1)) {}

  static constexpr int64_t Bytes(ZmciSize size) {
    const int64_t groups = (int64_t{size.width} + kGroup - 1) / kGroup;
    const int64_t stripes = (int64_t{size.height} + kStripe - 1) / kStripe;
    return 7 + stripes * (groups * int64_t{sizeof(Group)} + (int64_t{size.width} + 2) * 5);
  }

  int groups() const { return groups_; }
  int stripes() const { return stripes_; }
  ptrdiff_t pitch() const { return pitch_; }
  Group* GroupsOf(int stripe) const { return group_ + ptrdiff_t{groups_} * stripe; }
  // Of column 0.
  uint32_t* Words(int stripe) const { return words_ + pitch_ * stripe + 1; }
  uint8_t* Signs(int stripe) const { return signs_ + pitch_ * stripe + 1; }
  // The bits of a group that are samples of the block.
  uint64_t Samples(int stripe, int group) const {
    return (group == groups_ - 1 ? last_columns_ : ~uint64_t{0}) & (stripe == stripes_ - 1 ? last_rows_ : ~uint64_t{0});
  }
  bool Full(int stripe) const { return stripe < stripes_ - 1 || last_rows_ == ~uint64_t{0}; }

 private:
  int groups_, stripes_;
  ptrdiff_t pitch_;  // columns
  Group* group_;
  uint32_t* words_;
  uint8_t* signs_;
  uint64_t last_columns_, last_rows_;
};

}  // namespace zmcj::t1
