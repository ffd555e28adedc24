// Quantisation of single coefficients: the scalar rules that every level reproduces.
#pragma once

#include <algorithm>
#include <cstdint>

namespace zmcj {

// coefficient * reciprocal / 2^15, rounded to the nearest integer, ties to even, saturated to 16 bits.
inline int16_t QuantiseReference(int16_t coefficient, uint16_t reciprocal) {
  const int32_t product = coefficient * reciprocal;
  // Half of the divisor less one, and one more if the quotient's integer part is odd. The sum cannot overflow: the
  // product is in magnitude at most 2^31 - 2^15.
  const int32_t rounding = 16383 + ((product >> 15) & 1);
  return static_cast<int16_t>(std::clamp((product + rounding) >> 15, -32768, 32767));
}

}  // namespace zmcj
