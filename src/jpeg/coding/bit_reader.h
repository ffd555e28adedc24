// Reading entropy-coded bits (ISO/IEC 10918-1, F.2.2.5): stuffed zero bytes are removed, a marker ends the data.
//
// How far a reader reads ahead is part of its results, since the caller sees the source position: a fill takes bytes
// until 25 or more bits are held.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/check.h"
#include "jpeg/coding/huffman_records.h"

namespace zmcj {

inline constexpr int kFilled = 25;  // bits; another byte would not be sure to fit

// The caller's source: `length` bytes, of which *position are read. *marker is 0 until a marker is met, then its second
// byte; nothing is read any more then.
struct Source {
  const uint8_t* bytes;
  int length;
  int* position;
  int* marker;
};

// The bits that have been read and not yet used.
class HeldBits {
 public:
  HeldBits(uint32_t accumulator, int count) : count_(count), accumulator_(accumulator) {}
  int count() const { return count_; }
  uint32_t accumulator() const { return accumulator_; }
  // The next n of them, 1 to 16.
  uint32_t Peek(int n) const { return accumulator_ >> (count_ - n) & ((1u << n) - 1); }
  void Skip(int n) { count_ -= n; }
  uint32_t Take(int n) {
    count_ -= n;
    return accumulator_ >> count_ & ((1u << n) - 1);
  }

 protected:
  int count_;  // 0 to 32
  uint32_t accumulator_;
};

// The reference: byte by byte.
class BitReader : public HeldBits {
 public:
  BitReader(const Source& from, const DecodeState* state)
      : HeldBits(state->accumulator, state->count),
        bytes_(from.bytes),
        length_(from.length),
        position_(*from.position),
        marker_(*from.marker) {}

  void Save(const Source& from, DecodeState* state) const {
    *from.position = position_;
    *from.marker = marker_;
    state->accumulator = accumulator_;
    state->count = count_;
  }

  // Reads until kFilled bits are held or nothing is left; `need` decides whether the latter is a failure.
  ZmcStatus Fill(int need) {
    if (marker_ != 0) return need > count_ ? zmcStatusBufferExhausted : zmcStatusOk;
    while (count_ < kFilled) {
      if (position_ >= length_) return count_ < need ? zmcStatusBufferExhausted : zmcStatusOk;
      const uint8_t byte = bytes_[position_++];
      if (byte == 0xFF) {
        // Half a pair: what follows may be a marker, so the data are incomplete even where the held bits would do.
        if (position_ >= length_) return zmcStatusBufferExhausted;
        const uint8_t second = bytes_[position_++];
        if (second != 0) {
          marker_ = second;
          return count_ < need ? zmcStatusBufferExhausted : zmcStatusMarkerFound;
        }
      }
      accumulator_ = accumulator_ << 8 | byte;
      count_ += 8;
    }
    return zmcStatusOk;
  }

 protected:
  const uint8_t* bytes_;
  int length_;
  int position_;
  int marker_;
};

// The same with four bytes at a time where none of them is 0xFF.
class WordReader : public BitReader {
 public:
  using BitReader::BitReader;

  ZmcStatus Fill(int need) {
    if (length_ - position_ < 4 || marker_ != 0 || count_ >= kFilled) return BitReader::Fill(need);
    const uint8_t* at = bytes_ + position_;
    uint32_t word;
    std::memcpy(&word, at, sizeof word);
    if ((word & 0x80808080u & ~(word + 0x01010101u)) != 0) return BitReader::Fill(need);
    if (std::endian::native == std::endian::little) word = __builtin_bswap32(word);
    const int bytes = (32 - count_) >> 3;
    accumulator_ = static_cast<uint32_t>((static_cast<uint64_t>(accumulator_) << 32 | word) >> (32 - 8 * bytes));
    count_ += 8 * bytes;
    position_ += bytes;
    return zmcStatusOk;
  }
};

// A symbol, or the status that kept it from being decoded.
struct Symbol {
  ZmcStatus status;
  uint32_t value;
};

// Goes on from a code's first `length` bits, which are to be read, one bit at a time.
template <class Reader>
[[gnu::noinline]] Symbol DecodeLongSymbol(Reader& reader, const DecodeSpec* spec, int length) {
  if (reader.count() < length) {
    if (const ZmcStatus s = reader.Fill(length); s < zmcStatusOk) return {s, 0};
  }
  int32_t code = static_cast<int32_t>(reader.Take(length));
  for (; spec->maxcode[length] == kNoCode || code > spec->maxcode[length]; ++length) {
    if (length == kMaxCodeLength) return {zmcStatusBadHuffmanData, 0};
    if (reader.count() < 1) {
      if (const ZmcStatus s = reader.Fill(1); s < zmcStatusOk) return {s, 0};
    }
    code = code * 2 + static_cast<int32_t>(reader.Take(1));
  }
  // In a table with more codes than fit, lengths overlap, and the place may lie outside the values.
  const int32_t place = spec->valptr[length] - spec->mincode[length] + code;
  if (place < 0 || place > 255) return {zmcStatusBadHuffmanData, 0};
  return {zmcStatusOk, spec->values[place]};
}

template <class Reader>
inline Symbol DecodeSymbol(Reader& reader, const DecodeSpec* spec) {
  if (reader.count() < 8) {
    if (const ZmcStatus s = reader.Fill(0); s < zmcStatusOk) return {s, 0};
    if (reader.count() < 8) return DecodeLongSymbol(reader, spec, 1);
  }
  const uint32_t entry = spec->lookahead[reader.Peek(8)];
  if (entry == 0) return DecodeLongSymbol(reader, spec, 9);
  reader.Skip(static_cast<int>(entry >> 16));
  return {zmcStatusOk, entry & 0xFF};
}

// Makes n bits available; n up to 15. zmcStatusMarkerFound where that met a marker behind enough bits.
template <class Reader>
inline ZmcStatus Need(Reader& reader, int n) {
  return reader.count() < n ? reader.Fill(n) : zmcStatusOk;
}

// A position below 0 or a state that no Init has made would lead outside the source.
inline ZmcStatus CheckReading(const int* position, const DecodeState* state) {
  return Require(*position >= 0 && state->count >= 0 && state->count <= 32, zmcStatusBadArgument);
}

}  // namespace zmcj
