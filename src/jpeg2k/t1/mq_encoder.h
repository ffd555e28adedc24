// The MQ encoder (ISO/IEC 15444-1, C.2) with its terminations, and the packer of raw segments (D.6). Both take recorded
// decisions and can stop after any of them: a byte goes to the output only when no carry can reach it any more.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "jpeg2k/t1/mq_words.h"

namespace zmcj::t1 {

// How an MQ segment ends. Each end decodes to the same decisions; only the predictable one can be checked.
enum class Termination { kFlush, kShortest, kPredictable };

struct MqEncoder {
  uint32_t a = 0x8000;
  uint32_t c = 0;
  int ct = 12;
  uint32_t byte = 0;  // the last byte, which a carry can still reach
  int has_byte = 0;   // 0 before the first

  // BYTEOUT: the byte before the last one is written, the last one is taken from the top of C. Behind 0xFF it takes 7
  // bits and the carry.
  inline __attribute__((always_inline)) uint8_t* ByteOut(uint8_t* out) {
    if (byte != 0xFF) {
      byte += c >> 27;
      c &= 0x7FFFFFF;
    }
    const int low_bits = byte == 0xFF ? 20 : 19;
    *out = static_cast<uint8_t>(byte);
    out += has_byte;
    has_byte = 1;
    byte = c >> low_bits;
    c &= (1u << low_bits) - 1;
    ct = 27 - low_bits;
    return out;
  }

  // After a pass: how many bytes, beyond those written, surely hold every bit that its decisions depend on. The
  // decoder's code register reaches 27 - CT bits beyond the last byte; three more bytes hold 23 bits in spite of
  // stuffing, or 22 where the last byte is 0xFF or a carry may make it so.
  int BytesAhead() const { return has_byte + (27 - ct > (byte < 0xFE ? 23 : 22) ? 4 : 3); }

  // Ends the segment and starts anew; writes at most 4 bytes.
  uint8_t* Terminate(Termination termination, uint8_t* out);
};

// Codes n recorded decisions; at most 3 bytes each. One more is read ahead.
inline __attribute__((always_inline)) uint8_t* EncodeDecisions(MqEncoder& encoder, MqContexts& contexts,
                                                               const uint8_t* decisions, int64_t n, uint8_t* out) {
  MqEncoder e = encoder;
  uint32_t a = e.a << 16;  // at the top of its word, where its leading zeros count
  // The next decision's context is read before this one's is written, and taken from the register when it is the same:
  // the way through memory would be the longest part of the loop.
  size_t context = *decisions >> 1;
  MqWord word = contexts.word[context];
  for (const uint8_t* const end = decisions + n; decisions < end;) {
    const uint32_t decision = *decisions++;
    const size_t following = *decisions >> 1;
    const MqWord ahead = contexts.word[following];
    const uint32_t qe = static_cast<uint32_t>(word >> 32) & 0xFFFF0000;
    a -= qe;
    // Runs of insignificant columns come in rows, and cost next to nothing: no state is touched in most of them.
    if (decision == 2 * kRunLength && (word & 1) == 0 && static_cast<int32_t>(a) < 0) {
      e.c += qe >> 16;
      constexpr uint64_t kEightRuns = 0x0101010101010101 * (2 * kRunLength);
      for (uint64_t next; end - decisions >= 8 && a >= (uint64_t{qe} << 3) + 0x80000000; decisions += 8) {
        std::memcpy(&next, decisions, 8);
        if (next != kEightRuns) break;
        a -= qe << 3;
        e.c += qe >> 16 << 3;
      }
      context = *decisions >> 1;
      word = contexts.word[context];
      continue;
    }
    const uint32_t less_probable = (decision ^ static_cast<uint32_t>(word)) & 1;
    const uint32_t part = SymbolsPart(less_probable, a, qe);
    // The part at the interval's lower end is Qe wide.
    const uint32_t lower = less_probable ^ static_cast<uint32_t>(a < qe);
    e.c += (qe >> 16) & (lower - 1);
    const MqWord successor = Successor(word, part, less_probable);
    contexts.word[context] = successor;
    word = SelectIfSame(context, following, successor, ahead);
    context = following;
    int shift = __builtin_clz(part);
    a = part << shift;
    while (shift >= e.ct) [[unlikely]] {
        e.c <<= e.ct;
        shift -= e.ct;
        out = e.ByteOut(out);
      }
    e.c <<= shift;
    e.ct -= shift;
  }
  e.a = a >> 16;
  encoder = e;
  return out;
}

class RawPacker {
 public:
  uint8_t* Put(int bit, uint8_t* out) {
    byte_ |= bit << counter_;
    return counter_-- > 0 ? out : Emit(out);
  }
  bool HoldsPartOfByte() const { return counter_ != (behind_ff_ ? 6 : 7); }

  // Completes the byte with 0, 1, 0, 1, ... and starts anew.
  uint8_t* Terminate(uint8_t* out) {
    if (HoldsPartOfByte()) {
      byte_ |= 0x2A >> (6 - counter_);
      out = Emit(out);
    }
    *this = RawPacker();
    return out;
  }

 private:
  uint8_t* Emit(uint8_t* out) {
    *out = static_cast<uint8_t>(byte_);
    behind_ff_ = byte_ == 0xFF;
    counter_ = behind_ff_ ? 6 : 7;
    byte_ = 0;
    return out + 1;
  }

  int counter_ = 7;  // the next bit's position
  int byte_ = 0;
  bool behind_ff_ = false;
};

}  // namespace zmcj::t1
