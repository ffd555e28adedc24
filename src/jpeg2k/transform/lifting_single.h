// Registers of a single lane: the arithmetic of the scalar reference, and of the lines' ends at the vector levels.
#pragma once

#include <cstdint>

#include "core/memory.h"

namespace zmcj {

// 32-bit sums that wrap, through unsigned arithmetic.
constexpr int32_t WrappingAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t WrappingSub(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// Toward zero. Out of range: above 2^31 the maximum; 2^31 itself, anything below -2^31, and NaN the minimum, which is
// what x86's conversion gives.
constexpr int32_t TruncateToInt(float v) {
  if (v > 2147483648.0f) return INT32_MAX;
  return v >= -2147483648.0f && v < 2147483648.0f ? static_cast<int32_t>(v) : INT32_MIN;
}

template <class T>
struct SingleBase {
  using V = T;
  static constexpr int kLanes = 1;
  static V Set(T value) { return value; }
  template <class S>
  static V Load(const S* p) {
    return static_cast<T>(LoadSample<S>(p));
  }
  static void Store(V v, T* p) { StoreSample(p, v); }
  template <class S>
  static void LoadPairs(const S* p, V& first, V& second) {
    first = Load(p);
    second = Load(p + 1);
  }
  // The lanes of v, each one place later; the first comes from the end of `before`.
  static V Delay(V before, V) { return before; }
};

template <class T>
struct Single;

template <>
struct Single<int32_t> : SingleBase<int32_t> {
  static V Add(V a, V b) { return WrappingAdd(a, b); }
  static V Sub(V a, V b) { return WrappingSub(a, b); }
  static V HalfSum(V a, V b) { return WrappingAdd(a, b) >> 1; }
  static V QuarterSum(V a, V b) { return WrappingAdd(WrappingAdd(a, b), 2) >> 2; }
  static void StorePairs(V first, V second, int32_t* p) { Store(first, p), Store(second, p + 1); }
};

template <>
struct Single<int16_t> : SingleBase<int16_t> {
  static V Add(V a, V b) { return static_cast<V>(a + b); }
  static V Sub(V a, V b) { return static_cast<V>(a - b); }
  static V HalfSum(V a, V b) { return static_cast<V>((a + b) >> 1); }
  static V QuarterSum(V a, V b) { return static_cast<V>((a + b + 2) >> 2); }
  // In 14-bit fixed point. The products stay below 2^31: (a + b) below 2^17, factors below 2^15.
  static V ScaledSum(V a, V b, int factor) { return static_cast<V>(((a + b) * factor + 8192) >> 14); }
  static V Scaled(V a, int factor) { return static_cast<V>((a * factor + 8192) >> 14); }
  static void StorePairs(V first, V second, int16_t* p) { Store(first, p), Store(second, p + 1); }
};

template <>
struct Single<float> : SingleBase<float> {
  static V Add(V a, V b) { return a + b; }
  static V Mul(V a, V b) { return a * b; }
  static void Store(V v, float* p) { StoreSample(p, v); }
  static void Store(V v, int32_t* p) { StoreSample(p, TruncateToInt(v)); }
  template <class S>
  static void StorePairs(V first, V second, S* p) {
    Store(first, p), Store(second, p + 1);
  }
};

}  // namespace zmcj
