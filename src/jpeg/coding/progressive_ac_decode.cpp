// AC coefficients of progressive scans, decoding (ISO/IEC 10918-1, G.2.2 and G.1.2.3). A band's end may cover many
// blocks: the run of those is kept in the state.
#include <bit>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"
#include "jpeg/coding/bit_reader.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/progressive.h"
#include "jpeg/coding/window_reader.h"
#include "jpeg/coding/words.h"

#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/coding/progressive_ac_decode.cpp"
#include "core/foreach_level.h"
// Per level, so behind the line above.
#include "jpeg/coding/zigzag_mask-inl.h"

#ifndef ZMCJ_PROGRESSIVE_AC_DECODE_TYPES
#define ZMCJ_PROGRESSIVE_AC_DECODE_TYPES
namespace zmcj {

struct AcDecodeKernels {
  ZmcStatus (*first)(const Source& from, int16_t* block, const Band& band, const DecodeSpec* ac, DecodeState* state);
  ZmcStatus (*refine)(const Source& from, int16_t* block, const Band& band, const DecodeSpec* ac, DecodeState* state);
};

// 2^r and r bits more: the blocks, this one included, whose band has ended.
template <class Reader>
[[gnu::always_inline]] inline ZmcStatus DecodeRun(Reader& reader, int r, int32_t* run) {
  ZmcStatus status = zmcStatusOk;
  const uint32_t more = r > 0 ? reader.Receive(r, &status) : 0;
  if (status >= zmcStatusOk) *run = (1 << r) + static_cast<int32_t>(more);
  return status;
}

template <class Reader>
[[gnu::always_inline]] inline ZmcStatus DecodeFirst(Reader& reader, int16_t* block, const Band& band,
                                                    const DecodeSpec* ac, int32_t* run) {
  if (*run >= 1) {
    --*run;
    return zmcStatusOk;
  }
  ZmcStatus status = zmcStatusOk;
  for (int k = band.ss; k <= band.se; ++k) {
    status = zmcStatusOk;
    int32_t value;
    const FoundCode found = reader.Look(ac);
    if (found.size() != 0) [[likely]] {
      k += static_cast<int>(found.run());
      value = reader.template TakeValue<1>(found);
    } else {
      const Symbol symbol = found.found() ? Symbol{zmcStatusOk, reader.TakeSymbol(found)} : reader.DecodeOther(ac);
      if (symbol.status != zmcStatusOk) return symbol.status;
      const int r = static_cast<int>(symbol.value >> 4), size = symbol.value & 15;
      if (size == 0 && r < 15) {
        status = DecodeRun(reader, r, run);
        if (status >= zmcStatusOk) --*run;
        return status;
      }
      k += r;
      if (size == 0) continue;
      const uint32_t bits = reader.Receive(size, &status);
      if (status < zmcStatusOk) return status;
      value = Extend(bits, size);
    }
    if (k <= band.se) StoreSample(block + kNaturalOrder[k], static_cast<int16_t>(value << band.al));
  }
  return status;
}

// A step of this scan away from zero, unless the value has that bit already.
inline int16_t Corrected(int32_t value, int al) {
  const int32_t step = (1 << al) & ~value;
  return static_cast<int16_t>(value > 0 ? value + step : value - step);
}

// Passes over `zeros` coefficients that are zero and corrects the others on the way: a correction bit of 1 moves one
// away from zero by a step of this scan. *k is then where the next zero stands, or behind the band. The status is the
// last fill's.
template <class Reader>
ZmcStatus Advance(Reader& reader, int16_t* block, const Band& band, int zeros, int* k, ZmcStatus status) {
  for (; *k <= band.se; ++*k) {
    int16_t* const coefficient = block + kNaturalOrder[*k];
    const int32_t value = LoadSample<int16_t>(coefficient);
    if (value == 0) {
      if (--zeros < 0) break;
      continue;
    }
    const uint32_t correction = reader.Receive(1, &status);
    if (status < zmcStatusOk) return status;
    if (correction != 0) StoreSample(coefficient, Corrected(value, band.al));
  }
  return status;
}

// `advance` is Advance in one form or another.
template <class Reader, class AdvanceTo>
[[gnu::always_inline]] inline ZmcStatus DecodeRefine(Reader& reader, int16_t* block, const Band& band,
                                                     const DecodeSpec* ac, int32_t* run, AdvanceTo advance) {
  ZmcStatus status = zmcStatusOk;
  int k = band.ss;
  for (; *run < 1 && k <= band.se; ++k) {
    const Symbol symbol = reader.Decode(ac);
    if (symbol.status != zmcStatusOk) return symbol.status;
    const int r = static_cast<int>(symbol.value >> 4);
    status = zmcStatusOk;
    int32_t value = 0;
    if ((symbol.value & 15) != 0) {
      value = reader.Receive(1, &status) != 0 ? 1 << band.al : -(1 << band.al);
      if (status < zmcStatusOk) return status;
    } else if (r < 15) {
      status = DecodeRun(reader, r, run);
      if (status < zmcStatusOk) return status;
      break;
    }
    status = advance(reader, r, &k, status);
    if (status < zmcStatusOk) return status;
    if (value != 0 && k <= band.se) StoreSample(block + kNaturalOrder[k], static_cast<int16_t>(value));
  }
  if (*run >= 1) {
    status = advance(reader, 64, &k, status);
    if (status >= zmcStatusOk) --*run;
  }
  return status;
}

// Advance by masks: `old` has the positions in the band that are not zero as the call begins. The correction bits of
// all of them follow each other in the scan as the positions do, and nothing depends on them: they are only collected.
// Not a function of a level, so that it is inlined where the reader is.
struct MaskAdvance {
  uint64_t old;
  int last;                               // position of the band
  int (*position)(uint64_t mask, int n);  // of the one of index n; 64 if there are no more than n
  uint64_t* corrections;                  // the last one lowest
  int* collected;

