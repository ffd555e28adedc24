// For peer tests and benchmarks: takes a Huffman-coded JPEG file apart into its scans, and decodes, counts and encodes
// whole scans through the public functions.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include "zmcj.h"

namespace zmcj::testing {

// A DHT segment's two lists.
struct RawTable {
  uint8_t bits[16] = {};
  uint8_t values[256] = {};
  int size() const { return std::accumulate(bits, bits + 16, 0); }
};

struct JpegComponent {
  int id = 0, h = 1, v = 1;
  int columns = 0, rows = 0;                // of blocks, as scans of this component alone have them
  int padded_columns = 0, padded_rows = 0;  // as interleaved scans have them
  std::vector<int16_t> coefficients;        // of the padded blocks
  int16_t* block(int row, int column) { return coefficients.data() + 64 * (row * padded_columns + column); }
};

struct JpegScan {
  struct Part {
    int component, dc, ac;  // the numbers of its tables
  };
  std::vector<Part> parts;
  int ss = 0, se = 63, ah = 0, al = 0, restart = 0;
  RawTable dc[4], ac[4];  // as they stand at this scan
  const uint8_t* data = nullptr;
  int length = 0;  // of the data without the marker behind them
};

class JpegFile {
 public:
  bool progressive = false;
  std::vector<JpegComponent> components;
  std::vector<JpegScan> scans;

  explicit JpegFile(const std::vector<uint8_t>& bytes) {
    RawTable dc[4], ac[4];
    int restart = 0;
    for (size_t at = 2; at + 4 <= bytes.size();) {
      const uint8_t* const segment = bytes.data() + at + 4;
      const uint8_t* const end = segment - 2 + (segment[-2] << 8 | segment[-1]);
      const int marker = bytes[at + 1];
      at = static_cast<size_t>(end - bytes.data());
      if (marker == 0xC0 || marker == 0xC1 || marker == 0xC2) {
        progressive = marker == 0xC2;
        ReadFrame(segment);
      }
      if (marker == 0xDD) restart = segment[0] << 8 | segment[1];
      if (marker == 0xC4) {
        for (const uint8_t* p = segment; p < end;) {
          RawTable& table = (*p >> 4 ? ac : dc)[*p & 3];
          std::memcpy(table.bits, p + 1, 16);
          std::memcpy(table.values, p + 17, static_cast<size_t>(table.size()));
          p += 17 + table.size();
        }
      }
      if (marker != 0xDA) continue;
      JpegScan scan;
      for (int i = 0; i < segment[0]; ++i) {
        const auto own = std::find_if(components.begin(), components.end(),
                                      [&](const JpegComponent& c) { return c.id == segment[1 + 2 * i]; });
        scan.parts.push_back(
            {static_cast<int>(own - components.begin()), segment[2 + 2 * i] >> 4, segment[2 + 2 * i] & 15});
      }
      const uint8_t* const rest = segment + 1 + 2 * segment[0];
      scan.ss = rest[0];
      scan.se = rest[1];
      scan.ah = rest[2] >> 4;
      scan.al = rest[2] & 15;
      scan.restart = restart;
      std::copy(dc, dc + 4, scan.dc);
      std::copy(ac, ac + 4, scan.ac);
      scan.data = end;
      while (bytes[at] != 0xFF || bytes[at + 1] == 0 || (bytes[at + 1] & 0xF8) == 0xD0) ++at;
      scan.length = static_cast<int>(bytes.data() + at - end);
      scans.push_back(scan);
    }
  }

