#include "wavelet_model.h"

namespace zmcj::testing {
namespace {

#define ZMCJ_REGION_KIND(name, base, filter, type)                                      \
  struct name : base {                                                                  \
    static constexpr auto forward = zmciWTFwd_##filter##_JPEG2K_##type##_C1IR;          \
    static constexpr auto inverse = zmciWTInv_##filter##_JPEG2K_##type##_C1IR;          \
    static constexpr auto split = zmciWTFwd_##filter##_JPEG2K_##type##_C1R;             \
    static constexpr auto merge = zmciWTInv_##filter##_JPEG2K_##type##_C1R;             \
    static constexpr auto size = zmciWTGetBufSize_##filter##_JPEG2K_##type##_C1IR;      \
    static constexpr auto split_size = zmciWTGetBufSize_##filter##_JPEG2K_##type##_C1R; \
  }
using Floating32s = Floating<float, int32_t>;
ZMCJ_REGION_KIND(Reversible16, Reversible<int16_t>, B53, 16s);
ZMCJ_REGION_KIND(Reversible32, Reversible<int32_t>, B53, 32s);
ZMCJ_REGION_KIND(Fixed16, Fixed, D97, 16s);
ZMCJ_REGION_KIND(Floating32, Floating32s, D97, 32s);

template <class K>
class WaveletRegion : public ::testing::Test {};
using Kinds = ::testing::Types<Reversible16, Reversible32, Fixed16, Floating32>;
TYPED_TEST_SUITE(WaveletRegion, Kinds);

template <class T>
struct Image {
  int width, height;
  std::vector<T> samples;
  T& at(int x, int y) { return samples[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)]; }
};

// One line of n samples in place; `at` reaches its i-th sample. Bands: low samples first, then high ones.
template <class K, class At>
void ModelLine(int n, int odd, bool inverse, const At& at) {
  using T = typename K::T;
  const int low = (n + 1 - odd) / 2;
  const auto banded = [&](int i) { return (i + odd) % 2 == 0 ? (i + odd) / 2 - odd : low + (i + odd - 1) / 2; };
  std::vector<T> out(static_cast<size_t>(n));
  const auto o = [&](int i) -> T& { return out[static_cast<size_t>(i)]; };
  if (n == 1) {
    o(0) = !odd ? at(0) : inverse ? static_cast<T>(at(0) / 2) : static_cast<T>(Wrap32(int64_t{at(0)} * 2));
  } else if (K::kReversible && n == 2 && !inverse) {
    const int64_t even = at(odd), other = at(1 - odd);
    o(1) = static_cast<T>(other - even);
    o(0) = static_cast<T>(even + FloorDiv(Wrap32(int64_t{o(1)} + 1), 2));
  } else if (K::kReversible && n == 2) {
    o(odd) = static_cast<T>(at(0) - FloorDiv(Wrap32(int64_t{at(1)} + 1), 2));
    o(1 - odd) = static_cast<T>(int64_t{at(1)} + o(odd));
  } else {
    auto line = Mirrored<typename K::V>(n, [&](int i) { return at(inverse ? banded(i) : i); });
    Lift<K>(line, inverse, odd);
    for (int i = 0; i < n; ++i) o(inverse ? i : banded(i)) = K::Out(line[static_cast<size_t>(i + kBorder)]);
  }
  for (int i = 0; i < n; ++i) at(i) = o(i);
}

template <class K>
void ModelRegion(Image<typename K::T>& image, int odd_x, int odd_y, bool inverse) {
  for (int pass = 0; pass < 2; ++pass) {
    if ((pass == 0) != inverse) {
      for (int x = 0; x < image.width; ++x)
        ModelLine<K>(
            image.height, odd_y, inverse, [&](int i) -> auto& { return image.at(x, i); });
    } else {
      for (int y = 0; y < image.height; ++y)
        ModelLine<K>(
            image.width, odd_x, inverse, [&](int i) -> auto& { return image.at(i, y); });
    }
  }
}

// Work memory of exactly `bytes`, up to the page that faults.
class WorkBuffer {
 public:
  uint8_t* Of(int bytes) { return memory_.data() + memory_.size() - static_cast<size_t>(bytes); }

