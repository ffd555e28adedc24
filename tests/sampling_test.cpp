#ifdef _OPENMP
#include <omp.h>
#endif

#include "support/testing.h"

namespace zmcj::testing {
namespace {

using Plane = ZmcStatus (*)(const uint8_t*, int, ZmciSize, uint8_t*, int, ZmciSize);

// The filters as written down: destination sample x from two rows.
using Formula = int (*)(const uint8_t* a, const uint8_t* b, int x);

int BoxH2V1(const uint8_t* a, const uint8_t*, int x) { return (a[2 * x] + a[2 * x + 1] + x % 2) / 2; }
int BoxH2V2(const uint8_t* a, const uint8_t* b, int x) {
  return (a[2 * x] + a[2 * x + 1] + b[2 * x] + b[2 * x + 1] + 1 + x % 2) / 4;
}
int TriangleH2V1(const uint8_t* a, const uint8_t*, int x) {
  const int i = x / 2;
  return x % 2 == 0 ? (3 * a[i] + a[i - 1] + 1) / 4 : (3 * a[i] + a[i + 1] + 2) / 4;
}
int TriangleH2V2(const uint8_t* a, const uint8_t* b, int x) {
  const auto v = [&](int i) { return 3 * a[i] + b[i]; };
  const int i = x / 2;
  return x % 2 == 0 ? (3 * v(i) + v(i - 1) + 8) / 16 : (3 * v(i) + v(i + 1) + 7) / 16;
}

struct Case {
  const char* name;
  Plane plane;
  ZmcStatus (*row)(const uint8_t*, int, uint8_t*);                         // of one source row
  ZmcStatus (*row_of_two)(const uint8_t*, const uint8_t*, int, uint8_t*);  // of two
  Formula formula;
  bool up, two_rows;

  ZmcStatus Row(const uint8_t* a, const uint8_t* b, int width, uint8_t* to) const {
    return two_rows ? row_of_two(a, b, width, to) : row(a, width, to);
  }
  // Source samples per row for so many destination samples, and those beside them that are read.
  int SourceWidth(int width) const { return up ? (width + 1) / 2 : 2 * width; }
  int Before() const { return up ? 1 : 0; }
  int After(int width) const { return up && width % 2 == 0 ? 1 : 0; }
  // The two source rows of a destination row.
  std::pair<int, int> Rows(int y, int source_height) const {
    if (!two_rows) return {y, y};
    if (!up) return {2 * y, 2 * y + 1};
    return {y / 2, std::clamp(y % 2 == 0 ? y / 2 - 1 : y / 2 + 1, 0, source_height - 1)};
  }
  int SourceHeight(int height) const { return !two_rows ? height : up ? (height + 1) / 2 : 2 * height; }
};

const Case kCases[] = {
    {"DownH2V1", zmciSampleDownH2V1_JPEG_8u_C1R, zmciSampleDownRowH2V1_Box_JPEG_8u_C1, nullptr, BoxH2V1, false, false},
    {"DownH2V2", zmciSampleDownH2V2_JPEG_8u_C1R, nullptr, zmciSampleDownRowH2V2_Box_JPEG_8u_C1, BoxH2V2, false, true},
    {"UpH2V1", zmciSampleUpH2V1_JPEG_8u_C1R, zmciSampleUpRowH2V1_Triangle_JPEG_8u_C1, nullptr, TriangleH2V1, true,
     false},
    {"UpH2V2", zmciSampleUpH2V2_JPEG_8u_C1R, nullptr, zmciSampleUpRowH2V2_Triangle_JPEG_8u_C1, TriangleH2V2, true,
     true},
};

::testing::AssertionResult Check(const Case& c, const uint8_t* from, int from_step, int source_height, uint8_t* to,
                                 int to_step, ZmciSize size) {
  const ZmciSize source_size = {c.SourceWidth(size.width), source_height};
  if (c.plane(from, from_step, source_size, to, to_step, size) != zmcStatusOk)
    return ::testing::AssertionFailure() << c.name << ": status";
  for (int y = 0; y < size.height; ++y) {
    const auto [first, second] = c.Rows(y, source_height);
    const uint8_t* a = from + static_cast<ptrdiff_t>(first) * from_step;
    const uint8_t* b = from + static_cast<ptrdiff_t>(second) * from_step;
    const uint8_t* row = to + static_cast<ptrdiff_t>(y) * to_step;
    for (int x = 0; x < size.width; ++x) {
      if (row[x] == c.formula(a, b, x)) continue;
      return ::testing::AssertionFailure()
             << c.name << ": seed " << Seed() << ", size " << size.width << "x" << size.height << ", row " << y
             << ", column " << x << ": " << int{row[x]} << ", expected " << c.formula(a, b, x);
    }
  }
  return ::testing::AssertionSuccess();
}

// All values that meet in a filter: row k holds value k beside every other value, in both orders. The H2V2 triangle
// filters column sums, 0..1020, and the H2V2 box depends on the sum of four samples only.
TEST(Sampling, AllNeighbours) {
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (const Case& c : kCases) {
      const int values = c.two_rows ? 1021 : 256, width = 2 * values;
      std::vector<uint8_t> near(static_cast<size_t>(width) + 2), far(near.size()), to(2 * near.size());
      for (int k = 0; k < values; k += level == BestLevel() ? 1 : 5) {
        for (int i = 0; i < width + 2; ++i) {
          const int v = i % 2 == 0 ? k : i / 2 % values;
          // As 3 near + far; as near + far for the box, whose sums of two columns then reach all of 0..1020.
          const int n = !c.two_rows ? v : c.up ? std::min(v / 3, 255) : v / 4;
          const int f = c.up ? v - 3 * n : (v + 2) / 4;
          near[static_cast<size_t>(i)] = static_cast<uint8_t>(n);
          far[static_cast<size_t>(i)] = static_cast<uint8_t>(f);
        }
        // One column on, the other order and the other rounding.
        for (const int shift : {1, 2}) {
          const int count = c.up ? 2 * (width - 2) : (width - 2) / 2;
          const uint8_t *a = near.data() + shift, *b = far.data() + shift;
          ASSERT_EQ(c.Row(a, b, width - 2, to.data()), zmcStatusOk);
          for (int x = c.up ? 2 : 0; x < (c.up ? count - 2 : count); ++x) {
            ASSERT_EQ(to[static_cast<size_t>(x)], c.formula(a, b, x))
                << c.name << " " << LevelName(level) << ", value " << k << ", column " << x;
          }
        }
      }
    }
  }
}

// Every width, every offset of either side, odd and unequal steps, source rows that overlap, padded destinations.
TEST(Sampling, EveryGeometry) {
  Random random(11);
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (const Case& c : kCases) {
      for (int i = 1; i <= 67 * 5; ++i) {
        const int width = i <= 67 * 4 ? i % 67 + 1 : random.In(1, 2200), height = 1 + i % 4;
        const int source_width = c.SourceWidth(width), source_height = c.SourceHeight(height);
        const int from_step = i % 3 == 0 ? random.In(1, 7) : source_width + random.In(0, 9);
        std::vector<uint8_t> source(static_cast<size_t>(40 + source_height * from_step + source_width));
        random.FillInRuns(source.data(), source.size(), 0, 255);
        Padded to(static_cast<size_t>(width), height, width + random.In(0, 9), static_cast<size_t>(i % 32));
        const uint8_t* from = source.data() + 1 + random.In(0, 31);
        ASSERT_TRUE(Check(c, from, from_step, source_height, to.as<uint8_t>(), to.step(), {width, height}))
            << LevelName(level);
        ASSERT_TRUE(to.CheckPadding()) << LevelName(level) << " " << c.name << " width " << width;
      }
    }
  }
}

