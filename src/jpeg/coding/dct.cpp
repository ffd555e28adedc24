// Forward DCT with quantisation and dequantisation with inverse DCT of one 8x8 block.
#include <array>

#include "core/check.h"
#include "core/level.h"
#include "core/memory.h"
#include "jpeg/coding/dct_tables.h"
#include "jpeg/coding/quant.h"

#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg/coding/dct.cpp"
// clang-format off: the levels before the bodies that are read once per level
#include "core/foreach_level.h"
#include "jpeg/coding/dct-inl.h"
// clang-format on

#ifndef ZMCJ_DCT_TYPES
#define ZMCJ_DCT_TYPES
namespace zmcj {

struct DctKernels {
  void (*forward)(const int16_t* src, int16_t* dst, const uint16_t* reciprocals);
  void (*forward_bytes)(const uint8_t* src, int step, int16_t* dst, const uint16_t* reciprocals);
  void (*inverse)(const int16_t* src, int16_t* dst, const uint16_t* quantisers);
  void (*inverse_bytes)(const int16_t* src, uint8_t* dst, int step, const uint16_t* quantisers);
};

}  // namespace zmcj
#endif

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
extern constexpr DctKernels kDct = {ForwardWords, ForwardBytes, InverseWords, InverseBytes};
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj {
namespace {

using Samples = std::array<int16_t, 64>;

int Saturate(int value) { return std::clamp(value, -32768, 32767); }
using Factor = dct::Lanes<int16_t, 8>;
int HighProduct(int value, const Factor& factor) { return (value * factor[0]) >> 16; }
// By a factor that is stored less one.
int Multiply(int value, const Factor& factor) { return Saturate(value + HighProduct(value, factor)); }

Samples ForwardColumns(const Samples& x) {
  Samples y;
  for (size_t column = 0; column < 8; ++column) {
    int sum[4], difference[4];
    for (size_t i = 0; i < 4; ++i) {
      const auto upper = static_cast<int16_t>(x[8 * i + column] * (1 << dct::kForwardScaleBits));
      const auto lower = static_cast<int16_t>(x[8 * (7 - i) + column] * (1 << dct::kForwardScaleBits));
      sum[i] = Saturate(upper + lower);
      difference[i] = Saturate(upper - lower);
      if (i % 3 != 0) difference[i] = Saturate(2 * difference[i]);
    }
    const auto store = [&](size_t row, int value) { y[8 * row + column] = static_cast<int16_t>(Saturate(value)); };
    const int sum03 = Saturate(sum[0] + sum[3]), difference03 = Saturate(sum[0] - sum[3]);
    const int sum12 = Saturate(sum[1] + sum[2]), difference12 = Saturate(sum[1] - sum[2]);
    store(0, sum03 + sum12);
    store(4, sum03 - sum12);
    store(2, difference03 + HighProduct(difference12, dct::kTan2));
    store(6, HighProduct(difference03, dct::kTan2) - difference12);

    const int middle_sum = HighProduct(Saturate(difference[1] + difference[2]), dct::kHalfCosHalf);
    const int middle_difference = HighProduct(Saturate(difference[1] - difference[2]), dct::kHalfCosHalf);
    const int a = Saturate(difference[0] + middle_sum), b = Saturate(difference[3] + middle_difference);
    store(1, a + HighProduct(b, dct::kTan1));
    store(7, HighProduct(a, dct::kTan1) - b);
    const int c = Saturate(difference[0] - middle_sum), d = Saturate(difference[3] - middle_difference);
    store(3, c - Multiply(d, dct::kTan3Less1));
    store(5, Multiply(c, dct::kTan3Less1) + d);
  }
  return y;
}

// Four pairs times one group of a row's coefficients, and the same pairs in their swapped order times the group after
// it. Like the vector sums, these wrap.
std::array<uint32_t, 4> PairProducts(const std::array<int, 8>& x, size_t swap, const dct::RowTables& tables, size_t row,
                                     size_t group) {
  const int16_t* factors = &tables[dct::RowTableIndex(row, group)];
  const int16_t* swapped_factors = &tables[dct::RowTableIndex(row, group + 1)];
  std::array<uint32_t, 4> sums{};
  for (size_t i = 0; i < 8; ++i) {
    sums[i / 2] += static_cast<uint32_t>(x[i] * factors[i]) + static_cast<uint32_t>(x[i ^ swap] * swapped_factors[i]);
  }
  return sums;
}

Samples ForwardRows(const Samples& y) {
  Samples coefficients;
  for (size_t row = 0; row < 8; ++row) {
    const int16_t* x = &y[8 * row];
    std::array<int, 8> sum, difference;
    for (size_t i = 0; i < 8; ++i) {
      sum[i] = Saturate(x[i] + x[7 - i]);
      difference[i] = Saturate(x[i] - x[7 - i]);
    }
    const auto even = PairProducts(sum, 2, dct::kForwardTables, row, 0);
    const auto odd = PairProducts(difference, 2, dct::kForwardTables, row, 2);
    for (size_t i = 0; i < 8; ++i) {
      const int upper = static_cast<int32_t>(i % 2 ? odd[i / 2] : even[i / 2]) >> 16;
      constexpr int kHalf = 1 << (dct::kForwardRoundedBits - 1);
      coefficients[8 * row + i] = static_cast<int16_t>((upper + kHalf) >> dct::kForwardRoundedBits);
    }
  }
  return coefficients;
}

void ForwardReference(const Samples& samples, int16_t* dst, const uint16_t* reciprocals) {
  const Samples coefficients = ForwardRows(ForwardColumns(samples));
  for (size_t i = 0; i < 64; ++i) {
    StoreSample(dst + i, QuantiseReference(coefficients[i], LoadSample<uint16_t>(reciprocals + i)));
  }
}

void ForwardWordsReference(const int16_t* src, int16_t* dst, const uint16_t* reciprocals) {
  ForwardReference(LoadSample<Samples>(src), dst, reciprocals);
}

void ForwardBytesReference(const uint8_t* src, int step, int16_t* dst, const uint16_t* reciprocals) {
  Samples samples;
  for (size_t i = 0; i < 64; ++i) {
    samples[i] = static_cast<int16_t>(RowAt(src, static_cast<int64_t>(i / 8), step)[i % 8] - 128);
  }
  ForwardReference(samples, dst, reciprocals);
}

Samples InverseRows(const Samples& coefficients) {
  Samples y;
  for (size_t row = 0; row < 8; ++row) {
    const int16_t* x = &coefficients[8 * row];
    const auto even = PairProducts({x[0], x[2], x[0], x[2], x[4], x[6], x[4], x[6]}, 4, dct::kInverseTables, row, 0);
    const auto odd = PairProducts({x[1], x[3], x[1], x[3], x[5], x[7], x[5], x[7]}, 4, dct::kInverseTables, row, 2);
    for (size_t i = 0; i < 4; ++i) {
      const uint32_t rounded = even[i] + static_cast<uint32_t>(dct::kInverseRounding[4 * row]);
      const int left = static_cast<int32_t>(rounded + odd[i]) >> dct::kInverseRowShift;
      const int right = static_cast<int32_t>(rounded - odd[i]) >> dct::kInverseRowShift;
      y[8 * row + i] = static_cast<int16_t>(Saturate(left));
      y[8 * row + 7 - i] = static_cast<int16_t>(Saturate(right));
    }
  }
  return y;
}

Samples InverseColumns(const Samples& rows) {
  Samples x;
  for (size_t column = 0; column < 8; ++column) {
    int y[8];
    for (size_t row = 0; row < 8; ++row) y[row] = rows[8 * row + column];
    const int sum04 = Saturate(y[0] + y[4]), difference04 = Saturate(y[0] - y[4]);
    const int sum26 = Saturate(y[2] + HighProduct(y[6], dct::kTan2));
    const int difference26 = Saturate(HighProduct(y[2], dct::kTan2) - y[6]);
    const int even[4] = {sum04 + sum26, difference04 + difference26, difference04 - difference26, sum04 - sum26};

    const int a = Saturate(y[1] + HighProduct(y[7], dct::kTan1)), b = Saturate(HighProduct(y[1], dct::kTan1) - y[7]);
    const int c = Saturate(y[3] + Multiply(y[5], dct::kTan3Less1)),
              d = Saturate(Multiply(y[3], dct::kTan3Less1) - y[5]);
    const int ac = Saturate(a - c), bd = Saturate(b + d);
    const int odd[4] = {Saturate(a + c), Multiply(Saturate(ac + bd), dct::kCosHalfLess1),
                        Multiply(Saturate(ac - bd), dct::kCosHalfLess1), Saturate(b - d)};
    for (size_t i = 0; i < 4; ++i) {
      const int centre = Saturate(even[i]);
      x[8 * i + column] = static_cast<int16_t>(Saturate(centre + odd[i]) >> dct::kInverseColumnShift);
      x[8 * (7 - i) + column] = static_cast<int16_t>(Saturate(centre - odd[i]) >> dct::kInverseColumnShift);
    }
  }
  return x;
}

Samples InverseReference(const int16_t* src, const uint16_t* quantisers) {
  Samples coefficients;
  for (size_t i = 0; i < 64; ++i) {
    const int product = LoadSample<int16_t>(src + i) * LoadSample<uint16_t>(quantisers + i);
    coefficients[i] = static_cast<int16_t>(static_cast<uint16_t>(product));
  }
  return InverseColumns(InverseRows(coefficients));
}

void InverseWordsReference(const int16_t* src, int16_t* dst, const uint16_t* quantisers) {
  StoreSample(dst, InverseReference(src, quantisers));
}

void InverseBytesReference(const int16_t* src, uint8_t* dst, int step, const uint16_t* quantisers) {
  const Samples samples = InverseReference(src, quantisers);
  for (size_t i = 0; i < 64; ++i) {
    RowAt(dst, static_cast<int64_t>(i / 8), step)[i % 8] = static_cast<uint8_t>(std::clamp(samples[i] + 128, 0, 255));
  }
}

constexpr DctKernels kReference = {ForwardWordsReference, ForwardBytesReference, InverseWordsReference,
                                   InverseBytesReference};
constinit Family<DctKernels> transform("DCT", kReference, {ZMCJ_LEVELS(kDct)});
const Enrolment enrolment(transform);

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciDCTQuantFwd8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantFwdTable) {
  if (ZmcStatus s = NotNull(pSrc, pDst, pQuantFwdTable)) return s;
  transform->forward(pSrc, pDst, pQuantFwdTable);
  return zmcStatusOk;
}

ZmcStatus zmciDCTQuantFwd8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantFwdTable) {
  if (ZmcStatus s = NotNull(pSrcDst, pQuantFwdTable)) return s;
  transform->forward(pSrcDst, pSrcDst, pQuantFwdTable);
  return zmcStatusOk;
}

