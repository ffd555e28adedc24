// Constants of the fixed-point 8x8 DCT.
//
// Both transforms take columns by butterflies whose outputs lack a factor cos(k pi/16), k depending on the row alone,
// and rows by sums of products whose coefficients make that factor up. So the eight rows need four sets of
// coefficients: round(2^15 * cos(k pi/16) * cos(j pi/16)), with k = 4, 1, 2, 3, 4, 3, 2, 1 for rows 0 to 7.
#pragma once

#include <array>
#include <cstdint>

namespace zmcj::dct {

// The multipliers of the butterflies, used as high halves of 16 x 16-bit products. Those of the last two lack 2^16:
// what they multiply is added again.
inline constexpr int16_t kTan1 = 13036;           // tan(pi/16) * 2^16
inline constexpr int16_t kTan2 = 27146;           // tan(2 pi/16) * 2^16
inline constexpr int16_t kTan3Less1 = -21746;     // (tan(3 pi/16) - 1) * 2^16
inline constexpr int16_t kCosHalfLess1 = -19195;  // (cos(pi/4) - 1) * 2^16

// Forward: columns carry three fraction bits, rows are rounded at 2^20. Inverse: rows are cut at 2^12, which leaves
// five fraction bits for the columns.
inline constexpr int kForwardScaleBits = 3;
inline constexpr int kForwardShift = 20;
inline constexpr int kInverseRowShift = 12;
inline constexpr int kInverseColumnShift = 5;

// Added before the inverse row shift, four times over to load as a register. Row 0 holds the half of the final shift by
// 5 (2^4 * 2^12), row 4 its own half; the others also make up for what the truncating products of the column
// butterflies lose on average.
alignas(64) inline constexpr std::array<int32_t, 32> kInverseRounding = {
    65536, 65536, 65536, 65536, 5802, 5802, 5802, 5802, 4520, 4520, 4520, 4520, 3408, 3408, 3408, 3408,
    2048,  2048,  2048,  2048,  910,  910,  910,  910,  1024, 1024, 1024, 1024, 746,  746,  746,  746};

// cos(j pi/16).
inline constexpr std::array<double, 8> kCos = {1.0,
                                               0.98078528040323044913,
                                               0.92387953251128675613,
                                               0.83146961230254523708,
                                               0.70710678118654752440,
                                               0.55557023301960222474,
                                               0.38268343236508977173,
                                               0.19509032201612826785};

// Thirty-two coefficients of a row, in four groups of eight; entry j stands for cos(|j| pi/16) with the sign of j.
// Each group multiplies a vector of four pairs, and each pair's two products are added.
using RowPattern = std::array<int8_t, 32>;

// With a = x[i] + x[7-i], b = x[i] - x[7-i], p = a0 a1 b0 b1 a2 a3 b2 b3 and q = a2 a3 b2 b3 a0 a1 b0 b1:
// outputs 0 to 3 are p * group 0 + q * group 1, outputs 4 to 7 are p * group 2 + q * group 3.
inline constexpr RowPattern kForwardPattern = {4,  4,  1, 3,  -6, -2, -1, -5,  //
                                               4,  4,  5, 7,  2,  6,  3,  -7,  //
                                               4,  -4, 5, -1, 2,  -6, 3,  -1,  //
                                               -4, 4,  7, 3,  6,  -2, 7,  -5};

// With p = x0 x2 x0 x2 x4 x6 x4 x6 and q = x4 x6 x4 x6 x0 x2 x0 x2, the even part is p * group 0 + q * group 1; the odd
// part likewise with x1 x3, x5 x7 and groups 2 and 3. Outputs 0 to 3 are even + odd, outputs 7 to 4 even - odd.
inline constexpr RowPattern kInversePattern = {4, 2, 4,  6,  -4, 2,  4, -6,  //
                                               4, 6, -4, -2, 4,  -6, 4, -2,  //
                                               1, 3, 3,  -7, 7,  3,  3, -1,  //
                                               5, 7, -1, -5, 5,  -1, 7, -5};

// [row / 2][group][row % 2][8]: a register of 128 bits takes one row's group, one of 256 bits that of two rows.
using RowTables = std::array<int16_t, 256>;

constexpr size_t RowTableIndex(size_t row, size_t group) { return row / 2 * 64 + group * 16 + row % 2 * 8; }

constexpr RowTables MakeRowTables(const RowPattern& pattern) {
  constexpr std::array<size_t, 8> kFactor = {4, 1, 2, 3, 4, 3, 2, 1};
  RowTables tables{};
  for (size_t row = 0; row < 8; ++row) {
    for (size_t i = 0; i < 32; ++i) {
      const int j = pattern[i];
      const double magnitude = 32768 * kCos[kFactor[row]] * kCos[static_cast<size_t>(j < 0 ? -j : j)];
      const int rounded = static_cast<int>(magnitude + 0.5);
      tables[RowTableIndex(row, i / 8) + i % 8] = static_cast<int16_t>(j < 0 ? -rounded : rounded);
    }
  }
  return tables;
}

alignas(64) inline constexpr RowTables kForwardTables = MakeRowTables(kForwardPattern);
alignas(64) inline constexpr RowTables kInverseTables = MakeRowTables(kInversePattern);

}  // namespace zmcj::dct