  [[gnu::always_inline]] ZmcStatus operator()(WindowReader& reader, int zeros, int* k, ZmcStatus status) const {
    const uint64_t left = ~uint64_t{0} >> (63 - last) & ~uint64_t{0} << *k;
    const int zero = zeros < 64 ? position(~old & left, zeros) : 64;
    const int end = zero < 64 ? zero : last + 1;
    uint64_t passed = old & left;
    if (end < 64) passed &= (uint64_t{1} << end) - 1;
    for (int bits = std::popcount(passed); bits > 0;) {
      int n = bits < 16 ? bits : 16;
      uint32_t taken;
      if (reader.Ready()) [[likely]] {
        taken = reader.TakeSingles(n);
      } else {
        n = 1;
        taken = reader.Receive(1, &status);
        if (status < zmcStatusOk) return status;
      }
      *corrections = *corrections << n | taken;
      *collected += n;
      bits -= n;
    }
    *k = end;
    return status;
  }
};

// A decoder between its reader's coming and going. DecodeFirst or DecodeRefine is called directly, so that all is one
// function.
template <class Reader, class Decode>
[[gnu::always_inline]] inline ZmcStatus WithReader(const Source& from, DecodeState* state, Decode decode) {
  typename Reader::Origin origin;
  Reader reader(&origin, from, state);
  int32_t run = state->eob_run;
  const ZmcStatus status = decode(reader, &run);
  state->eob_run = run;
  reader.Save(state);
  return status;
}

inline ZmcStatus FirstReference(const Source& from, int16_t* block, const Band& band, const DecodeSpec* ac,
                                DecodeState* state) {
  return WithReader<Decoding<BitReader>>(
      from, state, [&](auto& reader, int32_t* run) { return DecodeFirst(reader, block, band, ac, run); });
}

inline ZmcStatus RefineReference(const Source& from, int16_t* block, const Band& band, const DecodeSpec* ac,
                                 DecodeState* state) {
  const auto advance = [&](auto& reader, int zeros, int* k, ZmcStatus status) {
    return Advance(reader, block, band, zeros, k, status);
  };
  return WithReader<Decoding<BitReader>>(
      from, state, [&](auto& reader, int32_t* run) { return DecodeRefine(reader, block, band, ac, run, advance); });
}

}  // namespace zmcj
#endif

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