  // Calls block(part index, coefficients) for every block in the scan's order, and restart() at each restart interval.
  // Either stops the walk by returning false.
  template <class Block, class Restart>
  bool ForEachBlock(const JpegScan& scan, Block block, Restart restart) {
    const size_t parts = scan.parts.size();
    const JpegComponent& first = components[static_cast<size_t>(scan.parts[0].component)];
    const int columns = parts == 1 ? first.columns : first.padded_columns / first.h;
    const int rows = parts == 1 ? first.rows : first.padded_rows / first.v;
    struct Place {
      int16_t* blocks;
      int h, v, stride;
    } places[4] = {};
    for (size_t part = 0; part < parts; ++part) {
      JpegComponent& c = components[static_cast<size_t>(scan.parts[part].component)];
      places[part] = {c.coefficients.data(), c.h, c.v, 64 * c.padded_columns};
    }
    int left = scan.restart;
    const auto begin_mcu = [&] {
      if (scan.restart == 0 || left-- > 0) return true;
      left = scan.restart - 1;
      return restart();
    };
    if (parts == 1) {
      for (int y = 0; y < rows; ++y) {
        int16_t* row = places[0].blocks + y * places[0].stride;
        for (int x = 0; x < columns; ++x, row += 64) {
          if (!begin_mcu() || !block(size_t{0}, row)) return false;
        }
      }
      return true;
    }
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < columns; ++x) {
        if (!begin_mcu()) return false;
        for (size_t part = 0; part < parts; ++part) {
          const Place& p = places[part];
          int16_t* row = p.blocks + y * p.v * p.stride + 64 * x * p.h;
          for (int v = 0; v < p.v; ++v, row += p.stride) {
            for (int h = 0; h < p.h; ++h) {
              if (!block(part, row + 64 * h)) return false;
            }
          }
        }
      }
    }
    return true;
  }

 private:
  void ReadFrame(const uint8_t* p) {
    const int height = p[1] << 8 | p[2], width = p[3] << 8 | p[4];
    int max_h = 1, max_v = 1;
    for (int i = 0; i < p[5]; ++i) {
      components.push_back({p[6 + 3 * i], p[7 + 3 * i] >> 4, p[7 + 3 * i] & 15, 0, 0, 0, 0, {}});
      max_h = std::max(max_h, components.back().h);
      max_v = std::max(max_v, components.back().v);
    }
    for (JpegComponent& c : components) {
      c.columns = (width * c.h + 8 * max_h - 1) / (8 * max_h);
      c.rows = (height * c.v + 8 * max_v - 1) / (8 * max_v);
      c.padded_columns = (width + 8 * max_h - 1) / (8 * max_h) * c.h;
      c.padded_rows = (height + 8 * max_v - 1) / (8 * max_v) * c.v;
      c.coefficients.resize(static_cast<size_t>(c.padded_columns) * static_cast<size_t>(c.padded_rows) * 64);
    }
  }
};

// Records on the heap as a program has them: made by InitAlloc, released at the end.
class CodecRecords {
 public:
  CodecRecords() {
    zmciEncodeHuffmanStateInitAlloc_JPEG_8u(&encode_state);
    zmciDecodeHuffmanStateInitAlloc_JPEG_8u(&decode_state);
  }
  ~CodecRecords() {
    for (int i = 0; i < 4; ++i) {
      zmciEncodeHuffmanSpecFree_JPEG_8u(encode_dc[i]), zmciEncodeHuffmanSpecFree_JPEG_8u(encode_ac[i]);
      zmciDecodeHuffmanSpecFree_JPEG_8u(decode_dc[i]), zmciDecodeHuffmanSpecFree_JPEG_8u(decode_ac[i]);
    }
    zmciEncodeHuffmanStateFree_JPEG_8u(encode_state);
    zmciDecodeHuffmanStateFree_JPEG_8u(decode_state);
  }
  CodecRecords(const CodecRecords&) = delete;
  CodecRecords& operator=(const CodecRecords&) = delete;

  ZmcStatus SetDecodeTables(const JpegScan& scan) {
    return ForTables(scan, [&](int i) {
      const ZmcStatus s =
          Set(zmciDecodeHuffmanSpecInitAlloc_JPEG_8u, zmciDecodeHuffmanSpecInit_JPEG_8u, scan.dc[i], decode_dc[i]);
      return s ? s
               : Set(zmciDecodeHuffmanSpecInitAlloc_JPEG_8u, zmciDecodeHuffmanSpecInit_JPEG_8u, scan.ac[i],
                     decode_ac[i]);
    });
  }
  ZmcStatus SetEncodeTables(const JpegScan& scan) {
    return ForTables(scan, [&](int i) {
      const ZmcStatus s =
          Set(zmciEncodeHuffmanSpecInitAlloc_JPEG_8u, zmciEncodeHuffmanSpecInit_JPEG_8u, scan.dc[i], encode_dc[i]);
      return s ? s
               : Set(zmciEncodeHuffmanSpecInitAlloc_JPEG_8u, zmciEncodeHuffmanSpecInit_JPEG_8u, scan.ac[i],
                     encode_ac[i]);
    });
  }