 private:
  Guarded memory_{1 << 20};
};

template <class K>
int Limit(int variant) {
  if (variant % 3 == 0) return 2000;
  return std::is_same_v<typename K::T, int16_t> ? 32767 : INT32_MAX;
}

template <class K>
void CheckInPlace(int width, int height, int variant, Random& random, WorkBuffer& work) {
  using T = typename K::T;
  const int odd_x = variant & 1, odd_y = variant >> 1 & 1;
  const ZmciRect rect = {(variant & 4 ? -8 : 6) + odd_x, (variant & 4 ? 2 : -12) + odd_y, width, height};
  const size_t row_bytes = sizeof(T) * static_cast<size_t>(width);
  const int step = static_cast<int>(row_bytes) + random.In(0, 9);
  const auto offset = static_cast<size_t>(random.In(0, 63));
  Image<T> original{width, height, std::vector<T>(static_cast<size_t>(width) * static_cast<size_t>(height))};
  random.FillInRuns(original.samples.data(), original.samples.size(), -int64_t{Limit<K>(variant)} - 1,
                    Limit<K>(variant));
  // Large samples in some rows only: a level may take another way where all are small, and must find back.
  if (variant & 8) {
    for (size_t i = 0; i < original.samples.size(); ++i) {
      if (i / static_cast<size_t>(width) % 17 > 2) original.samples[i] = static_cast<T>(original.samples[i] % 2400);
    }
  }
  Image<T> there = original, back;
  ModelRegion<K>(there, odd_x, odd_y, false);
  back = there;
  ModelRegion<K>(back, odd_x, odd_y, true);
  const bool lossless = K::kReversible && width > 1 && height > 1;
  ASSERT_TRUE(!lossless || back.samples == original.samples) << "the model";
  int bytes;
  ASSERT_EQ(K::size(&rect, &bytes), zmcStatusOk);
  // Padding tells of samples written outside; the page next to a region without it, of samples read there.
  Padded padded(row_bytes, height, step, offset);
  const Guarded bare(static_cast<size_t>(step) * static_cast<size_t>(height - 1) + row_bytes,
                     random.In(0, 2) != 0 ? Guarded::Side::kEnd : Guarded::Side::kStart);
  for (const Level level : Levels()) {
    for (unsigned char* const region : {padded.at(0), bare.data()}) {
      SCOPED_TRACE(::testing::Message() << LevelName(level) << " " << width << "x" << height << " at " << rect.x << ","
                                        << rect.y << " step " << step << " offset " << offset);
      const AtLevel at(level);
      T* const samples = reinterpret_cast<T*>(region);
      const auto row = [&](int y) { return region + static_cast<ptrdiff_t>(y) * step; };
      for (int y = 0; y < height; ++y) std::memcpy(row(y), &original.at(0, y), row_bytes);
      ASSERT_EQ(K::forward(samples, step, &rect, work.Of(bytes)), zmcStatusOk);
      for (int y = 0; y < height; ++y)
        ASSERT_TRUE(SameArray(reinterpret_cast<unsigned char*>(&there.at(0, y)), row(y), row_bytes))
            << "forward, row " << y;
      ASSERT_EQ(K::inverse(samples, step, &rect, work.Of(bytes)), zmcStatusOk);
      for (int y = 0; y < height; ++y)
        ASSERT_TRUE(SameArray(reinterpret_cast<unsigned char*>(&back.at(0, y)), row(y), row_bytes))
            << "inverse, row " << y;
    }
    ASSERT_TRUE(padded.CheckPadding());
  }
}

TYPED_TEST(WaveletRegion, IsTheDefinitionAtEveryLevelAndSize) {
  Random random;
  WorkBuffer work;
  for (int height = 1; height <= 40; ++height) {
    for (int width = 1; width <= 40; ++width) {
      for (int parity = 0; parity < 4; ++parity) {
        CheckInPlace<TypeParam>(width, height, parity + 4 * random.In(0, 2), random, work);
        if (this->HasFatalFailure()) return;
      }
    }
  }
}

// Several registers to a row, of which some overlap.
TYPED_TEST(WaveletRegion, IsTheDefinitionAtEveryWidthOfSomeRegisters) {
  Random random(2);
  WorkBuffer work;
  for (int width = 41; width <= 200; ++width) {
    for (int i = 0; i < 8; ++i) {
      CheckInPlace<TypeParam>(width, random.In(2, 12), random.In(0, 15), random, work);
      if (this->HasFatalFailure()) return;
    }
  }
}

// Wider than a strip of columns, and more rows than one block of feeds.
TYPED_TEST(WaveletRegion, IsTheDefinitionBeyondOneStrip) {
  Random random(1);
  WorkBuffer work;
  for (const ZmciSize size :
       {ZmciSize{512, 9}, {513, 2}, {1031, 5}, {1600, 21}, {40, 90}, {3, 700}, {3, 8203}, {1, 129}, {130, 1}}) {
    for (int variant = 0; variant < 16; ++variant) {
      CheckInPlace<TypeParam>(size.width, size.height, variant, random, work);
      if (this->HasFatalFailure()) return;
    }
  }
}

// Splitting into four images is the transform in place, cut at the middle; merging is its way back.
TYPED_TEST(WaveletRegion, SplitsAndMerges) {
  using K = TypeParam;
  using T = typename K::T;
  Random random(2);
  WorkBuffer work;
  for (int i = 0; i < 200; ++i) {
    const ZmciRect rect = {random.In(-3, 3), random.In(-3, 3), random.In(1, 40), random.In(1, 40)};
    const int w = rect.width, h = rect.height;
    Image<T> original{w, h, std::vector<T>(static_cast<size_t>(w * h))};
    random.FillInRuns(original.samples.data(), original.samples.size(), -1000, 1000);
    Image<T> there = original;
    ModelRegion<K>(there, rect.x & 1, rect.y & 1, false);
    Image<T> back = there;
    ModelRegion<K>(back, rect.x & 1, rect.y & 1, true);
    int bytes;
    ASSERT_EQ(K::split_size(&rect, &bytes), zmcStatusOk);
    for (const Level level : Levels()) {
      SCOPED_TRACE(::testing::Message() << LevelName(level) << " " << w << "x" << h << " at " << rect.x << ","
                                        << rect.y);
      const AtLevel at(level);
      std::vector<Padded> bands;
      for (int band = 0; band < 4; ++band) {
        const int bw = band >= 2 ? w / 2 : w - w / 2, bh = band % 2 ? h / 2 : h - h / 2;
        bands.emplace_back(sizeof(T) * static_cast<size_t>(bw), bh, static_cast<int>(sizeof(T)) * bw + 1 + band, 1);
      }
      T* const images[4] = {bands[0].as<T>(), bands[1].as<T>(), bands[2].as<T>(), bands[3].as<T>()};
      const int steps[4] = {bands[0].step(), bands[1].step(), bands[2].step(), bands[3].step()};
      const int step = static_cast<int>(sizeof(T)) * w;
      ASSERT_EQ(K::split(original.samples.data(), step, &rect, images, steps, work.Of(bytes)), zmcStatusOk);
      for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
          const bool right = x >= w - w / 2, low = y >= h - h / 2;
          Padded& band = bands[(right ? 2u : 0u) + (low ? 1u : 0u)];
          const int bx = right ? x - (w - w / 2) : x, by = low ? y - (h - h / 2) : y;
          ASSERT_EQ(std::memcmp(band.at(by) + sizeof(T) * static_cast<size_t>(bx), &there.at(x, y), sizeof(T)), 0)
              << x << "," << y;
        }
      }
      for (Padded& band : bands) ASSERT_TRUE(band.CheckPadding());
      // Once more up to pages that fault.
      const Guarded image(sizeof(T) * original.samples.size());
      std::memcpy(image.data(), original.samples.data(), image.size());
      std::vector<std::unique_ptr<Guarded>> memory;
      T* bare[4];
      for (int band = 0; band < 4; ++band) {
        const auto b = static_cast<size_t>(band);
        const int bw = band >= 2 ? w / 2 : w - w / 2, bh = band % 2 ? h / 2 : h - h / 2;
        const int64_t size = bh == 0 ? 0 : int64_t{steps[b]} * (bh - 1) + static_cast<int64_t>(sizeof(T)) * bw;
        memory.push_back(std::make_unique<Guarded>(static_cast<size_t>(std::max<int64_t>(size, 1))));
        bare[b] = memory[b]->template as<T>();
      }
      ASSERT_EQ(K::split(image.as<T>(), step, &rect, bare, steps, work.Of(bytes)), zmcStatusOk);
      ASSERT_EQ(K::merge(bare, steps, image.as<T>(), step, &rect, work.Of(bytes)), zmcStatusOk);
      ASSERT_TRUE(SameArray(back.samples.data(), image.as<T>(), back.samples.size()));
      Image<T> merged = original;
      std::fill(merged.samples.begin(), merged.samples.end(), T{0});
      ASSERT_EQ(K::merge(images, steps, merged.samples.data(), step, &rect, work.Of(bytes)), zmcStatusOk);
      ASSERT_TRUE(SameArray(back.samples.data(), merged.samples.data(), back.samples.size()));
    }
  }
}

