// Quantisation tables from their raw form, and quantisation of one block.
#include "jpeg/coding/quant.h"

#include <array>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/coding/quant.cpp"
// clang-format off: the levels before the bodies that are read once per level
#include "core/foreach_level.h"
#include "jpeg/coding/quant-inl.h"
// clang-format on

#ifndef ZMCJ_QUANT_TYPES
#define ZMCJ_QUANT_TYPES
namespace zmcj {

struct QuantKernels {
  void (*forward)(int16_t* block, const uint16_t* reciprocals);
  void (*inverse)(int16_t* block, const uint16_t* quantisers);
};

}  // namespace zmcj
#endif

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
namespace hn = hwy::HWY_NAMESPACE;

void QuantiseBlock(int16_t* block, const uint16_t* reciprocals) {
  const hn::ScalableTag<int16_t> d;
  const hn::RebindToUnsigned<decltype(d)> du;
  for (size_t i = 0; i < 64; i += hn::Lanes(d)) {
    const auto table = hn::BitCast(d, hn::LoadU(du, reciprocals + i));
    hn::StoreU(Quantise(d, hn::LoadU(d, block + i), table), d, block + i);
  }
}

void DequantiseBlock(int16_t* block, const uint16_t* quantisers) {
  const hn::ScalableTag<int16_t> d;
  const hn::RebindToUnsigned<decltype(d)> du;
  const hn::RepartitionToWide<decltype(d)> d32;
  for (size_t i = 0; i < 64; i += hn::Lanes(d)) {
    const auto coefficients = hn::LoadU(d, block + i);
    const auto table = hn::BitCast(d, hn::LoadU(du, quantisers + i));
    // The quantiser is unsigned: read as signed, one of 2^15 or more lacks 2^16.
    const auto high = hn::Add(hn::MulHigh(coefficients, table), hn::And(coefficients, hn::ShiftRight<15>(table)));
    const auto low = hn::Mul(coefficients, table);
    const auto first = hn::BitCast(d32, hn::InterleaveLower(d, low, high));
    const auto second = hn::BitCast(d32, hn::InterleaveUpper(d, low, high));
    hn::StoreU(hn::ReorderDemote2To(d, first, second), d, block + i);
  }
}

}  // namespace
extern constexpr QuantKernels kQuant = {QuantiseBlock, DequantiseBlock};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

void QuantiseBlockReference(int16_t* block, const uint16_t* reciprocals) {
  for (int i = 0; i < 64; ++i) {
    StoreSample(block + i, QuantiseReference(LoadSample<int16_t>(block + i), LoadSample<uint16_t>(reciprocals + i)));
  }
}

void DequantiseBlockReference(int16_t* block, const uint16_t* quantisers) {
  for (int i = 0; i < 64; ++i) {
    const int product = LoadSample<int16_t>(block + i) * LoadSample<uint16_t>(quantisers + i);
    StoreSample(block + i, static_cast<int16_t>(std::clamp(product, -32768, 32767)));
  }
}

constexpr QuantKernels kReference = {QuantiseBlockReference, DequantiseBlockReference};
constinit Family<QuantKernels> quant("quantisation", kReference, {ZMCJ_LEVELS(kQuant)});
const Enrolment enrolment(quant);

// Position in the zigzag sequence of each coefficient in row order (ISO/IEC 10918-1, figure A.6).
constexpr std::array<uint8_t, 64> kZigzagPosition = {0,  1,  5,  6,  14, 15, 27, 28,  //
                                                     2,  4,  7,  13, 16, 26, 29, 42,  //
                                                     3,  8,  12, 17, 25, 30, 41, 43,  //
                                                     9,  11, 18, 24, 31, 40, 44, 53,  //
                                                     10, 19, 23, 32, 39, 45, 52, 54,  //
                                                     20, 22, 33, 38, 46, 51, 55, 60,  //
                                                     21, 34, 37, 47, 50, 56, 59, 61,  //
                                                     35, 36, 48, 49, 57, 58, 62, 63};

// In percent, as 32-bit arithmetic that wraps gives it for factors far outside 1..100.
int32_t QualityScale(int32_t quality) {
  if (quality == 0) quality = 1;
  if (quality < 50) return 5000 / quality;
  return static_cast<int32_t>(200 - 2 * static_cast<uint32_t>(quality));
}

uint8_t ScaleQuantiser(uint8_t quantiser, int32_t percent) {
  const auto hundredfold = static_cast<int32_t>(quantiser * static_cast<uint32_t>(percent) + 50);
  return static_cast<uint8_t>(std::clamp(hundredfold / 100, 1, 255));
}

// 2^15 / quantiser to the nearest integer. Ties do not occur: 2^16 / quantiser is never odd up to 255.
uint16_t Reciprocal(uint8_t quantiser) {
  if (quantiser == 0) return 65535;
  return static_cast<uint16_t>((2 * 32768 + quantiser) / (2 * quantiser));
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciQuantFwdRawTableInit_JPEG_8u(uint8_t* pQuantRawTable, int qualityFactor) {
  if (ZmcStatus s = NotNull(pQuantRawTable)) return s;
  const int32_t percent = QualityScale(qualityFactor);
  for (int i = 0; i < 64; ++i) pQuantRawTable[i] = ScaleQuantiser(pQuantRawTable[i], percent);
  return zmcStatusOk;
}

ZmcStatus zmciQuantFwdTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantFwdTable) {
  if (ZmcStatus s = NotNull(pQuantRawTable, pQuantFwdTable)) return s;
  bool zero = false;
  for (size_t i = 0; i < 64; ++i) {
    const uint8_t quantiser = pQuantRawTable[kZigzagPosition[i]];
    zero |= quantiser == 0;
    StoreSample(pQuantFwdTable + i, Reciprocal(quantiser));
  }
  return zero ? zmcStatusDivisionByZeroWarning : zmcStatusOk;
}

ZmcStatus zmciQuantInvTableInit_JPEG_8u16u(const uint8_t* pQuantRawTable, uint16_t* pQuantInvTable) {
  if (ZmcStatus s = NotNull(pQuantRawTable, pQuantInvTable)) return s;
  for (size_t i = 0; i < 64; ++i) StoreSample<uint16_t>(pQuantInvTable + i, pQuantRawTable[kZigzagPosition[i]]);
  return zmcStatusOk;
}

ZmcStatus zmciQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable) {
  if (ZmcStatus s = NotNull(pQuantFwdTable, pSrcDst)) return s;
  quant->forward(pSrcDst, pQuantFwdTable);
  return zmcStatusOk;
}

ZmcStatus zmciQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable) {
  if (ZmcStatus s = NotNull(pQuantInvTable, pSrcDst)) return s;
  quant->inverse(pSrcDst, pQuantInvTable);
  return zmcStatusOk;
}
#endif
