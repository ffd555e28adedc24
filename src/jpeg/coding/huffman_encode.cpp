// Baseline Huffman encoding of one block (ISO/IEC 10918-1, F.1.2), and counting the symbols that it would take.
#include <climits>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"
#include "jpeg/coding/bit_writer.h"
#include "jpeg/coding/huffman_records.h"

#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/coding/huffman_encode.cpp"
#include "core/foreach_level.h"
// Per level, so behind the line above.
#include "jpeg/coding/block_bits-inl.h"
#include "jpeg/coding/sparse_codes-inl.h"
#include "jpeg/coding/zigzag_mask-inl.h"

#ifndef ZMCJ_HUFFMAN_ENCODE_TYPES
#define ZMCJ_HUFFMAN_ENCODE_TYPES
namespace zmcj {

struct EncodeTables {
  const EncodeSpec* dc;
  const EncodeSpec* ac;
};

// What all blocks of a component are coded with.
struct Scan {
  Destination to;
  int16_t* last_dc;
  EncodeTables tables;
  EncodeState* state;
};

struct HuffmanEncodeKernels {
  // With the arguments where the public function has them: its call of this becomes a jump.
  ZmcStatus (*encode)(const int16_t* block, uint8_t* bytes, int length, int* position, int16_t* last_dc,
                      const EncodeSpec* dc, const EncodeSpec* ac, EncodeState* state);
  void (*encode_direct)(const int16_t* block, uint8_t* dst, int* bits, int16_t* last_dc, const EncodeTables& tables);
  void (*count)(const int16_t* block, int* dc_counts, int* ac_counts, int16_t* last_dc);
};

// A run of 15 before -32768, whose category is 16, makes 256: no table has a code for it.
inline constexpr uint32_t kSymbols = 256;
inline uint32_t AcEntry(const EncodeSpec* ac, uint32_t symbol) { return symbol < kSymbols ? ac->entries[symbol] : 0; }

inline int32_t NextDifference(const int16_t* block, int16_t* last_dc) {
  const auto dc = LoadSample<int16_t>(block);
  const int32_t difference = dc - *last_dc;
  *last_dc = dc;
  return difference;
}

// The reference: one coefficient after the other. A sink takes a symbol with the appended bits of its value.
template <class Sink>
ZmcStatus WalkReference(const int16_t* block, int16_t* last_dc, Sink& sink) {
  const int32_t difference = NextDifference(block, last_dc);
  const int dc_category = MagnitudeCategory(difference);
  if (ZmcStatus s = sink.Dc(static_cast<uint32_t>(dc_category), AppendedBits(difference, dc_category), dc_category)) {
    return s;
  }
  uint32_t run = 0;
  for (int k = 1; k < 64; ++k) {
    const int32_t v = LoadSample<int16_t>(block + kNaturalOrder[k]);
    if (v == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) {
      if (ZmcStatus s = sink.Ac(kZeroRun16, 0, 0)) return s;
    }
    const int category = MagnitudeCategory(v);
    if (ZmcStatus s = sink.Ac(run * 16 + static_cast<uint32_t>(category), AppendedBits(v, category), category)) {
      return s;
    }
    run = 0;
  }
  return run > 0 ? sink.Ac(kEndOfBlock, 0, 0) : zmcStatusOk;
}

struct CheckedSink {
  BitWriter writer;
  EncodeTables tables;
  ZmcStatus Dc(uint32_t symbol, uint32_t appended, int category) {
    return writer.PutCoded(tables.dc->entries[symbol], appended, category);
  }
  ZmcStatus Ac(uint32_t symbol, uint32_t appended, int category) {
    return writer.PutCoded(AcEntry(tables.ac, symbol), appended, category);
  }
};

// Passes over a code that the table lacks, but not over the bits that follow it.
struct DirectSink {
  BitWriter writer;
  EncodeTables tables;
  bool touched = false;
  ZmcStatus Put(uint32_t entry, uint32_t appended, int category) {
    const auto length = static_cast<int>(CodeLength(entry));
    touched |= length != 0 || category != 0;
    writer.Put(entry, length);
    return writer.Put(appended, category);
  }
  ZmcStatus Dc(uint32_t symbol, uint32_t appended, int category) {
    return Put(tables.dc->entries[symbol], appended, category);
  }
  ZmcStatus Ac(uint32_t symbol, uint32_t appended, int category) {
    return Put(AcEntry(tables.ac, symbol), appended, category);
  }
};

struct CountingSink {
  int* dc_counts;
  int* ac_counts;
  ZmcStatus Dc(uint32_t symbol, uint32_t, int) {
    ++dc_counts[symbol];
    return zmcStatusOk;
  }
  ZmcStatus Ac(uint32_t symbol, uint32_t, int) {
    if (symbol < kSymbols) ++ac_counts[symbol];
    return zmcStatusOk;
  }
};

inline ZmcStatus EncodeReference(const int16_t* block, uint8_t* bytes, int length, int* position, int16_t* last_dc,
                                 const EncodeSpec* dc, const EncodeSpec* ac, EncodeState* state) {
  CheckedSink sink{BitWriter({bytes, length, position}, state), {dc, ac}};
  const ZmcStatus status = WalkReference(block, last_dc, sink);
  sink.writer.Save(state);
  return status;
}

// The direct form keeps its pending bits in the destination: the byte of the bit position holds them at its top.
template <class Writer>
void SaveDirect(const Writer& writer, uint8_t* dst, int* bits) {
  dst[writer.position()] = static_cast<uint8_t>(writer.partial_byte());
  *bits = writer.position() * 8 + writer.count();
}

inline void EncodeDirectReference(const int16_t* block, uint8_t* dst, int* bits, int16_t* last_dc,
                                  const EncodeTables& tables) {
  int position = *bits / 8;
  const int count = *bits % 8;
  DirectSink sink{BitWriter({dst, INT_MAX, &position}, count, count > 0 ? dst[position] : 0u), tables};
  WalkReference(block, last_dc, sink);
  if (sink.touched) SaveDirect(sink.writer, dst, bits);
}

inline void CountReference(const int16_t* block, int* dc_counts, int* ac_counts, int16_t* last_dc) {
  CountingSink sink{dc_counts, ac_counts};
  WalkReference(block, last_dc, sink);
}

}  // namespace zmcj
#endif

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// From one non-zero coefficient to the next. The sink says whether to go on. `kByTable`: all are in kMagnitudes.
template <bool kByTable, class Sink>
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool WalkMask(const int16_t* block, uint64_t mask, Sink& sink) {
  const uint8_t* const natural_order = InRegister(kNaturalOrder);
  const Magnitude* const magnitudes = InRegister(kMagnitudes.middle());
  uint64_t next = 1;
  while (mask != 0) {
    const auto k = static_cast<uint64_t>(std::countr_zero(mask));
    mask &= mask - 1;
    uint64_t run = k - next;
    next = k + 1;
    if (run > 15) [[unlikely]] {
      for (; run > 15; run -= 16) {
        if (!sink.Ac(kZeroRun16, 0, 0)) return false;
      }
    }
    const int64_t v = LoadSample<int16_t>(block + natural_order[k]);
    if constexpr (kByTable) {
      const Magnitude& m = magnitudes[v];
      if (!sink.AcWithCode(run, m.appended, m.category)) return false;
    } else {
      const int category = MagnitudeCategory(static_cast<int32_t>(v));
      const uint32_t symbol = static_cast<uint32_t>(run) * 16 + static_cast<uint32_t>(category);
      if (!sink.Ac(symbol, AppendedBits(static_cast<int32_t>(v), category), category)) return false;
    }
  }
  return next == 64 || sink.Ac(kEndOfBlock, 0, 0);
}

