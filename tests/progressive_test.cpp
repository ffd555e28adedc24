#include "support/huffman.h"

namespace zmcj::testing {
namespace {

constexpr auto EncodeDcFirst = zmciEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1;
constexpr auto EncodeDcRefine = zmciEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1;
constexpr auto DecodeDcFirst = zmciDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1;
constexpr auto DecodeDcRefine = zmciDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1;
constexpr auto EncodeAcFirst = zmciEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
constexpr auto EncodeAcRefine = zmciEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1;
constexpr auto CountAcFirst = zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
constexpr auto CountAcRefine = zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;

struct Band {
  int ss, se, al;
};

Band RandomBand(Random& random) {
  const int ss = random.In(0, 2) ? 1 : random.In(1, 63);
  return {ss, random.In(0, 2) ? 63 : random.In(ss, 63), random.In(0, 3) ? random.In(0, 2) : random.In(0, 13)};
}

// The walks of ISO/IEC 10918-1, G.1.2, with a list of correction bits. The record's fields are compared with it.
struct ModelAcEncoder {
  ModelWriter writer;
  const ModelCodes* codes;
  std::vector<uint32_t> counts = std::vector<uint32_t>(256);
  int run = 0;
  std::vector<bool> pending = {};
  bool writes = true;

  ZmcStatus Code(int symbol) {
    if (!writes) return ++counts[static_cast<size_t>(symbol)], zmcStatusOk;
    return writer.PutCode(codes->of[symbol]);
  }
  ZmcStatus Put(uint32_t v, int n) { return writes && n > 0 ? writer.Put(v, n) : zmcStatusOk; }
  ZmcStatus PutAll(const std::vector<bool>& bits) {
    for (bool b : bits) {
      if (ZmcStatus s = Put(b, 1)) return s;
    }
    return zmcStatusOk;
  }
  ZmcStatus PutRun() {
    if (run == 0) return zmcStatusOk;
    const int n = ModelCategory(run) - 1;
    if (ZmcStatus s = Code(n * 16)) return s;
    if (ZmcStatus s = Put(static_cast<uint32_t>(run), n)) return s;
    run = 0;
    return zmcStatusOk;
  }
  ZmcStatus First(const int16_t* block, const Band& b) {
    int r = 0;
    for (int k = b.ss; k <= b.se; ++k) {
      const int c = block[kZigzag[k]], v = std::abs(c) >> b.al, s = ModelCategory(v);
      if (v == 0) {
        ++r;
        continue;
      }
      if (ZmcStatus e = PutRun()) return e;
      for (; r > 15; r -= 16) {
        if (ZmcStatus e = Code(0xF0)) return e;
      }
      if (s > 11) return zmcStatusBadHuffmanData;
      if (ZmcStatus e = Code(r * 16 + s)) return e;
      if (ZmcStatus e = Put(static_cast<uint32_t>(c < 0 ? ~v : v), s)) return e;
      r = 0;
    }
    return r > 0 && ++run == 32767 ? PutRun() : zmcStatusOk;
  }
  ZmcStatus Refine(const int16_t* block, const Band& b) {
    const std::vector<bool> at_entry = pending;
    const ZmcStatus status = RefineWalk(block, b);
    if (status != zmcStatusOk) pending = at_entry;
    return status;
  }
  ZmcStatus RefineWalk(const int16_t* block, const Band& b) {
    int last_new = 0, r = 0;
    for (int k = b.ss; k <= b.se; ++k) {
      if (std::abs(block[kZigzag[k]]) >> b.al == 1) last_new = k;
    }
    std::vector<bool> own;
    const auto put_pending = [&] {
      ZmcStatus s = PutRun();
      if (!s) s = PutAll(pending);
      if (!s) pending.clear();
      return s;
    };
    for (int k = b.ss; k <= b.se; ++k) {
      const int c = block[kZigzag[k]], v = std::abs(c) >> b.al;
      if (v == 0) {
        ++r;
        continue;
      }
      for (; r > 15 && k <= last_new; r -= 16) {
        if (ZmcStatus s = put_pending()) return s;
        if (ZmcStatus s = Code(0xF0)) return s;
        if (ZmcStatus s = PutAll(own)) return s;
        own.clear();
      }
      if (v > 1) {
        own.push_back(v & 1);
        continue;
      }
      if (ZmcStatus s = put_pending()) return s;
      if (ZmcStatus s = Code(r * 16 + 1)) return s;
      if (ZmcStatus s = Put(c >= 0, 1)) return s;
      if (ZmcStatus s = PutAll(own)) return s;
      own.clear();
      r = 0;
    }
    if (r == 0 && own.empty()) return zmcStatusOk;
    ++run;
    pending.insert(pending.end(), own.begin(), own.end());
    return run == 32767 || pending.size() >= 938 ? put_pending() : zmcStatusOk;
  }
  ZmcStatus Flush() {
    const ZmcStatus of_run = PutRun(), status = of_run ? of_run : PutAll(pending);
    pending.clear();
    run = 0;
    return status;
  }
};

::testing::AssertionResult SameState(const EncodeStateMemory& state, const ModelAcEncoder& model) {
  int32_t fields[5];
  std::memcpy(fields, state.data(), sizeof fields);
  const auto bits = model.writer.State();
  if ((static_cast<uint32_t>(fields[0]) & 0xFFFFFF) != bits[0] || fields[1] != 0 ||
      fields[2] != static_cast<int>(bits[2]) || fields[3] != model.run ||
      fields[4] != static_cast<int>(model.pending.size())) {
    return ::testing::AssertionFailure() << "state differs: count " << fields[2] << " run " << fields[3] << " pending "
                                         << fields[4] << ", expected " << bits[2] << " " << model.run << " "
                                         << model.pending.size();
  }
  return ::testing::AssertionSuccess();
}

// Scans of random blocks in random bands, to destinations of every kind of length, with tables that may lack a symbol.
TEST(Progressive, AcEncodersAndCountersLikeTheModel) {
  Random random;
  for (int round = 0; round < 600; ++round) {
    const Band band = RandomBand(random);
    const RawTable raw = round % 8 == 0 ? LuminanceAc() : RandomTable(random);
    const EncodeSpecMemory table(raw);
    const ModelCodes codes(raw);
    const bool refine = round % 2 != 0;
    // Long stretches without new coefficients fill the correction buffer.
    std::vector<std::array<int16_t, 64>> blocks(static_cast<size_t>(round % 5 == 0 ? 80 : 20));
    for (auto& block : blocks) {
      RandomBlock(random, block.data(), round % 7 ? 1023 : 32767);
      if (round % 5 != 0) continue;
      for (auto& v : block) v = static_cast<int16_t>(v == 0 ? random.In(0, 1) * (4 << band.al) : v | 2 << band.al);
    }
    if (round % 11 == 0) blocks[1][static_cast<size_t>(random.In(0, 63))] = -32768;
    const int length = round % 3 ? 40000 : random.In(1, 900);
    for (const Level level : Levels()) {
      const AtLevel at(level);
      const Guarded dst(static_cast<size_t>(length));
      std::memset(dst.data(), 0x5A, dst.size());
      std::vector<uint8_t> expected(dst.size(), 0x5A);
      ModelAcEncoder model{{expected.data(), length}, &codes}, counter{{nullptr, 0}, &codes};
      counter.writes = false;
      EncodeStateMemory state, counting_state;
      std::vector<uint32_t> counts(256);
      int position = 0;
      ZmcStatus status = zmcStatusOk;
      for (size_t i = 0; i < blocks.size() && status == zmcStatusOk; ++i) {
        const int16_t* const block = blocks[i].data();
        SCOPED_TRACE(::testing::Message() << LevelName(level) << " round " << round << " block " << i << " band "
                                          << band.ss << "-" << band.se << " al " << band.al << " seed " << Seed());
        ASSERT_EQ(
            (refine ? CountAcRefine : CountAcFirst)(block, counts.data(), band.ss, band.se, band.al, counting_state, 0),
            refine ? counter.Refine(block, band) : counter.First(block, band));
        ASSERT_TRUE(SameState(counting_state, counter));
        status = refine ? model.Refine(block, band) : model.First(block, band);
        ASSERT_EQ((refine ? EncodeAcRefine : EncodeAcFirst)(block, dst.data(), length, &position, band.ss, band.se,
                                                            band.al, table, state, 0),
                  status);
        ASSERT_EQ(position, model.writer.position);
        ASSERT_TRUE(SameState(state, model));
        for (size_t j = 0; status == zmcStatusOk && j < model.pending.size(); ++j)
          ASSERT_EQ(state.data()[20 + j], model.pending[j]);
        ASSERT_TRUE(SameArray(expected.data(), dst.data(), dst.size()));
      }
      if (status == zmcStatusOk) {
        const ZmcStatus run = model.Flush(), padding = model.writer.Put(0x7F, 7);
        ASSERT_EQ(
            (refine ? EncodeAcRefine : EncodeAcFirst)(nullptr, dst.data(), length, &position, 0, 0, 0, table, state, 1),
            refine ? (padding ? padding : run) : (run ? run : padding));
        ASSERT_EQ(position, model.writer.position);
        ASSERT_TRUE(SameArray(expected.data(), dst.data(), dst.size()));
        ASSERT_EQ((refine ? CountAcRefine : CountAcFirst)(nullptr, counts.data(), 0, 0, 0, counting_state, 1),
                  counter.Flush());
      }
      ASSERT_TRUE(SameArray(counter.counts.data(), counts.data(), 256)) << "round " << round;
    }
  }
}

// 32767 empty bands are coded at once, as EOB14 with fourteen 1-bits (here a byte 0xFF, so stuffed).
TEST(Progressive, LongestRun) {
  const EncodeSpecMemory table(RawTable{{0, 1, 1}, {0xE0, 0x00}});
  const int16_t block[64] = {100};
  for (const Level level : Levels()) {
    const AtLevel at(level);
    EncodeStateMemory state, counting;
    uint8_t dst[8] = {};
    uint32_t counts[256] = {};
    int position = 0;
    for (int i = 0; i < 32767; ++i) {
      ASSERT_EQ(position, 0);
      ASSERT_EQ(EncodeAcFirst(block, dst, 8, &position, 1, 63, 0, table, state, 0), zmcStatusOk);
      ASSERT_EQ(CountAcRefine(block, counts, 1, 63, 0, counting, 0), zmcStatusOk);
    }
    EXPECT_EQ(counts[0xE0], 1u);
    EXPECT_EQ(position, 3);
    EXPECT_EQ(dst[0], 0b00111111);
    EXPECT_EQ(dst[1], 0xFF);
    EXPECT_EQ(dst[2], 0x00);
  }
}

struct ModelAcDecoder {
  ModelReader reader;
  const RawTable* table;
  int run = 0;
  ZmcStatus status = zmcStatusOk;

