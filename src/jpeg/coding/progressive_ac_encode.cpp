// AC coefficients of progressive scans, encoding and counting (ISO/IEC 10918-1, G.1.2.2 and G.1.2.3).
#include <bit>
#include <cstdlib>
#include <cstring>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"
#include "jpeg/coding/bit_writer.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/progressive.h"
#include "jpeg/coding/progressive_ac_reference.h"

#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/coding/progressive_ac_encode.cpp"
#include "core/foreach_level.h"
// Per level, so behind the line above.
#include "jpeg/coding/zigzag_mask-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// Room for what one block can take, with 1000 correction bits pending: a run's 30 bits, 63 codes with a bit each, three
// zero runs and 63 bits more, doubled by stuffing (2 * 279), and a word.
constexpr int kRoomPerRefinedBlock = 600;

class PackedAcSink {
 public:
  PackedAcSink(const Destination& to, const EncodeState* state, const EncodeSpec* ac) : writer_(to, state), ac_(ac) {}
  HWY_INLINE ZmcStatus Code(uint32_t symbol) { return Coded(symbol, 0, 0); }
  // A code with n bits behind it; all others of `bits` are 0.
  HWY_INLINE ZmcStatus Coded(uint32_t symbol, uint32_t bits, int n) {
    const uint32_t entry = ac_->entries[symbol];
    const int length = static_cast<int>(CodeLength(entry));
    if (length == 0) return zmcStatusBadHuffmanTable;
    writer_.Put(static_cast<uint64_t>(entry & 0xFFFF) << n | bits, length + n);
    return zmcStatusOk;
  }
  HWY_INLINE ZmcStatus Corrections(const uint8_t* corrections, int n) {
    for (; n >= 8; n -= 8, corrections += 8) {
      uint64_t bytes;
      std::memcpy(&bytes, corrections, sizeof bytes);
      // The first byte's bit goes to the top of the product's top byte.
      writer_.Put(bytes * 0x8040201008040201u >> 56, 8);
    }
    for (; n > 0; --n) writer_.Put(*corrections++, 1);
    return zmcStatusOk;
  }
  // n bits, the lowest first.
  HWY_INLINE void Reversed(uint64_t bits, int n) {
    if (n == 0) return;
    const uint64_t value = ReverseBits(bits) >> (64 - n);
    if (n > 32) writer_.Put(value >> 32, n - 32);
    writer_.Put(value & 0xFFFFFFFF, n > 32 ? 32 : n);
  }
  HWY_INLINE void Save(EncodeState* state) {
    writer_.Flush();
    writer_.Save(state);
  }

 private:
  PackedWriter writer_;
  const EncodeSpec* ac_;
};

class CountedAcSink : public AcCountingSink {
 public:
  using AcCountingSink::AcCountingSink;
  HWY_INLINE ZmcStatus Coded(uint32_t symbol, uint32_t, int) { return Code(symbol); }
  HWY_INLINE void Reversed(uint64_t, int) {}
};

// PutRun, code and bits at once.
template <class Sink>
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE ZmcStatus PutRunAtOnce(Sink& sink, int32_t* run) {
  if (*run == 0) return zmcStatusOk;
  const int n = std::bit_width(static_cast<uint32_t>(*run)) - 1;
  if (n > 14) return zmcStatusBadHuffmanData;
  if (ZmcStatus s = sink.Coded(static_cast<uint32_t>(n) << 4, static_cast<uint32_t>(*run) & ((1u << n) - 1), n))
    return s;
  *run = 0;
  return zmcStatusOk;
}

// Bits ss to se.
HWY_INLINE uint64_t BandMask(const Band& band) { return ~uint64_t{0} >> (63 - band.se) & ~uint64_t{0} << band.ss; }

// Of the magnitudes without their lowest bits; bit k is that of zigzag position k.
struct MagnitudeMasks {
  uint64_t not_zero, one, odd;
};

#if HWY_TARGET == HWY_AVX3
HWY_INLINE MagnitudeMasks MasksOf(const int16_t* block, int al) {
  const __m128i shift = _mm_cvtsi32_si128(al);
  const auto magnitudes = [&](const int16_t* half)
                              HWY_ATTR { return _mm512_srl_epi16(_mm512_abs_epi16(_mm512_loadu_si512(half)), shift); };
  const __m512i low = magnitudes(block), high = magnitudes(block + 32), one = _mm512_set1_epi16(1);
  const __m512i first = ZigzagHalf<0>(low, high), last = ZigzagHalf<1>(low, high);
  const auto join = [](uint32_t a, uint64_t b) { return a | b << 32; };
  return {join(_mm512_test_epi16_mask(first, first), _mm512_test_epi16_mask(last, last)),
          join(_mm512_cmpeq_epi16_mask(first, one), _mm512_cmpeq_epi16_mask(last, one)),
          join(_mm512_test_epi16_mask(first, one), _mm512_test_epi16_mask(last, one))};
}
#else
HWY_INLINE MagnitudeMasks MasksOf(const int16_t* block, int al) {
  const hn::Full128<uint16_t> d;
  // -32768 stays what it is as an unsigned number.
  const auto magnitudes = [&](int row) HWY_ATTR {
    return hn::BitCast(Words(), hn::ShiftRightSame(hn::BitCast(d, hn::Abs(Row(block, row))), al));
  };
  const auto pair = [&](int row) HWY_ATTR { return PackRows(magnitudes(row), magnitudes(row + 1)); };
  const auto odd_pair = [&](int row) HWY_ATTR {
    const auto one = hn::Set(Words(), 1);
    return PackRows(hn::And(magnitudes(row), one), hn::And(magnitudes(row + 1), one));
  };
  const ZigzagBytes bytes = ToZigzag(pair(0), pair(2), pair(4), pair(6));
  const ZigzagBytes lowest_bits = ToZigzag(odd_pair(0), odd_pair(2), odd_pair(4), odd_pair(6));
  return {~MaskEqual(bytes, 0), MaskEqual(bytes, 1), MaskEqual(lowest_bits, 1)};
}
#endif

