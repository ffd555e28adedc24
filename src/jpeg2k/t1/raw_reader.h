// Raw segments of the bypass mode (ISO/IEC 15444-1, D.6): bits packed most significant first, a 0 stuffed after 0xFF.
#pragma once

#include <cstdint>

namespace zmcj::t1 {

class RawReader {
 public:
  RawReader() = default;
  RawReader(const uint8_t* data, int64_t length) : data_(data), length_(length) {}

  int Bit() {
    if (counter_ < 0) {
      counter_ = last_ < 0xFF ? 7 : 6;
      last_ = ByteAt(position_++);
    }
    return (last_ >> counter_--) & 1;
  }

  // Whether the segment does not end as the encoder ends it: with the padding 0, 1, 0, 1, ... and no byte too few. One
  // byte more is tolerated; behind 0xFF it must not look like a marker.
  bool EndFault() const {
    const int unread = (1 << (counter_ + 1)) - 1;
    if ((last_ & unread) != 0x55 >> (7 - counter_)) return true;
    if (position_ > length_) return true;
    return position_ < length_ && last_ == 0xFF && counter_ == 0 && data_[position_] >= 0x80;
  }

 private:
  int ByteAt(int64_t i) const { return i < length_ ? data_[i] : 0xFF; }

  const uint8_t* data_ = nullptr;
  int64_t length_ = 0;
  int64_t position_ = 0;  // of the next byte
  int counter_ = -1;      // bits of last_ still to be read, less one
  int last_ = 0;
};

}  // namespace zmcj::t1
