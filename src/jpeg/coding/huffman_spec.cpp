// Huffman tables in the form that the coders use, built from a DHT segment's lists, and the life of all four records.
#include <cstring>

#include "core/check.h"
#include "core/memory.h"
#include "jpeg/coding/bit_reader.h"
#include "jpeg/coding/huffman_records.h"

namespace zmcj {
namespace {

// The canonical codes of a BITS list (ISO/IEC 10918-1, C.2), in the order of the symbols. Damaged lists give codes
// that do not fit their length; `overfull` tells, and tells as well when a code of all ones is used.
struct CanonicalCodes {
  explicit CanonicalCodes(const uint8_t* bits) {
    uint32_t next = 0;
    for (int length = 1; length <= kMaxCodeLength; ++length, next *= 2) {
      if (size + bits[length - 1] > 256) {
        too_many = true;
        return;
      }
      first[length] = size;
      for (int i = 0; i < bits[length - 1]; ++i) code[size++] = next++;
      // Only a used code of all ones or an overflow brings `next` here: for unused lengths this repeats the test
      // before.
      overfull |= next >= uint32_t{1} << length;
    }
    first[kMaxCodeLength + 1] = size;
  }

  int size = 0;
  int first[kMaxCodeLength + 2] = {};  // by length: index of its first code
  uint32_t code[256];
  bool too_many = false;
  bool overfull = false;
};

ZmcStatus Build(const uint8_t* bits, const uint8_t* values, EncodeSpec* spec) {
  std::memset(spec, 0, sizeof *spec);
  const CanonicalCodes codes(bits);
  if (codes.too_many || codes.overfull) return zmcStatusBadHuffmanTable;
  for (int length = 1; length <= kMaxCodeLength; ++length) {
    for (int i = codes.first[length]; i < codes.first[length + 1]; ++i) {
      spec->entries[values[i]] = static_cast<uint32_t>(length) << 16 | codes.code[i];
    }
  }
  return zmcStatusOk;
}

// Takes overfull tables too: a code that does not fit its length is never met in a stream.
ZmcStatus Build(const uint8_t* bits, const uint8_t* values, DecodeSpec* spec) {
  std::memset(spec, 0, sizeof *spec);
  const CanonicalCodes codes(bits);
  if (codes.too_many) return zmcStatusBadHuffmanTable;
  spec->maxcode[kMaxCodeLength + 1] = kNoCode;
  for (int length = 1; length <= kMaxCodeLength; ++length) {
    const int begin = codes.first[length], end = codes.first[length + 1];
    spec->maxcode[length] = kNoCode;
    if (begin == end) continue;
    spec->valptr[length] = static_cast<uint16_t>(begin);
    spec->mincode[length] = static_cast<uint16_t>(codes.code[begin]);
    spec->maxcode[length] = static_cast<uint16_t>(codes.code[end - 1]);
    for (int i = begin; i < end; ++i) {
      spec->values[i] = values[i];
      if (length > 8) continue;
      const auto total = static_cast<uint8_t>(length + (values[i] & 15));
      const int free_bits = kLookahead - length;
      const uint32_t from = codes.code[i] << free_bits, to = (codes.code[i] + 1) << free_bits;
      for (uint32_t k = from; k < to && k < 1 << kLookahead; ++k) {
        spec->total[k] = total;
        spec->symbol[k] = values[i];
      }
    }
  }
  // Codes of 9 bits come after all shorter ones and, as all longer ones, by comparison: it matters in an overfull
  // table.
  for (int k = 0; k < 1 << kLookahead; ++k) {
    if (spec->total[k] != 0 || !IsCode(spec, kLookahead, k)) continue;
    const Symbol symbol = SymbolAt(spec, kLookahead, k);
    const uint32_t total = kLookahead + (symbol.value & 15);
    if (symbol.status != zmcStatusOk || total > kLongestFound) continue;
    spec->total[k] = static_cast<uint8_t>(total);
    spec->symbol[k] = static_cast<uint8_t>(symbol.value);
  }
  return zmcStatusOk;
}

template <class Spec>
ZmcStatus BuildAllocated(const uint8_t* bits, const uint8_t* values, Spec** spec) {
  auto* made = static_cast<Spec*>(AlignedAllocate(sizeof(Spec)));
  if (made == nullptr) return zmcStatusNullPointer;
  *spec = made;
  return Build(bits, values, made);
}

template <class State>
ZmcStatus Clear(State* state) {
  std::memset(state, 0, sizeof *state);
  return zmcStatusOk;
}

template <class State>
ZmcStatus ClearAllocated(State** state) {
  auto* made = static_cast<State*>(AlignedAllocate(sizeof(State)));
  if (made == nullptr) return zmcStatusNullPointer;
  *state = made;
  return Clear(made);
}

template <class Record>
ZmcStatus StoreSize(int* size) {
  *size = static_cast<int>(sizeof(Record));
  return zmcStatusOk;
}

ZmcStatus Release(void* record) {
  AlignedFree(record);
  return zmcStatusOk;
}

}  // namespace

ZmcStatus ResetState(EncodeState* state) { return Clear(state); }

}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciEncodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize) {
  if (ZmcStatus s = NotNull(pSize)) return s;
  return StoreSize<EncodeSpec>(pSize);
}

