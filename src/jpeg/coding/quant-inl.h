// The vector body of forward quantisation, shared by the block function and the fused forward DCT. Read once per level.
#if defined(ZMCJ_JPEG_CODING_QUANT_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_JPEG_CODING_QUANT_INL_H_
#undef ZMCJ_JPEG_CODING_QUANT_INL_H_
#else
#define ZMCJ_JPEG_CODING_QUANT_INL_H_
#endif

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR

// Right for reciprocals below 2^15, which is all of them but those of the quantisers 1 and 0. The rounding high product
// is floor(p / 2^15 + 1/2): it is one too high on a tie whose floor is even, so on ties bit 0 is cleared. A tie is
// p mod 2^15 = 2^14: twice the product's low half is then -2^15, the one value whose magnitude keeps the top bit set.
template <class D, class V = hwy::HWY_NAMESPACE::VFromD<D>>
HWY_INLINE V QuantiseBelow2Pow15(D d, V coefficients, V reciprocals) {
  namespace hn = hwy::HWY_NAMESPACE;
  const hn::RebindToUnsigned<D> du;
  const V rounded = hn::MulFixedPoint15(coefficients, reciprocals);
  const V low = hn::Mul(coefficients, reciprocals);
  const auto tie = hn::ShiftRight<15>(hn::BitCast(du, hn::Abs(hn::Add(low, low))));
  return hn::AndNot(hn::BitCast(d, tie), rounded);
}

// Right for every reciprocal: one of 2^15 or more, read as signed, stands for 2^16 less, which makes the quotient 2 *
// coefficient less. Being even, that does not change which way ties go. It is given back in two steps, the first of
// which cannot saturate because the two have opposite signs.
template <class D, class V = hwy::HWY_NAMESPACE::VFromD<D>>
HWY_INLINE V Quantise(D d, V coefficients, V reciprocals) {
  namespace hn = hwy::HWY_NAMESPACE;
  const V missing = hn::And(coefficients, hn::ShiftRight<15>(reciprocals));
  const V quotient = QuantiseBelow2Pow15(d, coefficients, reciprocals);
  return hn::SaturatedAdd(hn::SaturatedAdd(quotient, missing), missing);
}

#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
