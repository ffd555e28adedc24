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

  BitReader(const Source& from, int position, int marker, const HeldBits& held)
      : HeldBits(held), bytes_(from.bytes), length_(from.length), position_(position), marker_(marker) {}

  int position() const { return position_; }
  int marker() const { return marker_; }

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

 private:
  const uint8_t* bytes_;
  int length_;
  int position_;
  int marker_;
};

// A symbol, or the status that kept it from being decoded.
struct Symbol {
  ZmcStatus status;
  uint32_t value;
};

// A symbol by its place among the codes of its length. In a table with more codes than fit, lengths overlap, and the
// place may lie outside the values.
inline Symbol SymbolAt(const DecodeSpec* spec, int length, int32_t code) {
  const int32_t place = spec->valptr[length] - spec->mincode[length] + code;
  if (place < 0 || place > 255) return {zmcStatusBadHuffmanData, 0};
  return {zmcStatusOk, spec->values[place]};
}

inline bool IsCode(const DecodeSpec* spec, int length, int32_t bits) {
  return spec->maxcode[length] != kNoCode && bits <= spec->maxcode[length];
}

// Every reader decodes symbols and receives bits. These two are for readers with the interface of HeldBits and Fill.

// Goes on from a code's first `length` bits, which are to be read, one bit at a time.
template <class Reader>
Symbol DecodeLongSymbol(Reader& reader, const DecodeSpec* spec, int length) {
  if (reader.count() < length) {
    if (const ZmcStatus s = reader.Fill(length); s < zmcStatusOk) return {s, 0};
  }
  int32_t code = static_cast<int32_t>(reader.Take(length));
  for (; !IsCode(spec, length, code); ++length) {
    if (length == kMaxCodeLength) return {zmcStatusBadHuffmanData, 0};
    if (reader.count() < 1) {
      if (const ZmcStatus s = reader.Fill(1); s < zmcStatusOk) return {s, 0};
    }
    code = code * 2 + static_cast<int32_t>(reader.Take(1));
  }
  return SymbolAt(spec, length, code);
}

template <class Reader>
Symbol DecodeSymbol(Reader& reader, const DecodeSpec* spec) {
  if (reader.count() < 8) {
    if (const ZmcStatus s = reader.Fill(0); s < zmcStatusOk) return {s, 0};
    if (reader.count() < 8) return DecodeLongSymbol(reader, spec, 1);
  }
  const uint32_t next = reader.Peek(8) << (kLookahead - 8);
  const FoundCode found(spec->total[next], spec->symbol[next]);
  if (!found.found() || found.length() > 8) return DecodeLongSymbol(reader, spec, 9);
  reader.Skip(static_cast<int>(found.length()));
  return {zmcStatusOk, found.symbol()};
}

// n bits, 1 to 15. *status is set when they had to be read: zmcStatusMarkerFound where that met a marker behind enough
// bits, an error where they do not suffice.
template <class Reader>
uint32_t Receive(Reader& reader, int n, ZmcStatus* status) {
  if (reader.count() < n) {
    *status = reader.Fill(n);
    if (*status < zmcStatusOk) return 0;
  }
  return reader.Take(n);
}

// A reader with those two as its own functions, as the block decoders call them; *origin is for readers that need one.
// This one never finds anything beforehand: Refilled to TakeValue are the short cuts of WindowReader.
template <class Reader>
class Decoding : public Reader {
 public:
  struct Origin {
    Source from;
  };
  using Reader::Reader;
  Decoding(Origin* origin, const Source& from, const DecodeState* state) : Reader(from, state), origin_(origin) {
    origin->from = from;
  }
  void Save(DecodeState* state) const { Reader::Save(origin_->from, state); }
  bool Refilled() { return false; }
  bool Refill() { return false; }
  FoundCode Next(const DecodeSpec*) { return {}; }
  FoundCode Look(const DecodeSpec*) { return {}; }
  uint32_t TakeSymbol(FoundCode) { return 0; }
  template <int kLeast>
  int32_t TakeValue(FoundCode) {
    return 0;
  }
  Symbol DecodeOther(const DecodeSpec* spec) { return Decode(spec); }
  Symbol Decode(const DecodeSpec* spec) { return DecodeSymbol<Reader>(*this, spec); }
  uint32_t Receive(int n, ZmcStatus* status) { return zmcj::Receive<Reader>(*this, n, status); }

 private:
  Origin* origin_ = nullptr;
};

// A position below 0 or a state that no Init has made would lead outside the source.
inline ZmcStatus CheckReading(const int* position, const DecodeState* state) {
  return Require(*position >= 0 && state->count >= 0 && state->count <= 32, zmcStatusBadArgument);
}

}  // namespace zmcj
