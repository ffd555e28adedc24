#include <cmath>
#include <numeric>

#include "support/testing.h"

namespace zmcj::testing {
namespace {

// The quotient of 2^15 in exact arithmetic: nearest, ties to even, saturated.
int16_t ExactQuotient(int64_t product) {
  const int64_t floor = product >= 0 ? product / 32768 : -((-product + 32767) / 32768);
  const int64_t twice_rest = 2 * (product - floor * 32768);
  const bool up = twice_rest > 32768 || (twice_rest == 32768 && floor % 2 != 0);
  return static_cast<int16_t>(std::clamp<int64_t>(floor + up, -32768, 32767));
}

TEST(Quant, QualityScalesRawTables) {
  constexpr int kMin = INT32_MIN, kMax = INT32_MAX;
  struct {
    int factor, quantiser, expected;
  } const cases[] = {{50, 17, 17},   {100, 255, 1},  {1, 1, 50},  {1, 6, 255},     {10, 255, 255},
                     {49, 100, 102}, {75, 16, 8},    {99, 24, 1}, {120, 255, 1},   {0, 1, 50},
                     {-1, 255, 1},   {kMin, 200, 1}, {25, 0, 1},  {1 << 21, 9, 1}, {75, 255, 128}};
  for (const auto& c : cases) {
    uint8_t raw[64] = {};
    raw[0] = raw[63] = static_cast<uint8_t>(c.quantiser);
    ASSERT_EQ(zmciQuantFwdRawTableInit_JPEG_8u(raw, c.factor), zmcStatusOk);
    EXPECT_EQ(raw[0], c.expected) << "factor " << c.factor << " quantiser " << c.quantiser;
    EXPECT_EQ(raw[63], c.expected);
    EXPECT_EQ(raw[1], 1);
  }
  uint8_t raw[64] = {7};
  for (const int factor : {kMax, kMax - 1, 1 << 30, kMin + 1}) zmciQuantFwdRawTableInit_JPEG_8u(raw, factor);
}

TEST(Quant, WorkingTablesFollowTheZigzag) {
  uint8_t raw[64];
  uint16_t forward[65], inverse[65];
  // At odd addresses, as any address is allowed.
  auto* odd_forward = reinterpret_cast<uint16_t*>(reinterpret_cast<char*>(forward) + 1);
  auto* odd_inverse = reinterpret_cast<uint16_t*>(reinterpret_cast<char*>(inverse) + 1);
  for (int first = 0; first < 256; first += 64) {
    std::iota(raw, raw + 64, static_cast<uint8_t>(first));
    EXPECT_EQ(zmciQuantFwdTableInit_JPEG_8u16u(raw, odd_forward), first ? zmcStatusOk : zmcStatusDivisionByZeroWarning);
    EXPECT_EQ(zmciQuantInvTableInit_JPEG_8u16u(raw, odd_inverse), zmcStatusOk);
    int row = 0, column = 0;
    for (int k = 0; k < 64; ++k) {
      uint16_t reciprocal, quantiser;
      std::memcpy(&reciprocal, odd_forward + 8 * row + column, 2);
      std::memcpy(&quantiser, odd_inverse + 8 * row + column, 2);
      ASSERT_EQ(quantiser, raw[k]) << k;
      ASSERT_EQ(reciprocal, raw[k] ? std::lrint(32768.0f / raw[k]) : 65535) << k;
      const bool rising = (row + column) % 2 == 0;
      int& ahead = rising ? column : row;
      int& back = rising ? row : column;
      if (ahead == 7) {
        ++back;
      } else {
        ++ahead;
        if (back > 0) --back;
      }
    }
  }
}

TEST(Quant, ForwardIsExactForAllCoefficientsAndReciprocals) {
  std::vector<uint16_t> tables = {65535, 32767, 32769, 49152, 3, 0};
  for (int q = 1; q <= 255; ++q) tables.push_back(static_cast<uint16_t>((65536 + q) / (2 * q)));
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (const uint16_t reciprocal : tables) {
      uint16_t table[64];
      std::fill_n(table, 64, reciprocal);
      for (int first = -32768; first < 32768; first += 64) {
        int16_t block[64];
        std::iota(block, block + 64, static_cast<int16_t>(first));
        zmciQuantFwd8x8_JPEG_16s_C1I(block, table);
        for (int i = 0; i < 64; ++i) {
          ASSERT_EQ(block[i], ExactQuotient(int64_t{first + i} * reciprocal))
              << LevelName(level) << ' ' << first + i << " by " << reciprocal;
        }
      }
    }
  }
}

TEST(Quant, MixedTablesAtAnyAddressTouchNothingElse) {
  Random random;
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (int round = 0; round < 400; ++round) {
      const auto side = round % 2 ? Guarded::Side::kStart : Guarded::Side::kEnd;
      const Guarded block_memory(128, side), table_memory(128, side);
      int16_t block[64], result[64], expected_forward[64], expected_inverse[64];
      uint16_t table[64];
      random.FillInRuns(block, 64, -32768, 32767);
      random.FillInRuns(table, 64, 0, round % 3 ? 65535 : 255);
      for (int i = 0; i < 64; ++i) {
        const int64_t product = int64_t{block[i]} * table[i];
        expected_forward[i] = ExactQuotient(product);
        expected_inverse[i] = static_cast<int16_t>(std::clamp<int64_t>(product, -32768, 32767));
      }
      std::memcpy(block_memory.data(), block, 128);
      std::memcpy(table_memory.data(), table, 128);
      ASSERT_EQ(zmciQuantFwd8x8_JPEG_16s_C1I(block_memory.as<int16_t>(), table_memory.as<uint16_t>()), zmcStatusOk);
      std::memcpy(result, block_memory.data(), 128);
      ASSERT_TRUE(SameArray(expected_forward, result, 64)) << LevelName(level);

      std::vector<unsigned char> odd(2 * 129);
      auto* odd_block = reinterpret_cast<int16_t*>(odd.data() + 1);
      std::memcpy(odd_block, block, 128);
      auto* odd_table = reinterpret_cast<uint16_t*>(odd.data() + 129 + round % 2);
      std::memcpy(odd_table, table, 128);
      ASSERT_EQ(zmciQuantInv8x8_JPEG_16s_C1I(odd_block, odd_table), zmcStatusOk);
      std::memcpy(result, odd_block, 128);
      ASSERT_TRUE(SameArray(expected_inverse, result, 64)) << LevelName(level);
    }
  }
}

TEST(Quant, NullPointersAreRefused) {
  uint8_t raw[64] = {3};
  uint16_t table[64] = {};
  int16_t block[64] = {5};
  EXPECT_EQ(zmciQuantFwdRawTableInit_JPEG_8u(nullptr, 50), zmcStatusNullPointer);
  for (const auto build : {zmciQuantFwdTableInit_JPEG_8u16u, zmciQuantInvTableInit_JPEG_8u16u}) {
    EXPECT_EQ(build(nullptr, table), zmcStatusNullPointer);
    EXPECT_EQ(build(raw, nullptr), zmcStatusNullPointer);
  }
  for (const auto quantise : {zmciQuantFwd8x8_JPEG_16s_C1I, zmciQuantInv8x8_JPEG_16s_C1I}) {
    EXPECT_EQ(quantise(block, nullptr), zmcStatusNullPointer);
    EXPECT_EQ(quantise(nullptr, table), zmcStatusNullPointer);
  }
  EXPECT_EQ(block[0], 5);
}

}  // namespace
}  // namespace zmcj::testing