  ZmciEncodeHuffmanSpec_JPEG_8u *encode_dc[4] = {}, *encode_ac[4] = {};
  ZmciDecodeHuffmanSpec_JPEG_8u *decode_dc[4] = {}, *decode_ac[4] = {};
  ZmciEncodeHuffmanState_JPEG_8u* encode_state = nullptr;
  ZmciDecodeHuffmanState_JPEG_8u* decode_state = nullptr;

 private:
  template <class Each>
  static ZmcStatus ForTables(const JpegScan& scan, Each each) {
    for (const JpegScan::Part& part : scan.parts) {
      if (ZmcStatus s = each(part.dc)) return s;
      if (part.ac == part.dc) continue;
      if (ZmcStatus s = each(part.ac)) return s;
    }
    return zmcStatusOk;
  }
  template <class Allocate, class Init, class Spec>
  static ZmcStatus Set(Allocate allocate, Init init, const RawTable& table, Spec*& spec) {
    return spec == nullptr ? allocate(table.bits, table.values, &spec) : init(table.bits, table.values, spec);
  }
};

// Decodes into the file's coefficients, which are to be clear before the first scan.
inline ZmcStatus DecodeScan(JpegFile& file, const JpegScan& scan, CodecRecords& records, const uint8_t* data,
                            int length) {
  if (ZmcStatus s = records.SetDecodeTables(scan)) return s;
  zmciDecodeHuffmanStateInit_JPEG_8u(records.decode_state);
  int position = 0, marker = 0;
  int16_t last_dc[4] = {};
  ZmcStatus status = zmcStatusOk;
  const auto restart = [&] {
    while (marker == 0 && position + 1 < length) {
      if (data[position] == 0xFF && data[position + 1] != 0) marker = data[++position];
      ++position;
    }
    std::fill(last_dc, last_dc + 4, int16_t{0});
    marker = 0;
    return zmciDecodeHuffmanStateInit_JPEG_8u(records.decode_state) == zmcStatusOk;
  };
  const auto with = [&](auto decode) {
    file.ForEachBlock(
        scan,
        [&](size_t part, int16_t* block) {
          status = decode(part, scan.parts[part], block);
          return status >= 0;
        },
        restart);
  };
  if (!file.progressive) {
    with([&](size_t part, const JpegScan::Part& p, int16_t* block) {
      return zmciDecodeHuffman8x8_JPEG_1u16s_C1(data, length, &position, block, &last_dc[part], &marker,
                                                records.decode_dc[p.dc], records.decode_ac[p.ac], records.decode_state);
    });
  } else if (scan.ss == 0 && scan.ah == 0) {
    with([&](size_t part, const JpegScan::Part& p, int16_t* block) {
      return zmciDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(data, length, &position, block, &last_dc[part], &marker,
                                                        scan.al, records.decode_dc[p.dc], records.decode_state);
    });
  } else if (scan.ss == 0) {
    with([&](size_t, const JpegScan::Part&, int16_t* block) {
      return zmciDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(data, length, &position, block, &marker, scan.al,
                                                         records.decode_state);
    });
  } else {
    const auto ac =
        scan.ah == 0 ? zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1 : zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1;
    with([&](size_t, const JpegScan::Part& p, int16_t* block) {
      return ac(data, length, &position, block, &marker, scan.ss, scan.se, scan.al, records.decode_ac[p.ac],
                records.decode_state);
    });
  }
  return status < 0 ? status : zmcStatusOk;
}