template <bool kByTable, class Sink>
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool WalkBlock(const int16_t* block, int16_t* last_dc, Sink& sink) {
  const uint64_t mask = NonZeroMask(block) & ~uint64_t{1};
  const int32_t difference = NextDifference(block, last_dc);
  const int dc_category = MagnitudeCategory(difference);
  if (!sink.Dc(static_cast<uint32_t>(dc_category), AppendedBits(difference, dc_category), dc_category)) return false;
  return WalkMask<kByTable>(block, mask, sink);
}

template <class Sink>
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool Walk(const int16_t* block, int16_t* last_dc, Sink& sink) {
  return AllInMagnitudeTable(block) ? WalkBlock<true>(block, last_dc, sink) : WalkBlock<false>(block, last_dc, sink);
}

struct PackedSink {
  PackedWriter writer;
  EncodeTables tables;
  HWY_INLINE bool Put(uint32_t entry, uint32_t appended, int category) {
    const int length = static_cast<int>(CodeLength(entry));
    if (length == 0) return false;
    writer.Put(static_cast<uint64_t>(entry & 0xFFFF) << category | appended, length + category);
    return true;
  }
  // The symbol is below 256. The halves of its entry are loaded apart.
  HWY_INLINE bool AcWithCode(uint64_t run, uint64_t appended, unsigned category) {
    const auto* const entries = reinterpret_cast<const uint8_t*>(tables.ac);
    const uint64_t at = run * 64 + uint64_t{category} * 4;
    const int length = LoadSample<uint16_t>(entries + at + 2);
    if (length < 1 || length > kMaxCodeLength) [[unlikely]]
      return false;
    const uint64_t code = LoadSample<uint16_t>(entries + at);
    writer.Put(code << category | appended, length + static_cast<int>(category));
    return true;
  }
  HWY_INLINE bool Dc(uint32_t symbol, uint32_t appended, int category) {
    return Put(tables.dc->entries[symbol], appended, category);
  }
  HWY_INLINE bool Ac(uint32_t symbol, uint32_t appended, int category) {
    return Put(AcEntry(tables.ac, symbol), appended, category);
  }
};