  bool Bits(int n, int& v) {
    const bool fills = reader.count < n;
    const ZmcStatus s = reader.Bits(n, v);
    if (fills) status = s;
    return s >= 0;
  }
  bool Symbol(int& symbol) { return (status = reader.Decode(*table, symbol)) == zmcStatusOk; }
  bool Run(int r) {
    int more = 0;
    if (r > 0 && !Bits(r, more)) return false;
    run = (1 << r) + more;
    return true;
  }
  ZmcStatus First(int16_t* block, const Band& b) {
    status = zmcStatusOk;
    if (run >= 1) return --run, zmcStatusOk;
    for (int k = b.ss, symbol = 0, v = 0; k <= b.se; ++k) {
      if (!Symbol(symbol)) return status;
      const int s = symbol % 16, r = symbol / 16;
      if (s == 0 && r < 15) {
        if (Run(r)) --run;
        return status;
      }
      k += r;
      if (s == 0) continue;
      if (!Bits(s, v)) return status;
      if (v < 1 << (s - 1)) v -= (1 << s) - 1;
      if (k <= b.se) block[kZigzag[k]] = static_cast<int16_t>(v << b.al);
    }
    return status;
  }
  ZmcStatus Refine(int16_t* block, const Band& b) {
    status = zmcStatusOk;
    const int step = 1 << b.al;
    const auto correct = [&](int16_t& c) {
      int bit = 0;
      if (!Bits(1, bit)) return false;
      if (bit && !(c & step)) c = static_cast<int16_t>(c > 0 ? c + step : c - step);
      return true;
    };
    int k = b.ss;
    for (int symbol = 0, bit = 0; run == 0 && k <= b.se; ++k) {
      if (!Symbol(symbol)) return status;
      int value = 0, r = symbol / 16;
      if (symbol % 16 != 0) {
        if (!Bits(1, bit)) return status;
        value = bit ? step : -step;
      } else if (r < 15) {
        if (!Run(r)) return status;
        break;
      }
      for (; k <= b.se; ++k) {
        int16_t& c = block[kZigzag[k]];
        if (c != 0 && !correct(c)) return status;
        if (c == 0 && --r < 0) break;
      }
      if (value != 0 && k <= b.se) block[kZigzag[k]] = static_cast<int16_t>(value);
    }
    if (run == 0) return status;
    for (; k <= b.se; ++k) {
      if (block[kZigzag[k]] != 0 && !correct(block[kZigzag[k]])) return status;
    }
    --run;
    return status;
  }
};

void CompareAcScan(const std::vector<uint8_t>& bytes, const RawTable& table, const Band& band, bool refine,
                   Random& random) {
  const Guarded src(std::max<size_t>(bytes.size(), 1));
  std::copy(bytes.begin(), bytes.end(), src.data());
  const int length = static_cast<int>(src.size());
  const DecodeSpecMemory spec(table);
  std::array<std::array<int16_t, 64>, 12> blocks;
  for (auto& block : blocks) {
    RandomBlock(random, block.data(), random.In(0, 3) ? 200 : 32767);
  }
  for (const Level level : Levels()) {
    const AtLevel at(level);
    ModelAcDecoder model{{src.data(), length}, &table};
    DecodeStateMemory state;
    int position = 0, marker = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
      SCOPED_TRACE(::testing::Message() << LevelName(level) << " block " << i << " band " << band.ss << "-" << band.se
                                        << " al " << band.al << " refine " << refine << " seed " << Seed());
      std::array<int16_t, 64> expected = blocks[i];
      const Guarded block(128);
      std::memcpy(block.data(), expected.data(), 128);
      const ZmcStatus status = refine ? model.Refine(expected.data(), band) : model.First(expected.data(), band);
      const auto decode =
          refine ? zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1 : zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
      ASSERT_EQ(
          decode(src.data(), length, &position, block.as<int16_t>(), &marker, band.ss, band.se, band.al, spec, state),
          status);
      ASSERT_EQ(position, model.reader.position);
      ASSERT_EQ(marker, model.reader.marker);
      ASSERT_TRUE(SameArray(expected.data(), block.as<int16_t>(), 64));
      const uint32_t fields[4] = {model.reader.accumulator, 0, static_cast<uint32_t>(model.reader.count),
                                  static_cast<uint32_t>(model.run)};
      if (status < 0) break;
      ASSERT_TRUE(SameArray(reinterpret_cast<const uint8_t*>(fields), state.data(), 16));
    }
  }
}

// Random streams, cut and marked anywhere, with tables that may be overfull, on blocks with anything in them.
TEST(Progressive, AcDecodersLikeTheModel) {
  Random random;
  for (int round = 0; round < 1500; ++round) {
    const Band band = RandomBand(random);
    RawTable table = RandomTable(random);
    if (round % 5 == 0) table.bits[random.In(0, 15)] = static_cast<uint8_t>(random.In(0, 255));
    if (table.size() > 256) continue;
    std::vector<uint8_t> bytes(static_cast<size_t>(random.In(1, 150)));
    const int full = random.In(1, 40);
    for (size_t i = 0; i < bytes.size(); ++i) {
      bytes[i] = static_cast<uint8_t>(random.In(0, full) == 0 ? 0xFF : random.In(0, 255));
      if (i > 0 && bytes[i - 1] == 0xFF && random.In(0, 20) != 0) bytes[i] = 0;
    }
    CompareAcScan(bytes, table, band, round % 2 != 0, random);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(Progressive, EncodedAcScansCutAndMarkedAnywhere) {
  Random random;
  const EncodeSpecMemory table(LuminanceAc());
  for (const bool refine : {false, true}) {
    std::vector<uint8_t> scan(8000);
    EncodeStateMemory state;
    int position = 0;
    for (int i = 0; i < 12; ++i) {
      int16_t block[64];
      RandomBlock(random, block, 3);
      (refine ? EncodeAcRefine : EncodeAcFirst)(block, scan.data(), 8000, &position, 1, 63, 0, table, state, 0);
    }
    (refine ? EncodeAcRefine : EncodeAcFirst)(nullptr, scan.data(), 8000, &position, 1, 63, 0, table, state, 1);
    for (int n = 0; n < position; ++n) {
      std::vector<uint8_t> cut(scan.begin(), scan.begin() + n);
      if (n > 0) CompareAcScan(cut, LuminanceAc(), {1, 63, 0}, refine, random);
      cut.insert(cut.end(), {0xFF, 0xD9, 0x12, 0x34});
      CompareAcScan(cut, LuminanceAc(), {1, 63, 0}, refine, random);
    }
  }
}

TEST(Progressive, Dc) {
  const EncodeSpecMemory table(LuminanceDc());
  const DecodeSpecMemory decoder(LuminanceDc());
  Random random;
  for (int al = 0; al <= 13; ++al) {
    EncodeStateMemory state, refine_state;
    DecodeStateMemory from, refine_from;
    uint8_t first[256], refine[16];
    int position = 0, refine_position = 0, counts[256] = {}, read = 0, refine_read = 0, marker = 0;
    int16_t last = 0, counted = 0, decoded = 0, values[20];
    for (int16_t& value : values) {
      value = static_cast<int16_t>(random.In(-1024, 1023));
      ASSERT_EQ(EncodeDcFirst(&value, first, 256, &position, &last, al, table, state, 0), zmcStatusOk);
      ASSERT_EQ(last, value >> al);
      ASSERT_EQ(zmciGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(&value, counts, &counted, al), zmcStatusOk);
      ASSERT_EQ(EncodeDcRefine(&value, refine, 16, &refine_position, al, refine_state, 0), zmcStatusOk);
    }
    ASSERT_EQ(EncodeDcFirst(nullptr, first, 256, &position, nullptr, -1, nullptr, state, 1), zmcStatusOk);
    ASSERT_EQ(EncodeDcRefine(nullptr, refine, 16, &refine_position, -1, refine_state, 1), zmcStatusOk);
    ASSERT_EQ(std::accumulate(counts, counts + 12, 0), 20);
    for (const int16_t value : values) {
      int16_t block[64] = {77, 1234};
      ASSERT_GE(DecodeDcFirst(first, position, &read, block, &decoded, &marker, al, decoder, from), zmcStatusOk);
      ASSERT_EQ(block[0], value >> al << al);
      ASSERT_EQ(block[1], 1234);
      block[0] = 0;
      ASSERT_GE(DecodeDcRefine(refine, refine_position, &refine_read, block, &marker, al, refine_from), zmcStatusOk);
      ASSERT_EQ(block[0], (value >> al & 1) << al);
    }
  }
}

TEST(Progressive, DifferencesOfMoreThanElevenBits) {
  const EncodeSpecMemory table(LuminanceDc());
  EncodeStateMemory state;
  const int16_t block[64] = {2048};
  uint8_t dst[8];
  int position = 0, counts[256] = {};
  int16_t last = 0;
  EXPECT_EQ(EncodeDcFirst(block, dst, 8, &position, &last, 0, table, state, 0), zmcStatusBadHuffmanData);
  EXPECT_EQ(last, 2048);
  EXPECT_EQ(position, 0);
  last = 0;
  EXPECT_EQ(zmciGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, counts, &last, 0), zmcStatusBadHuffmanData);
}

TEST(Progressive, ChecksInOrder) {
  const EncodeSpecMemory table(LuminanceDc());
  const DecodeSpecMemory decoder(LuminanceDc());
  EncodeStateMemory state;
  DecodeStateMemory from;
  int16_t block[64] = {}, last = 0;
  uint8_t bytes[4] = {};
  uint32_t counts[256] = {};
  int at = 0, marker = 0;
  constexpr ZmcStatus kNull = zmcStatusNullPointer, kSize = zmcStatusBadSize, kArgument = zmcStatusBadArgument;
  EXPECT_EQ(EncodeDcFirst(block, nullptr, 0, &at, &last, 0, table, state, 0), kNull);
  EXPECT_EQ(EncodeDcFirst(block, bytes, 0, nullptr, &last, 0, table, state, 0), kSize);
  EXPECT_EQ(EncodeDcFirst(nullptr, bytes, 4, &at, &last, 14, nullptr, state, 0), kNull);
  EXPECT_EQ(EncodeDcFirst(block, bytes, 4, &at, &last, 14, nullptr, state, 0), kArgument);
  EXPECT_EQ(EncodeDcFirst(block, bytes, 4, &at, &last, 13, nullptr, state, 0), kNull);
  EXPECT_EQ(EncodeDcRefine(block, bytes, 4, &at, -1, state, 0), kArgument);
  EXPECT_EQ(EncodeDcRefine(nullptr, bytes, 4, &at, -1, state, 0), kNull);
  EXPECT_EQ(zmciGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, nullptr, &last, 14), kNull);
  EXPECT_EQ(DecodeDcFirst(nullptr, 0, &at, block, &last, &marker, 0, decoder, from), kNull);
  EXPECT_EQ(DecodeDcFirst(bytes, 0, nullptr, block, &last, &marker, 0, decoder, from), kSize);
  EXPECT_EQ(DecodeDcFirst(bytes, 4, &at, block, &last, nullptr, 14, decoder, from), kNull);
  EXPECT_EQ(DecodeDcFirst(bytes, 4, &at, block, &last, &marker, 14, nullptr, from), kArgument);
  EXPECT_EQ(DecodeDcFirst(bytes, 4, &at, block, &last, &marker, 13, nullptr, from), kNull);
  EXPECT_EQ(DecodeDcRefine(bytes, 4, &at, block, &marker, 14, nullptr), kArgument);
  for (const auto encode : {EncodeAcFirst, EncodeAcRefine}) {
    EXPECT_EQ(encode(block, nullptr, 0, &at, 1, 63, 0, table, state, 0), kNull);
    EXPECT_EQ(encode(block, bytes, 0, &at, 1, 63, 0, nullptr, state, 0), kSize);
    EXPECT_EQ(encode(block, bytes, 4, &at, 1, 63, 0, nullptr, state, 1), kNull);
    EXPECT_EQ(encode(nullptr, bytes, 4, &at, 0, 63, 0, table, state, 0), kNull);
    for (const Band& b :
         {Band{0, 63, 0}, Band{64, 64, 0}, Band{5, 4, 0}, Band{1, 64, 0}, Band{1, 63, 14}, Band{1, 1, -1}}) {
      EXPECT_EQ(encode(block, bytes, 4, &at, b.ss, b.se, b.al, table, state, 0), kArgument);
    }
  }
  for (const auto count : {CountAcFirst, CountAcRefine}) {
    EXPECT_EQ(count(nullptr, counts, 0, 0, 0, nullptr, 1), kNull);
    EXPECT_EQ(count(nullptr, counts, 0, 0, 0, state, 0), kNull);
    EXPECT_EQ(count(block, counts, 0, 0, 0, state, 0), kArgument);
  }
  for (const auto decode : {zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1, zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1}) {
    EXPECT_EQ(decode(nullptr, 0, &at, block, &marker, 1, 63, 0, decoder, from), kNull);
    EXPECT_EQ(decode(bytes, 0, nullptr, block, &marker, 1, 63, 0, decoder, from), kSize);
    EXPECT_EQ(decode(bytes, 4, nullptr, block, &marker, 0, 63, 0, decoder, from), kNull);
    EXPECT_EQ(decode(bytes, 4, &at, block, &marker, 0, 63, 0, nullptr, from), kArgument);
    EXPECT_EQ(decode(bytes, 4, &at, block, &marker, 1, 63, 0, nullptr, from), kNull);
  }
}

}  // namespace
}  // namespace zmcj::testing
