// Baseline Huffman decoding of one block (ISO/IEC 10918-1, F.2.2).
#include <climits>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"
#include "jpeg/coding/bit_reader.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/window_reader.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/coding/huffman_decode.cpp"
#include "core/foreach_level.h"

#ifndef ZMCJ_HUFFMAN_DECODE_TYPES
#define ZMCJ_HUFFMAN_DECODE_TYPES
namespace zmcj {

struct DecodeTables {
  const DecodeSpec* dc;
  const DecodeSpec* ac;
};

struct HuffmanDecodeKernels {
  decltype(&zmciDecodeHuffman8x8_JPEG_1u16s_C1) decode;
};

// Where decoding stopped, beside the status: the direct form answers the end of the data differently.
enum class Stop { kDone, kDcSymbol, kAcSymbol, kBits };
struct Outcome {
  ZmcStatus status;
  Stop stop;
};

// Walks one block's symbols; the block has been cleared.
template <class Reader>
[[gnu::always_inline]] inline Outcome DecodeBlock(Reader& reader, int16_t* block, int16_t* last_dc,
                                                  const DecodeTables& tables) {
  int ready = reader.Refilled() ? 2 : 0;  // codes that may be looked up without a refill: each is good for two
  if (const FoundCode found = ready > 0 ? reader.Next(tables.dc) : reader.Look(tables.dc); found.found()) [[likely]] {
    --ready;
    *last_dc = static_cast<int16_t>(*last_dc + reader.template TakeValue<0>(found));
  } else {
    ready = 0;
    const Symbol symbol = reader.DecodeOther(tables.dc);
    if (symbol.status != zmcStatusOk) return {symbol.status, Stop::kDcSymbol};
    if (const int size = symbol.value & 15; size != 0) {
      ZmcStatus status = zmcStatusOk;
      const uint32_t bits = reader.Receive(size, &status);
      if (status < zmcStatusOk) return {status, Stop::kBits};
      *last_dc = static_cast<int16_t>(*last_dc + Extend(bits, size));
    }
  }
  StoreSample(block, *last_dc);

  size_t k = 1;
  // Tells whether positions remain.
  const auto store = [&](int32_t value) {
    if (k <= kLastStoredPosition) [[likely]]
      StoreSample(block + kNaturalOrder[k], static_cast<int16_t>(value));
    return ++k < 64;
  };
  do {
    // The window holds the next code already: its look-up, for which all else waits, does not wait for the refill.
    FoundCode found = reader.Next(tables.ac);
    if (--ready < 0) {
      ready = 1;
      if (!reader.Refill()) [[unlikely]] {
        ready = 0;
        found = reader.Look(tables.ac);
      }
    }
    if (found.size() != 0) [[likely]] {
      k += found.run();
      const int32_t value = reader.template TakeValue<1>(found);
      if (k >= 63) [[unlikely]] {
        store(value);
        break;
      }
      StoreSample(block + kNaturalOrder[k++], static_cast<int16_t>(value));
      continue;
    }
    ready = 0;
    const Symbol symbol = found.found() ? Symbol{zmcStatusOk, reader.TakeSymbol(found)} : reader.DecodeOther(tables.ac);
    if (symbol.status != zmcStatusOk) return {symbol.status, Stop::kAcSymbol};
    k += symbol.value >> 4;
    const int size = symbol.value & 15;
    if (size == 0) {
      if (symbol.value != kZeroRun16) break;
      ++k;
      continue;
    }
    ZmcStatus status = zmcStatusOk;
    const uint32_t bits = reader.Receive(size, &status);
    if (status < zmcStatusOk) return {status, Stop::kBits};
    if (!store(Extend(bits, size))) return {status, Stop::kDone};
  } while (k < 64);
  return {zmcStatusOk, Stop::kDone};
}

// The block has been cleared.
template <class Reader>
[[gnu::always_inline]] inline ZmcStatus DecodeWith(const Source& from, int16_t* block, int16_t* last_dc,
                                                   const DecodeTables& tables, DecodeState* state) {
  typename Reader::Origin origin;
  Reader reader(&origin, from, state);
  const Outcome outcome = DecodeBlock(reader, block, last_dc, tables);
  reader.Save(state);
  return outcome.status;
}

}  // namespace zmcj
#endif

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

ZMCJ_BIT_INSTRUCTIONS ZmcStatus Decode(const uint8_t* bytes, int length, int* position, int16_t* block,
                                       int16_t* last_dc, int* marker, const DecodeSpec* dc, const DecodeSpec* ac,
                                       DecodeState* state) {
  // Not memset, which compilers turn into a string instruction that takes longer to begin than this to end.
  const hwy::HWY_NAMESPACE::CappedTag<int16_t, 16> d;
  for (size_t i = 0; i < 64; i += hwy::HWY_NAMESPACE::Lanes(d)) {
    hwy::HWY_NAMESPACE::StoreU(hwy::HWY_NAMESPACE::Zero(d), d, block + i);
  }
  return DecodeWith<WindowReader>({bytes, length, position, marker}, block, last_dc, {dc, ac}, state);
}

}  // namespace
extern constexpr HuffmanDecodeKernels kHuffmanDecode = {Decode};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

