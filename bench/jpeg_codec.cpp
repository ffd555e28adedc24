// Whole pictures, memory to memory: a baseline codec made of nothing but exported functions, against the peer's API.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include <jpeglib.h>

#include "photo.h"
#include "ratio.h"
#include "zmcj.h"

namespace zmcj::bench {
namespace {

constexpr int kWidth = 2048, kHeight = 1536, kQuality = 75;
constexpr size_t kPictureBytes = size_t{3} * kWidth * kHeight;

struct Sampling {
  const char* name;
  int horizontal, vertical;  // luminance blocks of an MCU
  decltype(&zmciRGBToYCbCr444LS_MCU_8u16s_C3P3R) forward;
  decltype(&zmciYCbCr444ToRGBLS_MCU_16s8u_P3C3R) inverse;
  int luminance_blocks() const { return horizontal * vertical; }
};
constexpr Sampling kSamplings[] = {
    {"444", 1, 1, zmciRGBToYCbCr444LS_MCU_8u16s_C3P3R, zmciYCbCr444ToRGBLS_MCU_16s8u_P3C3R},
    {"422", 2, 1, zmciRGBToYCbCr422LS_MCU_8u16s_C3P3R, zmciYCbCr422ToRGBLS_MCU_16s8u_P3C3R},
    {"420", 2, 2, zmciRGBToYCbCr411LS_MCU_8u16s_C3P3R, zmciYCbCr411ToRGBLS_MCU_16s8u_P3C3R}};

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "jpeg codec: %s\n", what);
  std::exit(1);
}

// A record of the library's, released with its own function.
template <class Record>
using Owned = std::unique_ptr<Record, ZmcStatus (*)(Record*)>;
using EncodeSpec = Owned<ZmciEncodeHuffmanSpec_JPEG_8u>;
using DecodeSpec = Owned<ZmciDecodeHuffmanSpec_JPEG_8u>;

EncodeSpec MakeEncodeSpec(const uint8_t* bits, const uint8_t* values) {
  ZmciEncodeHuffmanSpec_JPEG_8u* spec = nullptr;
  Require(zmciEncodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, &spec) == zmcStatusOk, "encoder table");
  return {spec, zmciEncodeHuffmanSpecFree_JPEG_8u};
}
DecodeSpec MakeDecodeSpec(const uint8_t* bits, const uint8_t* values) {
  ZmciDecodeHuffmanSpec_JPEG_8u* spec = nullptr;
  Require(zmciDecodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, &spec) == zmcStatusOk, "decoder table");
  return {spec, zmciDecodeHuffmanSpecFree_JPEG_8u};
}

// The tables of ISO/IEC 10918-1, annex K, luminance first; the quantisers in zigzag order.
struct StandardTables {
  uint8_t quantisers[2][64];
  uint8_t bits[2][2][16], values[2][2][256];  // [DC, AC][luminance, chrominance]
  int symbols[2][2];
};