// What 8-bit pictures seldom have: apart, so that the others keep the registers for themselves.
ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE ZmcStatus EncodeRare(const int16_t* block, const Scan& scan) {
  if (!PackedWriter::HasRoom(scan.to)) {
    return EncodeReference(block, scan.to.bytes, scan.to.length, scan.to.position, scan.last_dc, scan.tables.dc,
                           scan.tables.ac, scan.state);
  }
  PackedSink sink{PackedWriter(scan.to, scan.state), scan.tables};
  const bool coded = Walk(block, scan.last_dc, sink);
  sink.writer.Flush();
  sink.writer.Save(scan.state);
  return coded ? zmcStatusOk : zmcStatusBadHuffmanTable;
}

#if HWY_TARGET == HWY_AVX3
// kShort: for a block of up to 16 codes and without zero runs, which thus finds no loop. False where the block is not for
// this, or the table lacks a code: then no more than its first bytes are written.
template <bool kShort>
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool EncodeSparse(const int16_t* block, const Scan& scan) {
  const int32_t difference = LoadSample<int16_t>(block) - *scan.last_dc;
  if (!PackedWriter::HasRoom(scan.to) || !MagnitudeTable::Has(difference)) [[unlikely]]
    return false;
  SparseCoder<!kShort> coder(block);
  if (kShort && coder.left() > 16) [[unlikely]]
    return false;
  const SixteenCodes first = coder.template Codes<true>(scan.tables.ac);
  const Magnitude& m = kMagnitudes.middle()[difference];
  const uint32_t entry = scan.tables.dc->entries[m.category], length = CodeLength(entry);
  if (!first.good || length == 0) [[unlikely]]
    return false;
  SparseWriter writer(scan.to, scan.state, coder.constants());
  writer.PutDc(uint64_t{entry & 0xFFFF} << m.category | m.appended, length + m.category);
  if (!writer.Put(first)) [[unlikely]]
    return false;
  while (!kShort && coder.left() > 16) {
    coder.Skip();
    const SixteenCodes codes = coder.template Codes<false>(scan.tables.ac);
    if (!codes.good || !writer.Put(codes)) [[unlikely]]
      return false;
  }
  writer.Save(scan.to, scan.state);
  *scan.last_dc = LoadSample<int16_t>(block);
  return true;
}

constexpr auto EncodeUsual = EncodeSparse<true>;
ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE ZmcStatus EncodeOther(const int16_t* block, const Scan& scan) {
  return EncodeSparse<false>(block, scan) ? zmcStatusOk : EncodeRare(block, scan);
}
#else
// The AC coefficients of a block whose values are bytes, one after the other.
class ByteCoder {
 public:
  HWY_INLINE ByteCoder(const ByteMagnitudes& magnitudes, uint64_t mask, const EncodeSpec* ac)
      : magnitudes_(magnitudes), mask_(mask), ac_(reinterpret_cast<const uint8_t*>(ac)) {}

