// For the tests of the Huffman coders: tables, blocks, and slow models that work bit by bit on plain fields.
#pragma once

#include <array>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "support/jpeg_scan.h"
#include "support/testing.h"

namespace zmcj::testing {

// ISO/IEC 10918-1, tables K.3 and K.5.
inline RawTable LuminanceDc() {
  return {{0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
}
inline RawTable LuminanceAc() {
  return {{0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125},
          {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71,
           0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72,
           0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x34, 0x35, 0x36, 0x37,
           0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59,
           0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x83,
           0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3,
           0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3,
           0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2,
           0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa}};
}

// Any code lengths and symbols that the encoder's builder accepts; sometimes few symbols, sometimes all.
inline RawTable RandomTable(Random& random) {
  RawTable table;
  std::array<uint8_t, 256> symbols;
  std::iota(symbols.begin(), symbols.end(), uint8_t{0});
  for (int i = 255; i > 0; --i)
    std::swap(symbols[static_cast<size_t>(i)], symbols[static_cast<size_t>(random.In(0, i))]);
  std::copy(symbols.begin(), symbols.end(), table.values);
  int left = random.In(0, 1) ? 256 : random.In(2, 255);
  for (int length = 1, free = 2; length <= 16 && left > 0; ++length, free *= 2) {
    // Enough codes stay free for what is left at 16 bits.
    const int needed = (left >> (16 - length)) + 2;
    const int most = std::min({left, free - needed, 255});
    const int n = length == 16 ? std::min(left, free - 1) : most <= 0 ? 0 : random.In(0, length < 4 ? most / 4 : most);
    table.bits[length - 1] = static_cast<uint8_t>(std::min(n, 255));
    left -= n;
    free -= n;
  }
  return table;
}

// Blocks from empty to dense, with small and extreme values; `limit` is the largest magnitude.
inline void RandomBlock(Random& random, int16_t* block, int limit) {
  const int density = random.In(0, 10), usual = random.In(0, 3) == 0 ? limit : std::min(limit, 1 << random.In(0, 6));
  for (int i = 0; i < 64; ++i) {
    block[i] = static_cast<int16_t>(random.In(1, 10) <= density ? random.In(-usual, usual) : 0);
  }
  if (random.In(0, 3) == 0) std::fill(block + random.In(1, 40), block + 64, int16_t{0});
}

inline constexpr int kZigzag[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                    12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                    35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                    58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// Records in memory of exactly their size, before a guard page.
template <class Record>
struct RecordMemory : Guarded {
  explicit RecordMemory(size_t n) : Guarded(n) { std::memset(data(), 0xAA, n); }
  operator Record*() const { return as<Record>(); }
};
struct EncodeSpecMemory : RecordMemory<ZmciEncodeHuffmanSpec_JPEG_8u> {
  explicit EncodeSpecMemory(const RawTable& table) : RecordMemory(1024) {
    status = zmciEncodeHuffmanSpecInit_JPEG_8u(table.bits, table.values, *this);
  }
  ZmcStatus status;
};
struct DecodeSpecMemory : RecordMemory<ZmciDecodeHuffmanSpec_JPEG_8u> {
  explicit DecodeSpecMemory(const RawTable& table) : RecordMemory(1644) {
    status = zmciDecodeHuffmanSpecInit_JPEG_8u(table.bits, table.values, *this);
  }
  ZmcStatus status;
};
struct EncodeStateMemory : RecordMemory<ZmciEncodeHuffmanState_JPEG_8u> {
  EncodeStateMemory() : RecordMemory(1048) { zmciEncodeHuffmanStateInit_JPEG_8u(*this); }
};
struct DecodeStateMemory : RecordMemory<ZmciDecodeHuffmanState_JPEG_8u> {
  DecodeStateMemory() : RecordMemory(16) { zmciDecodeHuffmanStateInit_JPEG_8u(*this); }
};

// The codes of a table by symbol, assigned one after the other: {code, length}.
struct ModelCodes {
  explicit ModelCodes(const RawTable& table) {
    uint32_t code = 0;
    for (int length = 1, i = 0; length <= 16; ++length, code *= 2) {
      for (int n = 0; n < table.bits[length - 1]; ++n, ++i, ++code) of[table.values[i]] = {code, length};
    }
  }
  struct Code {
    uint32_t code = 0;
    int length = 0;
  };
  Code of[257];
};

inline int ModelCategory(int v) {
  int bits = 0;
  for (v = std::abs(v); v != 0; v >>= 1) ++bits;
  return bits;
}

// Writes one bit after the other; the last byte is kept in `bits` until it is full.
struct ModelWriter {
  uint8_t* dst;
  int length;
  int position = 0;
  std::vector<bool> bits = {};

  ZmcStatus Put(uint32_t value, int n) {
    std::vector<bool> all = bits;
    for (int i = n - 1; i >= 0; --i) all.push_back((value >> i & 1) != 0);
    while (all.size() >= 8) {
      int byte = 0;
      for (int i = 0; i < 8; ++i) byte = byte * 2 + all[static_cast<size_t>(i)];
      if (position >= length) return zmcStatusBufferExhausted;
      dst[position++] = static_cast<uint8_t>(byte);
      if (byte == 0xFF && position >= length) return zmcStatusBufferExhausted;
      if (byte == 0xFF) dst[position++] = 0;
      all.erase(all.begin(), all.begin() + 8);
    }
    bits = all;
    return zmcStatusOk;
  }
  ZmcStatus PutCode(const ModelCodes::Code& code) {
    return code.length == 0 ? zmcStatusBadHuffmanTable : Put(code.code, code.length);
  }
  ZmcStatus PutValue(int v) {
    const int s = ModelCategory(v);
    return s == 0 ? zmcStatusOk : Put(static_cast<uint32_t>(v < 0 ? v - 1 : v), s);
  }
  // The state record's first three fields.
  std::array<uint32_t, 3> State() const {
    uint32_t accumulator = 0;
    for (size_t i = 0; i < bits.size(); ++i) accumulator |= static_cast<uint32_t>(bits[i]) << (23 - i);
    return {accumulator, 0, static_cast<uint32_t>(bits.size())};
  }
};

// Reads by the rule that the position follows: fills to 25 or more bits, never behind a marker.
struct ModelReader {
  const uint8_t* src;
  int length;
  int position = 0;
  int marker = 0;
  int count = 0;
  uint32_t accumulator = 0;

  ZmcStatus Fill(int need) {
    if (marker != 0) return need > count ? zmcStatusBufferExhausted : zmcStatusOk;
    while (count < 25) {
      if (position >= length) return count < need ? zmcStatusBufferExhausted : zmcStatusOk;
      const int b = src[position++];
      if (b == 0xFF) {
        if (position >= length) return zmcStatusBufferExhausted;
        const int c = src[position++];
        if (c != 0) {
          marker = c;
          return count < need ? zmcStatusBufferExhausted : zmcStatusMarkerFound;
        }
      }
      accumulator = accumulator << 8 | static_cast<uint32_t>(b);
      count += 8;
    }
    return zmcStatusOk;
  }
  int Bit() { return static_cast<int>(accumulator >> --count & 1); }
  ZmcStatus Bits(int n, int& value) {
    ZmcStatus status = zmcStatusOk;
    if (count < n) status = Fill(n);
    if (status < 0) return status;
    for (value = 0; n > 0; --n) value = value * 2 + Bit();
    return status;
  }
  // Where eight bits are held, a code of up to eight is found without using more than its own; a longer one is taken as
  // nine bits and then bit by bit. Otherwise the code is taken bit by bit from the start.
  ZmcStatus Decode(const RawTable& table, int& symbol) {
    if (count < 8) {
      if (const ZmcStatus s = Fill(0); s < 0) return s;
    }
    const int seen = count >= 8 ? 8 : 0;
    int code = 0, first = 0, index = 0;
    for (int l = 1; l <= 16; ++l, first *= 2) {
      const int n = table.bits[l - 1];
      if (l <= seen) {
        code = static_cast<int>(accumulator >> (count - l) & ((1u << l) - 1));
        if (code >= first && code < first + n) {
          count -= l;
          symbol = table.values[index + code - first];
          return zmcStatusOk;
        }
      } else {
        const int need = l == seen + 1 ? l : 1;
        if (count < need) {
          if (const ZmcStatus s = Fill(need); s < 0) return s;
        }
        count -= need - 1;
        code = code * 2 + Bit();
        // First and last code as 16 bits; 65535 as the last means that there is none.
        const int last = (first + n - 1) & 0xFFFF, place = index - (first & 0xFFFF) + code;
        if (n != 0 && last != 65535 && code <= last) {
          if (place < 0 || place > 255) return zmcStatusBadHuffmanData;
          symbol = place < table.size() ? table.values[place] : 0;
          return zmcStatusOk;
        }
      }
      first += n;
      index += n;
    }
    return zmcStatusBadHuffmanData;
  }
  ZmcStatus Value(int s, int& v) {
    const ZmcStatus status = Bits(s, v);
    if (status >= 0 && v < 1 << (s - 1)) v -= (1 << s) - 1;
    return status;
  }
};

}  // namespace zmcj::testing
