// Writing entropy-coded bits (ISO/IEC 10918-1, F.1.2.3): most significant first, a 0x00 behind every byte 0xFF.
//
// Two writers leave the same bytes, position and state. BitWriter checks the destination before every byte and is the
// reference; PackedWriter wants room for the whole block and writes eight bytes at a time. A block of small values has
// its own way to the same, in block_bits-inl.h.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "core/check.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/words.h"

namespace zmcj {

// The caller's destination: `length` bytes, of which *position are written.
struct Destination {
  uint8_t* bytes;
  int length;
  int* position;
};

class BitWriter {
 public:
  BitWriter(const Destination& to, const EncodeState* state)
      : to_(to), position_(*to.position), count_(state->count), pending_(state->accumulator >> (24 - count_)) {}

  // Pending bits that stand in a byte already: the top `count` bits of `byte`.
  BitWriter(const Destination& to, int count, unsigned byte)
      : to_(to), position_(*to.position), count_(count), pending_(byte >> (8 - count)) {}

  // The low `length` bits of value. On failure the pending bits are those of before; bytes already written count.
  ZmcStatus Put(uint32_t value, int length) {
    const uint32_t bits = pending_ << length | (value & ((uint32_t{1} << length) - 1));
    int count = count_ + length;
    for (; count >= 8; count -= 8) {
      const auto byte = static_cast<uint8_t>(bits >> (count - 8));
      if (position_ >= to_.length) return zmcStatusBufferExhausted;
      to_.bytes[position_++] = byte;
      if (byte != 0xFF) continue;
      if (position_ >= to_.length) return zmcStatusBufferExhausted;
      to_.bytes[position_++] = 0;
    }
    pending_ = bits;
    count_ = count;
    return zmcStatusOk;
  }

  // One symbol's code.
  ZmcStatus PutCode(uint32_t entry) {
    const auto length = static_cast<int>(CodeLength(entry));
    return length == 0 ? zmcStatusBadHuffmanTable : Put(entry, length);
  }

  // The code, then the category's appended bits: two writes, the first of which stands when the second fails.
  ZmcStatus PutCoded(uint32_t entry, uint32_t appended, int category) {
    if (ZmcStatus s = PutCode(entry)) return s;
    return category == 0 ? zmcStatusOk : Put(appended, category);
  }

  void Save(EncodeState* state) const {
    state->accumulator = (pending_ & ((1u << count_) - 1)) << (24 - count_);
    state->reserved = 0;
    state->count = count_;
    *to_.position = position_;
  }

  int position() const { return position_; }
  int count() const { return count_; }
  unsigned partial_byte() const { return pending_ << (8 - count_) & 0xFF; }

 private:
  Destination to_;
  int position_;
  int count_;         // 0 to 7 between writes
  uint32_t pending_;  // in the low count_ bits; what stands above them is old
};

// The low `bytes` bytes of a word. Takes and returns the position, so that a writer itself stays in registers.
[[gnu::noinline]] inline uint8_t* PutStuffed(uint8_t* out, uint64_t word, int bytes) {
  while (bytes-- > 0) {
    const auto byte = static_cast<uint8_t>(word >> (8 * bytes));
    *out++ = byte;
    if (byte == 0xFF) *out++ = 0;
  }
  return out;
}

class PackedWriter {
 public:
  // What one block can take: 64 coefficients of a 16-bit code and 16 appended bits, 3 zero runs, 7 bits pending and
  // the end of the block, doubled by stuffing (2 * (64 * 4 + 9)), and a word.
  static constexpr int kRoomPerBlock = 544;

  static bool HasRoom(const Destination& to, int room = kRoomPerBlock) { return to.length - *to.position >= room; }

  PackedWriter(const Destination& to, int count, uint64_t pending)
      : to_(to), out_(to.bytes + *to.position), free_(64 - count), pending_(pending) {}
  PackedWriter(const Destination& to, const EncodeState* state)
      : PackedWriter(to, state->count, state->accumulator >> (24 - state->count)) {}

  // value has at most `length` bits, and at most 32.
  void Put(uint64_t value, int length) {
    if (length < free_) [[likely]] {
      free_ -= length;
      pending_ = pending_ << length | value;
      return;
    }
    const int excess = length - free_;
    const uint64_t full = pending_ << free_ | value >> excess;
    if (HasByteFF(full)) [[unlikely]] {
      out_ = PutStuffed(out_, full, 8);
    } else {
      StoreBigEndian64(out_, full);
      out_ += 8;
    }
    pending_ = value;
    free_ = 64 - excess;
  }

  // Writes the full bytes that are pending; less than a byte stays.
  void Flush() {
    const int bytes = count() >> 3, left = count() & 7;
    free_ = 64 - left;
    const uint64_t full = pending_ >> left & ((uint64_t{1} << (8 * bytes)) - 1);
    if (HasByteFF(full) || out_ - to_.bytes < 8) [[unlikely]] {
      out_ = PutStuffed(out_, full, bytes);
    } else {
      // Stored together with the bytes before them, so that nothing behind them changes and nothing is branched on.
      StoreBigEndian64(out_ + bytes - 8, LoadBigEndian64(out_ - 8) << (8 * bytes) | full);
      out_ += bytes;
    }
  }

  // After Flush.
  void Save(EncodeState* state) const {
    state->accumulator = static_cast<uint32_t>(pending_ & ((1u << count()) - 1)) << (24 - count());
    state->reserved = 0;
    state->count = count();
    *to_.position = position();
  }

  int position() const { return static_cast<int>(out_ - to_.bytes); }
  int count() const { return 64 - free_; }
  unsigned partial_byte() const { return static_cast<unsigned>(pending_ << (8 - count())) & 0xFF; }

 private:
  Destination to_;
  uint8_t* out_;
  int free_;          // number of bits of pending_ above those that are pending: 1 to 64
  uint64_t pending_;  // what stands in the free bits is old
};

// The checks that every encoder with a state begins with. A position below 0 or a state that no Init has made would
// lead outside the destination.
inline ZmcStatus CheckDestination(const uint8_t* bytes, int length, const int* position, const EncodeState* state) {
  if (ZmcStatus s = FirstFailure(NotNull(bytes), Length(length), NotNull(position, state))) return s;
  return Require(*position >= 0 && state->count >= 0 && state->count < 8, zmcStatusBadArgument);
}

// Ends a scan: pads the last byte with 1-bits and makes the state new.
[[gnu::noinline]] inline ZmcStatus PadAndReset(const Destination& to, EncodeState* state) {
  BitWriter writer(to, state);
  const ZmcStatus status = writer.Put(0x7F, 7);
  writer.Save(state);
  ResetState(state);
  return status;
}

}  // namespace zmcj