  // The next code. False at the end, and where the table lacks a code; then some remain. The end is called unlikely, and
  // zero runs have no loop of their own, so that the compiler gives its registers to the usual case.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool PutNext(BlockBits& bits) {
    if (mask_ == 0) [[unlikely]]
      return false;
    const auto k = static_cast<uint64_t>(std::countr_zero(mask_));
    const uint64_t step = k - last_;
    if (step > 16) [[unlikely]] {
      last_ += 16;
      return bits.PutAlone(Code(ac_ + 4 * kZeroRun16));
    }
    const uint64_t category = magnitudes_.category[k];
    const Code code(ac_ + 64 * step + 4 * category - 64);
    if (code.length == 0) [[unlikely]]
      return false;
    bits.Put(code, magnitudes_.appended[k], category);
    last_ = k;
    mask_ &= mask_ - 1;
    return true;
  }

  // False where the table lacks a code.
  HWY_INLINE bool PutEnd(BlockBits& bits) {
    if (mask_ != 0) [[unlikely]]
      return false;
    if (last_ == 63) [[unlikely]]
      return true;
    return bits.PutAlone(Code(ac_ + 4 * kEndOfBlock));
  }

 private:
  const ByteMagnitudes& magnitudes_;
  uint64_t mask_;  // of the coefficients that remain
  const uint8_t* ac_;
  uint64_t last_ = 0;  // the position up to which all is coded
};

// The AC coefficients of a block, and its end. False where the table lacks a code.
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool PutAc(const ZigzagBlock& zigzag, const EncodeSpec* ac, BlockBits& bits) {
  const uint64_t mask = NonZeroMask(zigzag) & ~uint64_t{1};
  ByteMagnitudes magnitudes;
  StoreMagnitudes(zigzag, &magnitudes);
  ByteCoder coder(magnitudes, mask, ac);
  while (coder.PutNext(bits)) {
    bits.Spill();
    if (!coder.PutNext(bits)) break;
  }
  return coder.PutEnd(bits);
}

ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool PutBlock(const ZigzagBlock& zigzag, int32_t difference, const EncodeSpec* dc,
                                               const EncodeSpec* ac, BlockBits& bits) {
  const Magnitude& m = kMagnitudes.middle()[difference];
  const Code code(reinterpret_cast<const uint8_t*>(dc) + 4 * size_t{m.category});
  if (code.length == 0) [[unlikely]]
    return false;
  bits.Put(code, m.appended, m.category);
  if (!PutAc(zigzag, ac, bits)) [[unlikely]]
    return false;
  bits.Spill();
  return bits.plausible();
}

ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool EncodeUsual(const int16_t* block, const Scan& scan) {
  const ZigzagBlock zigzag = ToZigzag(block);
  const int32_t difference = LoadSample<int16_t>(block) - *scan.last_dc;
  if (!PackedWriter::HasRoom(scan.to) || !MagnitudeTable::Has(difference) || !Unsaturated(zigzag)) [[unlikely]] {
    return false;
  }
  BlockBits::Memory memory;
  BlockBits bits(memory, scan.state);
  if (!PutBlock(zigzag, difference, scan.tables.dc, scan.tables.ac, bits)) [[unlikely]]
    return false;
  bits.Save(scan.to, scan.state);
  *scan.last_dc = LoadSample<int16_t>(block);
  return true;
}
constexpr auto EncodeOther = EncodeRare;
#endif

ZMCJ_BIT_INSTRUCTIONS ZmcStatus Encode(const int16_t* block, uint8_t* bytes, int length, int* position,
                                       int16_t* last_dc, const EncodeSpec* dc, const EncodeSpec* ac,
                                       EncodeState* state) {
  const Scan scan = {{bytes, length, position}, last_dc, {dc, ac}, state};
  if (EncodeUsual(block, scan)) [[likely]]
    return zmcStatusOk;
  return EncodeOther(block, Scan(scan));  // a copy, so that the other one can stay in registers
}

// Codes that the table lacks have no bits.
struct PackedDirectSink {
  PackedWriter writer;
  EncodeTables tables;
  HWY_INLINE bool Put(uint32_t entry, uint32_t appended, int category) {
    writer.Put(static_cast<uint64_t>(entry & 0xFFFF) << category | appended,
               static_cast<int>(CodeLength(entry)) + category);
    return true;
  }
  HWY_INLINE bool Dc(uint32_t symbol, uint32_t appended, int category) {
    return Put(tables.dc->entries[symbol], appended, category);
  }
  HWY_INLINE bool Ac(uint32_t symbol, uint32_t appended, int category) {
    return Put(AcEntry(tables.ac, symbol), appended, category);
  }
  HWY_INLINE bool AcWithCode(uint64_t run, uint32_t appended, int category) {
    return Put(tables.ac->entries[run * 16 + static_cast<unsigned>(category)], appended, category);
  }
};

