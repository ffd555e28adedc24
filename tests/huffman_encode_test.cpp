#include "support/huffman.h"

namespace zmcj::testing {
namespace {

constexpr auto Encode = zmciEncodeHuffman8x8_JPEG_16s1u_C1;

// The walk over a block, symbol by symbol; `emit` takes (is DC, symbol, value) and says whether to go on.
template <class Emit>
ZmcStatus ModelWalk(const int16_t* block, int16_t& last_dc, Emit emit) {
  const int difference = block[0] - last_dc;
  last_dc = block[0];
  if (ZmcStatus s = emit(true, ModelCategory(difference), difference)) return s;
  int run = 0;
  for (int k = 1; k < 64; ++k) {
    const int v = block[kZigzag[k]];
    if (v == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) {
      if (ZmcStatus s = emit(false, 0xF0, 0)) return s;
    }
    if (ZmcStatus s = emit(false, run * 16 + ModelCategory(v), v)) return s;
    run = 0;
  }
  return run > 0 ? emit(false, 0, 0) : zmcStatusOk;
}

ZmcStatus ModelEncode(const int16_t* block, ModelWriter& to, int16_t& last_dc, const ModelCodes& dc,
                      const ModelCodes& ac) {
  return ModelWalk(block, last_dc, [&](bool is_dc, int symbol, int v) {
    const ZmcStatus s = to.PutCode((is_dc ? dc : ac).of[symbol]);
    return s ? s : to.PutValue(v);
  });
}

std::array<uint32_t, 3> StateOf(const EncodeStateMemory& state) {
  std::array<uint32_t, 3> fields;
  std::memcpy(fields.data(), state.data(), sizeof fields);
  fields[0] &= 0xFFFFFF;  // what stands above means nothing
  return fields;
}

struct Tables {
  explicit Tables(const RawTable& raw_dc, const RawTable& raw_ac)
      : dc(raw_dc), ac(raw_ac), dc_codes(raw_dc), ac_codes(raw_ac) {}
  EncodeSpecMemory dc, ac;
  ModelCodes dc_codes, ac_codes;
};

// AC codes for these blocks. One symbol's, often that of sixteen zeros, has one bit, and that of 1 or -1 two.
RawTable TableFor(const std::vector<std::array<int16_t, 64>>& blocks, Random& random) {
  int dc_counts[256] = {}, ac_counts[256] = {};
  int16_t last_dc = 0;
  for (const auto& block : blocks) {
    zmciGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc_counts, ac_counts, &last_dc);
  }
  int symbol = random.In(0, 3) == 0 ? 0xF0 : random.In(0, 255);
  while (ac_counts[symbol] == 0) symbol = random.In(0, 255);
  ac_counts[symbol] += 1'000'000;
  ac_counts[0x01] += 100'000;
  RawTable table;
  zmciEncodeHuffmanRawTableInit_JPEG_8u(ac_counts, table.bits, table.values);
  return table;
}

// Scans of random blocks: status, position, state, last DC and every byte after each block, with random tables that may
// lack a symbol and such that lack none, into destinations of every kind of length.
TEST(HuffmanEncode, LikeTheModelAtEveryLevel) {
  Random random;
  for (int round = 0; round < 400; ++round) {
    std::vector<std::array<int16_t, 64>> blocks(20);
    constexpr int kLimits[4] = {32767, 1023, 128, 1023};
    for (auto& block : blocks) RandomBlock(random, block.data(), kLimits[round % 4]);
    if (round % 7 == 0) blocks[0][static_cast<size_t>(random.In(0, 63))] = -32768;
    blocks[1] = {};
    for (const int k : {0, 1, 2, 63}) blocks[1][kZigzag[k]] = random.In(0, 1) ? 1 : -1;
    RawTable dc = LuminanceDc(), ac = LuminanceAc();
    if (round % 3 == 1) dc = RandomTable(random), ac = RandomTable(random);
    if (round % 3 == 2) ac = TableFor(blocks, random);
    const Tables t(dc, ac);
    ASSERT_EQ(t.dc.status | t.ac.status, zmcStatusOk);
    const int length = round % 2 ? 8000 : random.In(1, 1200);
    for (const Level level : Levels()) {
      const AtLevel at(level);
      const Guarded dst(static_cast<size_t>(length), round % 5 ? Guarded::Side::kEnd : Guarded::Side::kStart);
      std::memset(dst.data(), 0x5A, dst.size());
      std::vector<uint8_t> expected(dst.size(), 0x5A);
      ModelWriter model{expected.data(), length};
      EncodeStateMemory state;
      int position = 0;
      int16_t last_dc = 0, model_dc = 0;
      for (size_t i = 0; i < blocks.size(); ++i) {
        SCOPED_TRACE(::testing::Message() << LevelName(level) << " round " << round << " block " << i);
        const ZmcStatus status = ModelEncode(blocks[i].data(), model, model_dc, t.dc_codes, t.ac_codes);
        ASSERT_EQ(Encode(blocks[i].data(), dst.data(), length, &position, &last_dc, t.dc, t.ac, state, 0), status);
        ASSERT_EQ(position, model.position);
        ASSERT_EQ(StateOf(state), model.State());
        ASSERT_EQ(last_dc, model_dc);
        ASSERT_TRUE(SameArray(expected.data(), dst.data(), dst.size()));
        if (status != zmcStatusOk) break;
      }
      ASSERT_EQ(Encode(nullptr, dst.data(), length, &position, nullptr, nullptr, nullptr, state, 1),
                model.Put(0x7F, 7));
      ASSERT_EQ(position, model.position);
      ASSERT_TRUE(SameArray(expected.data(), dst.data(), dst.size()));
      ASSERT_EQ(StateOf(state), (std::array<uint32_t, 3>{}));
    }
  }
}

// Nearly all bits are set, so that nearly all bytes are stuffed.
TEST(HuffmanEncode, StreamOfOnes) {
  RawTable ones;
  for (int i = 0; i < 16; ++i) ones.bits[i] = 1, ones.values[i] = static_cast<uint8_t>(i);
  ones.values[15] = 6, ones.values[6] = 15;  // to a code of 15 ones and a zero
  const Tables t(LuminanceDc(), ones);
  for (const Level level : Levels()) {
    const AtLevel at(level);
    for (int n = 0; n < 64; ++n) {
      int16_t block[64] = {};
      for (int k = 1; k <= n; ++k) block[kZigzag[k]] = 63;
      uint8_t bytes[1000] = {}, expected[1000] = {};
      ModelWriter model{expected, 1000};
      EncodeStateMemory state;
      int position = 0;
      int16_t last_dc = 0, model_dc = 0;
      ModelEncode(block, model, model_dc, t.dc_codes, t.ac_codes);
      ASSERT_EQ(Encode(block, bytes, 1000, &position, &last_dc, t.dc, t.ac, state, 0), zmcStatusOk);
      ASSERT_EQ(position, model.position) << LevelName(level) << " " << n;
      ASSERT_TRUE(SameArray(expected, bytes, sizeof bytes));
    }
  }
}

// One scan into every length from 1 byte up: full, never beyond, and the bytes up to there are the scan's.
TEST(HuffmanEncode, EveryDestinationLength) {
  Random random;
  const Tables t(LuminanceDc(), LuminanceAc());
  std::vector<std::array<int16_t, 64>> blocks(6);
  for (auto& block : blocks) RandomBlock(random, block.data(), 500);
  std::vector<uint8_t> scan(10000);
  ModelWriter model{scan.data(), 10000};
  int16_t model_dc = 0;
  for (const auto& block : blocks) ModelEncode(block.data(), model, model_dc, t.dc_codes, t.ac_codes);
  model.Put(0x7F, 7);
  for (const Level level : Levels()) {
    const AtLevel at(level);
    for (int length = 1; length <= model.position; ++length) {
      const Guarded dst(static_cast<size_t>(length));
      EncodeStateMemory state;
      int position = 0;
      int16_t last_dc = 0;
      ZmcStatus status = zmcStatusOk;
      for (size_t i = 0; i < blocks.size() && status == zmcStatusOk; ++i) {
        status = Encode(blocks[i].data(), dst.data(), length, &position, &last_dc, t.dc, t.ac, state, 0);
      }
      if (status == zmcStatusOk) {
        status = Encode(nullptr, dst.data(), length, &position, nullptr, nullptr, nullptr, state, 1);
      }
      ASSERT_EQ(status, length < model.position ? zmcStatusBufferExhausted : zmcStatusOk) << length;
      ASSERT_TRUE(SameArray(scan.data(), dst.data(), static_cast<size_t>(position)));
    }
  }
}

// Records that no Init has made: whatever comes out stays inside.
TEST(HuffmanEncode, AnyRecordsStayInside) {
  Random random;
  for (int round = 0; round < 300; ++round) {
    EncodeSpecMemory dc(LuminanceDc()), ac(LuminanceAc());
    for (EncodeSpecMemory* spec : {&dc, &ac}) {
      for (size_t i = 0; i < 1024; ++i) {
        if (random.In(0, round % 50) == 0 && (spec == &ac || round % 3 == 0))
          spec->data()[i] = static_cast<uint8_t>(random.In(0, 255));
      }
    }
    for (const Level level : Levels()) {
      const AtLevel at(level);
      const Guarded dst(1500);
      EncodeStateMemory state;
      int position = 0;
      int16_t last_dc = 0;
      for (int i = 0; i < 8; ++i) {
        int16_t block[64];
        RandomBlock(random, block, 100);
        Encode(block, dst.data(), 1500, &position, &last_dc, dc, ac, state, 0);
        ASSERT_TRUE(position >= 0 && position <= 1500) << LevelName(level);
      }
    }
  }
}

TEST(HuffmanEncode, BitsOfKnownBlocks) {
  const Tables t(LuminanceDc(), LuminanceAc());
  struct {
    int at, value, last_dc;
    const char* bits;
  } const cases[] = {
      {0, 5, 5,
       "00"
       "1010"},  // nothing new, end of block
      {0, 4, 5,
       "010"
       "0"
       "1010"},  // -1
      {0, 6, 5,
       "010"
       "1"
       "1010"},  // +1
      {63, 1, 0,
       "00"
       "11111111001"
       "11111111001"
       "11111111001"
       "1111111111101011"
       "1"},  // no end of block
  };
  for (const Level level : Levels()) {
    const AtLevel at(level);
    for (const auto& c : cases) {
      int16_t block[64] = {}, last_dc = static_cast<int16_t>(c.last_dc);
      block[c.at] = static_cast<int16_t>(c.value);
      std::vector<uint8_t> expected(16), direct(16, 0x77);
      ModelWriter model{expected.data(), 16};
      for (const char* b = c.bits; *b; ++b) model.Put(*b == '1', 1);
      const size_t rest = model.bits.size();
      int bits_length = 0;
      ASSERT_EQ(zmciEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, direct.data(), &bits_length, &last_dc, t.dc, t.ac),
                zmcStatusOk);
      ASSERT_EQ(bits_length, model.position * 8 + static_cast<int>(rest));
      while (!model.bits.empty()) model.Put(0, 1);
      ASSERT_TRUE(SameArray(expected.data(), direct.data(), static_cast<size_t>(model.position)));
    }
  }
}

