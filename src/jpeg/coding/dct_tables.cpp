#include "jpeg/coding/dct_tables.h"

#include <cstddef>

namespace zmcj::dct {
namespace {

template <size_t kLanes, class T>
constexpr Lanes<T, kLanes> Repeated(T value) {
  Lanes<T, kLanes> lanes{};
  lanes.fill(value);
  return lanes;
}

// cos(j pi/16).
constexpr std::array<double, 8> kCos = {1.0,
                                        0.98078528040323044913,
                                        0.92387953251128675613,
                                        0.83146961230254523708,
                                        0.70710678118654752440,
                                        0.55557023301960222474,
                                        0.38268343236508977173,
                                        0.19509032201612826785};

// The four groups of a row; an entry j stands for cos(|j| pi/16) with the sign of j.
using Pattern = std::array<int, 32>;
constexpr Pattern kForwardPattern = {4, 4, -6, -2, 4,  -4, -2, 6,   //
                                     4, 4, 2,  6,  -4, 4,  -6, 2,   //
                                     1, 3, -1, -5, -3, -7, 5,  -7,  //
                                     5, 7, 3,  -7, 1,  -5, 1,  -3};
constexpr Pattern kInversePattern = {4, 2, 4,  6,  -4, 2,  4, -6,  //
                                     4, 6, -4, -2, 4,  -6, 4, -2,  //
                                     1, 3, 3,  -7, 7,  3,  3, -1,  //
                                     5, 7, -1, -5, 5,  -1, 7, -5};

constexpr RowTables MakeRowTables(const Pattern& pattern) {
  constexpr std::array<size_t, 8> kRowFactor = {4, 1, 2, 3, 4, 3, 2, 1};
  RowTables tables{};
  for (size_t row = 0; row < 8; ++row) {
    for (size_t i = 0; i < 32; ++i) {
      const int j = pattern[i];
      const double magnitude = 32768 * kCos[kRowFactor[row]] * kCos[static_cast<size_t>(j < 0 ? -j : j)];
      // std::lround is not constexpr; the magnitude is positive. NOLINTNEXTLINE(bugprone-incorrect-roundings)
      const int rounded = static_cast<int>(magnitude + 0.5);
      tables[RowTableIndex(row, i / 8) + i % 8] = static_cast<int16_t>(j < 0 ? -rounded : rounded);
    }
  }
  return tables;
}

constexpr Lanes<int32_t, 32> MakeInverseRounding() {
  constexpr std::array<int32_t, 8> kRows = {65536, 5802, 4520, 3408, 2048, 910, 1024, 746};
  Lanes<int32_t, 32> lanes{};
  for (size_t i = 0; i < 32; ++i) lanes[i] = kRows[i / 4];
  return lanes;
}

}  // namespace

constinit const Lanes<int16_t, 8> kTan1 = Repeated<8, int16_t>(13036);
constinit const Lanes<int16_t, 8> kTan2 = Repeated<8, int16_t>(27146);
constinit const Lanes<int16_t, 8> kTan3Less1 = Repeated<8, int16_t>(-21746);
constinit const Lanes<int16_t, 8> kCosHalfLess1 = Repeated<8, int16_t>(-19195);
constinit const Lanes<int16_t, 8> kHalfCosHalf = Repeated<8, int16_t>(23170);
constinit const Lanes<int16_t, 8> kForwardRounding = Repeated<8, int16_t>(1 << (15 - kForwardRoundedBits));
constinit const Lanes<int8_t, 16> kScaledSum = Repeated<16, int8_t>(1 << kForwardScaleBits);
constinit const Lanes<int8_t, 16> kScaledDifference = {8, -8, 8, -8, 8, -8, 8, -8, 8, -8, 8, -8, 8, -8, 8, -8};
constinit const Lanes<int8_t, 16> kTwiceScaledDifference = {16, -16, 16, -16, 16, -16, 16, -16,
                                                            16, -16, 16, -16, 16, -16, 16, -16};
constinit const Lanes<int16_t, 8> kForwardCentre = Repeated<8, int16_t>(8 * 128 << kForwardScaleBits);
constinit const Lanes<int32_t, 32> kInverseRounding = MakeInverseRounding();
constinit const Lanes<int16_t, 8> kByteSigns = Repeated<8, int16_t>(-32640);  // 0x8080
constinit const RowTables kForwardTables = MakeRowTables(kForwardPattern);
constinit const RowTables kInverseTables = MakeRowTables(kInversePattern);
constinit const Lanes<uint8_t, 16> kReversed = {14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1};
constinit const Lanes<uint8_t, 16> kEvenPairs = {0, 1, 4, 5, 0, 1, 4, 5, 8, 9, 12, 13, 8, 9, 12, 13};
constinit const Lanes<uint8_t, 16> kEvenPairsSwapped = {8, 9, 12, 13, 8, 9, 12, 13, 0, 1, 4, 5, 0, 1, 4, 5};
constinit const Lanes<uint8_t, 16> kOddPairsSwapped = {10, 11, 14, 15, 10, 11, 14, 15, 2, 3, 6, 7, 2, 3, 6, 7};
constinit const Lanes<uint8_t, 16> kOddPairs = {2, 3, 6, 7, 2, 3, 6, 7, 10, 11, 14, 15, 10, 11, 14, 15};
constinit const Lanes<uint8_t, 16> kUpperHalfReversed = {0, 1, 2, 3, 4, 5, 6, 7, 14, 15, 12, 13, 10, 11, 8, 9};
constinit const Lanes<uint8_t, 16> kUpperBytesReversed = {0, 1, 2, 3, 7, 6, 5, 4, 8, 9, 10, 11, 15, 14, 13, 12};

}  // namespace zmcj::dct
