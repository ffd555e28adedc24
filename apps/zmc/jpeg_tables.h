// The standard's own tables, and the library's records of Huffman tables and coder states.
#pragma once

#include <memory>

#include "jpeg_format.h"
#include "zmcj.h"

namespace zmc::jpeg {

// Annex K's tables, which nearly every encoder scales and uses: index 0 for luminance, 1 for chrominance.
extern const std::array<QuantTable, 2> kStandardQuant;
extern const std::array<HuffmanTable, 2> kStandardDc;
extern const std::array<HuffmanTable, 2> kStandardAc;

// A standard table scaled to a quality of 1 to 100; and what a file's table would have been scaled by, 0 if by nothing.
QuantTable ScaledQuant(int index, int quality);
int QualityOf(const QuantTable& table, int index);

// The library's working tables, in natural order.
using WorkingTable = std::array<uint16_t, 64>;
WorkingTable ForwardTable(const QuantTable& table);
WorkingTable InverseTable(const QuantTable& table);

template <auto Free>
struct FreeWith {
  template <class Record>
  void operator()(Record* record) const {
    Free(record);
  }
};
using EncodeSpec = std::unique_ptr<ZmciEncodeHuffmanSpec_JPEG_8u, FreeWith<zmciEncodeHuffmanSpecFree_JPEG_8u>>;
using DecodeSpec = std::unique_ptr<ZmciDecodeHuffmanSpec_JPEG_8u, FreeWith<zmciDecodeHuffmanSpecFree_JPEG_8u>>;
using EncodeState = std::unique_ptr<ZmciEncodeHuffmanState_JPEG_8u, FreeWith<zmciEncodeHuffmanStateFree_JPEG_8u>>;
using DecodeState = std::unique_ptr<ZmciDecodeHuffmanState_JPEG_8u, FreeWith<zmciDecodeHuffmanStateFree_JPEG_8u>>;

// All throw Failure.
EncodeSpec MakeEncodeSpec(const HuffmanTable& table);
DecodeSpec MakeDecodeSpec(const HuffmanTable& table);
EncodeState MakeEncodeState();
DecodeState MakeDecodeState();

// For calls whose arguments leave no failure but the one named.
void Require(ZmcStatus status, const char* failure);

}  // namespace zmc::jpeg
