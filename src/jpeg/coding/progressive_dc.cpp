// DC coefficients in progressive scans (ISO/IEC 10918-1, G.1.2.1, G.2): the first scan codes differences of the values
// shifted by Al, each refining scan one more bit.
#include "core/check.h"
#include "core/memory.h"
#include "jpeg/coding/bit_reader.h"
#include "jpeg/coding/bit_writer.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/progressive.h"

namespace zmcj {
namespace {

// The largest category of a DC difference of 8-bit samples (F.1.2.1).
constexpr int kMaxDcCategory = 11;

int32_t NextDifference(const int16_t* block, int16_t* last_dc, int al) {
  const auto value = static_cast<int16_t>(LoadSample<int16_t>(block) >> al);
  const int32_t difference = value - *last_dc;
  *last_dc = value;
  return difference;
}

ZmcStatus EncodeFirst(const int16_t* block, const Destination& to, int16_t* last_dc, int al, const EncodeSpec* dc,
                      EncodeState* state) {
  const int32_t difference = NextDifference(block, last_dc, al);
  const int category = MagnitudeCategory(difference);
  if (category > kMaxDcCategory) return zmcStatusBadHuffmanData;
  BitWriter writer(to, state);
  const ZmcStatus status = writer.PutCoded(dc->entries[category], AppendedBits(difference, category), category);
  writer.Save(state);
  return status;
}

ZmcStatus EncodeRefine(const int16_t* block, const Destination& to, int al, EncodeState* state) {
  BitWriter writer(to, state);
  const ZmcStatus status = writer.Put(static_cast<uint32_t>(LoadSample<int16_t>(block) >> al) & 1, 1);
  writer.Save(state);
  return status;
}

ZmcStatus DecodeFirst(const Source& from, int16_t* block, int16_t* last_dc, int al, const DecodeSpec* dc,
                      DecodeState* state) {
  Decoding<BitReader>::Origin origin;
  Decoding<BitReader> reader(&origin, from, state);
  const Symbol symbol = reader.Decode(dc);
  ZmcStatus status = symbol.status;
  const int size = symbol.value & 15;
  if (status == zmcStatusOk && size != 0) {
    const uint32_t bits = reader.Receive(size, &status);
    if (status >= zmcStatusOk) *last_dc = static_cast<int16_t>(*last_dc + Extend(bits, size));
  }
  if (status >= zmcStatusOk) StoreSample(block, static_cast<int16_t>(*last_dc << al));
  reader.Save(state);
  return status;
}

ZmcStatus DecodeRefine(const Source& from, int16_t* block, int al, DecodeState* state) {
  Decoding<BitReader>::Origin origin;
  Decoding<BitReader> reader(&origin, from, state);
  ZmcStatus status = zmcStatusOk;
  if (reader.Receive(1, &status) != 0) {
    StoreSample(block, static_cast<int16_t>(LoadSample<int16_t>(block) | 1 << al));
  }
  reader.Save(state);
  return status;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int dstLenBytes,
                                                     int* pDstCurrPos, int16_t* pLastDC, int Al,
                                                     const ZmciEncodeHuffmanSpec_JPEG_8u* pDcTable,
                                                     ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState, int bFlush) {
  if (ZmcStatus s = CheckDestination(pDst, dstLenBytes, pDstCurrPos, pEncHuffState)) return s;
  const Destination to = {pDst, dstLenBytes, pDstCurrPos};
  if (bFlush != 0) return PadAndReset(to, pEncHuffState);
  if (ZmcStatus s = FirstFailure(NotNull(pSrc, pLastDC), PointTransform(Al), NotNull(pDcTable))) return s;
  return EncodeFirst(pSrc, to, pLastDC, Al, pDcTable, pEncHuffState);
}

ZmcStatus zmciEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int dstLenBytes,
                                                      int* pDstCurrPos, int Al,
                                                      ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState, int bFlush) {
  if (ZmcStatus s = CheckDestination(pDst, dstLenBytes, pDstCurrPos, pEncHuffState)) return s;
  const Destination to = {pDst, dstLenBytes, pDstCurrPos};
  if (bFlush != 0) return PadAndReset(to, pEncHuffState);
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), PointTransform(Al))) return s;
  return EncodeRefine(pSrc, to, Al, pEncHuffState);
}

ZmcStatus zmciGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const int16_t* pSrc, int* pDcStatistics, int16_t* pLastDC,
                                                          int Al) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc, pDcStatistics, pLastDC), PointTransform(Al))) return s;
  const int category = MagnitudeCategory(NextDifference(pSrc, pLastDC, Al));
  if (category > kMaxDcCategory) return zmcStatusBadHuffmanData;
  ++pDcStatistics[category];
  return zmcStatusOk;
}

ZmcStatus zmciDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                     int16_t* pDst, int16_t* pLastDC, int* pMarker, int Al,
                                                     const ZmciDecodeHuffmanSpec_JPEG_8u* pDcTable,
                                                     ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), Length(nSrcLenBytes), NotNull(pSrcCurrPos, pDst, pLastDC, pMarker),
                                 PointTransform(Al), NotNull(pDcTable, pDecHuffState))) {
    return s;
  }
  if (ZmcStatus s = CheckReading(pSrcCurrPos, pDecHuffState)) return s;
  return DecodeFirst({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker}, pDst, pLastDC, Al, pDcTable, pDecHuffState);
}

ZmcStatus zmciDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos,
                                                      int16_t* pDst, int* pMarker, int Al,
                                                      ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), Length(nSrcLenBytes), NotNull(pSrcCurrPos, pDst, pMarker),
                                 PointTransform(Al), NotNull(pDecHuffState))) {
    return s;
  }
  if (ZmcStatus s = CheckReading(pSrcCurrPos, pDecHuffState)) return s;
  return DecodeRefine({pSrc, nSrcLenBytes, pSrcCurrPos, pMarker}, pDst, Al, pDecHuffState);
}
