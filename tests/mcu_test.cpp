#include <array>
#include <memory>

#include "support/testing.h"

namespace zmcj::testing {
namespace {

enum class Format { kRgb, kBgr, kBgr555, kBgr565, kCmyk, kComponents, kPacked422 };

template <class T>
ZmcStatus Apply(ZmcStatus (*f)(const T*, int, int16_t* const*), const void* src, int step, int16_t* const* dst) {
  return f(static_cast<const T*>(src), step, dst);
}
template <class T>
ZmcStatus Apply(ZmcStatus (*f)(const int16_t* const*, T*, int), const int16_t* const* src, void* dst, int step) {
  return f(src, static_cast<T*>(dst), step);
}
template <auto function>
ZmcStatus Forward(const void* src, int step, int16_t* const* dst) {
  return Apply(function, src, step, dst);
}
template <auto function>
ZmcStatus Inverse(const int16_t* const* src, void* dst, int step) {
  return Apply(function, src, dst, step);
}

struct Member {
  const char* name;
  Format format;
  int width, height, bytes;
  ZmcStatus (*forward)(const void*, int, int16_t* const*);
  ZmcStatus (*inverse)(const int16_t* const*, void*, int);

  int planes() const { return format == Format::kCmyk ? 4 : 3; }
  size_t row_bytes() const { return static_cast<size_t>(width * bytes); }
  int across() const { return width / 8; }
  int down() const { return height / 8; }
  bool converts() const { return format != Format::kComponents && format != Format::kPacked422; }
  // Samples behind each pointer.
  size_t samples(int plane) const { return plane == 0 ? static_cast<size_t>(width * height) : 64; }
};

constexpr Member kMembers[] = {
    {"RGB 444", Format::kRgb, 8, 8, 3, Forward<zmciRGBToYCbCr444LS_MCU_8u16s_C3P3R>,
     Inverse<zmciYCbCr444ToRGBLS_MCU_16s8u_P3C3R>},
    {"RGB 422", Format::kRgb, 16, 8, 3, Forward<zmciRGBToYCbCr422LS_MCU_8u16s_C3P3R>,
     Inverse<zmciYCbCr422ToRGBLS_MCU_16s8u_P3C3R>},
    {"RGB 411", Format::kRgb, 16, 16, 3, Forward<zmciRGBToYCbCr411LS_MCU_8u16s_C3P3R>,
     Inverse<zmciYCbCr411ToRGBLS_MCU_16s8u_P3C3R>},
    {"BGR 444", Format::kBgr, 8, 8, 3, Forward<zmciBGRToYCbCr444LS_MCU_8u16s_C3P3R>,
     Inverse<zmciYCbCr444ToBGRLS_MCU_16s8u_P3C3R>},
    {"BGR 422", Format::kBgr, 16, 8, 3, Forward<zmciBGRToYCbCr422LS_MCU_8u16s_C3P3R>,
     Inverse<zmciYCbCr422ToBGRLS_MCU_16s8u_P3C3R>},
    {"BGR 411", Format::kBgr, 16, 16, 3, Forward<zmciBGRToYCbCr411LS_MCU_8u16s_C3P3R>,
     Inverse<zmciYCbCr411ToBGRLS_MCU_16s8u_P3C3R>},
    {"BGR555 444", Format::kBgr555, 8, 8, 2, Forward<zmciBGR555ToYCbCr444LS_MCU_16u16s_C3P3R>,
     Inverse<zmciYCbCr444ToBGR555LS_MCU_16s16u_P3C3R>},
    {"BGR555 422", Format::kBgr555, 16, 8, 2, Forward<zmciBGR555ToYCbCr422LS_MCU_16u16s_C3P3R>,
     Inverse<zmciYCbCr422ToBGR555LS_MCU_16s16u_P3C3R>},
    {"BGR555 411", Format::kBgr555, 16, 16, 2, Forward<zmciBGR555ToYCbCr411LS_MCU_16u16s_C3P3R>,
     Inverse<zmciYCbCr411ToBGR555LS_MCU_16s16u_P3C3R>},
    {"BGR565 444", Format::kBgr565, 8, 8, 2, Forward<zmciBGR565ToYCbCr444LS_MCU_16u16s_C3P3R>,
     Inverse<zmciYCbCr444ToBGR565LS_MCU_16s16u_P3C3R>},
    {"BGR565 422", Format::kBgr565, 16, 8, 2, Forward<zmciBGR565ToYCbCr422LS_MCU_16u16s_C3P3R>,
     Inverse<zmciYCbCr422ToBGR565LS_MCU_16s16u_P3C3R>},
    {"BGR565 411", Format::kBgr565, 16, 16, 2, Forward<zmciBGR565ToYCbCr411LS_MCU_16u16s_C3P3R>,
     Inverse<zmciYCbCr411ToBGR565LS_MCU_16s16u_P3C3R>},
    {"CMYK 444", Format::kCmyk, 8, 8, 4, Forward<zmciCMYKToYCCK444LS_MCU_8u16s_C4P4R>,
     Inverse<zmciYCCK444ToCMYKLS_MCU_16s8u_P4C4R>},
    {"CMYK 422", Format::kCmyk, 16, 8, 4, Forward<zmciCMYKToYCCK422LS_MCU_8u16s_C4P4R>,
     Inverse<zmciYCCK422ToCMYKLS_MCU_16s8u_P4C4R>},
    {"CMYK 411", Format::kCmyk, 16, 16, 4, Forward<zmciCMYKToYCCK411LS_MCU_8u16s_C4P4R>,
     Inverse<zmciYCCK411ToCMYKLS_MCU_16s8u_P4C4R>},
    {"components 444", Format::kComponents, 8, 8, 3, Forward<zmciSampleDown444LS_MCU_8u16s_C3P3R>,
     Inverse<zmciSampleUp444LS_MCU_16s8u_P3C3R>},
    {"components 422", Format::kComponents, 16, 8, 3, Forward<zmciSampleDown422LS_MCU_8u16s_C3P3R>,
     Inverse<zmciSampleUp422LS_MCU_16s8u_P3C3R>},
    {"components 411", Format::kComponents, 16, 16, 3, Forward<zmciSampleDown411LS_MCU_8u16s_C3P3R>,
     Inverse<zmciSampleUp411LS_MCU_16s8u_P3C3R>},
    {"packed 422", Format::kPacked422, 16, 8, 2, Forward<zmciSplit422LS_MCU_8u16s_C2P3R>,
     Inverse<zmciJoin422LS_MCU_16s8u_P3C2R>},
};

// ---- The formulas, written plainly ----

using Planes = std::array<std::vector<int>, 4>;
using Colour = std::array<int, 4>;  // R, G, B, K

size_t LuminanceAt(const Member& m, int x, int y) {
  return static_cast<size_t>(64 * (y / 8 * m.across() + x / 8) + 8 * (y % 8) + x % 8);
}

Colour ReadPixel(Format format, const unsigned char* p) {
  const int word = p[0] | p[1] << 8;
  switch (format) {
    case Format::kBgr:
      return {p[2], p[1], p[0], 0};
    case Format::kBgr555:
      return {(word >> 10 & 31) * 8, (word >> 5 & 31) * 8, (word & 31) * 8, 0};
    case Format::kBgr565:
      return {(word >> 11 & 31) * 8, (word >> 5 & 63) * 4, (word & 31) * 8, 0};
    case Format::kCmyk:
      return {255 - p[0], 255 - p[1], 255 - p[2], p[3]};
    default:
      return {p[0], p[1], p[2], 0};
  }
}

int RoundedLuminance(int r, int g, int b) { return (4899 * r + 9617 * g + 1868 * b - 2088960) >> 14; }

// `pixels` has rows of m.row_bytes().
Planes PlainForward(const Member& m, const unsigned char* pixels, bool truncated) {
  Planes planes = {std::vector<int>(m.samples(0)), std::vector<int>(64), std::vector<int>(64), std::vector<int>(64)};
  if (m.format == Format::kPacked422) {
    for (int i = 0; i < 256; ++i) {
      const int x = i % 32 / 2, y = i / 32, v = pixels[i] - 128;
      if (i % 2 == 0) planes[0][LuminanceAt(m, x, y)] = v;
      if (i % 2 == 1) planes[static_cast<size_t>(1 + x % 2)][static_cast<size_t>(8 * y + x / 2)] = v;
    }
    return planes;
  }
  std::array<Colour, 64> sums{};
  for (int y = 0; y < m.height; ++y) {
    for (int x = 0; x < m.width; ++x) {
      const Colour c = ReadPixel(m.format, pixels + (y * m.width + x) * m.bytes);
      const auto [r, g, b, k] = c;
      int& luminance = planes[0][LuminanceAt(m, x, y)];
      luminance = truncated ? ((19595 * r + 38470 * g + 7471 * b) >> 16) - 128 : RoundedLuminance(r, g, b);
      if (!m.converts()) luminance = r - 128;
      Colour& sum = sums[static_cast<size_t>(y / m.down() * 8 + x / m.across())];
      for (size_t i = 0; i < 4; ++i) sum[i] += c[i];
    }
  }
  const int n = m.across() * m.down(), log = n / 2;
  for (size_t i = 0; i < 64; ++i) {
    const auto [r, g, b, k] = sums[i];
    planes[1][i] = (-2764 * r - 5428 * g + 8192 * b + 8192 * n) >> (14 + log);
    planes[2][i] = (8192 * r - 6860 * g - 1332 * b + 8192 * n) >> (14 + log);
    if (truncated) {
      planes[1][i] = (-11059 * r - 21709 * g + 32768 * b) >> 18;
      planes[2][i] = (32768 * r - 27439 * g - 5329 * b) >> 18;
    }
    if (!m.converts()) planes[1][i] = (g + n / 2) / n - 128, planes[2][i] = (b + n / 2) / n - 128;
    planes[3][i] = (k + n / 2) / n - 128;
  }
  return planes;
}

int Byte(int64_t v) { return static_cast<int>(std::clamp<int64_t>(v, 0, 255)); }
int Sat16(int v) { return std::clamp(v, -32768, 32767); }

Colour RoundedInverse(int y, int cb, int cr) {
  return {Byte(Sat16(y + Sat16((22970 * cr + 2105344) >> 14))),
          Byte(Sat16(y + Sat16((-5638 * cb - 11700 * cr + 2105344) >> 14))),
          Byte(Sat16(y + Sat16((29032 * cb + 2105344) >> 14))), 0};
}
Colour TruncatedInverse(int64_t y, int64_t cb, int64_t cr) {
  return {Byte(y + ((91881 * cr) >> 16) + 128), Byte(y + ((-22554 * cb - 46802 * cr) >> 16) + 128),
          Byte(y + ((116130 * cb) >> 16) + 128), 0};
}

std::vector<unsigned char> PlainInverse(const Member& m, const std::array<const int16_t*, 4>& src, bool truncated) {
  std::vector<unsigned char> bytes;
  const auto sample = [&](int plane, size_t i) {
    int16_t v;
    std::memcpy(&v, src[static_cast<size_t>(plane)] + i, 2);
    return static_cast<int>(v);
  };
  const auto put = [&bytes](int v) { bytes.push_back(static_cast<unsigned char>(v)); };
  for (int y = 0; y < m.height; ++y) {
    for (int x = 0; x < m.width; ++x) {
      const auto site = static_cast<size_t>(y / m.down() * 8 + x / m.across());
      const int luminance = sample(0, LuminanceAt(m, x, y)), cb = sample(1, site), cr = sample(2, site);
      Colour c = truncated ? TruncatedInverse(luminance, cb, cr) : RoundedInverse(luminance, cb, cr);
      if (!m.converts()) c = {Byte(luminance + 128), Byte(cb + 128), Byte(cr + 128), 0};
      const auto [r, g, b, none] = c;
      const int word555 = r / 8 << 10 | g / 8 << 5 | b / 8, word565 = r / 8 << 11 | g / 4 << 5 | b / 8;
      switch (m.format) {
        case Format::kBgr:
          put(b), put(g), put(r);
          break;
        case Format::kBgr555:
          put(word555 & 255), put(word555 >> 8);
          break;
        case Format::kBgr565:
          put(word565 & 255), put(word565 >> 8);
          break;
        case Format::kCmyk:
          put(255 - r), put(255 - g), put(255 - b), put(Byte(sample(3, site) + 128));
          break;
        case Format::kPacked422:
          put(r), put(x % 2 == 0 ? g : b);
          break;
        default:
          put(r), put(g), put(b);
      }
    }
  }
  return bytes;
}

// ---- Every member, level, alignment and step ----

struct Blocks {
  std::vector<std::unique_ptr<Padded>> padded;
  std::array<int16_t*, 4> pointers{};

