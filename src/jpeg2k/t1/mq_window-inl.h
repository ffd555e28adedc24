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

// Two words: returned in registers.
struct Fetched {
  Window c;
  Window left;
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
    const Fetched fetched = Renormalise(first, 0, 7);
    return {Window{0x8000} << kHigh, fetched.c, static_cast<int>(fetched.left)};
  }

  // Shifts C by `shift`, more than the `left` bits at hand, and fetches. A byte goes in at the moment when the standard
  // fetches it or before: no comparison sees the bits below Chigh. But one of 0x80 and up behind 0xFF carries into bits
  // that have been fetched already: it has to wait until those are used up.
  HWY_NOINLINE Fetched Renormalise(Window c, int left, int shift) {
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
    return {c, static_cast<Window>(left)};
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

// The interval's upper part, a wide, belongs to one symbol, the lower, qe wide, to the other.
struct Part {
  Window width;
  Window c;      // on the part's own scale
  Window lower;  // 1 when the code lies in the lower part
};
HWY_INLINE Part FindPart(Window c, Window a, Window qe) {
#if defined(__x86_64__)
  // As in Successor: conditional moves that compilers would turn into a branch.
  Part part = {a, c, 0};
  Window rest = c;
  __asm__("sub %[a], %[rest]\n\tcmovae %[qe], %[width]\n\tcmovae %[rest], %[c]\n\tsetae %b[lower]"
          : [rest] "+&r"(rest), [width] "+&r"(part.width), [c] "+&r"(part.c), [lower] "+&q"(part.lower)
          : [a] "r"(a), [qe] "r"(qe)
          : "cc");
  return part;
#else
  const Window lower = static_cast<Window>(c >= a), mask = Window{0} - lower;
  return {a ^ ((a ^ qe) & mask), c - (a & mask), lower};
#endif
}

// One decision.
HWY_INLINE uint32_t DecodeDecision(MqRegisters& r, MqSource& source, MqWord& context) {
  const MqWord word = context;
  const Window qe = static_cast<Window>(word >> 48) << kHigh;
  const Window a = r.a - qe;
  const Part part = FindPart(r.c, a, qe);
  const Window less_probable = part.lower ^ static_cast<Window>(a < qe);
  context = Successor(word, part.width, less_probable);
  const int shift = LeadingZeros(part.width);
  r.a = part.width << shift;
  r.left -= shift;
  if (HWY_LIKELY(r.left >= 0)) {
    r.c = part.c << shift;
  } else {
    const Fetched fetched = source.Renormalise(part.c, r.left + shift, shift);
    r.c = fetched.c;
    r.left = static_cast<int>(fetched.left);
  }
  return static_cast<uint32_t>((word ^ less_probable) & 1);
}

// A decision for each bit of `items` from the lowest, in one context, as long as it is the more probable symbol and
// needs no renormalisation: nearly always where that symbol is nearly certain. Returns the bits left over.
HWY_INLINE uint64_t SkipLikelyZeros(MqRegisters& r, MqWord word, uint64_t items) {
  const Window qe = static_cast<Window>(word >> 48) << kHigh;
  for (; items != 0; items &= items - 1) {
    const Window a = r.a - qe;
    if (r.c >= a || a >> (kWindowBits - 1) == 0) break;
    r.a = a;
  }
  return items;
}

}  // namespace
#endif
}  // namespace zmcj::t1::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // ZMCJ_T1_MQ_WINDOW_INL_H_
