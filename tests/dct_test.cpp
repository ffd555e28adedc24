#include <array>
#include <cmath>
#include <numbers>

#include "support/testing.h"

namespace zmcj::testing {
namespace {

using Block = std::array<int16_t, 64>;
using Reals = std::array<double, 64>;
using Table = std::array<uint16_t, 64>;

Table Filled(uint16_t entry) {
  Table table;
  table.fill(entry);
  return table;
}

// One pass of the definition over the columns, transposing: two of them are the transform.
template <bool kForward>
Reals ExactPass(const Reals& in) {
  static const Reals basis = [] {
    Reals b;
    for (size_t u = 0; u < 8; ++u) {
      for (size_t x = 0; x < 8; ++x) {
        b[8 * u + x] =
            (u ? 0.5 : std::sqrt(0.125)) * std::cos(std::numbers::pi / 16 * static_cast<double>((2 * x + 1) * u));
      }
    }
    return b;
  }();
  Reals out{};
  for (size_t i = 0; i < 512; ++i) {
    const size_t to = i / 64, from = i / 8 % 8, column = i % 8;
    out[8 * column + to] += in[8 * from + column] * basis[kForward ? 8 * to + from : 8 * from + to];
  }
  return out;
}
Reals ExactForward(const Reals& samples) { return ExactPass<true>(ExactPass<true>(samples)); }
Reals ExactInverse(const Reals& coefficients) { return ExactPass<false>(ExactPass<false>(coefficients)); }

Block Forward(const Block& samples, const Table& table = Filled(32768)) {
  Block coefficients;
  EXPECT_EQ(zmciDCTQuantFwd8x8_JPEG_16s_C1(samples.data(), coefficients.data(), table.data()), zmcStatusOk);
  return coefficients;
}
Block Inverse(const Block& coefficients, const Table& table = Filled(1)) {
  Block samples;
  EXPECT_EQ(zmciDCTQuantInv8x8_JPEG_16s_C1(coefficients.data(), samples.data(), table.data()), zmcStatusOk);
  return samples;
}

TEST(Dct, ForwardIsWithinOneUnitOfTheDefinition) {
  Random random;
  int worst = 0;
  const auto try_block = [&](const Block& samples) {
    Reals reals;
    std::copy(samples.begin(), samples.end(), reals.begin());
    const Reals exact = ExactForward(reals);
    const Block ours = Forward(samples);
    for (size_t i = 0; i < 64; ++i)
      worst = std::max(worst, std::abs(ours[i] - static_cast<int>(std::lround(exact[i]))));
  };
  Block samples;
  for (int v = -128; v < 128; ++v) {
    samples.fill(static_cast<int16_t>(v));
    try_block(samples);
  }
  // The blocks that drive one coefficient to its extremes.
  for (size_t k = 0; k < 128; ++k) {
    Reals impulse{};
    impulse[k / 2] = k % 2 ? 1 : -1;
    const Reals wave = ExactInverse(impulse);
    for (size_t i = 0; i < 64; ++i) samples[i] = wave[i] < 0 ? -128 : 127;
    try_block(samples);
  }
  for (int round = 0; round < 20000; ++round) {
    const int spread = 1 << random.In(0, 7), centre = random.In(-128 + spread, 128 - spread);
    if (round % 4 == 0) {
      random.FillInRuns(samples.data(), 64, -128, 127);
    } else {
      for (int16_t& v : samples) v = static_cast<int16_t>(random.In(centre - spread, centre + spread - 1));
    }
    try_block(samples);
  }
  EXPECT_EQ(worst, 1);
}

// The procedure of IEEE 1180-1990.
TEST(Dct, InverseKeepsTheStandardsLimits) {
  struct {
    int low, high;
  } const ranges[] = {{-256, 255}, {-5, 5}, {-300, 300}};
  constexpr int kBlocks = 10000;
  Random random(1180);
  for (const auto& range : ranges) {
    for (const int sign : {1, -1}) {
      Reals error{}, square{};
      int peak = 0;
      for (int n = 0; n < kBlocks; ++n) {
        Reals reals;
        for (double& v : reals) v = sign * random.In(range.low, range.high);
        reals = ExactForward(reals);
        Block coefficients;
        for (size_t i = 0; i < 64; ++i) {
          coefficients[i] = static_cast<int16_t>(std::clamp(std::lround(reals[i]), -2048l, 2047l));
          reals[i] = coefficients[i];
        }
        reals = ExactInverse(reals);
        const Block ours = Inverse(coefficients);
        for (size_t i = 0; i < 64; ++i) {
          const int exact = std::clamp(static_cast<int>(std::lround(reals[i])), -256, 255);
          const int difference = std::clamp<int>(ours[i], -256, 255) - exact;
          peak = std::max(peak, std::abs(difference));
          error[i] += static_cast<double>(difference) / kBlocks;
          square[i] += static_cast<double>(difference * difference) / kBlocks;
        }
      }
      SCOPED_TRACE(::testing::Message() << range.low << ".." << range.high << " sign " << sign);
      EXPECT_LE(peak, 1);
      double overall_error = 0, overall_square = 0;
      for (size_t i = 0; i < 64; ++i) {
        EXPECT_LE(square[i], 0.06);
        EXPECT_LE(std::abs(error[i]), 0.015);
        overall_error += error[i] / 64;
        overall_square += square[i] / 64;
      }
      EXPECT_LE(overall_square, 0.02);
      EXPECT_LE(std::abs(overall_error), 0.0015);
    }
  }
}

TEST(Dct, FixedPoints) {
  const Block zero{};
  for (const Level level : Levels()) {
    AtLevel at(level);
    EXPECT_EQ(Forward(zero), zero) << LevelName(level);
    EXPECT_EQ(Inverse(zero), zero) << LevelName(level);
    // Dequantisation keeps the low 16 bits: 200 * 200 is -25536.
    Block wrapping{}, wrapped{};
    wrapping[0] = 200;
    wrapped[0] = -25536;
    EXPECT_EQ(Inverse(wrapping, Filled(200)), Inverse(wrapped)) << LevelName(level);
    // Bytes of 128 are zero.
    std::array<uint8_t, 64> grey;
    grey.fill(128);
    Block coefficients;
    zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(grey.data(), 8, coefficients.data(), Filled(32768).data());
    EXPECT_EQ(coefficients, zero) << LevelName(level);
  }
}

// What a round of the differential test works on: kinds from extremes to what a decoder meets.
void MakeRound(Random& random, int round, Block& block, Table& table) {
  const int limit = 1 << random.In(0, 15);
  if (round % 3 == 0) {
    random.FillInRuns(block.data(), 64, -32768, 32767);
  } else {
    for (int16_t& v : block) v = static_cast<int16_t>(random.In(-limit, limit - 1));
  }
  if (round % 3 == 2) {  // a few coefficients, all in the first rows
    const int rows = random.In(0, 8), odds = random.In(1, 8);
    for (int i = 0; i < 64; ++i) {
      if (i >= 8 * rows || random.In(0, odds) != 0) block[static_cast<size_t>(i)] = 0;
    }
  }
  random.FillInRuns(table.data(), 64, round % 2, round % 5 == 0 ? 65535 : round % 5 == 1 ? 32768 : 255);
}

TEST(Dct, SameAtEveryLevelAndAddress) {
  Random random;
  for (const Level level : Levels()) {
    for (int round = 0; round < 2000; ++round) {
      SCOPED_TRACE(::testing::Message() << LevelName(level) << " round " << round << " seed " << Seed());
      Block block;
      Table table;
      MakeRound(random, round, block, table);
      const int step = random.In(8, 40);
      const auto side = round % 2 ? Guarded::Side::kStart : Guarded::Side::kEnd;
      // From and to a region of bytes that fills its memory to the last byte.
      const Guarded source(static_cast<size_t>(7 * step + 8), side), words(128, side), entries(128, side);
      random.FillInRuns(source.data(), source.size(), 0, 255);
      std::memcpy(entries.data(), table.data(), 128);

      Block expected[3];
      std::vector<unsigned char> expected_bytes(source.size(), 0x5A);
      UseLevel(Level::kScalar);
      expected[0] = Forward(block, table);
      expected[1] = Inverse(block, table);
      zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(source.data(), step, expected[2].data(), table.data());
      zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), expected_bytes.data(), step, table.data());

      const AtLevel at(level);
      const auto in_place = [&](auto transform, int offset) {
        std::vector<unsigned char> memory(128 + 16);
        auto* moved = reinterpret_cast<int16_t*>(memory.data() + offset);
        std::memcpy(moved, block.data(), 128);
        EXPECT_EQ(transform(moved, entries.as<uint16_t>()), zmcStatusOk);
        Block result;
        std::memcpy(result.data(), moved, 128);
        return result;
      };
      ASSERT_TRUE(SameArray(expected[0].data(), Forward(block, table).data(), 64));
      ASSERT_TRUE(SameArray(expected[0].data(), in_place(zmciDCTQuantFwd8x8_JPEG_16s_C1I, round % 7).data(), 64));
      ASSERT_TRUE(SameArray(expected[1].data(), Inverse(block, table).data(), 64));
      ASSERT_TRUE(SameArray(expected[1].data(), in_place(zmciDCTQuantInv8x8_JPEG_16s_C1I, round % 7).data(), 64));
      ASSERT_EQ(zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(source.data(), step, words.as<int16_t>(), entries.as<uint16_t>()),
                zmcStatusOk);
      ASSERT_TRUE(SameArray(expected[2].data(), words.as<int16_t>(), 64));
      std::memcpy(words.data(), block.data(), 128);
      std::memset(source.data(), 0x5A, source.size());
      ASSERT_EQ(zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(words.as<int16_t>(), source.data(), step, entries.as<uint16_t>()),
                zmcStatusOk);
      ASSERT_TRUE(SameArray(expected_bytes.data(), source.data(), source.size()));
    }
  }
}