  // Plane i stands offsets[i] bytes past a multiple of 16.
  Blocks(const Member& m, const std::array<size_t, 4>& offsets) {
    for (int i = 0; i < m.planes(); ++i) {
      const size_t bytes = 2 * m.samples(i), offset = offsets[static_cast<size_t>(i)];
      padded.push_back(std::make_unique<Padded>(bytes, 1, static_cast<int>(bytes), offset));
      pointers[static_cast<size_t>(i)] = padded.back()->as<int16_t>();
      EXPECT_EQ(reinterpret_cast<uintptr_t>(pointers[static_cast<size_t>(i)]) % 16, offset % 16);
    }
  }
};

void RunMember(const Member& m, Random& random, const std::array<size_t, 4>& offsets, size_t pixel_offset) {
  Blocks blocks(m, offsets);
  Padded pixels(m.row_bytes(), m.height, static_cast<int>(m.row_bytes()) + random.In(0, 9), pixel_offset);
  std::vector<unsigned char> bytes(m.row_bytes() * static_cast<size_t>(m.height));
  random.FillInRuns(bytes.data(), bytes.size(), 0, 255);
  for (int y = 0; y < m.height; ++y) {
    std::copy_n(bytes.data() + static_cast<size_t>(y) * m.row_bytes(), m.row_bytes(), pixels.at(y));
  }
  ASSERT_EQ(m.forward(pixels.at(0), pixels.step(), blocks.pointers.data()), zmcStatusOk);
  const Planes planes = PlainForward(m, bytes.data(), m.height == 16 && m.converts() && offsets[0] % 16 != 0);
  for (int plane = 0; plane < m.planes(); ++plane) {
    const auto i = static_cast<size_t>(plane);
    ASSERT_TRUE(blocks.padded[i]->CheckPadding()) << "plane " << plane;
    std::vector<int16_t> expected(planes[i].begin(), planes[i].end());
    ASSERT_TRUE(SameArray(reinterpret_cast<const unsigned char*>(expected.data()), blocks.padded[i]->at(0),
                          2 * expected.size()))
        << "forward, plane " << plane;
    // For the way back: values of pictures, or any.
    const bool any = random.In(0, 2) == 0;
    random.FillInRuns(expected.data(), expected.size(), any ? -32768 : -200, any ? 32767 : 200);
    std::memcpy(blocks.padded[i]->at(0), expected.data(), 2 * expected.size());
  }
  std::array<const int16_t*, 4> src{};
  std::copy(blocks.pointers.begin(), blocks.pointers.end(), src.begin());
  ASSERT_EQ(m.inverse(src.data(), pixels.at(0), pixels.step()), zmcStatusOk);
  ASSERT_TRUE(pixels.CheckPadding());
  bytes = PlainInverse(m, src, (offsets[0] | offsets[1] | offsets[2]) % 16 != 0);
  for (int y = 0; y < m.height; ++y) {
    ASSERT_TRUE(SameArray(bytes.data() + static_cast<size_t>(y) * m.row_bytes(), pixels.at(y), m.row_bytes()))
        << "inverse, row " << y;
  }
}

TEST(Mcu, EveryMemberFollowsItsFormulaAtEveryLevel) {
  constexpr std::array<size_t, 4> kOffsets[] = {{0, 0, 0, 0}, {16, 32, 0, 2}, {8, 0, 0, 0}, {0, 8, 0, 0},
                                                {0, 0, 2, 0}, {1, 3, 5, 7},   {2, 2, 2, 2}, {0, 1, 16, 9}};
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (const Member& m : kMembers) {
      Random random;
      for (int i = 0; i < 96; ++i) {
        const auto pixel_offset = static_cast<size_t>(i % 16);
        SCOPED_TRACE(::testing::Message() << LevelName(level) << ", " << m.name << ", round " << i);
        RunMember(m, random, kOffsets[i / 2 % 8], pixel_offset);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(Mcu, TouchesExactlyItsPixelsAndBlocks) {
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (const Member& m : kMembers) {
      SCOPED_TRACE(::testing::Message() << LevelName(level) << ", " << m.name);
      for (const auto side : {Guarded::Side::kEnd, Guarded::Side::kStart}) {
        const int step = static_cast<int>(m.row_bytes()) + 5;
        Guarded pixels(m.row_bytes() + static_cast<size_t>(step * (m.height - 1)), side);
        std::vector<std::unique_ptr<Guarded>> blocks;
        int16_t* pointers[4] = {};
        const int16_t* sources[4] = {};
        for (int i = 0; i < m.planes(); ++i) {
          blocks.push_back(std::make_unique<Guarded>(2 * m.samples(i), side));
          sources[i] = pointers[i] = blocks.back()->as<int16_t>();
        }
        EXPECT_EQ(m.forward(pixels.data(), step, pointers), zmcStatusOk);
        EXPECT_EQ(m.inverse(sources, pixels.data(), step), zmcStatusOk);
      }
    }
  }
}

// ---- All 2^24 triples ----

TEST(Mcu, Forward444OfAllColours) {
  uint8_t pixels[64][3];
  alignas(32) int16_t blocks[3][64];
  int16_t* const pointers[3] = {blocks[0], blocks[1], blocks[2]};
  for (int first = 0; first < 1 << 24; first += 64) {
    const int r = first >> 16, g = first >> 8 & 255;
    for (int i = 0; i < 64; ++i) {
      pixels[i][0] = static_cast<uint8_t>(r);
      pixels[i][1] = static_cast<uint8_t>(g);
      pixels[i][2] = static_cast<uint8_t>((first & 255) + i);
    }
    ASSERT_EQ(zmciRGBToYCbCr444LS_MCU_8u16s_C3P3R(pixels[0], 24, pointers), zmcStatusOk);
    for (int i = 0; i < 64; ++i) {
      const int b = (first & 255) + i;
      ASSERT_TRUE(blocks[0][i] == RoundedLuminance(r, g, b) &&
                  blocks[1][i] == (-2764 * r - 5428 * g + 8192 * b + 8192) >> 14 &&
                  blocks[2][i] == (8192 * r - 6860 * g - 1332 * b + 8192) >> 14)
          << r << " " << g << " " << b;
    }
  }
}

TEST(Mcu, Inverse444OfAllColours) {
  alignas(32) int16_t memory[3][64 + 8];
  for (const int misalignment : {0, 4}) {
    int16_t* blocks[3] = {memory[0] + misalignment, memory[1] + misalignment, memory[2] + misalignment};
    const int16_t* const sources[3] = {blocks[0], blocks[1], blocks[2]};
    uint8_t pixels[64][3];
    for (int first = 0; first < 1 << 24; first += 64) {
      const int y = (first >> 16) - 128, cb = (first >> 8 & 255) - 128;
      for (int i = 0; i < 64; ++i) {
        blocks[0][i] = static_cast<int16_t>(y);
        blocks[1][i] = static_cast<int16_t>(cb);
        blocks[2][i] = static_cast<int16_t>((first & 255) + i - 128);
      }
      ASSERT_EQ(zmciYCbCr444ToRGBLS_MCU_16s8u_P3C3R(sources, pixels[0], 24), zmcStatusOk);
      for (int i = 0; i < 64; ++i) {
        const int cr = (first & 255) + i - 128;
        const auto [r, g, b, k] = misalignment == 0 ? RoundedInverse(y, cb, cr) : TruncatedInverse(y, cb, cr);
        ASSERT_TRUE(pixels[i][0] == r && pixels[i][1] == g && pixels[i][2] == b) << y << " " << cb << " " << cr;
      }
    }
  }
}

// Green's share adds two products: every Cb and Cr far outside a picture's range, around the ends and on a grid.
TEST(Mcu, InverseOfExtremeBlocks) {
  std::vector<int> ends;
  for (int v = -32768; v <= 32767; v += 3277) ends.push_back(v);
  for (const int v :
       {-32767, -23373, -23372, -18000, -129, -1, 0, 1, 127, 128, 18499, 23371, 23372, 32639, 32766, 32767})
    ends.push_back(v);
  for (const Level level : Levels()) {
    AtLevel at(level);
    for (const size_t offset : {0u, 8u}) {
      const Member& m = kMembers[0];
      Blocks blocks(m, {offset, offset, offset, offset});
      std::array<const int16_t*, 4> src = {blocks.pointers[0], blocks.pointers[1], blocks.pointers[2], nullptr};
      for (const int cb : ends) {
        for (const int cr : ends) {
          for (size_t i = 0; i < 64; ++i) {
            blocks.pointers[0][i] = static_cast<int16_t>(ends[i % ends.size()]);
            blocks.pointers[1][i] = static_cast<int16_t>(cb);
            blocks.pointers[2][i] = static_cast<int16_t>(cr);
          }
          unsigned char pixels[192];
          ASSERT_EQ(m.inverse(src.data(), pixels, 24), zmcStatusOk);
          ASSERT_TRUE(SameArray(PlainInverse(m, src, offset != 0).data(), pixels, 192))
              << LevelName(level) << ", offset " << offset << ", Cb " << cb << ", Cr " << cr;
        }
      }
    }
  }
}

TEST(Mcu, ChecksInOrderAndWritesNothing) {
  for (const Member& m : kMembers) {
    SCOPED_TRACE(m.name);
    alignas(16) int16_t block[256];
    unsigned char pixels[16 * 64];
    std::fill_n(block, 256, int16_t{77});
    std::fill_n(pixels, sizeof pixels, 99);
    int16_t* pointers[4] = {block, block, block, block};
    const int16_t* sources[4] = {block, block, block, block};
    EXPECT_EQ(m.forward(nullptr, 0, pointers), zmcStatusNullPointer);
    EXPECT_EQ(m.forward(pixels, 0, nullptr), zmcStatusNullPointer);
    EXPECT_EQ(m.inverse(nullptr, pixels, 0), zmcStatusNullPointer);
    EXPECT_EQ(m.inverse(sources, nullptr, 0), zmcStatusNullPointer);
    EXPECT_EQ(m.inverse(sources, pixels, 0), zmcStatusBadStep);
    EXPECT_EQ(m.inverse(sources, pixels, -64), zmcStatusBadStep);
    for (int i = 0; i < m.planes(); ++i) {
      pointers[i] = nullptr;
      sources[i] = nullptr;
      EXPECT_EQ(m.forward(pixels, 0, pointers), zmcStatusBadStep);
      EXPECT_EQ(m.forward(pixels, 64, pointers), zmcStatusNullPointer) << i;
      EXPECT_EQ(m.inverse(sources, pixels, 0), zmcStatusNullPointer) << i;
      pointers[i] = block;
      sources[i] = block;
    }
    EXPECT_TRUE(std::all_of(block, block + 256, [](int v) { return v == 77; }));
    EXPECT_TRUE(std::all_of(pixels, pixels + sizeof pixels, [](int v) { return v == 99; }));
    // Only CMYK has a fourth pointer.
    if (m.planes() == 4) continue;
    pointers[3] = nullptr;
    EXPECT_EQ(m.forward(pixels, 64, pointers), zmcStatusOk);
  }
}

}  // namespace
}  // namespace zmcj::testing