ZmcStatus zmciEncodeHuffmanSpecInit_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                            ZmciEncodeHuffmanSpec_JPEG_8u* pEncHuffSpec) {
  if (ZmcStatus s = NotNull(pListBits, pListVals, pEncHuffSpec)) return s;
  return Build(pListBits, pListVals, pEncHuffSpec);
}

ZmcStatus zmciEncodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                 ZmciEncodeHuffmanSpec_JPEG_8u** ppEncHuffSpec) {
  if (ZmcStatus s = NotNull(pListBits, pListVals, ppEncHuffSpec)) return s;
  return BuildAllocated(pListBits, pListVals, ppEncHuffSpec);
}

ZmcStatus zmciEncodeHuffmanSpecFree_JPEG_8u(ZmciEncodeHuffmanSpec_JPEG_8u* pEncHuffSpec) {
  if (ZmcStatus s = NotNull(pEncHuffSpec)) return s;
  return Release(pEncHuffSpec);
}

ZmcStatus zmciEncodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) {
  if (ZmcStatus s = NotNull(pSize)) return s;
  return StoreSize<EncodeState>(pSize);
}

ZmcStatus zmciEncodeHuffmanStateInit_JPEG_8u(ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState) {
  if (ZmcStatus s = NotNull(pEncHuffState)) return s;
  return Clear(pEncHuffState);
}

ZmcStatus zmciEncodeHuffmanStateInitAlloc_JPEG_8u(ZmciEncodeHuffmanState_JPEG_8u** ppEncHuffState) {
  if (ZmcStatus s = NotNull(ppEncHuffState)) return s;
  return ClearAllocated(ppEncHuffState);
}

ZmcStatus zmciEncodeHuffmanStateFree_JPEG_8u(ZmciEncodeHuffmanState_JPEG_8u* pEncHuffState) {
  if (ZmcStatus s = NotNull(pEncHuffState)) return s;
  return Release(pEncHuffState);
}

ZmcStatus zmciDecodeHuffmanSpecGetBufSize_JPEG_8u(int* pSize) {
  if (ZmcStatus s = NotNull(pSize)) return s;
  return StoreSize<DecodeSpec>(pSize);
}

ZmcStatus zmciDecodeHuffmanSpecInit_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                            ZmciDecodeHuffmanSpec_JPEG_8u* pDecHuffSpec) {
  if (ZmcStatus s = NotNull(pListBits, pListVals, pDecHuffSpec)) return s;
  return Build(pListBits, pListVals, pDecHuffSpec);
}

ZmcStatus zmciDecodeHuffmanSpecInitAlloc_JPEG_8u(const uint8_t* pListBits, const uint8_t* pListVals,
                                                 ZmciDecodeHuffmanSpec_JPEG_8u** ppDecHuffSpec) {
  if (ZmcStatus s = NotNull(pListBits, pListVals, ppDecHuffSpec)) return s;
  return BuildAllocated(pListBits, pListVals, ppDecHuffSpec);
}

ZmcStatus zmciDecodeHuffmanSpecFree_JPEG_8u(ZmciDecodeHuffmanSpec_JPEG_8u* pDecHuffSpec) {
  if (ZmcStatus s = NotNull(pDecHuffSpec)) return s;
  return Release(pDecHuffSpec);
}

ZmcStatus zmciDecodeHuffmanStateGetBufSize_JPEG_8u(int* pSize) {
  if (ZmcStatus s = NotNull(pSize)) return s;
  return StoreSize<DecodeState>(pSize);
}

ZmcStatus zmciDecodeHuffmanStateInit_JPEG_8u(ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState) {
  if (ZmcStatus s = NotNull(pDecHuffState)) return s;
  return Clear(pDecHuffState);
}

ZmcStatus zmciDecodeHuffmanStateInitAlloc_JPEG_8u(ZmciDecodeHuffmanState_JPEG_8u** ppDecHuffState) {
  if (ZmcStatus s = NotNull(ppDecHuffState)) return s;
  return ClearAllocated(ppDecHuffState);
}

ZmcStatus zmciDecodeHuffmanStateFree_JPEG_8u(ZmciDecodeHuffmanState_JPEG_8u* pDecHuffState) {
  if (ZmcStatus s = NotNull(pDecHuffState)) return s;
  return Release(pDecHuffState);
}