TEST(Dct, ChecksInOrder) {
  int16_t block[64] = {7};
  uint8_t bytes[64] = {7};
  const Table table = Filled(1);
  for (const auto transform : {zmciDCTQuantFwd8x8_JPEG_16s_C1, zmciDCTQuantInv8x8_JPEG_16s_C1}) {
    EXPECT_EQ(transform(nullptr, block, table.data()), zmcStatusNullPointer);
    EXPECT_EQ(transform(block, nullptr, table.data()), zmcStatusNullPointer);
    EXPECT_EQ(transform(block, block, nullptr), zmcStatusNullPointer);
  }
  for (const auto transform : {zmciDCTQuantFwd8x8_JPEG_16s_C1I, zmciDCTQuantInv8x8_JPEG_16s_C1I}) {
    EXPECT_EQ(transform(nullptr, table.data()), zmcStatusNullPointer);
    EXPECT_EQ(transform(block, nullptr), zmcStatusNullPointer);
  }
  EXPECT_EQ(zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(nullptr, 0, block, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(bytes, 0, nullptr, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(bytes, 0, block, nullptr), zmcStatusBadStep);
  EXPECT_EQ(zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(bytes, 8, block, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(nullptr, bytes, 0, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, nullptr, 0, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, bytes, -8, nullptr), zmcStatusBadStep);
  EXPECT_EQ(zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, bytes, 8, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(block[0], 7);
  EXPECT_EQ(bytes[0], 7);
}

}  // namespace
}  // namespace zmcj::testing
