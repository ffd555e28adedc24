// What is encoded decodes to itself: blocks of any content, in baseline form and through an AC scan with its
// refinement, each with the tables made from their own statistics.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/level.h"
#include "fuzz_input.h"

namespace {

constexpr int kBlocks = 8;
constexpr int kLength = 1 << 14;
using Block = std::vector<int16_t>;

void Check(bool holds) {
  if (!holds) std::abort();
}

// Tables from counts, for both directions. Nothing counted: any table will do.
struct Tables {
  explicit Tables(const int* counts) : encode(1024), decode(1644) {
    uint8_t bits[16] = {1}, values[256] = {};
    zmciEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values);
    Check(zmciEncodeHuffmanSpecInit_JPEG_8u(bits, values, encode.get()) == zmcStatusOk);
    Check(zmciDecodeHuffmanSpecInit_JPEG_8u(bits, values, decode.get()) == zmcStatusOk);
  }
  fuzz::State<ZmciEncodeHuffmanSpec_JPEG_8u> encode;
  fuzz::State<ZmciDecodeHuffmanSpec_JPEG_8u> decode;
};

struct Coder {
  Coder() : dst(kLength), encoder(1048), decoder(16) {
    zmciEncodeHuffmanStateInit_JPEG_8u(encoder.get());
    zmciDecodeHuffmanStateInit_JPEG_8u(decoder.get());
  }
  fuzz::Exact<uint8_t> dst;
  fuzz::State<ZmciEncodeHuffmanState_JPEG_8u> encoder;
  fuzz::State<ZmciDecodeHuffmanState_JPEG_8u> decoder;
  int written = 0, read = 0, marker = 0;
};

void Baseline(const std::vector<Block>& blocks) {
  int dc[256] = {}, ac[256] = {};
  int16_t last = 0;
  for (const Block& b : blocks) zmciGetHuffmanStatistics8x8_JPEG_16s_C1(b.data(), dc, ac, &last);
  const Tables dc_tables(dc), ac_tables(ac);
  Coder c;
  last = 0;
  for (const Block& b : blocks) {
    Check(zmciEncodeHuffman8x8_JPEG_16s1u_C1(b.data(), c.dst.data(), kLength, &c.written, &last, dc_tables.encode.get(),
                                             ac_tables.encode.get(), c.encoder.get(), 0) == zmcStatusOk);
  }
  Check(zmciEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, c.dst.data(), kLength, &c.written, nullptr, nullptr, nullptr,
                                           c.encoder.get(), 1) == zmcStatusOk);
  last = 0;
  for (const Block& b : blocks) {
    Block decoded(64);
    Check(zmciDecodeHuffman8x8_JPEG_1u16s_C1(c.dst.data(), c.written, &c.read, decoded.data(), &last, &c.marker,
                                             dc_tables.decode.get(), ac_tables.decode.get(),
                                             c.decoder.get()) == zmcStatusOk);
    Check(decoded == b);
  }
}

// One scan of the band from `decoded` on: first, or refining what is there.
void AcScan(const std::vector<Block>& blocks, std::vector<Block>& decoded, int ss, int se, int al, bool refine) {
  const auto count =
      refine ? zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1 : zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
  const auto encode = refine ? zmciEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1 : zmciEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
  const auto decode = refine ? zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1 : zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
  uint32_t counts[256] = {};
  int signed_counts[256];
  Coder counter, c;
  for (const Block& b : blocks) Check(count(b.data(), counts, ss, se, al, counter.encoder.get(), 0) == zmcStatusOk);
  Check(count(nullptr, counts, 0, 0, 0, counter.encoder.get(), 1) == zmcStatusOk);
  std::memcpy(signed_counts, counts, sizeof counts);
  const Tables tables(signed_counts);
  const auto put = [&](const int16_t* block, int flush) {
    return encode(block, c.dst.data(), kLength, &c.written, ss, se, al, tables.encode.get(), c.encoder.get(), flush);
  };
  for (const Block& b : blocks) Check(put(b.data(), 0) == zmcStatusOk);
  Check(put(nullptr, 1) == zmcStatusOk);
  for (Block& b : decoded) {
    // A scan of nothing has no bytes.
    if (c.written == 0) break;
    Check(decode(c.dst.data(), c.written, &c.read, b.data(), &c.marker, ss, se, al, tables.decode.get(),
                 c.decoder.get()) == zmcStatusOk);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zmcj;
  fuzz::Input input(data, size);
  const Level levels[] = {Level::kScalar, Level::kSse4, BestLevel()};
  UseLevel(levels[input.Byte() % 3]);
  const int ss = 1 + input.Byte() % 63, se = ss + input.Byte() % (64 - ss), al = 1 + input.Byte() % 3;
  std::vector<Block> blocks(kBlocks, Block(64));
  for (Block& block : blocks) {
    const int shift = input.Byte() % 10;
    for (int16_t& value : block) value = static_cast<int16_t>(static_cast<int8_t>(input.Byte()) * 8 >> shift);
  }
  Baseline(blocks);
  std::vector<Block> decoded(kBlocks, Block(64));
  AcScan(blocks, decoded, ss, se, al, false);
  for (int bit = al - 1; bit >= 0; --bit) AcScan(blocks, decoded, ss, se, bit, true);
  static const int kNatural[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                   12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                   35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                   58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
  for (int i = 0; i < kBlocks; ++i) {
    for (int k = 0; k < 64; ++k) {
      const size_t n = static_cast<size_t>(kNatural[k]), at = static_cast<size_t>(i);
      Check(decoded[at][n] == (k >= ss && k <= se ? blocks[at][n] : 0));
    }
  }
  return 0;
}
