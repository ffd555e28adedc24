// Encoding and counting the AC coefficients of progressive scans (ISO/IEC 10918-1, G.1.2.2 and G.1.2.3): the reference,
// one coefficient after the other, and what the faster kernels share with it.
#pragma once

#include <bit>
#include <cstdlib>
#include <cstring>

#include "core/memory.h"
#include "jpeg/coding/bit_writer.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/progressive.h"
#include "jpeg/coding/words.h"

namespace zmcj {

struct AcEncodeKernels {
  ZmcStatus (*first)(const int16_t* block, const Band& band, const Destination& to, const EncodeSpec* ac,
                     EncodeState* state);
  ZmcStatus (*refine)(const int16_t* block, const Band& band, const Destination& to, const EncodeSpec* ac,
                      EncodeState* state);
  ZmcStatus (*count_first)(const int16_t* block, const Band& band, uint32_t* counts, EncodeState* state);
  ZmcStatus (*count_refine)(const int16_t* block, const Band& band, uint32_t* counts, EncodeState* state);
};

inline constexpr int kMaxAcCategory = 11;
inline constexpr int kLongestRun = 32767;  // of ended blocks: what EOB14 and its 14 bits can say
// Correction bits that are buffered before they are written at the latest: another block's 63 still fit behind 937.
inline constexpr int kMostCorrections = 938;

// A sink takes codes by their symbol, and bits.
class AcWritingSink {
 public:
  AcWritingSink(const Destination& to, const EncodeState* state, const EncodeSpec* ac) : writer_(to, state), ac_(ac) {}
  ZmcStatus Code(uint32_t symbol) { return writer_.PutCode(ac_->entries[symbol]); }
  ZmcStatus Bits(uint32_t value, int n) { return n == 0 ? zmcStatusOk : writer_.Put(value, n); }
  ZmcStatus Corrections(const uint8_t* corrections, int n) {
    for (int i = 0; i < n; ++i) {
      if (ZmcStatus s = writer_.Put(corrections[i], 1)) return s;
    }
    return zmcStatusOk;
  }
  void Save(EncodeState* state) const { writer_.Save(state); }

 private:
  BitWriter writer_;
  const EncodeSpec* ac_;
};

class AcCountingSink {
 public:
  explicit AcCountingSink(uint32_t* counts) : counts_(counts) {}
  ZmcStatus Code(uint32_t symbol) {
    ++counts_[symbol];
    return zmcStatusOk;
  }
  ZmcStatus Bits(uint32_t, int) { return zmcStatusOk; }
  ZmcStatus Corrections(const uint8_t*, int) { return zmcStatusOk; }

