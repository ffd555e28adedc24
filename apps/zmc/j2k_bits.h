// Big-endian bytes of marker segments and boxes, and the bit-stuffed bits of packet headers (ISO/IEC 15444-1, B.10.1).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "failure.h"

namespace zmc::j2k {

// Reads never pass the end: they throw Failure.
class ByteReader {
 public:
  explicit ByteReader(std::span<const uint8_t> data) : data_(data) {}
  size_t left() const { return data_.size(); }
  std::span<const uint8_t> rest() const { return data_; }
  int U8() { return static_cast<int>(Read(1)); }
  int U16() { return static_cast<int>(Read(2)); }
  int64_t U32() { return Read(4); }
  void Skip(size_t n) { Take(n); }
  ByteReader Take(size_t n) {
    Need(n);
    const ByteReader taken(data_.first(n));
    data_ = data_.subspan(n);
    return taken;
  }

 private:
  void Need(size_t n) const {
    if (n > data_.size()) throw Failure("JPEG 2000: the data ends inside a header");
  }
  int64_t Read(size_t n) {
    Need(n);
    int64_t v = 0;
    for (size_t i = 0; i < n; ++i) v = v << 8 | data_[i];
    data_ = data_.subspan(n);
    return v;
  }
  std::span<const uint8_t> data_;
};

// After a byte of 0xFF only seven bits follow in the next byte, so that no marker can appear.
class BitReader {
 public:
  explicit BitReader(std::span<const uint8_t> data) : data_(data) {}
  int Bit() {
    if (count_ == 0) NextByte();
    return last_ >> --count_ & 1;
  }
  uint32_t Bits(int n) {
    uint32_t v = 0;
    while (n-- > 0) v = v << 1 | static_cast<uint32_t>(Bit());
    return v;
  }
  // Ends the header: to the next byte, past the byte that is stuffed after a last 0xFF. Returns the bytes used.
  size_t Finish() {
    if (last_ == 0xFF) NextByte();
    count_ = 0;
    return position_;
  }

 private:
  void NextByte() {
    if (position_ == data_.size()) throw Failure("JPEG 2000: the data ends inside a packet header");
    count_ = last_ == 0xFF ? 7 : 8;
    last_ = data_[position_++];
  }
  std::span<const uint8_t> data_;
  size_t position_ = 0;
  int last_ = 0;
  int count_ = 0;
};

class BitWriter {
 public:
  explicit BitWriter(std::vector<uint8_t>& out) : out_(out) {}
  void Bit(int bit) {
    byte_ = byte_ << 1 | bit;
    if (--free_ == 0) Emit();
  }
  void Bits(uint32_t v, int n) {
    while (n-- > 0) Bit(static_cast<int>(v >> n & 1));
  }
  void Finish() {
    // A partly filled byte, or the byte that must follow a last 0xFF. Its last bit is 0, so it is not 0xFF itself.
    if (free_ == 8) return;
    byte_ <<= free_;
    Emit();
  }

 private:
  void Emit() {
    out_.push_back(static_cast<uint8_t>(byte_));
    free_ = byte_ == 0xFF ? 7 : 8;
    byte_ = 0;
  }
  std::vector<uint8_t>& out_;
  int byte_ = 0;
  int free_ = 8;
};

}  // namespace zmc::j2k