TYPED_TEST(WaveletRegion, ChecksInOrderAndWritesNothing) {
  using K = TypeParam;
  using T = typename K::T;
  T image[4] = {1, 2, 3, 4}, other[4] = {5, 6, 7, 8};
  uint8_t work[256] = {9};
  const ZmciRect rect = {1, 1, 2, 2}, empty = {1, 1, 0, 2};
  T* const bands[4] = {other, other + 1, other + 2, other + 3};
  T* const missing[4] = {other, other + 1, other + 2, nullptr};
  const int steps[4] = {4, 4, 4, 4}, bad_steps[4] = {4, 4, 4, 0};
  for (const auto call : {K::forward, K::inverse}) {
    EXPECT_EQ(call(nullptr, 0, nullptr, nullptr), zmcStatusNullPointer);
    EXPECT_EQ(call(image, 0, nullptr, nullptr), zmcStatusBadStep);
    EXPECT_EQ(call(image, 8, nullptr, work), zmcStatusNullPointer);
    EXPECT_EQ(call(image, 8, &rect, nullptr), zmcStatusNullPointer);
    EXPECT_EQ(call(image, 8, &empty, work), zmcStatusOk);
  }
  EXPECT_EQ(K::split(image, 0, &rect, bands, nullptr, work), zmcStatusNullPointer);
  EXPECT_EQ(K::split(image, 0, &empty, missing, bad_steps, work), zmcStatusBadStep);
  EXPECT_EQ(K::split(image, 8, &empty, missing, bad_steps, work), zmcStatusNullPointer);
  EXPECT_EQ(K::split(image, 8, &empty, bands, bad_steps, work), zmcStatusBadStep);
  EXPECT_EQ(K::split(image, 8, &empty, bands, steps, work), zmcStatusBadSize);
  EXPECT_EQ(K::merge(bands, steps, image, 0, nullptr, work), zmcStatusNullPointer);
  EXPECT_EQ(K::merge(missing, bad_steps, image, 0, &empty, work), zmcStatusBadStep);
  EXPECT_EQ(K::merge(missing, bad_steps, image, 8, &empty, work), zmcStatusNullPointer);
  EXPECT_EQ(K::merge(bands, bad_steps, image, 8, &empty, work), zmcStatusBadStep);
  EXPECT_EQ(K::merge(bands, steps, image, 8, &empty, work), zmcStatusBadSize);
  int size = 77;
  EXPECT_EQ(K::size(nullptr, &size), zmcStatusNullPointer);
  EXPECT_EQ(K::split_size(&rect, nullptr), zmcStatusNullPointer);
  // A region that no work buffer can be queried for is refused.
  const ZmciRect huge = {0, 0, 70000, 70000};
  EXPECT_EQ(K::split(image, 8, &huge, bands, steps, work), zmcStatusBadSize);
  EXPECT_EQ(size, 77);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(image[i] == i + 1 && other[i] == i + 5);
  EXPECT_EQ(work[0], 9);
}

