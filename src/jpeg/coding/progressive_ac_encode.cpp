// AC coefficients of progressive scans, encoding and counting (ISO/IEC 10918-1, G.1.2.2 and G.1.2.3).
#include <bit>
#include <cstdlib>

#include "core/check.h"
#include "core/memory.h"
#include "jpeg/coding/bit_writer.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/progressive.h"

namespace zmcj {
namespace {

constexpr int kMaxAcCategory = 11;
constexpr int kLongestRun = 32767;  // of ended blocks: what EOB14 and its 14 bits can say
// Correction bits that are buffered before they are written at the latest: another block's 63 still fit behind 937.
constexpr int kMostCorrections = 938;

// A sink takes codes by their symbol, and bits.
class WritingSink {
 public:
  WritingSink(const Destination& to, const EncodeState* state, const EncodeSpec* ac) : writer_(to, state), ac_(ac) {}
  ZmcStatus Code(uint32_t symbol) { return writer_.PutCode(ac_->entries[symbol]); }
  ZmcStatus Bits(uint32_t value, int n) { return n == 0 ? zmcStatusOk : writer_.Put(value, n); }
  void Save(EncodeState* state) const { writer_.Save(state); }

 private:
  BitWriter writer_;
  const EncodeSpec* ac_;
};

class CountingSink {
 public:
  explicit CountingSink(uint32_t* counts) : counts_(counts) {}
  ZmcStatus Code(uint32_t symbol) {
    ++counts_[symbol];
    return zmcStatusOk;
  }
  ZmcStatus Bits(uint32_t, int) { return zmcStatusOk; }
  void Save(EncodeState*) const {}

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
  const int n = std::bit_width(static_cast<uint32_t>(*run)) - 1;
  if (n > 14) return zmcStatusBadHuffmanData;
  if (ZmcStatus s = sink.Code(static_cast<uint32_t>(n) << 4)) return s;
  if (ZmcStatus s = sink.Bits(static_cast<uint32_t>(*run) & ((1u << n) - 1), n)) return s;
  *run = 0;
  return zmcStatusOk;
}

template <class Sink>
ZmcStatus PutCorrections(Sink& sink, const uint8_t* corrections, int n) {
  for (int i = 0; i < n; ++i) {
    if (ZmcStatus s = sink.Bits(corrections[i], 1)) return s;
  }
  return zmcStatusOk;
}

template <class Sink>
ZmcStatus CodeFirst(const int16_t* block, const Band& band, EncodeState* state, Sink& sink) {
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
      const int size = std::bit_width(c.magnitude);
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
ZmcStatus CodeRefine(const int16_t* block, const Band& band, EncodeState* state, Sink& sink) {
  int32_t run = state->eob_run;
  int pending = state->corrections;  // of blocks before this one
  uint8_t* const buffer = state->correction;
  uint8_t* corrections = buffer + pending;  // of this block
  int n = 0;
  const auto put_pending = [&] {
    if (ZmcStatus s = PutRun(sink, &run)) return s;
    if (ZmcStatus s = PutCorrections(sink, buffer, pending)) return s;
    pending = 0;
    return zmcStatusOk;
  };
  const auto put_own = [&] {
    const ZmcStatus s = PutCorrections(sink, corrections, n);
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

// Codes the run that is left and its corrections; the status is theirs.
template <class Sink>
ZmcStatus Finish(EncodeState* state, Sink& sink) {
  int32_t run = state->eob_run;
  if (ZmcStatus s = PutRun(sink, &run)) return s;
  return PutCorrections(sink, state->correction, state->corrections);
}

// A state that no Init has made.
ZmcStatus CheckRuns(const EncodeState* state) {
  return Require(state->eob_run >= 0 && state->eob_run <= kLongestRun && state->corrections >= 0 &&
                     state->corrections < kMostCorrections,
                 zmcStatusBadArgument);
}

ZmcStatus CheckEncoding(const uint8_t* dst, int length, const int* position, const EncodeSpec* ac,
                        const EncodeState* state) {
  if (ZmcStatus s = FirstFailure(NotNull(dst), Length(length), NotNull(position, ac, state))) return s;
  return FirstFailure(CheckDestination(dst, length, position, state), CheckRuns(state));
}

ZmcStatus CheckCounting(const uint32_t* counts, const EncodeState* state) {
  if (ZmcStatus s = NotNull(counts, state)) return s;
  return CheckRuns(state);
}

struct Flushed {
  ZmcStatus run;
  ZmcStatus padding;
};

Flushed FlushEncoding(const Destination& to, const EncodeSpec* ac, EncodeState* state) {
  WritingSink sink(to, state, ac);
  const ZmcStatus run = Finish(state, sink);
  sink.Save(state);
  return {run, PadAndReset(to, state)};
}

ZmcStatus FlushCounting(uint32_t* counts, EncodeState* state) {
  CountingSink sink(counts);
  const ZmcStatus status = Finish(state, sink);
  ResetState(state);
  return status;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                     int* pDstCurrPos, int Ss, int Se, int Al,
                                                     const ZmciEncodeHuffmanSpec_JPEG_8u* pAcTable,
                                                     ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState, int bFlush) {
  if (ZmcStatus s = CheckEncoding(pDst, nDstLenBytes, pDstCurrPos, pAcTable, pEncHuffState)) return s;
  const Destination to = {pDst, nDstLenBytes, pDstCurrPos};
  const Band band = {Ss, Se, Al};
  if (bFlush != 0) {
    const Flushed flushed = FlushEncoding(to, pAcTable, pEncHuffState);
    return FirstFailure(flushed.run, flushed.padding);
  }
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), AcBand(band))) return s;
  WritingSink sink(to, pEncHuffState, pAcTable);
  const ZmcStatus status = CodeFirst(pSrc, band, pEncHuffState, sink);
  sink.Save(pEncHuffState);
  return status;
}

ZmcStatus zmciEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int nDstLenBytes,
                                                      int* pDstCurrPos, int Ss, int Se, int Al,
                                                      const ZmciEncodeHuffmanSpec_JPEG_8u* pAcTable,
                                                      ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState, int bFlush) {
  if (ZmcStatus s = CheckEncoding(pDst, nDstLenBytes, pDstCurrPos, pAcTable, pEncHuffState)) return s;
  const Destination to = {pDst, nDstLenBytes, pDstCurrPos};
  const Band band = {Ss, Se, Al};
  if (bFlush != 0) {
    const Flushed flushed = FlushEncoding(to, pAcTable, pEncHuffState);
    return FirstFailure(flushed.padding, flushed.run);
  }
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), AcBand(band))) return s;
  WritingSink sink(to, pEncHuffState, pAcTable);
  const ZmcStatus status = CodeRefine(pSrc, band, pEncHuffState, sink);
  sink.Save(pEncHuffState);
  return status;
}

ZmcStatus zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const int16_t* pSrc, uint32_t pAcStatistics[256], int Ss,
                                                          int Se, int Al, ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState,
                                                          int bFlush) {
  if (ZmcStatus s = CheckCounting(pAcStatistics, pEncHuffState)) return s;
  if (bFlush != 0) return FlushCounting(pAcStatistics, pEncHuffState);
  const Band band = {Ss, Se, Al};
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), AcBand(band))) return s;
  CountingSink sink(pAcStatistics);
  return CodeFirst(pSrc, band, pEncHuffState, sink);
}

ZmcStatus zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const int16_t* pSrc, uint32_t pAcStatistics[256], int Ss,
                                                           int Se, int Al,
                                                           ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState, int bFlush) {
  if (ZmcStatus s = CheckCounting(pAcStatistics, pEncHuffState)) return s;
  if (bFlush != 0) return FlushCounting(pAcStatistics, pEncHuffState);
  const Band band = {Ss, Se, Al};
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), AcBand(band))) return s;
  CountingSink sink(pAcStatistics);
  return CodeRefine(pSrc, band, pEncHuffState, sink);
}