ZMCJ_BIT_INSTRUCTIONS void EncodeDirect(const int16_t* block, uint8_t* dst, int* bits, int16_t* last_dc,
                                        const EncodeTables& tables) {
  int position = *bits / 8;
  const int count = *bits % 8;
  const unsigned pending = count > 0 ? dst[position] >> (8 - count) : 0u;
  PackedDirectSink sink{PackedWriter({dst, INT_MAX, &position}, count, pending), tables};
  Walk(block, last_dc, sink);
  sink.writer.Flush();
  const bool touched = sink.writer.position() != position || sink.writer.count() != count;
  if (touched) SaveDirect(sink.writer, dst, bits);
}

struct VectorCountingSink {
  CountingSink counts;
  HWY_INLINE bool Dc(uint32_t symbol, uint32_t, int) { return counts.Dc(symbol, 0, 0) == zmcStatusOk; }
  HWY_INLINE bool Ac(uint32_t symbol, uint32_t, int) { return counts.Ac(symbol, 0, 0) == zmcStatusOk; }
  HWY_INLINE bool AcWithCode(uint64_t run, uint64_t, unsigned category) {
    ++counts.ac_counts[run * 16 + category];
    return true;
  }
};

ZMCJ_BIT_INSTRUCTIONS void Count(const int16_t* block, int* dc_counts, int* ac_counts, int16_t* last_dc) {
  VectorCountingSink sink{{dc_counts, ac_counts}};
  Walk(block, last_dc, sink);
}

}  // namespace
extern constexpr HuffmanEncodeKernels kHuffmanEncode = {Encode, EncodeDirect, Count};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

constexpr HuffmanEncodeKernels kReference = {EncodeReference, EncodeDirectReference, CountReference};
constinit Family<HuffmanEncodeKernels> huffman_encode("huffman encode", kReference, {ZMCJ_LEVELS(kHuffmanEncode)});
const Enrolment enrolment(huffman_encode);

// The last bit position from which a block's bits can still be counted in an int.
constexpr int kLastDirectPosition = INT_MAX - 8 * PackedWriter::kRoomPerBlock;

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciEncodeHuffman8x8_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int dstLenBytes, int* pDstCurrPos,
                                             int16_t* pLastDC, const ZmciEncodeHuffmanSpec_JPEG_8u* pDcTable,
                                             const ZmciEncodeHuffmanSpec_JPEG_8u* pAcTable,
                                             ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState, int bFlush) {
  if (ZmcStatus s = CheckDestination(pDst, dstLenBytes, pDstCurrPos, pEncHuffState)) return s;
  if (bFlush != 0) return PadAndReset({pDst, dstLenBytes, pDstCurrPos}, pEncHuffState);
  if (ZmcStatus s = NotNull(pSrc, pLastDC, pDcTable, pAcTable)) return s;
  return huffman_encode->encode(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, pDcTable, pAcTable, pEncHuffState);
}

ZmcStatus zmciEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const int16_t* pSrc, uint8_t* pDst, int* pDstBitsLen,
                                                    int16_t* pLastDC, const ZmciEncodeHuffmanSpec_JPEG_8u* pDcTable,
                                                    const ZmciEncodeHuffmanSpec_JPEG_8u* pAcTable) {
  if (ZmcStatus s = NotNull(pSrc, pDst, pDstBitsLen, pLastDC, pDcTable, pAcTable)) return s;
  if (*pDstBitsLen < 0 || *pDstBitsLen > kLastDirectPosition) return zmcStatusBadArgument;
  huffman_encode->encode_direct(pSrc, pDst, pDstBitsLen, pLastDC, {pDcTable, pAcTable});
  return zmcStatusOk;
}

ZmcStatus zmciGetHuffmanStatistics8x8_JPEG_16s_C1(const int16_t* pSrc, int* pDcStatistics, int* pAcStatistics,
                                                  int16_t* pLastDC) {
  if (ZmcStatus s = NotNull(pSrc, pDcStatistics, pAcStatistics, pLastDC)) return s;
  huffman_encode->count(pSrc, pDcStatistics, pAcStatistics, pLastDC);
  return zmcStatusOk;
}
#endif
