// Huffman coding of single blocks against the peer's SIMD encoder and its coefficient reader.
#include <memory>

#include "../tests/support/jpeg_scan.h"
#include "jpeg_peer.h"
#include "ratio.h"
#include "zmcj.h"

// The peer's routine for one block, as its code uses its arguments: the bit buffer and its free bits in a record,
// tables of 256 codes and 256 lengths.
extern "C" {
struct PeerTable {
  unsigned code[256];
  char length[256];
};
struct PeerState {
  void* unused[2];
  uint64_t bits;
  int free_bits;
  int unused2[64];
};
unsigned char* jsimd_huff_encode_one_block_sse2(void* state, unsigned char* buffer, const short* block, int last_dc,
                                                const PeerTable* dc, const PeerTable* ac);
}

namespace zmcj::bench {
namespace {

using zmcj::testing::CodecRecords;
using zmcj::testing::JpegFile;
using zmcj::testing::JpegScan;
using zmcj::testing::RawTable;

constexpr int kSide = 512;
constexpr double kBlocks = kSide * kSide / 64;

PeerTable MakePeerTable(const RawTable& raw) {
  PeerTable table = {};
  unsigned code = 0;
  for (int length = 1, i = 0; length <= 16; ++length, code *= 2) {
    for (int n = 0; n < raw.bits[length - 1]; ++n, ++i, ++code) {
      table.code[raw.values[i]] = code;
      table.length[raw.values[i]] = static_cast<char>(length);
    }
  }
  return table;
}

// A grey baseline file with everything that the rows need of it.
struct Fixture {
  explicit Fixture(int quality)
      : bytes(PeerCompress(PhotographLike(kSide, kSide), kSide, kSide, {quality, true})),
        file(bytes),
        dc(MakePeerTable(file.scans[0].dc[0])),
        ac(MakePeerTable(file.scans[0].ac[0])),
        out(4 << 20) {
    Decode();
    records.SetEncodeTables(file.scans[0]);
  }
  void Decode() { DecodeScan(file, file.scans[0], records, file.scans[0].data, file.scans[0].length + 2); }
  void Encode() {
    int position = 0;
    int16_t last_dc = 0;
    zmciEncodeHuffmanStateInit_JPEG_8u(records.encode_state);
    const int16_t* block = file.components[0].coefficients.data();
    for (int i = 0; i < static_cast<int>(kBlocks); ++i, block += 64) {
      zmciEncodeHuffman8x8_JPEG_16s1u_C1(block, out.data(), static_cast<int>(out.size()), &position, &last_dc,
                                         records.encode_dc[0], records.encode_ac[0], records.encode_state, 0);
    }
    Keep(out.data());
  }
  void PeerEncode() {
    PeerState state = {};
    state.free_bits = 64;
    unsigned char* to = out.data();
    int last_dc = 0;
    const int16_t* block = file.components[0].coefficients.data();
    for (int i = 0; i < static_cast<int>(kBlocks); ++i, block += 64) {
      to = jsimd_huff_encode_one_block_sse2(&state, to, block, last_dc, &dc, &ac);
      last_dc = block[0];
    }
    Keep(to);
  }
  void Count() {
    static int dc_counts[256], ac_counts[256];
    int16_t last_dc = 0;
    const int16_t* block = file.components[0].coefficients.data();
    for (int i = 0; i < static_cast<int>(kBlocks); ++i, block += 64) {
      zmciGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc_counts, ac_counts, &last_dc);
    }
  }
  std::vector<uint8_t> bytes;
  JpegFile file;
  PeerTable dc, ac;
  CodecRecords records;
  std::vector<uint8_t> out;
};

// Counts as a picture has them: of the 162 AC symbols, few are frequent.
std::vector<int> TypicalCounts() {
  std::vector<int> counts(256);
  unsigned state = 7;
  for (int run = 0; run < 16; ++run) {
    for (int size = 1; size <= 10; ++size) {
      state = state * 1664525u + 1013904223u;
      counts[static_cast<size_t>(run * 16 + size)] =
          1 + static_cast<int>(60000.0 / ((run + 1) * (run + 1) * (1 << size)) * (1 + (state >> 24) / 256.0));
    }
  }
  counts[0] = 9000;
  counts[0xF0] = 40;
  return counts;
}

extern "C" void jpeg_gen_optimal_table(j_compress_ptr, JHUFF_TBL*, long freq[]);

const Suite suite("huffman", [](std::vector<Row>& rows) {
  for (const int quality : {75, 95}) {
    const auto f = std::make_shared<Fixture>(quality);
    const std::string q = "q" + std::to_string(quality);
    rows.push_back({"huffman encode a block, " + q, "block", kBlocks, 1.4, [f] { f->Encode(); },
                    "turbo one block, SSE2", [f] { f->PeerEncode(); }});
    rows.push_back({"huffman decode a block, " + q, "block", kBlocks, 1.4, [f] { f->Decode(); },
                    "jpeg_read_coefficients", [f] { PeerCoefficients read(f->bytes); }});
    rows.push_back({"huffman statistics of a block, " + q, "block", kBlocks, 0, [f] { f->Count(); }, "", {}});
  }
  static const std::vector<int> counts = TypicalCounts();
  rows.push_back({"optimal table from 256 counts", "table", 1, 8,
                  [] {
                    RawTable table;
                    zmciEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), table.bits, table.values);
                    Keep(&table);
                  },
                  "jpeg_gen_optimal_table",
                  [] {
                    static JHUFF_TBL table;
                    long freq[257];
                    for (int i = 0; i < 256; ++i) freq[i] = counts[static_cast<size_t>(i)];
                    jpeg_gen_optimal_table(nullptr, &table, freq);
                    Keep(&table);
                  }});
});

}  // namespace
}  // namespace zmcj::bench