constexpr uint8_t kNaturalOrder[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                       12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                       35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                       58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

const StandardTables& Tables() {
  static const StandardTables tables = [] {
    StandardTables t = {};
    jpeg_compress_struct peer;
    jpeg_error_mgr errors;
    peer.err = jpeg_std_error(&errors);
    jpeg_create_compress(&peer);
    peer.input_components = 3;
    peer.in_color_space = JCS_RGB;
    jpeg_set_defaults(&peer);
    jpeg_set_quality(&peer, 50, TRUE);
    for (int c = 0; c < 2; ++c) {
      for (int k = 0; k < 64; ++k) {
        t.quantisers[c][k] = static_cast<uint8_t>(peer.quant_tbl_ptrs[c]->quantval[kNaturalOrder[k]]);
      }
      const JHUFF_TBL* const huffman[2] = {peer.dc_huff_tbl_ptrs[c], peer.ac_huff_tbl_ptrs[c]};
      for (int k = 0; k < 2; ++k) {
        std::copy(huffman[k]->bits + 1, huffman[k]->bits + 17, t.bits[k][c]);
        for (const uint8_t n : t.bits[k][c]) t.symbols[k][c] += n;
        std::copy(huffman[k]->huffval, huffman[k]->huffval + t.symbols[k][c], t.values[k][c]);
      }
    }
    jpeg_destroy_compress(&peer);
    return t;
  }();
  return tables;
}

// One MCU's blocks and, block by block, the component each belongs to.
struct Mcu {
  alignas(64) int16_t blocks[6][64];
  int16_t* planes[3];
  int component[6];
  int count;
  int16_t last_dc[3] = {};
  explicit Mcu(const Sampling& sampling) {
    const int luminance = sampling.luminance_blocks();
    planes[0] = blocks[0];
    planes[1] = blocks[luminance];
    planes[2] = blocks[luminance + 1];
    count = luminance + 2;
    for (int i = 0; i < count; ++i) component[i] = i < luminance ? 0 : i - luminance + 1;
  }
};

class Writer {
 public:
  explicit Writer(std::vector<uint8_t>& out) : out_(out) {}
  void Segment(uint8_t marker, std::initializer_list<std::pair<const uint8_t*, size_t>> parts) {
    size_t length = 2;
    for (const auto& part : parts) length += part.second;
    Put({0xFF, marker, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
    for (const auto& part : parts) {
      for (size_t i = 0; i < part.second; ++i) Put({part.first[i]});
    }
  }
  void Put(std::initializer_list<uint8_t> bytes) {
    for (const uint8_t byte : bytes) out_[static_cast<size_t>(at++)] = byte;
  }
  int at = 0;

 private:
  std::vector<uint8_t>& out_;
};

void WriteHeaders(Writer& writer, const Sampling& sampling, const uint8_t (&quantisers)[2][64]) {
  const StandardTables& tables = Tables();
  writer.Put({0xFF, 0xD8});
  for (uint8_t c = 0; c < 2; ++c) writer.Segment(0xDB, {{&c, 1}, {quantisers[c], 64}});
  const uint8_t frame[] = {8,
                           kHeight >> 8,
                           kHeight & 255,
                           kWidth >> 8,
                           kWidth & 255,
                           3,
                           1,
                           static_cast<uint8_t>(sampling.horizontal << 4 | sampling.vertical),
                           0,
                           2,
                           0x11,
                           1,
                           3,
                           0x11,
                           1};
  writer.Segment(0xC0, {{frame, sizeof frame}});
  for (int k = 0; k < 2; ++k) {
    for (int c = 0; c < 2; ++c) {
      const auto id = static_cast<uint8_t>(k << 4 | c);
      writer.Segment(0xC4, {{&id, 1}, {tables.bits[k][c], 16}, {tables.values[k][c], size_t(tables.symbols[k][c])}});
    }
  }
  const uint8_t scan[] = {3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 63, 0};
  writer.Segment(0xDA, {{scan, sizeof scan}});
}

int Encode(const uint8_t* rgb, const Sampling& sampling, std::vector<uint8_t>& out) {
  const StandardTables& tables = Tables();
  uint8_t quantisers[2][64];
  alignas(64) uint16_t reciprocals[2][64];
  for (int c = 0; c < 2; ++c) {
    std::copy(tables.quantisers[c], tables.quantisers[c] + 64, quantisers[c]);
    zmciQuantFwdRawTableInit_JPEG_8u(quantisers[c], kQuality);
    zmciQuantFwdTableInit_JPEG_8u16u(quantisers[c], reciprocals[c]);
  }
  const EncodeSpec dc[2] = {MakeEncodeSpec(tables.bits[0][0], tables.values[0][0]),
                            MakeEncodeSpec(tables.bits[0][1], tables.values[0][1])};
  const EncodeSpec ac[2] = {MakeEncodeSpec(tables.bits[1][0], tables.values[1][0]),
                            MakeEncodeSpec(tables.bits[1][1], tables.values[1][1])};
  ZmciEncodeHuffmanState_JPEG_8u* state = nullptr;
  Require(zmciEncodeHuffmanStateInitAlloc_JPEG_8u(&state) == zmcStatusOk, "encoder state");
  Writer writer(out);
  WriteHeaders(writer, sampling, quantisers);

  Mcu mcu(sampling);
  const auto size = static_cast<int>(out.size());
  for (int y = 0; y < kHeight; y += 8 * sampling.vertical) {
    for (int x = 0; x < kWidth; x += 8 * sampling.horizontal) {
      sampling.forward(rgb + 3 * (size_t{kWidth} * y + x), 3 * kWidth, mcu.planes);
      for (int i = 0; i < mcu.count; ++i) {
        zmciDCTQuantFwd8x8_JPEG_16s_C1I(mcu.blocks[i], reciprocals[mcu.component[i] != 0]);
      }
      for (int i = 0; i < mcu.count; ++i) {
        const int c = mcu.component[i], table = c != 0;
        const ZmcStatus status = zmciEncodeHuffman8x8_JPEG_16s1u_C1(
            mcu.blocks[i], out.data(), size, &writer.at, &mcu.last_dc[c], dc[table].get(), ac[table].get(), state, 0);
        Require(status == zmcStatusOk, "encoding a block");
      }
    }
  }
  zmciEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, out.data(), size, &writer.at, nullptr, nullptr, nullptr, state, 1);
  zmciEncodeHuffmanStateFree_JPEG_8u(state);
  writer.Put({0xFF, 0xD9});
  return writer.at;
}

// What a decoder takes from the segments in front of the scan, and where the scan's data begin.
struct Headers {
  alignas(64) uint16_t quantisers[2][64];
  std::vector<DecodeSpec> huffman[2];  // [DC, AC], in the order of their numbers
  int scan;
};

Headers ReadHeaders(const std::vector<uint8_t>& file) {
  Headers headers = {};
  size_t at = 2;
  for (;;) {
    const uint8_t marker = file[at + 1];
    const size_t end = at + 2 + (size_t{file[at + 2]} << 8 | file[at + 3]);
    const uint8_t* p = file.data() + at + 4;
    const uint8_t* const segment_end = file.data() + end;
    at = end;
    if (marker == 0xDB) {
      for (; p < segment_end; p += 65) zmciQuantInvTableInit_JPEG_8u16u(p + 1, headers.quantisers[*p & 1]);
    } else if (marker == 0xC4) {
      while (p < segment_end) {
        int symbols = 0;
        for (int i = 1; i <= 16; ++i) symbols += p[i];
        headers.huffman[*p >> 4].push_back(MakeDecodeSpec(p + 1, p + 17));
        p += 17 + symbols;
      }
    } else if (marker == 0xDA) {
      headers.scan = static_cast<int>(end);
      return headers;
    }
  }
}

void Decode(const std::vector<uint8_t>& file, const Sampling& sampling, uint8_t* rgb) {
  const Headers headers = ReadHeaders(file);
  ZmciDecodeHuffmanState_JPEG_8u* state = nullptr;
  Require(zmciDecodeHuffmanStateInitAlloc_JPEG_8u(&state) == zmcStatusOk, "decoder state");
  Mcu mcu(sampling);
  const auto size = static_cast<int>(file.size());
  int at = headers.scan, marker = 0;
  for (int y = 0; y < kHeight; y += 8 * sampling.vertical) {
    for (int x = 0; x < kWidth; x += 8 * sampling.horizontal) {
      for (int i = 0; i < mcu.count; ++i) {
        const int c = mcu.component[i];
        const auto table = static_cast<size_t>(c != 0);
        const ZmcStatus status =
            zmciDecodeHuffman8x8_JPEG_1u16s_C1(file.data(), size, &at, mcu.blocks[i], &mcu.last_dc[c], &marker,
                                               headers.huffman[0][table].get(), headers.huffman[1][table].get(), state);
        Require(status == zmcStatusOk || status == zmcStatusMarkerFound, "decoding a block");
      }
      // Not right behind the decoder: its coefficients must have left the store buffer to be loaded as vectors.
      for (int i = 0; i < mcu.count; ++i) {
        zmciDCTQuantInv8x8_JPEG_16s_C1I(mcu.blocks[i], headers.quantisers[mcu.component[i] != 0]);
      }
      sampling.inverse(mcu.planes, rgb + 3 * (size_t{kWidth} * y + x), 3 * kWidth);
    }
  }
  zmciDecodeHuffmanStateFree_JPEG_8u(state);
}

int PeerEncode(const uint8_t* rgb, const Sampling& sampling, std::vector<uint8_t>& out) {
  jpeg_compress_struct peer;
  jpeg_error_mgr errors;
  peer.err = jpeg_std_error(&errors);
  jpeg_create_compress(&peer);
  unsigned char* memory = out.data();
  unsigned long size = out.size();
  jpeg_mem_dest(&peer, &memory, &size);
  peer.image_width = kWidth;
  peer.image_height = kHeight;
  peer.input_components = 3;
  peer.in_color_space = JCS_RGB;
  jpeg_set_defaults(&peer);
  jpeg_set_quality(&peer, kQuality, TRUE);
  peer.comp_info[0].h_samp_factor = sampling.horizontal;
  peer.comp_info[0].v_samp_factor = sampling.vertical;
  jpeg_start_compress(&peer, TRUE);
  while (peer.next_scanline < kHeight) {
    JSAMPROW rows[16];
    for (size_t i = 0; i < 16; ++i) rows[i] = const_cast<uint8_t*>(rgb) + 3 * kWidth * (peer.next_scanline + i);
    jpeg_write_scanlines(&peer, rows, 16);
  }
  jpeg_finish_compress(&peer);
  jpeg_destroy_compress(&peer);
  Require(memory == out.data(), "the peer's buffer was too small");
  return static_cast<int>(size);
}

void PeerDecode(const std::vector<uint8_t>& file, uint8_t* rgb) {
  jpeg_decompress_struct peer;
  jpeg_error_mgr errors;
  peer.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&peer);
  jpeg_mem_src(&peer, file.data(), file.size());
  jpeg_read_header(&peer, TRUE);
  peer.do_fancy_upsampling = FALSE;
  jpeg_start_decompress(&peer);
  while (peer.output_scanline < kHeight) {
    JSAMPROW rows[16];
    for (size_t i = 0; i < 16; ++i) {
      rows[i] = rgb + 3 * kWidth * std::min<size_t>(peer.output_scanline + i, kHeight - 1);
    }
    jpeg_read_scanlines(&peer, rows, 16);
  }
  jpeg_finish_decompress(&peer);
  jpeg_destroy_decompress(&peer);
}

// Both sides must have done the same work: sizes within one part in a hundred, samples within a few levels but for the
// rare ones where the transform overshoots its range, which the peer clamps before it converts the colours.
void Compare(const Sampling& sampling, const std::vector<uint8_t>& rgb, const std::vector<uint8_t>& peers_file) {
  std::vector<uint8_t> file(kPictureBytes), ours(kPictureBytes), peers(kPictureBytes);
  file.resize(static_cast<size_t>(Encode(rgb.data(), sampling, file)));
  const double ratio = static_cast<double>(file.size()) / static_cast<double>(peers_file.size());
  Require(ratio > 0.99 && ratio < 1.01, "file sizes differ");
  for (const std::vector<uint8_t>* source : {&std::as_const(file), &peers_file}) {
    Decode(*source, sampling, ours.data());
    PeerDecode(*source, peers.data());
    size_t far = 0;
    for (size_t i = 0; i < kPictureBytes; ++i) far += std::abs(ours[i] - peers[i]) > 6;
    Require(far < kPictureBytes / 10000, "pictures differ");
  }
}

const Suite suite("jpeg codec", [](std::vector<Row>& rows) {
  static const std::vector<uint8_t> rgb = MakePhoto(kWidth, kHeight).rgb;
  static std::vector<uint8_t> out(kPictureBytes), picture(kPictureBytes), files[3];
  for (size_t i = 0; i < 3; ++i) {
    const Sampling& sampling = kSamplings[i];
    files[i].resize(kPictureBytes);
    files[i].resize(static_cast<size_t>(PeerEncode(rgb.data(), sampling, files[i])));
    Compare(sampling, rgb, files[i]);
    rows.push_back({std::string("whole encode ") + sampling.name + ", q75", "px", double{kWidth} * kHeight, 1.7,
                    [&] { Encode(rgb.data(), sampling, out); }, "libjpeg",
                    [&] { PeerEncode(rgb.data(), sampling, out); }});
    const std::vector<uint8_t>& file = files[i];
    rows.push_back({std::string("whole decode ") + sampling.name + ", q75", "px", double{kWidth} * kHeight, 1.5,
                    [&] { Decode(file, sampling, picture.data()); }, "libjpeg, plain up-sampling",
                    [&] { PeerDecode(file, picture.data()); }});
  }
});

}  // namespace
}  // namespace zmcj::bench
