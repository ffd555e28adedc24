// The MQ decoder of the fast passes. Its code register is as wide as the machine's words, with the standard's Chigh at
// the top and bytes fetched in advance below, so that bytes are fetched many at a time and a renormalisation is one
// shift. It takes no branch on what it decodes: in the middle of a picture that is a coin's toss.
// Included once per level: no ordinary include guard.

#if defined(ZMCJ_T1_MQ_WINDOW_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_T1_MQ_WINDOW_INL_H_
#undef ZMCJ_T1_MQ_WINDOW_INL_H_
#else
#define ZMCJ_T1_MQ_WINDOW_INL_H_
#endif

#include <type_traits>

#include "jpeg2k/t1/mq_decoder.h"
#include "jpeg2k/t1/mq_words.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::t1::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

using Window = std::conditional_t<sizeof(void*) == 8, uint64_t, uint32_t>;
constexpr int kWindowBits = static_cast<int>(sizeof(Window)) * 8;
constexpr int kHigh = kWindowBits - 16;  // where A's and Chigh's bit 0 stand

HWY_INLINE int LeadingZeros(Window w) {
  if constexpr (kWindowBits == 64) return __builtin_clzll(w);
  return __builtin_clz(static_cast<unsigned>(w));
}

struct MqRegisters {
  Window a;
  Window c;
  int left;  // bits fetched in advance
};

// The segment behind the registers.
class MqSource {
 public:
  MqRegisters Open(const uint8_t* data, int64_t length) {
    data_ = data;
    length_ = length;
    position_ = 0;
    fetched_ = 0;
    marker_ = false;
    const Window first = length < 1 ? 0 : Window{255u - data[0]} << kHigh;
    // The first fetch and the shift by 7 that make the registers of INITDEC.
    MqRegisters r = Renormalise(first, 0, 7);
    r.a = Window{0x8000} << kHigh;
    return r;
  }

  // Shifts C by `shift`, more than the `left` bits at hand, and fetches. A byte goes in at the moment when the standard
  // fetches it or before: no comparison sees the bits below Chigh. But one of 0x80 and up behind 0xFF carries into bits
  // that have been fetched already: it has to wait until those are used up.
  MqRegisters Renormalise(Window c, int left, int shift) {
    c <<= left;
    shift -= left;
    left = 0;
    while (shift > 0) {
      do {
        Fetch(c, left);
      } while (left <= kHigh - 8 && !NextCarries());
      const int step = shift < left ? shift : left;
      c <<= step;
      left -= step;
      shift -= step;
    }
    return {0, c, left};
  }

  bool EndFault(const MqRegisters& r) const {
    // Where the standard's decoder would stand: it fetches only when it has no bit left.
    int64_t used = fetched_ - r.left;
    Window ignored = 0;
    int ct = 0;
    MqSource replay;
    replay.data_ = data_;
    replay.length_ = length_;
    replay.Fetch(ignored, ct);
    while (used > ct) {
      used -= ct;
      ct = 0;
      replay.Fetch(ignored, ct);
    }
    ct -= static_cast<int>(used);
    return MqEndFault(replay.marker_, static_cast<uint32_t>(ct), ByteAt(replay.position_), ByteAt(replay.position_ + 1),
                      static_cast<uint32_t>(r.a >> kHigh), static_cast<uint32_t>(r.c >> kHigh));
  }

 private:
  uint32_t ByteAt(int64_t i) const { return i < length_ ? data_[i] : 0xFF; }

  bool NextCarries() const {
    const uint32_t next = ByteAt(position_ + 1);
    return !marker_ && ByteAt(position_) == 0xFF && next >= 0x80 && next < 0x90;
  }

  // BYTEIN, below `left` bits that are there already.
  void Fetch(Window& c, int& left) {
    int bits = 8;
    if (!marker_) {
      const uint32_t next = ByteAt(position_ + 1);
      if (ByteAt(position_) < 0xFF) {
        ++position_;
        c += Window{0xFF - next} << (kHigh - 8 - left);
      } else if (next > 0x8F) {
        marker_ = true;
      } else {
        ++position_;
        bits = 7;
        c += (Window{0x7F} - Window{next}) << (kHigh - 7 - left);
      }
    }
    left += bits;
    fetched_ += bits;
  }

  const uint8_t* data_ = nullptr;
  int64_t length_ = 0;
  int64_t position_ = 0;  // of the last byte fetched
  int64_t fetched_ = 0;   // bits since the segment's start
  bool marker_ = false;
};

// One decision.
HWY_INLINE uint32_t DecodeDecision(MqRegisters& r, MqSource& source, MqWord& context) {
  const MqWord word = context;
  const Window qe = static_cast<Window>(word >> 48) << kHigh;
  const Window a = r.a - qe;
  // All ones when the code lies in the lower part, which is Qe wide.
  const Window lower = Window{0} - static_cast<Window>(r.c >= a);
  const Window part = a ^ ((a ^ qe) & lower);
  const auto less_probable = static_cast<uint32_t>((lower & 1) ^ static_cast<Window>(a < qe));
  const int shift = LeadingZeros(part);
  const Window c = r.c - (a & lower);
  // This word again, its successor after the more probable symbol, or after the less probable one.
  const uint32_t successor = less_probable ? 16 : shift > 0 ? 8 : 0;
  context = kMqWords[static_cast<size_t>(word >> successor & 0xFF)];
  r.a = part << shift;
  r.left -= shift;
  if (HWY_LIKELY(r.left >= 0)) {
    r.c = c << shift;
  } else {
    const MqRegisters fresh = source.Renormalise(c, r.left + shift, shift);
    r.c = fresh.c;
    r.left = fresh.left;
  }
  return static_cast<uint32_t>(word & 1) ^ less_probable;
}

}  // namespace
#endif
}  // namespace zmcj::t1::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // ZMCJ_T1_MQ_WINDOW_INL_H_
