#include "support/huffman.h"

namespace zmcj::testing {
namespace {

constexpr auto Decode = zmciDecodeHuffman8x8_JPEG_1u16s_C1;

ZmcStatus ModelDecode(ModelReader& from, int16_t* block, int16_t& last_dc, const RawTable& dc, const RawTable& ac) {
  std::fill(block, block + 64, int16_t{0});
  int symbol = 0, v = 0;
  ZmcStatus status = from.Decode(dc, symbol);
  if (status < 0) return status;
  if (symbol % 16 != 0) {
    status = from.Value(symbol % 16, v);
    if (status < 0) return status;
    last_dc = static_cast<int16_t>(last_dc + v);
  }
  block[0] = last_dc;
  for (int k = 1; k <= 63; ++k) {
    status = from.Decode(ac, symbol);
    if (status < 0 || (symbol % 16 == 0 && symbol != 0xF0)) return status;
    k += symbol / 16;
    if (symbol == 0xF0) continue;
    status = from.Value(symbol % 16, v);
    if (status < 0) return status;
    if (k <= 65) block[kZigzag[std::min(k, 63)]] = static_cast<int16_t>(v);
  }
  return status;
}

// Decodes blocks until one fails and compares everything after each: status, position, marker, state, last DC, block.
void CompareScan(const Guarded& src, const RawTable& dc, const RawTable& ac, const char* what) {
  const DecodeSpecMemory dc_spec(dc), ac_spec(ac);
  const int length = static_cast<int>(src.size());
  for (const Level level : Levels()) {
    const AtLevel at(level);
    ModelReader model{src.data(), length};
    DecodeStateMemory state;
    const Guarded block(128);
    int16_t expected[64], last_dc = 0, model_dc = 0;
    int position = 0, marker = 0;
    for (int i = 0; i < 40; ++i) {
      SCOPED_TRACE(::testing::Message() << LevelName(level) << " " << what << " block " << i << " seed " << Seed());
      const ZmcStatus status = ModelDecode(model, expected, model_dc, dc, ac);
      std::memset(block.data(), 0x33, 128);
      ASSERT_EQ(Decode(src.data(), length, &position, block.as<int16_t>(), &last_dc, &marker, dc_spec, ac_spec, state),
                status);
      ASSERT_EQ(position, model.position);
      ASSERT_EQ(marker, model.marker);
      ASSERT_EQ(last_dc, model_dc);
      ASSERT_TRUE(SameArray(expected, block.as<int16_t>(), 64));
      const uint32_t fields[4] = {model.accumulator, 0, static_cast<uint32_t>(model.count), 0};
      ASSERT_TRUE(SameArray(reinterpret_cast<const uint8_t*>(fields), state.data(), 16));
      if (status < 0) break;
    }
  }
}

std::vector<uint8_t> EncodedScan(Random& random, const RawTable& dc, const RawTable& ac, int blocks, int limit) {
  std::vector<uint8_t> scan(static_cast<size_t>(blocks) * 600);
  const EncodeSpecMemory dc_spec(dc), ac_spec(ac);
  EncodeStateMemory state;
  int position = 0;
  int16_t last_dc = 0, block[64];
  for (int i = 0; i < blocks; ++i) {
    RandomBlock(random, block, limit);
    zmciEncodeHuffman8x8_JPEG_16s1u_C1(block, scan.data(), static_cast<int>(scan.size()), &position, &last_dc, dc_spec,
                                       ac_spec, state, 0);
  }
  zmciEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, scan.data(), static_cast<int>(scan.size()), &position, nullptr, nullptr,
                                     nullptr, state, 1);
  scan.resize(static_cast<size_t>(position));
  return scan;
}

struct Stream : Guarded {
  explicit Stream(const std::vector<uint8_t>& bytes) : Guarded(bytes.size()) {
    if (!bytes.empty()) std::memcpy(data(), bytes.data(), bytes.size());
  }
};

TEST(HuffmanDecode, EncodedScansCutAndMarkedAnywhere) {
  Random random;
  for (int round = 0; round < 6; ++round) {
    const RawTable dc = LuminanceDc(), ac = LuminanceAc();
    const std::vector<uint8_t> scan = EncodedScan(random, dc, ac, 6, round % 2 ? 20 : 1023);
    for (size_t n = 0; n <= scan.size(); ++n) {
      std::vector<uint8_t> cut(scan.begin(), scan.begin() + static_cast<ptrdiff_t>(n));
      CompareScan(Stream(cut), dc, ac, "cut");
      cut.insert(cut.end(), {0xFF, 0xD9, 0x12, 0x34, 0x56});
      CompareScan(Stream(cut), dc, ac, "marked");
    }
  }
}

TEST(HuffmanDecode, AnyBytesWithAnyTables) {
  Random random;
  for (int round = 0; round < 3000; ++round) {
    RawTable dc = RandomTable(random), ac = RandomTable(random);
    if (round % 4 == 0) ac.bits[random.In(0, 15)] = static_cast<uint8_t>(random.In(0, 255));  // perhaps overfull
    if (round % 4 == 1) dc.bits[random.In(0, 3)] = static_cast<uint8_t>(random.In(0, 20));
    if (round % 4 == 2) {  // as long as found codes and what follows them can be
      ac = {{0, 0, 0, 0, 0, 0, 0, 100, 156}, {}};
      for (auto& v : ac.values) v = static_cast<uint8_t>(random.In(0, 15) * 16 + random.In(12, 15));
    }
    if (dc.size() > 256 || ac.size() > 256) continue;
    std::vector<uint8_t> bytes(static_cast<size_t>(random.In(0, 200)));
    const int full = random.In(1, 40);  // how rare 0xFF is
    for (auto& b : bytes) b = static_cast<uint8_t>(random.In(0, full) == 0 ? 0xFF : random.In(0, 255));
    for (size_t i = 1; i < bytes.size(); ++i) {
      if (bytes[i - 1] == 0xFF && random.In(0, 20) != 0) bytes[i] = 0;
    }
    CompareScan(Stream(bytes), dc, ac, "any");
    if (::testing::Test::HasFailure()) return;
  }
}

// Tables whose only AC symbol is a long run before one bit: the last run of a block leads past position 63, onto 64 and
// 65, which fall on coefficient 63, and beyond, where nothing is written.
TEST(HuffmanDecode, RunsPastTheEndStayInside) {
  const RawTable dc = {{1}, {0}};
  for (int run = 1; run < 16; ++run) {
    const RawTable ac = {{1}, {static_cast<uint8_t>(run * 16 + 1)}};
    CompareScan(Stream(std::vector<uint8_t>(12, 0x55)), dc, ac, "runs");
    CompareScan(Stream(std::vector<uint8_t>(12, 0x00)), dc, ac, "runs");
  }
}

// The direct form on a stream with fill bytes: the blocks are those of the state form on the stream without them.
TEST(HuffmanDecode, DirectReadsToTheMarkerAndNoFurther) {
  Random random;
  const RawTable dc = LuminanceDc(), ac = LuminanceAc();
  const DecodeSpecMemory dc_spec(dc), ac_spec(ac);
  for (int round = 0; round < 60; ++round) {
    std::vector<uint8_t> scan = EncodedScan(random, dc, ac, 8, round % 2 ? 20 : 1023);
    if (round % 3 == 0) scan.resize(static_cast<size_t>(random.In(0, static_cast<int>(scan.size()))));
    if (!scan.empty() && scan.back() == 0xFF) scan.pop_back();
    scan.insert(scan.end(), {0xFF, 0xD3});
    std::vector<uint8_t> filled;
    for (uint8_t b : scan) filled.insert(filled.end(), b == 0xFF ? static_cast<size_t>(random.In(1, 3)) : 1, b);
    const Stream src(scan), with_fill(filled);
    DecodeStateMemory state;
    int position = 0, marker = 0, direct_bits = 0, direct_marker = 0, count = 0;
    uint32_t prefetched = 0;
    int16_t last_dc = 0, direct_dc = 0, block[64], direct[64];
    for (int i = 0; i < 9; ++i) {
      const ZmcStatus status = Decode(src.data(), static_cast<int>(src.size()), &position, block, &last_dc, &marker,
                                      dc_spec, ac_spec, state);
      const ZmcStatus direct_status = zmciDecodeHuffman8x8_Direct_JPEG_1u16s_C1(
          with_fill.data(), &direct_bits, direct, &direct_dc, &direct_marker, &prefetched, &count, dc_spec, ac_spec);
      ASSERT_TRUE(SameArray(block, direct, 64)) << round;
      ASSERT_EQ(last_dc, direct_dc);
      ASSERT_EQ(marker, direct_marker);
      ASSERT_EQ(direct_bits % 8, 0);
      ASSERT_LE(direct_bits / 8, static_cast<int>(filled.size()));
      if (status < 0) {
        ASSERT_TRUE(direct_status == zmcStatusOk || direct_status == zmcStatusBufferExhausted);
        break;
      }
      ASSERT_EQ(direct_status, status);
    }
    ASSERT_EQ(marker, 0xD3);
  }
}

// Where the data end: before a symbol the direct form answers zmcStatusOk, before a coefficient's bits it fails.
TEST(HuffmanDecode, DirectEndOfData) {
  const RawTable dc = {{1}, {0}}, ac = {{1, 0, 0, 1}, {0x05, 0x00}};  // 0: five bits follow; 1000: end of block
  const DecodeSpecMemory dc_spec(dc), ac_spec(ac);
  struct {
    std::vector<uint8_t> bytes;
    ZmcStatus status;
    int count;
  } const cases[] = {
      {{0xFF, 0xD9}, zmcStatusOk, 0},              // no DC symbol
      {{0b00000101, 0xFF, 0xD9}, zmcStatusOk, 0},  // a code begins
      {{0b00111110, 0b10000000, 0xFF, 0xD9}, zmcStatusBufferExhausted, 2},
  };
  for (const auto& c : cases) {
    const Stream src(c.bytes);
    int bits = 0, marker = 0, count = 0;
    uint32_t prefetched = 0;
    int16_t last_dc = 0, block[64];
    const ZmcStatus status = zmciDecodeHuffman8x8_Direct_JPEG_1u16s_C1(src.data(), &bits, block, &last_dc, &marker,
                                                                       &prefetched, &count, dc_spec, ac_spec);
    EXPECT_EQ(status, c.status) << &c - cases;
    EXPECT_EQ(count, c.count) << &c - cases;
    EXPECT_EQ(marker, 0xD9);
    EXPECT_EQ(bits, 8 * static_cast<int>(c.bytes.size()));
  }
}

TEST(HuffmanDecode, ChecksInOrder) {
  const DecodeSpecMemory dc(LuminanceDc()), ac(LuminanceAc());
  DecodeStateMemory state;
  const uint8_t src[2] = {};
  int16_t block[64] = {7}, last = 0;
  int position = 0, marker = 0, negative = -1, count = 0;
  uint32_t bits = 0;
  EXPECT_EQ(Decode(nullptr, -1, &position, block, &last, &marker, dc, ac, state), zmcStatusNullPointer);
  EXPECT_EQ(Decode(src, -1, nullptr, block, &last, &marker, dc, ac, state), zmcStatusBadArgument);
  EXPECT_EQ(Decode(src, 0, nullptr, block, &last, &marker, dc, ac, state), zmcStatusNullPointer);
  EXPECT_EQ(Decode(src, 0, &position, block, &last, &marker, dc, nullptr, state), zmcStatusNullPointer);
  EXPECT_EQ(Decode(src, 0, &negative, block, &last, &marker, dc, ac, state), zmcStatusBadArgument);
  EXPECT_EQ(block[0], 7);
  EXPECT_EQ(Decode(src, 0, &position, block, &last, &marker, dc, ac, state), zmcStatusBufferExhausted);
  constexpr auto Direct = zmciDecodeHuffman8x8_Direct_JPEG_1u16s_C1;
  EXPECT_EQ(Direct(src, nullptr, block, &last, &marker, &bits, &count, dc, ac), zmcStatusNullPointer);
  EXPECT_EQ(Direct(src, &negative, nullptr, &last, &marker, &bits, &count, dc, ac), zmcStatusBadArgument);
  EXPECT_EQ(Direct(src, &position, nullptr, &last, &marker, &bits, &negative, dc, ac), zmcStatusNullPointer);
  EXPECT_EQ(Direct(src, &position, block, &last, &marker, &bits, &negative, nullptr, ac), zmcStatusBadArgument);
  EXPECT_EQ(Direct(src, &position, block, &last, &marker, &bits, &count, nullptr, ac), zmcStatusNullPointer);
}

}  // namespace
}  // namespace zmcj::testing
