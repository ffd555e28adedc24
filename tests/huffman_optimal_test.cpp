#include "support/huffman.h"

namespace zmcj::testing {
namespace {

// The procedure of ISO/IEC 10918-1, K.2, as it is written there, searching for the two smallest counts each time.
bool ModelOptimal(const int* counts, RawTable& table) {
  int freq[257], codesize[257] = {}, others[257];
  std::copy(counts, counts + 256, freq);
  freq[256] = 1;
  std::fill(others, others + 257, -1);
  const auto smallest = [&](int except) {
    int found = -1, least = 1000000000;
    for (int i = 0; i <= 256; ++i) {
      if (freq[i] != 0 && freq[i] <= least && i != except) found = i, least = freq[i];
    }
    return found;
  };
  for (;;) {
    int c1 = smallest(-1), c2 = c1 < 0 ? -1 : smallest(c1);
    if (c2 < 0) break;
    freq[c1] += freq[c2];
    freq[c2] = 0;
    for (++codesize[c1]; others[c1] >= 0; ++codesize[c1]) c1 = others[c1];
    others[c1] = c2;
    for (++codesize[c2]; others[c2] >= 0; ++codesize[c2]) c2 = others[c2];
  }
  int bits[33] = {};
  for (int size : codesize) {
    if (size > 32) return false;
    if (size > 0) ++bits[size];
  }
  for (int i = 32; i > 16; --i) {
    while (bits[i] > 0) {
      int j = i - 2;
      while (bits[j] == 0) --j;
      bits[i] -= 2, bits[i - 1] += 1, bits[j + 1] += 2, bits[j] -= 1;
    }
  }
  int longest = 16;
  while (longest > 0 && bits[longest] == 0) --longest;
  if (longest == 0) return false;
  --bits[longest];
  for (int i = 1; i <= 16; ++i) table.bits[i - 1] = static_cast<uint8_t>(bits[i]);
  uint8_t* value = table.values;
  for (int size = 1; size <= 32; ++size) {
    for (int i = 0; i < 256; ++i) {
      if (codesize[i] == size) *value++ = static_cast<uint8_t>(i);
    }
  }
  return true;
}

ZmcStatus Optimal(const int* counts, RawTable& table) {
  return zmciEncodeHuffmanRawTableInit_JPEG_8u(counts, table.bits, table.values);
}

TEST(HuffmanOptimal, AsTheAnnexBuildsIt) {
  Random random;
  for (int round = 0; round < 3000; ++round) {
    int counts[256] = {};
    const int kind = round % 6, symbols = random.In(1, 256);
    for (int i = 0; i < symbols; ++i) {
      int& count = counts[random.In(0, 255)];
      if (kind == 0) count = random.In(0, 3);                             // many equal counts
      if (kind == 1) count = 1 << random.In(0, 20);                       // equal sums
      if (kind == 2) count = random.In(0, 1 << random.In(0, 22));         // skewed
      if (kind == 3) count = random.In(0, 900000000) * (i % 5 == 0) + 2;  // sums too large to be merged
      if (kind == 4) count = random.In(999999990, 1000000010);            // about the largest count
      if (kind == 5) count = i < 2 ? 1 : i < 33 ? counts[i] : 0;
    }
    if (kind == 5) {  // Fibonacci: the longest codes
      for (int i = 0, a = 1, b = 1; i < symbols % 44; ++i, std::swap(a, b), b += a) counts[i * 5] = a;
    }
    RawTable expected, table;
    std::memset(table.values, 0xEE, 256), std::memset(expected.values, 0xEE, 256);
    const bool built = ModelOptimal(counts, expected);
    ASSERT_EQ(Optimal(counts, table), built ? zmcStatusOk : zmcStatusBadHuffmanTable) << round;
    ASSERT_TRUE(SameArray(expected.bits, table.bits, 16)) << round;
    ASSERT_TRUE(SameArray(expected.values, table.values, 256)) << round;
    if (!built || kind == 3 || kind == 4) continue;
    ASSERT_EQ(EncodeSpecMemory(table).status, zmcStatusOk) << round;
  }
}

TEST(HuffmanOptimal, EdgeCases) {
  int counts[256] = {};
  RawTable table;
  EXPECT_EQ(Optimal(counts, table), zmcStatusBadHuffmanTable);  // nothing counted
  counts[7] = 5;
  EXPECT_EQ(Optimal(counts, table), zmcStatusOk);
  EXPECT_EQ(table.size(), 1);
  EXPECT_EQ(table.bits[0], 1);
  EXPECT_EQ(table.values[0], 7);
  // 255 symbols and the reserved one at nine bits, which no byte could count.
  std::fill(counts, counts + 256, 1);
  counts[3] = 1000;
  EXPECT_EQ(Optimal(counts, table), zmcStatusOk);
  EXPECT_EQ(table.bits[0], 1);
  EXPECT_EQ(table.bits[8], 255);
  EXPECT_EQ(EncodeSpecMemory(table).status, zmcStatusOk);
  counts[9] = -1;
  EXPECT_EQ(Optimal(counts, table), zmcStatusBadArgument);
  EXPECT_EQ(zmciEncodeHuffmanRawTableInit_JPEG_8u(nullptr, table.bits, table.values), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeHuffmanRawTableInit_JPEG_8u(counts, nullptr, table.values), zmcStatusNullPointer);
  EXPECT_EQ(zmciEncodeHuffmanRawTableInit_JPEG_8u(counts, table.bits, nullptr), zmcStatusNullPointer);
}

}  // namespace
}  // namespace zmcj::testing