// The bits of `from` where `mask` has ones, moved together at the bottom.
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE uint64_t Gather(uint64_t from, uint64_t mask) {
#if HWY_TARGET <= HWY_AVX2 && HWY_ARCH_X86_64
  return __builtin_ia32_pext_di(from, mask);
#else
  uint64_t gathered = 0;
  for (int n = 0; mask != 0; mask &= mask - 1, ++n) gathered |= (from >> std::countr_zero(mask) & 1) << n;
  return gathered;
#endif
}

template <class Sink>
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE ZmcStatus CodeFirst(const int16_t* block, const Band& band, uint64_t mask,
                                                     int32_t* run, Sink& sink) {
  if (ZmcStatus s = PutRunAtOnce(sink, run)) return s;
  int next = band.ss;
  for (; mask != 0; mask &= mask - 1) {
    const int k = std::countr_zero(mask);
    int r = k - next;
    next = k + 1;
    for (; r > 15; r -= 16) {
      if (ZmcStatus s = sink.Code(kZeroRun16)) return s;
    }
    const Coefficient c(block, k, band.al);
    const int size = std::bit_width(c.magnitude);
    if (size > kMaxAcCategory) return zmcStatusBadHuffmanData;
    const uint32_t bits = (c.negative ? ~c.magnitude : c.magnitude) & ((1u << size) - 1);
    if (ZmcStatus s = sink.Coded(static_cast<uint32_t>(r * 16 + size), bits, size)) return s;
  }
  if (next <= band.se) ++*run;
  return zmcStatusOk;
}

ZMCJ_BIT_INSTRUCTIONS ZmcStatus First(const int16_t* block, const Band& band, const Destination& to,
                                      const EncodeSpec* ac, EncodeState* state) {
  const uint64_t mask = MasksOf(block, band.al).not_zero & BandMask(band);
  int32_t run = state->eob_run;
  // Most bands of most blocks are empty: nothing but the run changes.
  if (mask == 0 && run < kLongestRun - 1) {
    state->eob_run = run + 1;
    return zmcStatusOk;
  }
  if (mask == 0 || !PackedWriter::HasRoom(to)) return EncodeReference<false>(block, band, to, ac, state);
  PackedAcSink sink(to, state, ac);
  const ZmcStatus status = CodeFirst(block, band, mask, &run, sink);
  sink.Save(state);
  state->eob_run = run;
  return status;
}

ZMCJ_BIT_INSTRUCTIONS ZmcStatus CountFirst(const int16_t* block, const Band& band, uint32_t* counts,
                                           EncodeState* state) {
  const uint64_t mask = MasksOf(block, band.al).not_zero & BandMask(band);
  int32_t run = state->eob_run;
  if (mask == 0 && run < kLongestRun - 1) {
    state->eob_run = run + 1;
    return zmcStatusOk;
  }
  if (mask == 0) return CountReference<false>(block, band, counts, state);
  CountedAcSink sink(counts);
  const ZmcStatus status = CodeFirst(block, band, mask, &run, sink);
  state->eob_run = run;
  return status;
}