TEST(WaveletRegionSizes, AreAsStated) {
  struct {
    ZmcStatus (*query)(const ZmciRect*, int32_t*);
    int width, height, bytes;
  } const cases[] = {
      {zmciWTGetBufSize_B53_JPEG2K_16s_C1IR, 2, 2, 0},
      {zmciWTGetBufSize_B53_JPEG2K_16s_C1IR, 100, 3, 208},
      {zmciWTGetBufSize_B53_JPEG2K_32s_C1IR, 2, 3, 28},
      {zmciWTGetBufSize_B53_JPEG2K_16s_C1R, 100, 3, 880},
      {zmciWTGetBufSize_B53_JPEG2K_32s_C1R, 2, 2, 64},
      {zmciWTGetBufSize_D97_JPEG2K_16s_C1IR, 1, 1, 0},
      {zmciWTGetBufSize_D97_JPEG2K_16s_C1IR, 2, 1, 20},
      {zmciWTGetBufSize_D97_JPEG2K_32s_C1IR, 5, 9, 68},
      {zmciWTGetBufSize_D97_JPEG2K_32s_C1R, 9, 5, 64 * 5 + 68},
      {zmciWTGetBufSize_D97_JPEG2K_16s_C1R, 17, 2, 64 * 2 + 50},
      {zmciWTGetBufSize_D97_JPEG2K_32s_C1R, INT32_MAX, INT32_MAX, INT32_MAX},
  };
  for (const auto& c : cases) {
    const ZmciRect rect = {0, 0, c.width, c.height};
    int bytes = -1;
    EXPECT_EQ(c.query(&rect, &bytes), zmcStatusOk);
    EXPECT_EQ(bytes, c.bytes) << c.width << "x" << c.height;
  }
}

}  // namespace
}  // namespace zmcj::testing
