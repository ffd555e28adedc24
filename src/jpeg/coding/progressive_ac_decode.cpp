// AC coefficients of progressive scans, decoding (ISO/IEC 10918-1, G.2.2 and G.1.2.3). A band's end may cover many
// blocks: the run of those is kept in the state.
#include "core/check.h"
#include "core/memory.h"
#include "jpeg/coding/bit_reader.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/progressive.h"
#include "jpeg/coding/window_reader.h"

namespace zmcj {
namespace {

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
    const Symbol symbol = reader.Decode(ac);
    if (symbol.status != zmcStatusOk) return symbol.status;
    const int r = static_cast<int>(symbol.value >> 4), size = symbol.value & 15;
    if (size == 0 && r < 15) {
      status = DecodeRun(reader, r, run);
      if (status >= zmcStatusOk) --*run;
      return status;
    }
    k += r;
    status = zmcStatusOk;
    if (size == 0) continue;
    const uint32_t bits = reader.Receive(size, &status);
    if (status < zmcStatusOk) return status;
    const int32_t value = Extend(bits, size);
    if (k <= band.se) StoreSample(block + kNaturalOrder[k], static_cast<int16_t>(value << band.al));
  }
  return status;
}

// Passes over `zeros` coefficients that are zero and corrects the others on the way: a correction bit of 1 moves one
// away from zero by a step of this scan. *k is then where the next zero stands, or behind the band. The status is the
// last fill's.
template <class Reader>
[[gnu::always_inline]] inline ZmcStatus Advance(Reader& reader, int16_t* block, const Band& band, int zeros, int* k,
                                                ZmcStatus status) {
  for (; *k <= band.se; ++*k) {
    int16_t* const coefficient = block + kNaturalOrder[*k];
    const int32_t value = LoadSample<int16_t>(coefficient);
    if (value == 0) {
      if (--zeros < 0) break;
      continue;
    }
    const uint32_t correction = reader.Receive(1, &status);
    if (status < zmcStatusOk) return status;
    if (correction == 0 || (value >> band.al & 1) != 0) continue;
    StoreSample(coefficient, static_cast<int16_t>(value > 0 ? value + (1 << band.al) : value - (1 << band.al)));
  }
  return status;
}

template <class Reader>
[[gnu::always_inline]] inline ZmcStatus DecodeRefine(Reader& reader, int16_t* block, const Band& band,
                                                     const DecodeSpec* ac, int32_t* run) {
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
    status = Advance(reader, block, band, r, &k, status);
    if (status < zmcStatusOk) return status;
    if (value != 0 && k <= band.se) StoreSample(block + kNaturalOrder[k], static_cast<int16_t>(value));
  }
  if (*run >= 1) {
    status = Advance(reader, block, band, 64, &k, status);
    if (status >= zmcStatusOk) --*run;
  }
  return status;
}

// `decode` is called directly, so that all of it is one function.
template <class Decode>
ZmcStatus DecodeWith(Decode decode, const Source& from, int16_t* block, const Band& band, const DecodeSpec* ac,
                     DecodeState* state) {
  WindowReader reader(from, state);
  int32_t run = state->eob_run;
  const ZmcStatus status = decode(reader, block, band, ac, &run);
  state->eob_run = run;
  reader.Save(from, state);
  return status;
}

ZmcStatus CheckDecoding(const uint8_t* src, int length, const int* position, const int16_t* dst, const int* marker,
                        const Band& band, const DecodeSpec* ac, const DecodeState* state) {
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
  return DecodeWith([](auto&&... arguments) { return DecodeFirst(arguments...); },
                    {pSrc, nSrcLenBytes, pSrcCurrPos, pMarker}, pDst, band, pAcTable, pDecHuffState);
}

ZmcStatus zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                      int16_t* pDst, int* pMarker, int Ss, int Se, int Al,
                                                      const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable,
                                                      ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState) {
  const Band band = {Ss, Se, Al};
  if (ZmcStatus s = CheckDecoding(pSrc, nSrcLenBytes, pSrcCurrPos, pDst, pMarker, band, pAcTable, pDecHuffState)) {
    return s;
  }
  return DecodeWith([](auto&&... arguments) { return DecodeRefine(arguments...); },
                    {pSrc, nSrcLenBytes, pSrcCurrPos, pMarker}, pDst, band, pAcTable, pDecHuffState);
}
