#include "support/testing.h"

namespace zmcj::testing {
namespace {

TEST(LevelShift, SameAtEveryLevelForEveryWidthAndStep) {
  Random random;
  for (const Level level : Levels()) {
    for (int width = 1; width <= 67; ++width) {
      const int rows = 3, offset = random.In(0, 5);
      SCOPED_TRACE(::testing::Message() << LevelName(level) << " width " << width << " offset " << offset);
      Padded bytes(static_cast<size_t>(width), rows, width + random.In(0, 5), static_cast<size_t>(offset));
      Padded words(static_cast<size_t>(width) * 2, rows, 2 * width + random.In(0, 5), static_cast<size_t>(offset));
      std::vector<unsigned char> expected;
      for (int y = 0; y < rows; ++y) {
        random.FillInRuns(bytes.at(y), static_cast<size_t>(width), 0, 255);
        for (int x = 0; x < width; ++x) expected.push_back(bytes.at(y)[x]);
      }
      AtLevel at(level);
      ASSERT_EQ(zmciSub128_JPEG_8u16s_C1R(bytes.as<uint8_t>(), bytes.step(), words.as<int16_t>(), words.step(),
                                          {width, rows}),
                zmcStatusOk);
      ASSERT_TRUE(words.CheckPadding());
      for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < width; ++x) {
          int16_t value;
          std::memcpy(&value, words.at(y) + 2 * x, 2);
          ASSERT_EQ(value, expected[static_cast<size_t>(y * width + x)] - 128);
          // Beyond both ends of the range, for the way back.
          value = static_cast<int16_t>(x % 3 == 0 ? value : random.In(-32768, 32767));
          std::memcpy(words.at(y) + 2 * x, &value, 2);
          expected[static_cast<size_t>(y * width + x)] = static_cast<unsigned char>(std::clamp(value + 128, 0, 255));
        }
      }
      ASSERT_EQ(zmciAdd128_JPEG_16s8u_C1R(words.as<int16_t>(), words.step(), bytes.as<uint8_t>(), bytes.step(),
                                          {width, rows}),
                zmcStatusOk);
      ASSERT_TRUE(bytes.CheckPadding());
      for (int y = 0; y < rows; ++y)
        ASSERT_TRUE(SameArray(expected.data() + y * width, bytes.at(y), static_cast<size_t>(width)));
    }
  }
}

TEST(LevelShift, ChecksInOrderAndWritesNothing) {
  uint8_t bytes[4] = {1, 2, 3, 4};
  int16_t words[4] = {5, 6, 7, 8};
  EXPECT_EQ(zmciSub128_JPEG_8u16s_C1R(nullptr, 0, words, 2, {0, 0}), zmcStatusNullPointer);
  EXPECT_EQ(zmciSub128_JPEG_8u16s_C1R(bytes, 1, words, 0, {0, 0}), zmcStatusBadStep);
  EXPECT_EQ(zmciSub128_JPEG_8u16s_C1R(bytes, 1, words, 2, {0, 1}), zmcStatusBadSize);
  EXPECT_EQ(zmciAdd128_JPEG_16s8u_C1R(nullptr, 0, bytes, 1, {1, 1}), zmcStatusNullPointer);
  EXPECT_EQ(zmciAdd128_JPEG_16s8u_C1R(words, 0, nullptr, 1, {1, 1}), zmcStatusBadStep);
  EXPECT_EQ(zmciAdd128_JPEG_16s8u_C1R(words, 1, nullptr, 0, {1, 1}), zmcStatusNullPointer);
  EXPECT_EQ(zmciAdd128_JPEG_16s8u_C1R(words, 1, bytes, 0, {0, 1}), zmcStatusBadStep);
  EXPECT_EQ(zmciAdd128_JPEG_16s8u_C1R(words, 1, bytes, 1, {1, 0}), zmcStatusBadSize);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(words[0], 5);
}

}  // namespace
}  // namespace zmcj::testing