// Encodes the scan behind *position, with its restart markers and the padding at its end.
inline ZmcStatus EncodeScan(JpegFile& file, const JpegScan& scan, CodecRecords& records, uint8_t* data, int length,
                            int* position) {
  if (ZmcStatus s = records.SetEncodeTables(scan)) return s;
  zmciEncodeHuffmanStateInit_JPEG_8u(records.encode_state);
  int16_t last_dc[4] = {};
  ZmcStatus status = zmcStatusOk;
  const auto encode = [&](size_t part, const int16_t* block, int flush) {
    const JpegScan::Part& p = scan.parts[part];
    if (!file.progressive) {
      status =
          zmciEncodeHuffman8x8_JPEG_16s1u_C1(block, data, length, position, &last_dc[part], records.encode_dc[p.dc],
                                             records.encode_ac[p.ac], records.encode_state, flush);
    } else if (scan.ss == 0 && scan.ah == 0) {
      status = zmciEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, data, length, position, &last_dc[part], scan.al,
                                                          records.encode_dc[p.dc], records.encode_state, flush);
    } else if (scan.ss == 0) {
      status = zmciEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, data, length, position, scan.al, records.encode_state,
                                                           flush);
    } else {
      const auto ac =
          scan.ah == 0 ? zmciEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1 : zmciEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1;
      status = ac(block, data, length, position, scan.ss, scan.se, scan.al, records.encode_ac[p.ac],
                  records.encode_state, flush);
    }
    return status == zmcStatusOk;
  };
  int restarts = 0;
  const auto restart = [&] {
    if (!encode(0, nullptr, 1)) return false;
    for (const int byte : {0xFF, 0xD0 + restarts++ % 8}) {
      if (*position >= length) {
        status = zmcStatusBufferExhausted;
        return false;
      }
      data[(*position)++] = static_cast<uint8_t>(byte);
    }
    std::fill(last_dc, last_dc + 4, int16_t{0});
    return true;
  };
  if (file.ForEachBlock(
          scan, [&](size_t part, int16_t* block) { return encode(part, block, 0); }, restart)) {
    encode(0, nullptr, 1);
  }
  return status;
}

// Puts the optimal tables in place of the scan's own.
inline ZmcStatus OptimiseTables(JpegFile& file, JpegScan& scan, CodecRecords& records) {
  int dc[4][256] = {}, ac[4][256] = {};
  int16_t last_dc[4] = {};
  ZmcStatus status = zmciEncodeHuffmanStateInit_JPEG_8u(records.encode_state);
  const bool dc_only = file.progressive && scan.ss == 0;
  if (dc_only && scan.ah != 0) return status;
  const auto count = [&](size_t part, const int16_t* block, int flush) {
    const JpegScan::Part& p = scan.parts[part];
    if (!file.progressive) {
      if (!flush) status = zmciGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc[p.dc], ac[p.ac], &last_dc[part]);
    } else if (dc_only) {
      if (!flush) status = zmciGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, dc[p.dc], &last_dc[part], scan.al);
    } else {
      const auto get = scan.ah == 0 ? zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1
                                    : zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;
      status =
          get(block, reinterpret_cast<uint32_t*>(ac[p.ac]), scan.ss, scan.se, scan.al, records.encode_state, flush);
    }
    return status == zmcStatusOk;
  };
  const auto restart = [&] {
    std::fill(last_dc, last_dc + 4, int16_t{0});
    return count(0, nullptr, 1);
  };
  if (!file.ForEachBlock(
          scan, [&](size_t part, int16_t* block) { return count(part, block, 0); }, restart) ||
      !count(0, nullptr, 1)) {
    return status;
  }
  for (const JpegScan::Part& p : scan.parts) {
    if (!file.progressive || dc_only) {
      scan.dc[p.dc] = {};
      status = zmciEncodeHuffmanRawTableInit_JPEG_8u(dc[p.dc], scan.dc[p.dc].bits, scan.dc[p.dc].values);
    }
    if (status == zmcStatusOk && !dc_only) {
      scan.ac[p.ac] = {};
      status = zmciEncodeHuffmanRawTableInit_JPEG_8u(ac[p.ac], scan.ac[p.ac].bits, scan.ac[p.ac].values);
    }
    if (status != zmcStatusOk) return status;
  }
  return status;
}

}  // namespace zmcj::testing