 private:
  uint32_t* counts_;
};

struct Coefficient {
  Coefficient(const int16_t* block, int k, int al) {
    const int32_t value = LoadSample<int16_t>(block + kNaturalOrder[k]);
    negative = value < 0;
    magnitude = static_cast<uint32_t>(std::abs(value)) >> al;
  }
  uint32_t magnitude;  // without its lowest al bits
  bool negative;
};

// The code for `run` blocks whose band has ended: 2^n to 2^(n+1) - 1 of them take EOBn and n bits.
template <class Sink>
ZmcStatus PutRun(Sink& sink, int32_t* run) {
  if (*run == 0) return zmcStatusOk;
  const int n = static_cast<int>(std::bit_width(static_cast<uint32_t>(*run))) - 1;
  if (n > 14) return zmcStatusBadHuffmanData;
  if (ZmcStatus s = sink.Code(static_cast<uint32_t>(n) << 4)) return s;
  if (ZmcStatus s = sink.Bits(static_cast<uint32_t>(*run) & ((1u << n) - 1), n)) return s;
  *run = 0;
  return zmcStatusOk;
}

template <class Sink>
ZmcStatus CodeFirstReference(const int16_t* block, const Band& band, EncodeState* state, Sink& sink) {
  int32_t run = state->eob_run;
  const auto code = [&] {
    int r = 0;
    for (int k = band.ss; k <= band.se; ++k) {
      const Coefficient c(block, k, band.al);
      if (c.magnitude == 0) {
        ++r;
        continue;
      }
      if (ZmcStatus s = PutRun(sink, &run)) return s;
      for (; r > 15; r -= 16) {
        if (ZmcStatus s = sink.Code(kZeroRun16)) return s;
      }
      const int size = static_cast<int>(std::bit_width(c.magnitude));
      if (size > kMaxAcCategory) return zmcStatusBadHuffmanData;
      if (ZmcStatus s = sink.Code(static_cast<uint32_t>(r * 16 + size))) return s;
      if (ZmcStatus s = sink.Bits(c.negative ? ~c.magnitude : c.magnitude, size)) return s;
      r = 0;
    }
    if (r > 0 && ++run >= kLongestRun) return PutRun(sink, &run);
    return zmcStatusOk;
  };
  const ZmcStatus status = code();
  state->eob_run = run;
  return status;
}

template <class Sink>
ZmcStatus CodeRefineReference(const int16_t* block, const Band& band, EncodeState* state, Sink& sink) {
  int32_t run = state->eob_run;
  int pending = state->corrections;  // of blocks before this one
  uint8_t* const buffer = state->correction;
  uint8_t* corrections = buffer + pending;  // of this block
  int n = 0;
  const auto put_pending = [&] {
    if (ZmcStatus s = PutRun(sink, &run)) return s;
    if (ZmcStatus s = sink.Corrections(buffer, pending)) return s;
    pending = 0;
    return zmcStatusOk;
  };
  const auto put_own = [&] {
    const ZmcStatus s = sink.Corrections(corrections, n);
    corrections = buffer;
    n = 0;
    return s;
  };
  int last_new = 0;
  for (int k = band.ss; k <= band.se; ++k) {
    if (Coefficient(block, k, band.al).magnitude == 1) last_new = k;
  }
  const auto code = [&] {
    int r = 0;
    for (int k = band.ss; k <= band.se; ++k) {
      const Coefficient c(block, k, band.al);
      if (c.magnitude == 0) {
        ++r;
        continue;
      }
      // Behind the last new coefficient zeros belong to the band's end.
      for (; r > 15 && k <= last_new; r -= 16) {
        if (ZmcStatus s = put_pending()) return s;
        if (ZmcStatus s = sink.Code(kZeroRun16)) return s;
        if (ZmcStatus s = put_own()) return s;
      }
      if (c.magnitude > 1) {
        corrections[n++] = static_cast<uint8_t>(c.magnitude & 1);
        continue;
      }
      if (ZmcStatus s = put_pending()) return s;
      if (ZmcStatus s = sink.Code(static_cast<uint32_t>(r * 16 + 1))) return s;
      if (ZmcStatus s = sink.Bits(c.negative ? 0 : 1, 1)) return s;
      if (ZmcStatus s = put_own()) return s;
      r = 0;
    }
    if (r == 0 && n == 0) return zmcStatusOk;
    ++run;
    pending += n;
    return run >= kLongestRun || pending >= kMostCorrections ? put_pending() : zmcStatusOk;
  };
  const ZmcStatus status = code();
  state->eob_run = run;
  if (status == zmcStatusOk) state->corrections = pending;
  return status;
}

template <bool kRefine, class Sink>
ZmcStatus CodeReference(const int16_t* block, const Band& band, EncodeState* state, Sink& sink) {
  if constexpr (kRefine) return CodeRefineReference(block, band, state, sink);
  return CodeFirstReference(block, band, state, sink);
}

template <bool kRefine>
ZmcStatus EncodeReference(const int16_t* block, const Band& band, const Destination& to, const EncodeSpec* ac,
                          EncodeState* state) {
  AcWritingSink sink(to, state, ac);
  const ZmcStatus status = CodeReference<kRefine>(block, band, state, sink);
  sink.Save(state);
  return status;
}

template <bool kRefine>
ZmcStatus CountReference(const int16_t* block, const Band& band, uint32_t* counts, EncodeState* state) {
  AcCountingSink sink(counts);
  return CodeReference<kRefine>(block, band, state, sink);
}

// Appends n correction bits, the lowest first, as bytes of 0 and 1. Up to seven bytes behind them are overwritten.
inline void AppendCorrections(uint8_t* to, uint64_t bits, int n) {
  for (; n > 0; n -= 8, bits >>= 8, to += 8) {
    // A copy of the eight bits in every byte, of which byte i keeps bit i.
    const uint64_t spread = (bits & 0xFF) * 0x0101010101010101u & 0x8040201008040201u;
    const uint64_t bytes = (spread + 0x7F7F7F7F7F7F7F7Fu) >> 7 & 0x0101010101010101u;
    std::memcpy(to, &bytes, sizeof bytes);
  }
}

}  // namespace zmcj
