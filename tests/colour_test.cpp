#include <functional>
#include <set>
#ifdef _OPENMP
#include <omp.h>
#endif

#include "support/testing.h"

namespace zmcj::testing {
namespace {

using Triple = std::array<int, 3>;
using Formula = Triple (*)(int, int, int);

int Clamp(int v) { return std::clamp(v, 0, 255); }

// The arithmetics, as written down: grouped columns first, then remaining columns.
Triple FromLuma(int r, int g, int b) {
  const int y = (19595 * r + 38470 * g + 7471 * b + 32768) >> 16;
  return {y, Clamp(((b - y) * 18491 + 4210688) >> 15), Clamp(((r - y) * 23373 + 4210688) >> 15)};
}
Triple Direct(int r, int g, int b) {
  return {Clamp((4899 * r + 9617 * g + 1868 * b + 8192) >> 14),
          Clamp((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14),
          Clamp((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14)};
}
Triple ForwardTail(int r, int g, int b) {
  return {(19595 * r + 38470 * g + 7471 * b + 32768) >> 16, (-11059 * r - 21709 * g + 32768 * b + 8421375) >> 16,
          (32768 * r - 27439 * g - 5329 * b + 8421375) >> 16};
}
Triple LumaFloat(int r, int g, int b) {
  volatile float sum = static_cast<float>(r) * 0.299f;
  sum = sum + static_cast<float>(g) * 0.587f;
  sum = sum + static_cast<float>(b) * 0.114f;
  // Sums of 256 times integers are exact: to the nearest, ties to even, without the runtime's rounding functions.
  const int floor = static_cast<int>(sum);
  const float rest = sum - static_cast<float>(floor);
  return {floor + (rest > 0.5f || (rest == 0.5f && floor % 2 == 1)), 0, 0};
}
Triple LumaInteger(int r, int g, int b) { return {(9798 * r + 19235 * g + 3736 * b + 16266) >> 15, 0, 0}; }
Triple InverseSubtracted(int y, int cb, int cr) {
  return {Clamp(y + ((22970 * cr - 2932015) >> 14)), Clamp(y - ((5638 * cb + 11700 * cr - 2211182) >> 14)),
          Clamp(y + ((29032 * cb - 3708561) >> 14))};
}
Triple InverseAdded(int y, int cb, int cr) {
  return {Clamp(y + ((22970 * cr - 2932015) >> 14)), Clamp(y + ((-5638 * cb - 11700 * cr + 2227566) >> 14)),
          Clamp(y + ((29032 * cb - 3707961) >> 14))};
}
Triple InverseTail(int y, int cb, int cr) {
  cb -= 128, cr -= 128;
  return {Clamp(y + ((91881 * cr + 32768) >> 16)), Clamp(y + ((-22554 * cb - 46802 * cr + 32768) >> 16)),
          Clamp(y + ((116130 * cb + 32768) >> 16))};
}

struct Shape {
  int planes;
  int bytes;              // of a pixel in each plane
  bool reversed = false;  // blue first
  int green_bits = 0;     // packed 16-bit pixels
  bool inverted = false;  // C, M, Y and K
};
using Source = const uint8_t* const*;
using Destination = uint8_t* const*;

using Quad = std::array<int, 4>;

Quad Get(const Shape& shape, const std::array<const uint8_t*, 4>& rows, int x) {
  Quad p = {};
  if (shape.green_bits > 0) {
    const int v = rows[0][2 * x] | rows[0][2 * x + 1] << 8;
    const int shift = shape.green_bits + 5;
    p = {(v & 31) * 8, shape.green_bits == 6 ? (v >> 5 & 63) * 4 : (v >> 5 & 31) * 8, (v >> shift & 31) * 8, 0};
  } else {
    for (int i = 0; i < shape.planes * shape.bytes; ++i) {
      const auto at = static_cast<size_t>(i);
      p[at] = shape.planes > 1 ? rows[at][x] : rows[0][x * shape.bytes + i];
    }
  }
  if (shape.reversed) std::swap(p[0], p[2]);
  if (shape.inverted) p = {255 - p[0], 255 - p[1], 255 - p[2], p[3]};
  return p;
}

// The bytes of a pixel: one per plane, or all of the one buffer's.
Quad Bytes(const Shape& shape, Quad p) {
  if (shape.inverted) p = {255 - p[0], 255 - p[1], 255 - p[2], p[3]};
  if (shape.reversed) std::swap(p[0], p[2]);
  if (shape.green_bits == 0) return p;
  const int green = shape.green_bits == 6 ? p[1] / 4 : p[1] / 8;
  const int word = p[0] / 8 + green * 32 + p[2] / 8 * (32 << shape.green_bits);
  return {word & 255, word >> 8, 0, 0};
}

struct Case {
  const char* name;
  std::function<ZmcStatus(Source, int, Destination, int, ZmciSize)> call;
  Shape from;
  Formula grouped, tail;
  Shape to;
};

// One calling form for all.
template <class From, class To>
auto Adapt(ZmcStatus (*f)(From, int, To, int, ZmciSize)) {
  return [f](Source source, int source_step, Destination destination, int destination_step, ZmciSize size) {
    From from;
    To to;
    if constexpr (std::is_same_v<From, Source>) {
      from = source;
    } else {
      from = source == nullptr ? nullptr : reinterpret_cast<From>(reinterpret_cast<uintptr_t>(source[0]));
    }
    if constexpr (std::is_same_v<To, Destination>) {
      to = destination;
    } else {
      to = destination == nullptr ? nullptr : reinterpret_cast<To>(reinterpret_cast<uintptr_t>(destination[0]));
    }
    return f(from, source_step, to, destination_step, size);
  };
}

constexpr Shape kThree = {3, 1}, kOne = {1, 1}, kRgb = {1, 3}, kBgr = {1, 3, true};
constexpr Shape kCmykPlanes = {4, 1, false, 0, true}, kYcckPlanes = {4, 1}, kCmyk = {1, 4, false, 0, true};
constexpr Shape kRgb555 = {1, 2, false, 5}, kBgr555 = {1, 2, true, 5}, kRgb565 = {1, 2, false, 6};
constexpr Shape kBgr565 = {1, 2, true, 6};

const std::vector<Case>& Cases() {
  static const std::vector<Case> cases = {
      {"RGBToYCbCr P3", Adapt(zmciRGBToYCbCr_JPEG_8u_P3R), kThree, FromLuma, ForwardTail, kThree},
      {"RGBToYCbCr C3P3", Adapt(zmciRGBToYCbCr_JPEG_8u_C3P3R), kRgb, Direct, ForwardTail, kThree},
      {"BGRToYCbCr C3P3", Adapt(zmciBGRToYCbCr_JPEG_8u_C3P3R), kBgr, Direct, ForwardTail, kThree},
      {"RGBToY P3C1", Adapt(zmciRGBToY_JPEG_8u_P3C1R), kThree, LumaFloat, ForwardTail, kOne},
      {"RGBToY C3C1", Adapt(zmciRGBToY_JPEG_8u_C3C1R), kRgb, LumaInteger, LumaInteger, kOne},
      {"BGRToY C3C1", Adapt(zmciBGRToY_JPEG_8u_C3C1R), kBgr, LumaInteger, LumaInteger, kOne},
      {"CMYKToYCCK P4", Adapt(zmciCMYKToYCCK_JPEG_8u_P4R), kCmykPlanes, FromLuma, ForwardTail, kYcckPlanes},
      {"CMYKToYCCK C4P4", Adapt(zmciCMYKToYCCK_JPEG_8u_C4P4R), kCmyk, FromLuma, ForwardTail, kYcckPlanes},
      {"YCbCrToRGB P3", Adapt(zmciYCbCrToRGB_JPEG_8u_P3R), kThree, InverseSubtracted, InverseTail, kThree},
      {"YCbCrToRGB P3C3", Adapt(zmciYCbCrToRGB_JPEG_8u_P3C3R), kThree, InverseAdded, InverseTail, kRgb},
      {"YCbCrToBGR P3C3", Adapt(zmciYCbCrToBGR_JPEG_8u_P3C3R), kThree, InverseAdded, InverseTail, kBgr},
      {"YCCKToCMYK P4", Adapt(zmciYCCKToCMYK_JPEG_8u_P4R), kYcckPlanes, InverseSubtracted, InverseTail, kCmykPlanes},
      {"YCCKToCMYK P4C4", Adapt(zmciYCCKToCMYK_JPEG_8u_P4C4R), kYcckPlanes, InverseSubtracted, InverseTail, kCmyk},
      {"RGB555ToYCbCr", Adapt(zmciRGB555ToYCbCr_JPEG_16u8u_C3P3R), kRgb555, ForwardTail, ForwardTail, kThree},
      {"BGR555ToYCbCr", Adapt(zmciBGR555ToYCbCr_JPEG_16u8u_C3P3R), kBgr555, ForwardTail, ForwardTail, kThree},
      {"RGB565ToYCbCr", Adapt(zmciRGB565ToYCbCr_JPEG_16u8u_C3P3R), kRgb565, ForwardTail, ForwardTail, kThree},
      {"BGR565ToYCbCr", Adapt(zmciBGR565ToYCbCr_JPEG_16u8u_C3P3R), kBgr565, ForwardTail, ForwardTail, kThree},
      {"YCbCrToRGB555", Adapt(zmciYCbCrToRGB555_JPEG_8u16u_P3C3R), kThree, InverseSubtracted, InverseTail, kRgb555},
      {"YCbCrToBGR555", Adapt(zmciYCbCrToBGR555_JPEG_8u16u_P3C3R), kThree, InverseSubtracted, InverseTail, kBgr555},
      {"YCbCrToRGB565", Adapt(zmciYCbCrToRGB565_JPEG_8u16u_P3C3R), kThree, InverseSubtracted, InverseTail, kRgb565},
      {"YCbCrToBGR565", Adapt(zmciYCbCrToBGR565_JPEG_8u16u_P3C3R), kThree, InverseSubtracted, InverseTail, kBgr565},
  };
  return cases;
}

// Converts and compares every byte with the formulas' result.
::testing::AssertionResult Check(const Case& c, const std::array<const uint8_t*, 4>& from, int from_step,
                                 const std::array<uint8_t*, 4>& to, int to_step, ZmciSize size) {
  if (c.call(from.data(), from_step, to.data(), to_step, size) != zmcStatusOk)
    return ::testing::AssertionFailure() << c.name << ": status";
  for (int y = 0; y < size.height; ++y) {
    std::array<const uint8_t*, 4> rows = {};
    for (size_t i = 0; i < static_cast<size_t>(c.from.planes); ++i)
      rows[i] = from[i] + static_cast<ptrdiff_t>(y) * from_step;
    for (int x = 0; x < size.width; ++x) {
      const Quad p = Get(c.from, rows, x);
      const Formula formula = x < size.width / 4 * 4 ? c.grouped : c.tail;
      const Triple result = formula(p[0], p[1], p[2]);
      const Quad expected = Bytes(c.to, {result[0], result[1], result[2], p[3]});
      for (int i = 0; i < c.to.planes * c.to.bytes; ++i) {
        const auto at = static_cast<size_t>(i);
        const ptrdiff_t row = static_cast<ptrdiff_t>(y) * to_step;
        const int actual = c.to.planes > 1 ? to[at][row + x] : to[0][row + x * c.to.bytes + i];
        if (actual == expected[at]) continue;
        return ::testing::AssertionFailure()
               << c.name << ": seed " << Seed() << ", size " << size.width << "x" << size.height << ", row " << y
               << ", column " << x << ", source " << p[0] << " " << p[1] << " " << p[2] << " " << p[3] << ", byte " << i
               << ": " << actual << ", expected " << expected[at];
      }
    }
  }
  return ::testing::AssertionSuccess();
}

// An image in ordinary memory, one vector per plane.
struct Image {
  Image(const Shape& shape, ZmciSize size, int pad = 0)
      : step(size.width * shape.bytes + pad), planes(static_cast<size_t>(shape.planes)) {
    for (size_t i = 0; i < planes.size(); ++i) {
      planes[i].resize(static_cast<size_t>(step) * static_cast<size_t>(size.height));
      pointers[i] = planes[i].data();
    }
  }
  std::array<const uint8_t*, 4> source() const { return {pointers[0], pointers[1], pointers[2], pointers[3]}; }
  void Fill(Random& random) {
    for (auto& plane : planes) random.FillInRuns(plane.data(), plane.size(), 0, 255);
  }
  int step;
  std::vector<std::vector<uint8_t>> planes;
  std::array<uint8_t*, 4> pointers = {};
};

// Source pixel i of an image holds the i-th triple of components after `first`, counted up from the last component.
void FillWithTriples(const Shape& shape, Image& image, int pixels, int first) {
  for (int i = 0; i < pixels; ++i) {
    const auto pixel = static_cast<size_t>(i);
    const int n = first + i;
    const uint8_t values[4] = {static_cast<uint8_t>(n >> 16), static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n),
                               static_cast<uint8_t>(n * 5)};
    if (shape.planes == 1) {
      const auto bytes = static_cast<size_t>(shape.bytes);
      std::memcpy(image.pointers[0] + pixel * bytes, values + (shape.green_bits > 0), bytes);
    } else {
      for (size_t plane = 0; plane < image.planes.size(); ++plane) image.pointers[plane][pixel] = values[plane];
    }
  }
}

// All 2^24 triples in grouped columns for each arithmetic; in the remaining columns, rows of three, one in four; packed
// pixels all 65536. Other layouts of the same arithmetic, and levels below the best, one in eleven. The images are too
// small for threads.
TEST(Colour, AllTriples) {
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (const bool tail : {false, true}) {
      const ZmciSize size = tail ? ZmciSize{3, 2730} : ZmciSize{256, 32};
      const int pixels = size.width * size.height;
      std::set<Formula> seen;
      for (const Case& c : Cases()) {
        const bool packed = c.from.green_bits > 0;
        const bool first_of_arithmetic = seen.insert(tail ? c.tail : c.grouped).second;
        const int stride = packed ? 1 : !first_of_arithmetic || level != BestLevel() ? 11 : tail ? 4 : 1;
        Image from(c.from, size), to(c.to, size);
        for (int first = 0; first < (packed ? 1 << 16 : 1 << 24); first += stride * pixels) {
          FillWithTriples(c.from, from, pixels, first);
          ASSERT_TRUE(Check(c, from.source(), from.step, to.pointers, to.step, size)) << LevelName(level);
        }
      }
    }
  }
}

// Every width, every offset of either side, odd and unequal steps, source rows that overlap, padded destinations.
TEST(Colour, EveryGeometry) {
  Random random(1);
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (const Case& c : Cases()) {
      for (int i = 1; i <= 67 + 64; ++i) {
        const int width = i <= 67 ? i : random.In(1, 140), rows = 3;
        const auto offset = static_cast<size_t>(i % 32);
        const int row_bytes = width * c.to.bytes;
        const int from_step = i % 3 == 0 ? random.In(1, 7) : width * c.from.bytes + random.In(0, 9);
        const int to_step = row_bytes + random.In(0, 9);
        std::vector<std::vector<uint8_t>> source(4);
        std::vector<Padded> destination;
        std::array<const uint8_t*, 4> from = {};
        std::array<uint8_t*, 4> to = {};
        for (size_t plane = 0; plane < static_cast<size_t>(c.from.planes); ++plane) {
          source[plane].resize(32 + static_cast<size_t>(2 * from_step + width * c.from.bytes));
          random.FillInRuns(source[plane].data(), source[plane].size(), 0, 255);
          from[plane] = source[plane].data() + (i < 67 ? offset : static_cast<size_t>(random.In(0, 31)));
        }
        for (int plane = 0; plane < c.to.planes; ++plane) {
          destination.emplace_back(static_cast<size_t>(row_bytes), rows, to_step,
                                   i < 67 ? static_cast<size_t>(random.In(0, 31)) : offset);
        }
        for (size_t plane = 0; plane < destination.size(); ++plane) to[plane] = destination[plane].as<uint8_t>();
        ASSERT_TRUE(Check(c, from, from_step, to, to_step, {width, rows})) << LevelName(level);
        for (Padded& plane : destination) ASSERT_TRUE(plane.CheckPadding()) << LevelName(level) << " " << c.name;
      }
    }
  }
}

TEST(Colour, TouchesNothingBeyondARow) {
  constexpr size_t kRoom = 4096;
  for (const auto side : {Guarded::Side::kEnd, Guarded::Side::kStart}) {
    const Guarded s[4] = {Guarded(kRoom, side), Guarded(kRoom, side), Guarded(kRoom, side), Guarded(kRoom, side)};
    const Guarded d[4] = {Guarded(kRoom, side), Guarded(kRoom, side), Guarded(kRoom, side), Guarded(kRoom, side)};
    for (const Level level : Levels()) {
      AtLevel at(level);
      for (const Case& c : Cases()) {
        for (int width = 1; width <= 67; ++width) {
          const auto place = [&](const Guarded& g, int bytes) {
            return g.data() + (side == Guarded::Side::kEnd ? kRoom - static_cast<size_t>(bytes) : 0);
          };
          std::array<const uint8_t*, 4> from = {};
          std::array<uint8_t*, 4> to = {};
          for (size_t i = 0; i < 4; ++i) {
            from[i] = place(s[i], width * c.from.bytes);
            to[i] = place(d[i], width * c.to.bytes);
          }
          ASSERT_TRUE(Check(c, from, 1, to, 1, {width, 1})) << LevelName(level);
        }
      }
    }
  }
}

// Large enough for stores past the caches: steps that take the rows through all alignments, planes of equal and of
// different alignment, rows without gaps.
TEST(Colour, LargeImages) {
  Random random(2);
  for (const Level level : Levels()) {
    if (level == Level::kScalar) continue;
    AtLevel at(level);
    for (const Case& c : Cases()) {
      const int width = 4099, row_bytes = width * c.to.bytes;
      const ZmciSize size = {width, (4 << 20) / (row_bytes * c.to.planes) + 1};
      Image from(c.from, size, 5), to(c.to, size, row_bytes % 2 == 0 ? 3 : 2);
      from.Fill(random);
      ASSERT_TRUE(Check(c, from.source(), from.step, to.pointers, to.step, size)) << LevelName(level);
      if (c.to.planes == 1 || level != BestLevel()) continue;
      to.pointers[1] += 1;
      ASSERT_TRUE(Check(c, from.source(), from.step, to.pointers, to.step, size)) << LevelName(level);
    }
    for (const Case& c : Cases()) {
      const ZmciSize size = {100, (4 << 20) / (100 * c.to.bytes * c.to.planes) + 1};
      Image from(c.from, size), to(c.to, size);
      from.Fill(random);
      ASSERT_TRUE(Check(c, from.source(), from.step, to.pointers, to.step, size)) << LevelName(level);
    }
  }
}

#ifdef _OPENMP
TEST(Colour, SameForAnyNumberOfThreads) {
  Random random(3);
  const int before = omp_get_max_threads(), levels_before = omp_get_max_active_levels();
  for (size_t i = 0; i < 2 * Cases().size(); ++i) {
    const Case& c = Cases()[i / 2];
    // Rows that are converted one by one, and rows that are converted as one.
    const ZmciSize size = {i % 2 == 0 ? 331 : 332, 97};
    Image from(c.from, size);
    from.Fill(random);
    for (const int threads : {1, 2, 3, 16}) {
      omp_set_num_threads(threads);
      Image to(c.to, size);
      ASSERT_TRUE(Check(c, from.source(), from.step, to.pointers, to.step, size)) << threads << " threads";
    }
    omp_set_num_threads(before);
    for (const int levels : {1, 2}) {
      omp_set_max_active_levels(levels);
      Image to[2] = {Image(c.to, size), Image(c.to, size)};
      bool good[2] = {};
#pragma omp parallel for num_threads(2)
      for (int k = 0; k < 2; ++k)
        good[k] = static_cast<bool>(Check(c, from.source(), from.step, to[k].pointers, to[k].step, size));
      ASSERT_TRUE(good[0] && good[1]) << c.name << ", in a parallel region, " << levels << " active levels";
    }
    omp_set_max_active_levels(levels_before);
  }
}
#endif

TEST(Colour, ChecksInOrderAndWritesNothing) {
  for (const Case& c : Cases()) {
    SCOPED_TRACE(c.name);
    Image from(c.from, {4, 1}), to(c.to, {4, 1});
    const Image untouched = to;
    const auto call = [&](Source source, int source_step, Destination destination, int destination_step,
                          ZmciSize size) { return c.call(source, source_step, destination, destination_step, size); };
    const auto source = from.source();
    EXPECT_EQ(call(nullptr, 0, to.pointers.data(), 0, {0, 0}), zmcStatusNullPointer);
    EXPECT_EQ(call(source.data(), 0, nullptr, 0, {0, 0}), zmcStatusNullPointer);
    for (size_t i = 0; i < from.planes.size(); ++i) {
      auto damaged = source;
      damaged[i] = nullptr;
      EXPECT_EQ(call(damaged.data(), 0, to.pointers.data(), 0, {0, 0}), zmcStatusNullPointer);
    }
    for (size_t i = 0; i < to.planes.size(); ++i) {
      auto damaged = to.pointers;
      damaged[i] = nullptr;
      EXPECT_EQ(call(source.data(), 0, damaged.data(), 0, {0, 0}), zmcStatusNullPointer);
    }
    EXPECT_EQ(call(source.data(), 0, to.pointers.data(), 1, {0, 0}), zmcStatusBadStep);
    EXPECT_EQ(call(source.data(), 1, to.pointers.data(), 0, {0, 0}), zmcStatusBadStep);
    EXPECT_EQ(call(source.data(), 1, to.pointers.data(), 1, {0, 1}), zmcStatusBadSize);
    EXPECT_EQ(call(source.data(), 1, to.pointers.data(), 1, {1, -1}), zmcStatusBadSize);
    EXPECT_EQ(to.planes, untouched.planes);
  }
}

}  // namespace
}  // namespace zmcj::testing