ZmcStatus DecodeReference(const uint8_t* bytes, int length, int* position, int16_t* block, int16_t* last_dc,
                          int* marker, const DecodeSpec* dc, const DecodeSpec* ac, DecodeState* state) {
  std::memset(block, 0, 64 * sizeof *block);
  return DecodeWith<Decoding<BitReader>>({bytes, length, position, marker}, block, last_dc, {dc, ac}, state);
}

constexpr HuffmanDecodeKernels kReference = {DecodeReference};
constinit Family<HuffmanDecodeKernels> huffman_decode("huffman decode", kReference, {ZMCJ_LEVELS(kHuffmanDecode)});
const Enrolment enrolment(huffman_decode);

// The reader of the direct form: the caller holds accumulator and count, the source has no length and ends at its
// marker, and 0xFF bytes before another 0xFF are fill.
class DirectReader : public HeldBits {
 public:
  DirectReader(const uint8_t* bytes, int position, int marker, HeldBits held)
      : HeldBits(held), bytes_(bytes), position_(position), marker_(marker) {}

  // The last byte index whose bits the caller's int can count.
  static constexpr int kLength = INT_MAX / 8 - 1;

  ZmcStatus Fill(int need) {
    ZmcStatus status = zmcStatusOk;
    while (marker_ == 0 && count_ < kFilled && position_ < kLength) {
      const uint8_t byte = bytes_[position_++];
      if (byte == 0xFF) {
        uint8_t second = 0xFF;
        while (second == 0xFF && position_ < kLength) second = bytes_[position_++];
        if (second != 0) {
          marker_ = second;
          status = zmcStatusMarkerFound;
          break;
        }
      }
      accumulator_ = accumulator_ << 8 | byte;
      count_ += 8;
    }
    return count_ < need ? zmcStatusBufferExhausted : status;
  }

  int position() const { return position_; }
  int marker() const { return marker_; }

 private:
  const uint8_t* bytes_;
  int position_;
  int marker_;
};

ZmcStatus DecodeDirect(const uint8_t* bytes, int* bits, int16_t* block, int16_t* last_dc, int* marker,
                       uint32_t* prefetched, int* prefetched_count, const DecodeTables& tables) {
  std::memset(block, 0, 64 * sizeof *block);
  Decoding<DirectReader> reader(bytes, *bits / 8, *marker, HeldBits(*prefetched, *prefetched_count));
  const Outcome outcome = DecodeBlock(reader, block, last_dc, tables);
  *bits = reader.position() * 8;
  *marker = reader.marker();
  *prefetched = reader.accumulator();
  *prefetched_count = reader.count();
  // Data that end before a symbol end the block, too.
  if (outcome.status != zmcStatusBufferExhausted || outcome.stop == Stop::kBits) return outcome.status;
  if (outcome.stop == Stop::kAcSymbol) *prefetched_count = 0;
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciDecodeHuffman8x8_JPEG_1u16s_C1(const uint8_t* pSrc, int nSrcLenBytes, int* pSrcCurrPos, int16_t* pDst,
                                             int16_t* pLastDC, int* pMarker,
                                             const ZmciDecodeHuffmanSpec_JPEG_8u* pDcTable,
                                             const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable,
                                             ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc), Require(nSrcLenBytes >= 0, zmcStatusBadArgument),
                                 NotNull(pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, pDecHuffState))) {
    return s;
  }
  if (ZmcStatus s = CheckReading(pSrcCurrPos, pDecHuffState)) return s;
  return huffman_decode->decode(pSrc, nSrcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable,
                                pDecHuffState);
}

ZmcStatus zmciDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const uint8_t* pSrc, int* pSrcBitsLen, int16_t* pDst,
                                                    int16_t* pLastDC, int* pMarker, uint32_t* pPrefetchedBits,
                                                    int* pNumValidPrefetchedBits,
                                                    const ZmciDecodeHuffmanSpec_JPEG_8u* pDcTable,
                                                    const ZmciDecodeHuffmanSpec_JPEG_8u* pAcTable) {
  if (ZmcStatus s = NotNull(pSrc, pSrcBitsLen)) return s;
  if (*pSrcBitsLen < 0) return zmcStatusBadArgument;
  if (ZmcStatus s = NotNull(pDst, pLastDC, pMarker, pPrefetchedBits, pNumValidPrefetchedBits)) return s;
  if (*pNumValidPrefetchedBits < 0 || *pNumValidPrefetchedBits > 32) return zmcStatusBadArgument;
  if (ZmcStatus s = NotNull(pDcTable, pAcTable)) return s;
  return DecodeDirect(pSrc, pSrcBitsLen, pDst, pLastDC, pMarker, pPrefetchedBits, pNumValidPrefetchedBits,
                      {pDcTable, pAcTable});
}
#endif
