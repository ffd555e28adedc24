// Constants of the fixed-point 8x8 DCT.
//
// Both transforms take columns by butterflies whose outputs lack a factor cos(k pi/16), k depending on the row alone,
// and rows by sums of products whose coefficients make that factor up. So the eight rows need four sets of
// coefficients: round(2^15 * cos(k pi/16) * cos(j pi/16)), with k = 4, 1, 2, 3, 4, 3, 2, 1 for rows 0 to 7.
//
// The vectors are defined in a file of their own: a compiler that sees a vector's lanes to be equal builds it from a
// general register in every call, which costs more than a load.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zmcj::dct {

using std::size_t;

template <class T, size_t kLanes>
struct alignas(64) Lanes : std::array<T, kLanes> {};

// Without this, each is reached through the table of global symbols.
#pragma GCC visibility push(hidden)

// The multipliers of the butterflies, used as high halves of 16 x 16-bit products. Where 1 is taken off, what
// they multiply is added again.
extern const Lanes<int16_t, 8> kTan1;          // tan(pi/16) * 2^16
extern const Lanes<int16_t, 8> kTan2;          // tan(2 pi/16) * 2^16
extern const Lanes<int16_t, 8> kTan3Less1;     // (tan(3 pi/16) - 1) * 2^16
extern const Lanes<int16_t, 8> kCosHalfLess1;  // (cos(pi/4) - 1) * 2^16
extern const Lanes<int16_t, 8> kHalfCosHalf;   // cos(pi/4) * 2^15, for what has been doubled

// Forward: the columns work on eightfold samples; the sums of a row are rounded to units of 2^20, which is done by
// dropping 16 bits and then rounding away 4.
inline constexpr int kForwardScaleBits = 3;
inline constexpr int kForwardRoundedBits = 4;
extern const Lanes<int16_t, 8> kForwardRounding;        // the rounding high product by it is rounding by those 4 bits
extern const Lanes<int8_t, 16> kScaledSum;              // 8, 8: what pairs of bytes are multiplied with and added
extern const Lanes<int8_t, 16> kScaledDifference;       // 8, -8
extern const Lanes<int8_t, 16> kTwiceScaledDifference;  // 16, -16
extern const Lanes<int16_t, 8> kForwardCentre;          // what eight eightfold bytes centred on 128 add up to

// Inverse: the sums of a row drop 12 bits, which leaves five fraction bits for the columns.
inline constexpr int kInverseRowShift = 12;
inline constexpr int kInverseColumnShift = 5;

// Added before the inverse row shift, four times over for each row. Row 0 holds the half of the final shift by 5 (2^4 *
// 2^12), row 4 its own half; the others also make up for what the truncating products of the column butterflies lose on
// average.
extern const Lanes<int32_t, 32> kInverseRounding;

// [row / 4][group][row % 4][8]: four groups of eight coefficients for each row. A register of 128 bits takes one row's
// group, a wider one those of two or four rows. A group multiplies a vector of four pairs, and each pair's two products
// are added.
using RowTables = Lanes<int16_t, 256>;
constexpr size_t RowTableIndex(size_t row, size_t group) { return row / 4 * 128 + group * 32 + row % 4 * 8; }

// With sum[i] = x[i] + x[7-i] and difference[i] = x[i] - x[7-i], i = 0 to 7, outputs 0, 2, 4, 6 are sum * group 0 +
// swapped sum * group 1, and outputs 1, 3, 5, 7 are difference * group 2 + swapped difference * group 3. Swapped:
// entries 2 3 0 1 6 7 4 5.
extern const RowTables kForwardTables;

// With even = x0 x2 x0 x2 x4 x6 x4 x6 and odd = x1 x3 x1 x3 x5 x7 x5 x7, the even part is even * group 0 + swapped even
// * group 1, the odd part odd * group 2 + swapped odd * group 3. Outputs 0 to 3 are the even part + the odd, outputs 7
// to 4 the even part - the odd. Swapped: entries 4 5 6 7 0 1 2 3.
extern const RowTables kInverseTables;

extern const Lanes<int16_t, 8> kByteSigns;  // the sign bits of bytes

// Bytes of a row of eight 16-bit lanes, by which rows are shuffled.
extern const Lanes<uint8_t, 16> kReversed;            // lanes 7 6 5 4 3 2 1 0
extern const Lanes<uint8_t, 16> kEvenPairs;           // lanes 0 2 0 2 4 6 4 6
extern const Lanes<uint8_t, 16> kEvenPairsSwapped;    // lanes 4 6 4 6 0 2 0 2
extern const Lanes<uint8_t, 16> kOddPairs;            // lanes 1 3 1 3 5 7 5 7
extern const Lanes<uint8_t, 16> kOddPairsSwapped;     // lanes 5 7 5 7 1 3 1 3
extern const Lanes<uint8_t, 16> kUpperHalfReversed;   // lanes 0 1 2 3 7 6 5 4
extern const Lanes<uint8_t, 16> kUpperBytesReversed;  // the same for two rows of bytes

#pragma GCC visibility pop

}  // namespace zmcj::dct
