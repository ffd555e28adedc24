// The MQ decoder as the standard writes it (ISO/IEC 15444-1, C.3), with the code register complemented: C counts down
// from the interval's top, so that the more probable branch leaves it alone and missing data are zeros.
#pragma once

#include <cstdint>

#include "jpeg2k/t1/mq_states.h"

namespace zmcj::t1 {

// Whether a segment does not end as a predictable termination (D.4.2) would end it: all bytes taken, and the code at
// the interval's lower end in the bits that the encoder had left. `byte` is the current one, `next` the one behind it.
inline bool MqEndFault(bool marker, uint32_t ct, uint32_t byte, uint32_t next, uint32_t a, uint32_t c_high) {
  if (!marker && (byte < 0xFF || ct != 0)) return true;
  if (ct == 1) return false;
  if (ct == 0) {
    if (!marker && next < 0x90) return true;
    ct = 8;
  }
  return c_high < a - (0x8000u >> (ct - 1));
}

class MqDecoder {
 public:
  MqDecoder() { ResetContexts(); }

  void ResetContexts() {
    for (int i = 0; i < kContexts; ++i) state_[i] = InitialState(i), mps_[i] = 0;
  }

  void Open(const uint8_t* data, int64_t length) {
    data_ = data;
    length_ = length;
    position_ = 0;
    marker_ = false;
    c_ = length < 1 ? 0 : (255u - data[0]) << 16;
    ByteIn();
    c_ <<= 7;
    ct_ -= 7;
    a_ = 0x8000;
  }

  int Decode(int context) {
    const MqState& state = kMqStates[static_cast<size_t>(state_[context])];
    const auto qe = static_cast<uint32_t>(state.qe);
    a_ -= qe;
    bool less_probable;
    if (c_ >> 16 < a_) {
      if (a_ & 0x8000) return mps_[context];
      less_probable = a_ < qe;
    } else {
      c_ -= a_ << 16;
      less_probable = a_ >= qe;
      a_ = qe;
    }
    const int bit = mps_[context] ^ static_cast<int>(less_probable);
    state_[context] = less_probable ? state.next_lps : state.next_mps;
    if (less_probable) mps_[context] ^= state.switch_mps;
    Renormalise();
    return bit;
  }

  bool EndFault() const { return MqEndFault(marker_, ct_, ByteAt(position_), ByteAt(position_ + 1), a_, c_ >> 16); }

 private:
  uint32_t ByteAt(int64_t i) const { return i < length_ ? data_[i] : 0xFF; }

  void ByteIn() {
    ct_ = 8;
    if (marker_) return;
    const uint32_t next = ByteAt(position_ + 1);
    if (ByteAt(position_) < 0xFF) {
      ++position_;
      c_ += 0xFF00 - (next << 8);
    } else if (next > 0x8F) {
      marker_ = true;
    } else {
      ++position_;
      c_ += 0xFE00 - (next << 9);
      ct_ = 7;
    }
  }

  void Renormalise() {
    do {
      if (ct_ == 0) ByteIn();
      a_ <<= 1;
      c_ <<= 1;
      --ct_;
    } while ((a_ & 0x8000) == 0);
  }

  const uint8_t* data_ = nullptr;
  int64_t length_ = 0;
  int64_t position_ = 0;  // of the current byte
  uint32_t a_ = 0;
  uint32_t c_ = 0;
  uint32_t ct_ = 0;
  bool marker_ = false;
  int state_[kContexts];
  int mps_[kContexts];
};

}  // namespace zmcj::t1
