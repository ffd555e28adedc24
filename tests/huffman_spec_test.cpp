#include "support/huffman.h"

namespace zmcj::testing {
namespace {

uint32_t EntryOf(const EncodeSpecMemory& spec, int symbol) {
  uint32_t entry;
  std::memcpy(&entry, spec.data() + 4 * symbol, 4);
  return entry;
}

RawTable Counts(std::initializer_list<int> counts) {
  RawTable table;
  int i = 0;
  for (int n : counts) table.bits[i++] = static_cast<uint8_t>(n);
  for (int v = 0; v < 256; ++v) table.values[v] = static_cast<uint8_t>(v);
  return table;
}

TEST(HuffmanSpec, CanonicalCodes) {
  const EncodeSpecMemory dc(LuminanceDc());
  ASSERT_EQ(dc.status, zmcStatusOk);
  const uint32_t codes[12][2] = {{2, 0b00},     {3, 0b010},     {3, 0b011},      {3, 0b100},
                                 {3, 0b101},    {3, 0b110},     {4, 0b1110},     {5, 0b11110},
                                 {6, 0b111110}, {7, 0b1111110}, {8, 0b11111110}, {9, 0b111111110}};
  for (int v = 0; v < 256; ++v) EXPECT_EQ(EntryOf(dc, v), v < 12 ? codes[v][0] << 16 | codes[v][1] : 0) << v;
}

TEST(HuffmanSpec, AcceptsAndRefuses) {
  struct {
    RawTable table;
    ZmcStatus encoder, decoder;
  } const cases[] = {
      {Counts({}), zmcStatusOk, zmcStatusOk},
      {Counts({1, 1}), zmcStatusOk, zmcStatusOk},
      {Counts({2}), zmcStatusBadHuffmanTable, zmcStatusOk},       // code 1 is all ones
      {Counts({3}), zmcStatusBadHuffmanTable, zmcStatusOk},       // there are only two
      {Counts({255, 1}), zmcStatusBadHuffmanTable, zmcStatusOk},  // far too many
      {Counts({0, 3, 0, 4}), zmcStatusBadHuffmanTable, zmcStatusOk},
      {Counts({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255}), zmcStatusOk, zmcStatusOk},
      {Counts({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 255}), zmcStatusOk, zmcStatusOk},
      {Counts({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 255}), zmcStatusBadHuffmanTable, zmcStatusBadHuffmanTable},
      {Counts({255, 255, 255, 255, 255, 255, 255, 255}), zmcStatusBadHuffmanTable, zmcStatusBadHuffmanTable},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    EXPECT_EQ(EncodeSpecMemory(c.table).status, c.encoder);
    EXPECT_EQ(DecodeSpecMemory(c.table).status, c.decoder);
    // The allocated forms: the same, and the record is stored in any case.
    ZmciEncodeHuffmanSpec_JPEG_8u* encoder = nullptr;
    ZmciDecodeHuffmanSpec_JPEG_8u* decoder = nullptr;
    EXPECT_EQ(zmciEncodeHuffmanSpecInitAlloc_JPEG_8u(c.table.bits, c.table.values, &encoder), c.encoder);
    EXPECT_EQ(zmciDecodeHuffmanSpecInitAlloc_JPEG_8u(c.table.bits, c.table.values, &decoder), c.decoder);
    EXPECT_EQ(zmciEncodeHuffmanSpecFree_JPEG_8u(encoder), zmcStatusOk);
    EXPECT_EQ(zmciDecodeHuffmanSpecFree_JPEG_8u(decoder), zmcStatusOk);
  }
  RawTable twice = Counts({0, 3});
  twice.values[2] = 0;
  const EncodeSpecMemory last(twice);
  EXPECT_EQ(EntryOf(last, 0), 2u << 16 | 2);
}

// The decoder's record, field by field, for tables of every shape; the memory ends at a guard page and stands odd.
TEST(HuffmanSpec, DecoderRecord) {
  Random random;
  for (int round = 0; round < 300; ++round) {
    RawTable table = RandomTable(random);
    if (round % 3 == 0) table.bits[random.In(0, 9)] = static_cast<uint8_t>(random.In(0, 40));  // perhaps overfull
    while (table.size() > 256) table = RandomTable(random);
    const Guarded memory(1645);
    uint8_t* const at = memory.data() + round % 2;
    ASSERT_EQ(zmciDecodeHuffmanSpecInit_JPEG_8u(table.bits, table.values,
                                                reinterpret_cast<ZmciDecodeHuffmanSpec_JPEG_8u*>(at)),
              zmcStatusOk);
    std::array<uint16_t, 256> values{};
    std::array<uint8_t, 512> total{}, symbol{};
    std::array<uint16_t, 52> limits{};  // mincode 17, maxcode 18, valptr 17
    uint32_t code = 0;
    for (int l = 1, i = 0; l <= 16; ++l, code *= 2) {
      const int n = table.bits[l - 1];
      const auto L = static_cast<size_t>(l);
      if (n != 0) {
        limits[L] = static_cast<uint16_t>(code);
        limits[35 + L] = static_cast<uint16_t>(i);
      }
      limits[17 + L] = n == 0 ? uint16_t{65535} : static_cast<uint16_t>(code + static_cast<uint32_t>(n) - 1);
      for (int j = 0; j < n; ++j, ++i, ++code) {
        values[static_cast<size_t>(i)] = table.values[i];
        for (uint32_t k = 0; k < 512 && l <= 9; ++k) {
          const int bits = l + table.values[i] % 16;
          const bool shorter = l == 9 && total[k] != 0;  // in an overfull table
          if (k >> (9 - l) == code && !shorter && bits <= 23) {
            total[k] = static_cast<uint8_t>(bits);
            symbol[k] = table.values[i];
          }
        }
      }
    }
    limits[17 + 17] = 65535;
    ASSERT_TRUE(SameArray(reinterpret_cast<uint8_t*>(values.data()), at, 512));
    ASSERT_TRUE(SameArray(total.data(), at + 512, 512));
    ASSERT_TRUE(SameArray(symbol.data(), at + 1024, 512));
    ASSERT_TRUE(SameArray(reinterpret_cast<uint8_t*>(limits.data()), at + 1536, 104));
  }
}

TEST(HuffmanSpec, SizesAndNullPointers) {
  int size = 0;
  const std::pair<ZmcStatus (*)(int*), int> sizes[] = {{zmciEncodeHuffmanSpecGetBufSize_JPEG_8u, 1024},
                                                       {zmciEncodeHuffmanStateGetBufSize_JPEG_8u, 1048},
                                                       {zmciDecodeHuffmanSpecGetBufSize_JPEG_8u, 1644},
                                                       {zmciDecodeHuffmanStateGetBufSize_JPEG_8u, 16}};
  for (const auto& [get, expected] : sizes) {
    EXPECT_EQ(get(&size), zmcStatusOk);
    EXPECT_EQ(size, expected);
    EXPECT_EQ(get(nullptr), zmcStatusNullPointer);
  }
  const RawTable t = LuminanceDc();
  EXPECT_EQ(zmciEncodeHuffmanSpecInit_JPEG_8u(nullptr, t.values, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDecodeHuffmanSpecInit_JPEG_8u(t.bits, nullptr, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeHuffmanSpecInitAlloc_JPEG_8u(t.bits, t.values, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDecodeHuffmanSpecInitAlloc_JPEG_8u(t.bits, t.values, nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeHuffmanStateInit_JPEG_8u(nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDecodeHuffmanStateInitAlloc_JPEG_8u(nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeHuffmanStateFree_JPEG_8u(nullptr), zmcStatusNullPointer);
  EXPECT_EQ(zmciDecodeHuffmanSpecFree_JPEG_8u(nullptr), zmcStatusNullPointer);
  ZmciEncodeHuffmanState_JPEG_8u* state = nullptr;
  ASSERT_EQ(zmciEncodeHuffmanStateInitAlloc_JPEG_8u(&state), zmcStatusOk);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(state) % 32, 0u);
  const std::vector<uint8_t> zeros(1048);
  EXPECT_TRUE(SameArray(zeros.data(), reinterpret_cast<uint8_t*>(state), zeros.size()));
  EXPECT_EQ(zmciEncodeHuffmanStateFree_JPEG_8u(state), zmcStatusOk);
}

}  // namespace
}  // namespace zmcj::testing
