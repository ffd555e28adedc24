#include "jpeg2k/t1/mq_encoder.h"

namespace zmcj::t1 {
namespace {

// FLUSH: as many ones as fit below the interval's top.
uint8_t* Flush(MqEncoder& e, uint8_t* out) {
  const uint32_t top = e.c + e.a;
  e.c |= 0xFFFF;
  if (e.c >= top) e.c -= 0x8000;
  for (int i = 0; i < 2; ++i) {
    e.c <<= e.ct;
    out = e.ByteOut(out);
  }
  return out;
}

// D.4.2: the interval's lower end, down to the bits that a byte boundary leaves over.
uint8_t* EndPredictably(MqEncoder& e, uint8_t* out) {
  for (int left = 12 - e.ct; left > 0; left -= e.ct) {
    e.c <<= e.ct;
    out = e.ByteOut(out);
  }
  return out;
}

// The first length at which some value of the last byte keeps everything that can follow inside the interval.
uint8_t* EndShortest(MqEncoder& e, uint8_t* out) {
  for (uint64_t a = e.a;;) {
    const uint64_t unit = uint64_t{1} << (27 - e.ct);  // of the last byte, on C's scale
    const uint64_t carry = (e.c + unit - 1) / unit;
    const bool fits = (carry + 1) * unit <= e.c + a;
    if (fits && (carry == 0 || e.byte != 0xFF)) {
      e.byte += static_cast<uint32_t>(carry);
      return out;
    }
    a <<= e.ct;
    e.c <<= e.ct;
    out = e.ByteOut(out);
  }
}

}  // namespace

uint8_t* MqEncoder::Terminate(Termination termination, uint8_t* out) {
  switch (termination) {
    case Termination::kFlush:
      out = Flush(*this, out);
      break;
    case Termination::kShortest:
      out = EndShortest(*this, out);
      break;
    case Termination::kPredictable:
      out = EndPredictably(*this, out);
      break;
  }
  // A segment does not end in 0xFF: the decoder takes missing bytes for it.
  if (has_byte != 0 && byte != 0xFF) *out++ = static_cast<uint8_t>(byte);
  *this = MqEncoder();
  return out;
}

}  // namespace zmcj::t1