TEST(HuffmanEncode, FlushPadsWithOnes) {
  uint8_t dst[2] = {};
  EncodeStateMemory state;
  const uint32_t pending[3] = {0b101u << 21, 0, 3};
  std::memcpy(state.data(), pending, sizeof pending);
  int position = 0;
  EXPECT_EQ(Encode(nullptr, dst, 1, &position, nullptr, nullptr, nullptr, state, 1), zmcStatusOk);
  EXPECT_EQ(dst[0], 0xBF);
  EXPECT_EQ(Encode(nullptr, dst, 1, &position, nullptr, nullptr, nullptr, state, 1), zmcStatusOk);  // nothing pending
  EXPECT_EQ(position, 1);
}

// The direct form passes over symbols without a code and keeps what stands before its bit position.
TEST(HuffmanEncode, DirectLikeTheModel) {
  Random random;
  for (int round = 0; round < 300; ++round) {
    const RawTable raw_dc = RandomTable(random), raw_ac = RandomTable(random);
    const Tables t(raw_dc, raw_ac);
    std::vector<std::array<int16_t, 64>> blocks(8);
    for (auto& block : blocks) RandomBlock(random, block.data(), round % 4 ? 1023 : 32767);
    const int start = random.In(0, 30);
    for (const Level level : Levels()) {
      const AtLevel at(level);
      std::vector<uint8_t> expected(6000, 0xC3), dst(6000, 0xC3);
      ModelWriter model{expected.data(), 6000, start / 8};
      for (int i = 0; i < start % 8; ++i) model.bits.push_back((0xC3 >> (7 - i) & 1) != 0);
      int16_t last_dc = 0, model_dc = 0;
      int bits_length = start;
      for (const auto& block : blocks) {
        bool touched = false;
        ModelWalk(block.data(), model_dc, [&](bool is_dc, int symbol, int v) {
          const ModelCodes::Code code = (is_dc ? t.dc_codes : t.ac_codes).of[symbol];
          touched |= code.length > 0 || v != 0;
          model.Put(code.code, code.length);
          return model.PutValue(v);
        });
        if (touched) expected[static_cast<size_t>(model.position)] = static_cast<uint8_t>(model.State()[0] >> 16);
        ASSERT_EQ(
            zmciEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block.data(), dst.data(), &bits_length, &last_dc, t.dc, t.ac),
            zmcStatusOk);
        ASSERT_EQ(bits_length, model.position * 8 + static_cast<int>(model.bits.size()));
        ASSERT_TRUE(SameArray(expected.data(), dst.data(), dst.size())) << LevelName(level) << " round " << round;
      }
    }
  }
}