ZmcStatus zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const uint8_t* pSrc, int srcStep, int16_t* pDst,
                                              const uint16_t* pQuantFwdTable) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc, pDst), Steps(srcStep), NotNull(pQuantFwdTable))) return s;
  transform->forward_bytes(pSrc, srcStep, pDst, pQuantFwdTable);
  return zmcStatusOk;
}

ZmcStatus zmciDCTQuantInv8x8_JPEG_16s_C1(const int16_t* pSrc, int16_t* pDst, const uint16_t* pQuantInvTable) {
  if (ZmcStatus s = NotNull(pSrc, pDst, pQuantInvTable)) return s;
  transform->inverse(pSrc, pDst, pQuantInvTable);
  return zmcStatusOk;
}

ZmcStatus zmciDCTQuantInv8x8_JPEG_16s_C1I(int16_t* pSrcDst, const uint16_t* pQuantInvTable) {
  if (ZmcStatus s = NotNull(pSrcDst, pQuantInvTable)) return s;
  transform->inverse(pSrcDst, pSrcDst, pQuantInvTable);
  return zmcStatusOk;
}

ZmcStatus zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int dstStep,
                                              const uint16_t* pQuantInvTable) {
  if (ZmcStatus s = FirstFailure(NotNull(pSrc, pDst), Steps(dstStep), NotNull(pQuantInvTable))) return s;
  transform->inverse_bytes(pSrc, pDst, dstStep, pQuantInvTable);
  return zmcStatusOk;
}
#endif