// Planes read one sample before and after each row where they need it, and no row outside the region.
TEST(Sampling, PlanesTouchNothingElse) {
  constexpr int kRoom = 4096;
  for (const auto side : {Guarded::Side::kEnd, Guarded::Side::kStart}) {
    const Guarded source(kRoom, side), destination(kRoom, side);
    for (const Level level : Levels()) {
      AtLevel at(level);
      for (const Case& c : kCases) {
        for (int width = 1; width <= 140; ++width) {
          const int height = 4, source_height = c.SourceHeight(height);
          const int step = c.Before() + c.SourceWidth(width) + c.After(width);
          const bool end = side == Guarded::Side::kEnd;
          const uint8_t* from = source.data() + c.Before() + (end ? kRoom - step * source_height : 0);
          uint8_t* to = destination.data() + (end ? kRoom - width * height : 0);
          if (step * source_height > kRoom) continue;
          ASSERT_TRUE(Check(c, from, step, source_height, to, width, {width, height})) << LevelName(level);
        }
      }
    }
  }
}

TEST(Sampling, RowsReplicateTheirEndsAndTouchNothingElse) {
  constexpr size_t kRoom = 1024;
  Random random(12);
  for (const auto side : {Guarded::Side::kEnd, Guarded::Side::kStart}) {
    const Guarded first(kRoom, side), second(kRoom, side), destination(kRoom, side);
    for (const Level level : Levels()) {
      AtLevel at(level);
      for (const Case& c : kCases) {
        for (int width = 1; width <= 141; ++width) {
          const int count = c.up ? 2 * width : width / 2;
          const auto place = [&](const Guarded& g, int n) {
            return g.data() + (side == Guarded::Side::kEnd ? kRoom - static_cast<size_t>(n) : 0);
          };
          uint8_t *a = place(first, width), *b = place(second, width), *to = place(destination, count);
          // The rows between copies of their ends, for the formula.
          std::vector<uint8_t> wide[2];
          for (const uint8_t* row : {a, b}) {
            random.FillInRuns(const_cast<uint8_t*>(row), static_cast<size_t>(width), 0, 255);
            auto& copy = wide[row == b];
            copy.assign(row, row + width);
            copy.insert(copy.begin(), row[0]);
            copy.push_back(row[width - 1]);
          }
          ASSERT_EQ(c.Row(a, b, width, to), zmcStatusOk);
          for (int x = 0; x < count; ++x) {
            ASSERT_EQ(to[x], c.formula(wide[0].data() + 1, wide[1].data() + 1, x))
                << c.name << " " << LevelName(level) << ", width " << width << ", column " << x;
          }
        }
      }
    }
  }
  // A row of one sample has no complete pair.
  uint8_t sample = 9, to = 77;
  EXPECT_EQ(zmciSampleDownRowH2V1_Box_JPEG_8u_C1(&sample, 1, &to), zmcStatusOk);
  EXPECT_EQ(to, 77);
}