TEST(HuffmanEncode, CountsWhatEncodingEmits) {
  Random random;
  for (int round = 0; round < 200; ++round) {
    int16_t block[64];
    RandomBlock(random, block, round % 4 ? 1023 : 32767);
    if (round % 9 == 0) std::fill(block, block + 64, int16_t{0}), block[kZigzag[16 * (round % 3) + 16]] = -32768;
    for (const Level level : Levels()) {
      const AtLevel at(level);
      int dc[256] = {1, 2}, ac[256] = {3, 4}, model_dc[256] = {1, 2}, model_ac[257] = {3, 4};
      int16_t last = 77, model_last = 77;
      ModelWalk(block, model_last, [&](bool is_dc, int symbol, int) {
        ++(is_dc ? model_dc : model_ac)[symbol];
        return zmcStatusOk;
      });
      ASSERT_EQ(zmciGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc, ac, &last), zmcStatusOk);
      ASSERT_TRUE(SameArray(model_dc, dc, 256));
      ASSERT_TRUE(SameArray(model_ac, ac, 256));
      ASSERT_EQ(last, model_last);
    }
  }
}

TEST(HuffmanEncode, ChecksInOrder) {
  const Tables t(LuminanceDc(), LuminanceAc());
  EncodeStateMemory state;
  int16_t block[64] = {}, last = 9;
  uint8_t dst[4] = {1, 2, 3, 4};
  int position = 0, negative = -1;
  EXPECT_EQ(Encode(block, nullptr, 0, &position, &last, t.dc, t.ac, state, 0), zmcStatusNullPointer);
  EXPECT_EQ(Encode(block, dst, 0, nullptr, &last, t.dc, t.ac, state, 0), zmcStatusBadSize);
  EXPECT_EQ(Encode(block, dst, 4, nullptr, &last, t.dc, t.ac, state, 1), zmcStatusNullPointer);
  EXPECT_EQ(Encode(block, dst, 4, &position, &last, t.dc, t.ac, nullptr, 1), zmcStatusNullPointer);
  EXPECT_EQ(Encode(nullptr, dst, 4, &position, &last, t.dc, t.ac, state, 0), zmcStatusNullPointer);
  EXPECT_EQ(Encode(block, dst, 4, &position, nullptr, t.dc, t.ac, state, 0), zmcStatusNullPointer);
  EXPECT_EQ(Encode(block, dst, 4, &position, &last, nullptr, t.ac, state, 0), zmcStatusNullPointer);
  EXPECT_EQ(Encode(block, dst, 4, &position, &last, t.dc, nullptr, state, 0), zmcStatusNullPointer);
  EXPECT_EQ(Encode(block, dst, 4, &negative, &last, t.dc, t.ac, state, 0), zmcStatusBadArgument);
  EXPECT_EQ(zmciEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, dst, nullptr, &last, t.dc, t.ac), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, dst, &negative, &last, t.dc, t.ac), zmcStatusBadArgument);
  EXPECT_EQ(zmciGetHuffmanStatistics8x8_JPEG_16s_C1(block, nullptr, nullptr, &last), zmcStatusNullPointer);
  EXPECT_EQ(dst[0], 1);
  EXPECT_EQ(last, 9);
}

}  // namespace
}  // namespace zmcj::testing
