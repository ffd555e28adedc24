#include "support/testing.h"

namespace zmcj::testing {
namespace {

// The definition, in 64 bits, wrapped to 32 where the sums are formed.
int32_t Wrap(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }
int32_t FloorQuarter(int64_t v) { return static_cast<int32_t>((Wrap(v) - (Wrap(v) & 3)) / 4); }

void Forward(const int64_t (&p)[3], int32_t (&out)[3]) {
  out[0] = FloorQuarter(p[0] + 2 * p[1] + p[2]);
  out[1] = Wrap(p[2] - p[1]);
  out[2] = Wrap(p[0] - p[1]);
}

struct Planes {
  Planes(int width, int rows, int step, size_t offset)
      : planes{Padded(static_cast<size_t>(width) * 4, rows, step, offset),
               Padded(static_cast<size_t>(width) * 4, rows, step, offset),
               Padded(static_cast<size_t>(width) * 4, rows, step, offset)},
        pointers{planes[0].as<int32_t>(), planes[1].as<int32_t>(), planes[2].as<int32_t>()} {}
  ::testing::AssertionResult Same(Planes& expected) {
    for (int i = 0; i < 3; ++i) {
      const auto same = planes[i].Equals(expected.planes[i]);
      if (!same) return ::testing::AssertionFailure() << "plane " << i << " " << same.message();
      if (const auto padding = planes[i].CheckPadding(); !padding) return padding;
    }
    return ::testing::AssertionSuccess();
  }
  Padded planes[3];
  int32_t* pointers[3];
};

TEST(Rct, IsTheDefinitionAndItsInverseAtEveryLevelWidthAndStep) {
  Random random;
  constexpr int kRows = 3;
  for (const Level level : Levels()) {
    const AtLevel at(level);
    for (int width = 1; width <= 67; ++width) {
      const auto offset = static_cast<size_t>(random.In(0, 5));
      const int step = 4 * width + random.In(0, 5);
      SCOPED_TRACE(::testing::Message() << LevelName(level) << " width " << width << " offset " << offset);
      // Every other width over the whole range: the sums wrap, and wrapping differences are still invertible.
      const int64_t limit = width % 2 != 0 ? (int64_t{1} << 31) - 1 : (1 << 20);
      Planes rgb(width, kRows, step, offset), yuv(width, kRows, step, offset), out(width, kRows, step, offset);
      Padded pixels(static_cast<size_t>(width) * 12, kRows, 12 * width + random.In(0, 5), offset);
      Padded back(static_cast<size_t>(width) * 12, kRows, 12 * width + random.In(0, 5), offset);
      for (int y = 0; y < kRows; ++y) {
        std::vector<int32_t> row(static_cast<size_t>(width) * 3);
        random.FillInRuns(row.data(), row.size(), -limit - 1, limit);
        std::memcpy(pixels.at(y), row.data(), row.size() * 4);
        for (int x = 0; x < width; ++x) {
          int64_t in[3];
          int32_t expected[3];
          for (int i = 0; i < 3; ++i) in[i] = row[static_cast<size_t>(3 * x + i)];
          Forward(in, expected);
          for (int i = 0; i < 3; ++i) {
            const int32_t channel = static_cast<int32_t>(in[i]);
            std::memcpy(rgb.planes[i].at(y) + 4 * x, &channel, 4);
            std::memcpy(yuv.planes[i].at(y) + 4 * x, &expected[i], 4);
          }
        }
      }
      const ZmciSize size = {width, kRows};
      ASSERT_EQ(zmciRCTFwd_JPEG2K_32s_C3P3R(pixels.as<int32_t>(), pixels.step(), out.pointers, step, size),
                zmcStatusOk);
      ASSERT_TRUE(out.Same(yuv));
      Planes in_place = rgb;
      for (int i = 0; i < 3; ++i) in_place.pointers[i] = in_place.planes[i].as<int32_t>();
      ASSERT_EQ(zmciRCTFwd_JPEG2K_32s_P3IR(in_place.pointers, step, size), zmcStatusOk);
      ASSERT_TRUE(in_place.Same(yuv));
      if (width % 2 != 0) continue;  // the sum of four wraps: not invertible
      ASSERT_EQ(zmciRCTInv_JPEG2K_32s_P3IR(in_place.pointers, step, size), zmcStatusOk);
      ASSERT_TRUE(in_place.Same(rgb));
      ASSERT_EQ(zmciRCTInv_JPEG2K_32s_P3C3R(yuv.pointers, step, back.as<int32_t>(), back.step(), size), zmcStatusOk);
      ASSERT_TRUE(back.Equals(pixels));
      ASSERT_TRUE(back.CheckPadding());
    }
  }
}

// Inputs of the inverse whose sums wrap: the levels agree with the formula in 64 bits.
TEST(Rct, InverseWraps) {
  Random random;
  constexpr int kWidth = 61;
  std::vector<int32_t> in[3], out[3];
  for (const Level level : Levels()) {
    const AtLevel at(level);
    for (int i = 0; i < 3; ++i) {
      in[i].resize(kWidth);
      random.FillInRuns(in[i].data(), kWidth, INT32_MIN, INT32_MAX);
      out[i] = in[i];
    }
    int32_t* const planes[3] = {out[0].data(), out[1].data(), out[2].data()};
    ASSERT_EQ(zmciRCTInv_JPEG2K_32s_P3IR(planes, 4 * kWidth, {kWidth, 1}), zmcStatusOk);
    for (size_t x = 0; x < kWidth; ++x) {
      const int64_t u = in[1][x], v = in[2][x];
      const int32_t g = Wrap(in[0][x] - static_cast<int64_t>(FloorQuarter(u + v)));
      ASSERT_EQ(out[0][x], Wrap(v + g)) << LevelName(level) << " " << x;
      ASSERT_EQ(out[1][x], g);
      ASSERT_EQ(out[2][x], Wrap(u + g));
    }
  }
}

TEST(Rct, ChecksInOrderAndWritesNothing) {
  int32_t pixel[3] = {1, 2, 4}, a = 5, b = 6, c = 7;
  int32_t* const good[3] = {&a, &b, &c};
  int32_t* const bad[3] = {&a, &b, nullptr};
  EXPECT_EQ(zmciRCTFwd_JPEG2K_32s_C3P3R(nullptr, 0, good, 4, {0, 0}), zmcStatusNullPointer);
  EXPECT_EQ(zmciRCTFwd_JPEG2K_32s_C3P3R(pixel, 0, nullptr, 4, {0, 0}), zmcStatusNullPointer);
  EXPECT_EQ(zmciRCTFwd_JPEG2K_32s_C3P3R(pixel, 0, bad, 4, {0, 0}), zmcStatusNullPointer);
  EXPECT_EQ(zmciRCTFwd_JPEG2K_32s_C3P3R(pixel, 12, good, 0, {0, 0}), zmcStatusBadStep);
  EXPECT_EQ(zmciRCTFwd_JPEG2K_32s_C3P3R(pixel, 12, good, 4, {0, 1}), zmcStatusBadSize);
  EXPECT_EQ(zmciRCTInv_JPEG2K_32s_P3C3R(bad, 0, pixel, 12, {0, 0}), zmcStatusNullPointer);
  EXPECT_EQ(zmciRCTInv_JPEG2K_32s_P3C3R(good, 4, pixel, 0, {0, 0}), zmcStatusBadStep);
  EXPECT_EQ(zmciRCTInv_JPEG2K_32s_P3C3R(good, 4, pixel, 12, {1, 0}), zmcStatusBadSize);
  for (const auto call : {zmciRCTFwd_JPEG2K_32s_P3IR, zmciRCTInv_JPEG2K_32s_P3IR}) {
    EXPECT_EQ(call(nullptr, 0, {0, 0}), zmcStatusNullPointer);
    EXPECT_EQ(call(bad, 0, {0, 0}), zmcStatusNullPointer);
    EXPECT_EQ(call(good, 0, {0, 0}), zmcStatusBadStep);
    EXPECT_EQ(call(good, 4, {1, -1}), zmcStatusBadSize);
  }
  EXPECT_EQ(pixel[0] + pixel[1] + pixel[2], 7);
  EXPECT_EQ(a + b + c, 18);
  // The example of a single pixel.
  EXPECT_EQ(zmciRCTFwd_JPEG2K_32s_C3P3R(pixel, 12, good, 4, {1, 1}), zmcStatusOk);
  EXPECT_TRUE(a == 2 && b == 2 && c == -1);
}

}  // namespace
}  // namespace zmcj::testing
