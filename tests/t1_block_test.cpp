// Code-blocks through encoder and decoder, at every level.
#include "support/code_block.h"

namespace zmcj::testing {
namespace {

constexpr int kBypass = 0x2, kTermAll = 0x4, kSymbols = 0x10, kPredictable = 0x20;
constexpr int kConceal = 0x10000, kKeepHalf = 0x40000, kCheck = 0x100000;

class CodeBlock : public ::testing::TestWithParam<Level> {
 protected:
  AtLevel at_{GetParam()};
  Random random_;
};
INSTANTIATE_TEST_SUITE_P(Levels, CodeBlock, ::testing::ValuesIn(Levels()),
                         [](const auto& level) { return std::string(LevelName(level.param)); });

bool Predictable(Style style) { return style.termination == 2 || (style.flags & kPredictable) != 0; }

TEST_P(CodeBlock, RoundTripsInEveryStyle) {
  const EncodeState state(64, 64);
  const ZmciSize sizes[] = {{64, 64}, {1, 1}, {5, 3}, {16, 4}, {17, 9}, {33, 30}, {4, 64}, {64, 4}, {3, 61}};
  std::vector<int32_t> decoded;
  for (int flags = 0; flags < 64; ++flags) {
    for (const int termination : {0, 1, 2, 3}) {
      const Style style = {flags, termination, random_.In(-1, 4)};
      const Kind kind = kKinds[random_.In(1, 4)];
      const ZmciSize size = random_.In(0, 7) == 0 ? sizes[0] : sizes[random_.In(1, 8)];
      SCOPED_TRACE(::testing::Message() << "flags " << flags << " mode " << termination << " kind "
                                        << static_cast<int>(kind) << " size " << size.width << "x" << size.height);
      const auto block = Coefficients(kind, size, random_);
      const Coded coded = Encode(state, block, size, style);
      uint32_t sum = 0;
      for (const uint32_t length : coded.lengths) sum += length;
      ASSERT_EQ(sum, coded.bytes.size());
      ASSERT_EQ(Decode(coded, size, style, Predictable(style) ? kCheck : 0, decoded), zmcStatusOk);
      ASSERT_EQ(decoded, SignMagnitude(block));
    }
  }
}

TEST_P(CodeBlock, RoundTripsInEverySizeAndKind) {
  const EncodeState state(1024, 1024);
  std::vector<ZmciSize> sizes = {{4, 1024}, {1024, 4}, {64, 64}, {1000, 1}, {1, 999}, {256, 16}};
  for (int i = 1; i <= 36; ++i) sizes.push_back({i, random_.In(1, 20)});
  std::vector<int32_t> decoded;
  for (const ZmciSize size : sizes) {
    for (const Kind kind : kKinds) {
      const Style style = {random_.In(0, 63), random_.In(0, 2), random_.In(0, 3)};
      SCOPED_TRACE(::testing::Message() << "flags " << style.flags << " kind " << static_cast<int>(kind) << " size "
                                        << size.width << "x" << size.height);
      const auto block = Coefficients(kind, size, random_);
      const Coded coded = Encode(state, block, size, style);
      if (kind == Kind::kZero) {
        ASSERT_EQ(coded.planes + coded.passes + coded.segments + coded.bytes.size(), 0u);
      }
      ASSERT_EQ(Decode(coded, size, style, 0, decoded), zmcStatusOk);
      ASSERT_EQ(decoded, SignMagnitude(block));
    }
  }
}

// The bytes of every level are the reference's; a room of one byte and a room of three give them as well.
TEST_P(CodeBlock, EncodesTheSameBytesAtEveryLevelAndInEveryRoom) {
  const EncodeState state(64, 64), other(64, 64);
  for (int i = 0; i < 150; ++i) {
    const Style style = {random_.In(0, 63), random_.In(0, 3), random_.In(0, 3)};
    const ZmciSize size = {random_.In(1, 64), random_.In(1, 64)};
    const auto block = Coefficients(kKinds[i % 6], size, random_);
    const Coded coded = Encode(state, block, size, style);
    UseLevel(Level::kScalar);
    const Coded expected = Encode(other, block, size, style,
                                  i % 4 == 0   ? 1
                                  : i % 4 == 1 ? random_.In(2, 900)
                                               : 1 << 20);
    UseLevel(GetParam());
    ASSERT_EQ(coded.bytes, expected.bytes) << "flags " << style.flags;
    ASSERT_EQ(coded.lengths, expected.lengths);
    ASSERT_EQ(coded.rates, expected.rates);
    ASSERT_EQ(coded.distortions, expected.distortions);
  }
}

// Truncation at a recorded length decodes to what that many passes of the whole data give, and the distortion told for
// it is the squared error that its midpoints remove.
TEST_P(CodeBlock, TruncatesAtEveryRecordedLength) {
  const EncodeState state(64, 64);
  std::vector<int32_t> cut, whole;
  for (int i = 0; i < 60; ++i) {
    const Style style = {random_.In(0, 63), random_.In(0, 2), random_.In(0, 3)};
    const ZmciSize size = {random_.In(1, 40), random_.In(1, 40)};
    const auto block = Coefficients(kKinds[1 + i % 4], size, random_);
    Coded coded = Encode(state, block, size, style);
    ASSERT_TRUE(std::is_sorted(coded.rates.begin(), coded.rates.end()));
    double energy = 0;
    for (const double v : block) energy += v * v;
    for (uint32_t passes = 1; passes <= coded.passes; ++passes) {
      SCOPED_TRACE(::testing::Message() << "flags " << style.flags << " mode " << style.termination << " pass "
                                        << passes << " of " << coded.passes << " size " << size.width << "x"
                                        << size.height);
      ASSERT_EQ(Decode(Truncated(coded, passes), size, style, kKeepHalf, cut), zmcStatusOk);
      Coded prefix = coded;
      prefix.passes = passes;
      ASSERT_EQ(Decode(prefix, size, style, kKeepHalf, whole), zmcStatusOk);
      ASSERT_EQ(cut, whole);
      double error = 0;
      for (size_t k = 0; k < block.size(); ++k) {
        const double magnitude = cut[k] & 0x7FFFFFFF;
        const double difference = block[k] - (cut[k] < 0 ? -magnitude : magnitude);
        error += difference * difference;
      }
      ASSERT_NEAR(coded.distortions[passes - 1], energy - error, 1e-6 * energy);
    }
  }
}

// Any bytes, any options: the same coefficients, status and plane as the reference, and no access outside the segments,
// the block and the buffer, which end at a guard page; the buffer at odd addresses too.
TEST_P(CodeBlock, DecodesGarbageAsTheReferenceWithinItsMemory) {
  for (int i = 0; i < 1200; ++i) {
    const ZmciSize size = {random_.In(1, 70), random_.In(1, i % 10 == 0 ? 64 : 13)};
    const int flags = random_.In(0, 63) | (random_.In(0, 31) << 16 & ~0xA0000);
    const int planes = random_.In(1, 31), passes = random_.In(1, 3 * planes + 1), orientation = random_.In(0, 3);
    std::vector<uint32_t> lengths(static_cast<size_t>(random_.In(0, passes)));
    uint32_t total = 0;
    for (auto& length : lengths) {
      length = static_cast<uint32_t>(random_.In(0, random_.In(0, 3) == 0 ? 400 : 12));
      total += length;
    }
    const Guarded src(total);
    const int kind = random_.In(0, 3);
    for (size_t k = 0; k < total; ++k) {
      const bool stuffing = kind > 0 && k % 3 == 0;
      src.data()[k] = static_cast<uint8_t>(stuffing ? 0xFF : random_.In(0, kind > 1 && random_.In(0, 1) ? 0x91 : 255));
    }
    uint32_t work_size = 0;
    zmciDecodeGetBufSize_JPEG2K(size.width, size.height, &work_size);
    const size_t pad = static_cast<size_t>(random_.In(0, 7));
    const Guarded work_memory(work_size + pad, i % 2 ? Guarded::Side::kEnd : Guarded::Side::kStart);
    // At the end of its block the buffer is flush with the guard page behind, at the start with the one before.
    unsigned char* const work = work_memory.data() + (i % 2 ? pad : 0);
    const Guarded lengths_memory(4 * lengths.size());
    std::copy(lengths.begin(), lengths.end(), lengths_memory.as<uint32_t>());
    const size_t samples = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
    std::vector<int32_t> results[2];
    ZmcStatus status[2];
    int32_t plane[2] = {-7, -7};
    for (const int side : {0, 1}) {
      UseLevel(side == 0 ? Level::kScalar : GetParam());
      const Guarded dst(4 * samples, i % 4 < 2 ? Guarded::Side::kEnd : Guarded::Side::kStart);
      for (size_t k = 0; k < work_size; ++k) work[k] = static_cast<uint8_t>(k * 7);
      status[side] = zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(
          src.data(), dst.as<int32_t>(), 4 * size.width, size, orientation, planes, passes,
          lengths_memory.as<uint32_t>(), static_cast<uint32_t>(lengths.size()), flags, &plane[side], work);
      results[side].assign(dst.as<int32_t>(), dst.as<int32_t>() + samples);
    }
    ASSERT_EQ(status[0], status[1]) << "flags " << flags;
    ASSERT_EQ(plane[0], plane[1]);
    ASSERT_EQ(results[0], results[1]) << "seed " << Seed() << " round " << i << " flags " << flags;
  }
}

TEST_P(CodeBlock, ReportsDamageAndConceals) {
  const EncodeState state(32, 32);
  const ZmciSize size = {32, 32};
  struct Case {
    Style style;
    int least;  // of 100 damaged codewords are reported
  };
  const Case cases[] = {{{kTermAll, 2, 0}, 90},
                        {{kSymbols, 0, 1}, 90},
                        {{kTermAll | kBypass, 2, 3}, 85},
                        {{kBypass | kPredictable, 1, 2}, 70}};
  for (const Case& c : cases) {
    int reported = 0;
    for (int i = 0; i < 100; ++i) {
      const auto block = Coefficients(Kind::kDense, size, random_);
      Coded coded = Encode(state, block, size, c.style);
      coded.bytes[coded.bytes.size() / 2 + static_cast<size_t>(random_.In(0, 9))] ^=
          static_cast<uint8_t>(random_.In(1, 255));
      std::vector<int32_t> decoded;
      int32_t plane = -1;
      if (Decode(coded, size, c.style, kCheck | kConceal, decoded, &plane) != zmcStatusCodeBlockDecodeError) continue;
      ++reported;
      ASSERT_GE(plane, 0);
      for (const int32_t v : decoded) {
        ASSERT_EQ(v & ((1 << plane) - 1), 0);
        ASSERT_TRUE(v == 0 || (v >> plane & 1) != 0);
      }
    }
    EXPECT_GE(reported, c.least) << "flags " << c.style.flags;
  }
}

TEST_P(CodeBlock, TakesAnyStepAndAddress) {
  const EncodeState state(20, 11);
  const ZmciSize size = {19, 11};
  const Style style = {0, 0, 0};
  const auto block = Coefficients(Kind::kLaplacian, size, random_);
  const Coded expected = Encode(state, block, size, style);
  Padded rows(4 * 19, 11, 4 * 19 + 3, 1);
  for (int y = 0; y < 11; ++y) std::memcpy(rows.at(y), block.data() + 19 * y, 4 * 19);
  uint32_t planes = 0, passes = 0, segments = 0;
  ASSERT_EQ(zmciEncodeLoadCodeBlock_JPEG2K_32s_C1R(rows.as<int32_t>(), rows.step(), size, state, 0, 31, 0, 0, 0,
                                                   &planes, &passes, &segments),
            zmcStatusOk);
  std::vector<uint8_t> bytes(expected.bytes.size() + 100);
  int32_t length = static_cast<int32_t>(bytes.size()), more = 1;
  ASSERT_EQ(zmciEncodeStoreBits_JPEG2K_1u(bytes.data(), &length, state, &more), zmcStatusOk);
  bytes.resize(static_cast<size_t>(length));
  ASSERT_EQ(bytes, expected.bytes);
  std::vector<uint8_t> work(10000);
  Padded out(4 * 19, 11, 4 * 19 + 1, 3);
  ASSERT_EQ(zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(bytes.data(), out.as<int32_t>(), out.step(), size, 0,
                                                 static_cast<int>(planes), static_cast<int>(passes),
                                                 expected.lengths.data(), segments, 0, nullptr, work.data() + 1),
            zmcStatusOk);
  ASSERT_TRUE(out.CheckPadding());
  const auto decoded = SignMagnitude(block);
  for (int y = 0; y < 11; ++y) ASSERT_EQ(std::memcmp(out.at(y), decoded.data() + 19 * y, 4 * 19), 0);
}

TEST_P(CodeBlock, TakesMagnitudesModuloTheGivenBits) {
  const EncodeState state(4, 4);
  std::vector<int32_t> block(16, 0);
  block[0] = -0x7FFFFFFF - 1;
  block[5] = 0x1234;
  uint32_t planes = 9, passes = 9, segments = 9;
  const auto load = [&](int bits) {
    EXPECT_EQ(zmciEncodeLoadCodeBlock_JPEG2K_32s_C1R(block.data(), 16, {4, 4}, state, 0, bits, 0, 0, 0, &planes,
                                                     &passes, &segments),
              zmcStatusOk);
    return planes;
  };
  EXPECT_EQ(load(31), 13u);
  EXPECT_EQ(load(0), 13u);
  EXPECT_EQ(load(32), 13u);
  EXPECT_EQ(load(10), 10u);
  EXPECT_EQ(load(2), 0u);
  EXPECT_EQ(passes + segments, 0u);
  uint8_t byte = 7;
  int32_t length = 1, more = 1;
  EXPECT_EQ(zmciEncodeStoreBits_JPEG2K_1u(&byte, &length, state, &more), zmcStatusOk);
  EXPECT_EQ(length + more, 0);
  EXPECT_EQ(byte, 7);
}

TEST(CodeBlockChecks, DecoderInOrder) {
  const uint8_t src[4] = {};
  const uint32_t lengths[1] = {4};
  int32_t dst[4] = {5, 5, 5, 5}, plane = 3;
  uint8_t work[96];
  const auto decode = [&](const uint8_t* s, int32_t* d, int step, ZmciSize size, int planes, int passes,
                          const uint32_t* l, uint8_t* b) {
    return zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(s, d, step, size, 0, planes, passes, l, 1, 0, &plane, b);
  };
  EXPECT_EQ(decode(nullptr, nullptr, 0, {0, 0}, 32, 1, nullptr, work), zmcStatusNullPointer);
  EXPECT_EQ(decode(src, nullptr, 0, {0, 1}, 32, 1, nullptr, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(decode(src, nullptr, 0, {0, 1}, 32, 1, nullptr, work), zmcStatusBadSize);
  EXPECT_EQ(decode(src, nullptr, 0, {1, 1}, 32, 1, lengths, work), zmcStatusNullPointer);
  EXPECT_EQ(decode(src, dst, 0, {1, 1}, 32, 1, nullptr, work), zmcStatusNullPointer);
  EXPECT_EQ(decode(src, dst, 0, {1, 1}, 32, 1, lengths, work), zmcStatusBadStep);
  EXPECT_EQ(decode(src, dst, 8, {2, 2}, 32, 1, lengths, work), zmcStatusBadArgument);
  EXPECT_EQ(decode(src, dst, 8, {0x7FFFFFFF, 0x7FFFFFFF}, 31, 1, lengths, work), zmcStatusBadSize);
  EXPECT_EQ(dst[0], 5);
  for (const auto& [planes, passes] : {std::pair{0, 1}, {-9, 1}, {31, 0}, {5, -1}}) {
    dst[3] = 5;
    EXPECT_EQ(decode(src, dst, 8, {2, 2}, planes, passes, lengths, work), zmcStatusOk);
    EXPECT_EQ(dst[3], 0);
  }
  EXPECT_EQ(plane, 3);
  uint32_t size = 0;
  EXPECT_EQ(zmciDecodeGetBufSize_JPEG2K(1, 1, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDecodeGetBufSize_JPEG2K(64, 63, &size), zmcStatusOk);
  EXPECT_EQ(size, 288u * 34u);
  EXPECT_EQ(zmciDecodeGetBufSize_JPEG2K(0x7FFFFFFF, 0x7FFFFFFF, &size), zmcStatusOk);
  EXPECT_EQ(size, UINT32_MAX);
}

TEST(CodeBlockChecks, EncoderInOrder) {
  ZmciEncodeState_JPEG2K* none = nullptr;
  EXPECT_EQ(zmciEncodeInitAlloc_JPEG2K(nullptr, 0, 0), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeInitAlloc_JPEG2K(&none, 0, 4), zmcStatusBadSize);
  EXPECT_EQ(zmciEncodeInitAlloc_JPEG2K(&none, 0x7FFFFFFF, 0x7FFFFFFF), zmcStatusNoMemory);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(zmciEncodeFree_JPEG2K(nullptr), zmcStatusNullPointer);
  const EncodeState state(8, 8);
  char untagged[64] = "DSMN";
  auto* const other = reinterpret_cast<ZmciEncodeState_JPEG2K*>(untagged);
  const int32_t src[64] = {9, -3};
  uint32_t n[3] = {};
  const auto load = [&](const int32_t* s, int step, ZmciSize size, ZmciEncodeState_JPEG2K* st, uint32_t* planes) {
    return zmciEncodeLoadCodeBlock_JPEG2K_32s_C1R(s, step, size, st, 0, 31, 0, 0, 0, planes, n + 1, n + 2);
  };
  EXPECT_EQ(load(nullptr, 0, {0, 0}, nullptr, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(load(nullptr, 0, {0, 0}, other, nullptr), zmcStatusBadContext);
  EXPECT_EQ(load(nullptr, 0, {0, 0}, state, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(load(nullptr, 0, {0, 8}, state, n), zmcStatusBadSize);
  EXPECT_EQ(load(src, 32, {8, 9}, state, n), zmcStatusBadSize);
  EXPECT_EQ(load(nullptr, 0, {8, 8}, state, n), zmcStatusNullPointer);
  EXPECT_EQ(load(src, 0, {8, 8}, state, n), zmcStatusBadStep);
  EXPECT_EQ(load(src, 32, {8, 8}, state, n), zmcStatusOk);
  EXPECT_EQ(n[0], 4u);
  EXPECT_EQ(n[1], 10u);
  EXPECT_EQ(n[2], 1u);

  uint8_t bytes[99];
  int32_t length = 0, more = 0;
  uint32_t rate = 0;
  double distortion = 0;
  EXPECT_EQ(zmciEncodeStoreBits_JPEG2K_1u(bytes, &length, other, nullptr), zmcStatusBadContext);
  EXPECT_EQ(zmciEncodeStoreBits_JPEG2K_1u(bytes, &length, state, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeStoreBits_JPEG2K_1u(bytes, &length, state, &more), zmcStatusBadSize);
  EXPECT_EQ(zmciEncodeGetRate_JPEG2K(nullptr, 0, &rate), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeGetRate_JPEG2K(other, 0, nullptr), zmcStatusBadContext);
  EXPECT_EQ(zmciEncodeGetRate_JPEG2K(state, 10, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeGetRate_JPEG2K(state, 10, &rate), zmcStatusBadPassNumber);
  EXPECT_EQ(zmciEncodeGetDist_JPEG2K(state, -1, &distortion), zmcStatusBadPassNumber);
  EXPECT_EQ(zmciEncodeGetDist_JPEG2K(other, -1, nullptr), zmcStatusBadContext);
  EXPECT_EQ(zmciEncodeGetTermPassLen_JPEG2K(other, 0, nullptr), zmcStatusBadContext);
  EXPECT_EQ(zmciEncodeGetTermPassLen_JPEG2K(state, 0, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeGetTermPassLen_JPEG2K(state, 1, &rate), zmcStatusBadPassNumber);
  EXPECT_EQ(zmciEncodeGetTermPassLen_JPEG2K(state, -1, &rate), zmcStatusBadPassNumber);
}

}  // namespace
}  // namespace zmcj::testing