ZMCJ_BIT_INSTRUCTIONS ZmcStatus First(const Source& from, int16_t* block, const Band& band, const DecodeSpec* ac,
                                      DecodeState* state) {
  // Most bands of most blocks are empty: nothing but the run changes.
  if (state->eob_run >= 1) {
    state->eob_run = state->eob_run - 1;
    return zmcStatusOk;
  }
  WindowReader::Origin origin;
  WindowReader reader(&origin, from, state);
  int32_t run = state->eob_run;
  const ZmcStatus status = DecodeFirst(reader, block, band, ac, &run);
  state->eob_run = run;
  reader.Save(state);
  return status;
}

// The lowest bits of `bits` at the places of the ones of `mask`, in their order.
ZMCJ_BIT_INSTRUCTIONS uint64_t Deposit(uint64_t bits, uint64_t mask) {
#if HWY_TARGET <= HWY_AVX2 && HWY_ARCH_X86_64
  return __builtin_ia32_pdep_di(bits, mask);
#else
  uint64_t deposited = 0;
  for (; bits != 0 && mask != 0; bits >>= 1, mask &= mask - 1) deposited |= (bits & 1) != 0 ? mask & -mask : 0;
  return deposited;
#endif
}

ZMCJ_BIT_INSTRUCTIONS int PositionOf(uint64_t mask, int n) { return std::countr_zero(Deposit(uint64_t{1} << n, mask)); }

ZMCJ_BIT_INSTRUCTIONS ZmcStatus Refine(const Source& from, int16_t* block, const Band& band, const DecodeSpec* ac,
                                       DecodeState* state) {
  const uint64_t old = NonZeroMask(block) & ~uint64_t{0} >> (63 - band.se) & ~uint64_t{0} << band.ss;
  if (old == 0 && state->eob_run >= 1) {
    state->eob_run = state->eob_run - 1;
    return zmcStatusOk;
  }
  WindowReader::Origin origin;
  WindowReader reader(&origin, from, state);
  int32_t run = state->eob_run;
  uint64_t corrections = 0;
  int collected = 0;
  const ZmcStatus status =
      DecodeRefine(reader, block, band, ac, &run, MaskAdvance{old, band.se, PositionOf, &corrections, &collected});
  state->eob_run = run;
  reader.Save(state);
  if (corrections == 0) return status;
  for (uint64_t mask = Deposit(ReverseBits(corrections) >> (64 - collected), old); mask != 0; mask &= mask - 1) {
    int16_t* const coefficient = block + kNaturalOrder[std::countr_zero(mask)];
    StoreSample(coefficient, Corrected(LoadSample<int16_t>(coefficient), band.al));
  }
  return status;
}

}  // namespace
extern constexpr AcDecodeKernels kAcDecode = {First, Refine};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

constexpr AcDecodeKernels kReference = {FirstReference, RefineReference};
constinit Family<AcDecodeKernels> ac_decode("progressive AC decode", kReference, {ZMCJ_LEVELS(kAcDecode)});
const Enrolment enrolment(ac_decode);

inline ZmcStatus CheckDecoding(const uint8_t* src, int length, const int* position, const int16_t* dst,
                               const int* marker, const Band& band, const DecodeSpec* ac, const DecodeState* state) {
  if (ZmcStatus s = FirstFailure(NotNull(src), Length(length), NotNull(position, dst, marker), AcBand(band),
                                 NotNull(ac, state))) {
    return s;
  }
  return CheckReading(position, state);
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                     int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                     const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable,
                                                     ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState) {
  const Band band = {Ss, Se, Al};
  if (ZmcStatus s = CheckDecoding(pSrc, nSrcLenBytes, pSrcCurrPos, pDst, pMarker, band, pAcTable, pDecHuffState)) {
    return s;
  }
  return ac_decode->first({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker}, pDst, band, pAcTable, pDecHuffState);
}

ZmcStatus zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                      int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                      const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable,
                                                      ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState) {
  const Band band = {Ss, Se, Al};
  if (ZmcStatus s = CheckDecoding(pSrc, nSrcLenBytes, pSrcCurrPos, pDst, pMarker, band, pAcTable, pDecHuffState)) {
    return s;
  }
  return ac_decode->refine({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker}, pDst, band, pAcTable, pDecHuffState);
}
#endif