// From one new coefficient to the next; what lies between are zeros and corrections.
template <class Sink>
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE ZmcStatus CodeRefine(const int16_t* block, const Band& band, EncodeState* state,
                                                      Sink& sink) {
  const MagnitudeMasks masks = MasksOf(block, band.al);
  const uint64_t old_or_new = masks.not_zero & BandMask(band), low_bits = masks.odd;
  uint64_t fresh = masks.one & BandMask(band);
  int32_t run = state->eob_run;
  int pending = state->corrections;
  const auto put_pending = [&]() ZMCJ_BIT_INSTRUCTIONS {
    if (ZmcStatus s = PutRunAtOnce(sink, &run)) return s;
    sink.Corrections(state->correction, pending);
    pending = 0;
    return zmcStatusOk;
  };
  const auto code = [&]() ZMCJ_BIT_INSTRUCTIONS {
    int next = band.ss;
    for (; fresh != 0; fresh &= fresh - 1) {
      const int k = std::countr_zero(fresh);
      uint64_t between = old_or_new & ~uint64_t{0} << next & ((uint64_t{1} << k) - 1);
      if (ZmcStatus s = put_pending()) return s;
      int r = k - next - std::popcount(between);
      if (r > 15) [[unlikely]] {
        // A zero run is coded before the first coefficient that has sixteen zeros before it, with the corrections on
        // the way behind it.
        uint64_t passed = 0;
        r = 0;
        for (uint64_t left = between | uint64_t{1} << k; left != 0; left &= left - 1) {
          const int at = std::countr_zero(left);
          r += at - next;
          next = at + 1;
          for (; r > 15; r -= 16) {
            if (ZmcStatus s = sink.Code(kZeroRun16)) return s;
            sink.Reversed(Gather(low_bits, passed), std::popcount(passed));
            between &= ~passed;
            passed = 0;
          }
          passed |= uint64_t{1} << at;
        }
      }
      next = k + 1;
      const uint32_t positive = LoadSample<int16_t>(block + kNaturalOrder[k]) >= 0;
      if (ZmcStatus s = sink.Coded(static_cast<uint32_t>(r * 16 + 1), positive, 1)) return s;
      sink.Reversed(Gather(low_bits, between), std::popcount(between));
    }
    if (next > band.se) return zmcStatusOk;
    const uint64_t behind = old_or_new & ~uint64_t{0} << next;
    const int n = std::popcount(behind);
    AppendCorrections(state->correction + pending, Gather(low_bits, behind), n);
    pending += n;
    ++run;
    return run >= kLongestRun || pending >= kMostCorrections ? put_pending() : zmcStatusOk;
  };
  const ZmcStatus status = code();
  state->eob_run = run;
  if (status == zmcStatusOk) state->corrections = pending;
  return status;
}

ZMCJ_BIT_INSTRUCTIONS ZmcStatus Refine(const int16_t* block, const Band& band, const Destination& to,
                                       const EncodeSpec* ac, EncodeState* state) {
  if (!PackedWriter::HasRoom(to, kRoomPerRefinedBlock)) return EncodeReference<true>(block, band, to, ac, state);
  PackedAcSink sink(to, state, ac);
  const ZmcStatus status = CodeRefine(block, band, state, sink);
  sink.Save(state);
  return status;
}

ZMCJ_BIT_INSTRUCTIONS ZmcStatus CountRefine(const int16_t* block, const Band& band, uint32_t* counts,
                                            EncodeState* state) {
  CountedAcSink sink(counts);
  return CodeRefine(block, band, state, sink);
}

}  // namespace
extern constexpr AcEncodeKernels kAcEncode = {First, Refine, CountFirst, CountRefine};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

constexpr AcEncodeKernels kReference = {EncodeReference<false>, EncodeReference<true>, CountReference<false>,
                                        CountReference<true>};
constinit Family<AcEncodeKernels> ac_encode("progressive AC encode", kReference, {ZMCJ_LEVELS(kAcEncode)});
const Enrolment enrolment(ac_encode);

// Codes the run that is left and its corrections; the status is theirs.
template <class Sink>
ZmcStatus Finish(EncodeState* state, Sink& sink) {
  int32_t run = state->eob_run;
  if (ZmcStatus s = PutRun(sink, &run)) return s;
  return sink.Corrections(state->correction, state->corrections);
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
  AcWritingSink sink(to, state, ac);
  const ZmcStatus run = Finish(state, sink);
  sink.Save(state);
  return {run, PadAndReset(to, state)};
}

ZmcStatus FlushCounting(uint32_t* counts, EncodeState* state) {
  AcCountingSink sink(counts);
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
  return ac_encode->first(pSrc, band, to, pAcTable, pEncHuffState);
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
  return ac_encode->refine(pSrc, band, to, pAcTable, pEncHuffState);
}

ZmcStatus zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const int16_t* pSrc, uint32_t pAcStatistics[256], int Ss,
                                                          int Se, int Al, ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState,
                                                          int bFlush) {
  if (ZmcStatus s = CheckCounting(pAcStatistics, pEncHuffState)) return s;
  if (bFlush != 0) return FlushCounting(pAcStatistics, pEncHuffState);
  const Band band = {Ss, Se, Al};
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), AcBand(band))) return s;
  return ac_encode->count_first(pSrc, band, pAcStatistics, pEncHuffState);
}

ZmcStatus zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const int16_t* pSrc, uint32_t pAcStatistics[256], int Ss,
                                                           int Se, int Al,
                                                           ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState, int bFlush) {
  if (ZmcStatus s = CheckCounting(pAcStatistics, pEncHuffState)) return s;
  if (bFlush != 0) return FlushCounting(pAcStatistics, pEncHuffState);
  const Band band = {Ss, Se, Al};
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), AcBand(band))) return s;
  return ac_encode->count_refine(pSrc, band, pAcStatistics, pEncHuffState);
}
#endif