// The destination region is obeyed, smaller or larger than the source region suggests.
TEST(Sampling, RegionsThatDisagree) {
  Random random(13);
  std::vector<uint8_t> source(400), to(400, 77);
  random.FillInRuns(source.data(), source.size(), 0, 255);
  for (const Case& c : kCases) {
    for (const ZmciSize size : {ZmciSize{3, 3}, ZmciSize{7, 5}}) {
      ASSERT_EQ(c.plane(source.data() + 20, 20, {4, 4}, to.data(), 20, size), zmcStatusOk);
      for (int y = 0; y < size.height; ++y) {
        const auto [first, second] = c.Rows(y, 4);
        for (int x = 0; x < size.width; ++x) {
          EXPECT_EQ(to[static_cast<size_t>(20 * y + x)],
                    c.formula(source.data() + 20 + 20 * first, source.data() + 20 + 20 * second, x));
        }
        EXPECT_EQ(to[static_cast<size_t>(20 * y + size.width)], 77) << c.name;
      }
      std::fill(to.begin(), to.end(), uint8_t{77});
    }
  }
}

// Large enough for stores past the caches and for several threads; odd steps take the rows through all alignments.
TEST(Sampling, LargePlanesAndAnyNumberOfThreads) {
  Random random(14);
  const ZmciSize size = {4099, 1027};
  std::vector<uint8_t> source(static_cast<size_t>(4 * size.width + 8) * static_cast<size_t>(size.height + 1));
  std::vector<uint8_t> to(static_cast<size_t>(size.width + 2) * static_cast<size_t>(size.height));
  random.FillInRuns(source.data(), source.size(), 0, 255);
  for (const Case& c : kCases) {
    const int step = c.SourceWidth(size.width) + 3;
    const auto check = [&] {
      std::fill(to.begin(), to.end(), uint8_t{77});
      return Check(c, source.data() + 1, step, c.SourceHeight(size.height), to.data(), size.width + 2, size);
    };
#ifdef _OPENMP
    const int before = omp_get_max_threads();
    for (const int threads : {1, 2, 3, 16}) {
      omp_set_num_threads(threads);
      ASSERT_TRUE(check()) << threads << " threads";
    }
    omp_set_num_threads(before);
    bool good = false;
#pragma omp parallel num_threads(2)
#pragma omp single
    good = static_cast<bool>(check());
    ASSERT_TRUE(good) << c.name << ", in a parallel region";
#else
    ASSERT_TRUE(check());
#endif
  }
}

TEST(Sampling, ChecksInOrderAndWritesNothing) {
  uint8_t s[8] = {}, d[8] = {77, 77, 77, 77, 77, 77, 77, 77};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.plane(nullptr, 0, {0, 0}, nullptr, 0, {0, 0}), zmcStatusNullPointer);
    EXPECT_EQ(c.plane(s, 0, {0, 0}, nullptr, 0, {0, 0}), zmcStatusBadStep);
    EXPECT_EQ(c.plane(s, 1, {0, 1}, nullptr, 0, {0, 0}), zmcStatusBadSize);
    EXPECT_EQ(c.plane(s, 1, {1, 0}, nullptr, 0, {0, 0}), zmcStatusBadSize);
    EXPECT_EQ(c.plane(s, 1, {1, 1}, nullptr, 0, {0, 0}), zmcStatusNullPointer);
    EXPECT_EQ(c.plane(s, 1, {1, 1}, d, 0, {0, 0}), zmcStatusBadStep);
    EXPECT_EQ(c.plane(s, 1, {1, 1}, d, 1, {0, 1}), zmcStatusBadSize);
    EXPECT_EQ(c.plane(s, 1, {1, 1}, d, 1, {1, -3}), zmcStatusBadSize);
    EXPECT_EQ(c.Row(nullptr, s, 0, d), zmcStatusNullPointer);
    EXPECT_EQ(c.Row(s, s, 0, nullptr), zmcStatusNullPointer);
    EXPECT_EQ(c.Row(s, s, 0, d), zmcStatusBadSize);
    EXPECT_EQ(c.Row(s, nullptr, 0, d), c.two_rows ? zmcStatusNullPointer : zmcStatusBadSize);
    for (const uint8_t v : d) EXPECT_EQ(v, 77);
  }
}

}  // namespace
}  // namespace zmcj::testing
