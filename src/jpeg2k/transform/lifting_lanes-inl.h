// Registers of several lanes for the lifting engine: what Single is for one.
//
// No include guard: compiled once per vector level, inside HWY_BEFORE_NAMESPACE() and HWY_AFTER_NAMESPACE().

namespace zmcj::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_AVX3
// Which lanes of two registers, counted through both, make up a register.
template <class T>
struct LaneOrder {
  static constexpr int kLanes = 64 / sizeof(T);
  alignas(64) T from[kLanes];

  static constexpr LaneOrder Every(int stride, int first) {
    LaneOrder order{};
    for (int i = 0; i < kLanes; ++i) order.from[i] = static_cast<T>(first + stride * i);
    return order;
  }
  // From lane `first` of a register on, and back again from its lane `turn`.
  static constexpr LaneOrder AndBack(int first, int turn) {
    LaneOrder order{};
    for (int i = 0; i < kLanes; ++i)
      order.from[i] = static_cast<T>(first + i < kLanes ? first + i : turn + kLanes - first - i);
    return order;
  }
  static constexpr LaneOrder Alternately(int first) {
    LaneOrder order{};
    for (int i = 0; i < kLanes; ++i) order.from[i] = static_cast<T>(first + i / 2 + i % 2 * kLanes);
    return order;
  }
};
template <class T>
struct LaneOrders {
  static constexpr LaneOrder<T> kEven = LaneOrder<T>::Every(2, 0);
  static constexpr LaneOrder<T> kOdd = LaneOrder<T>::Every(2, 1);
  static constexpr LaneOrder<T> kOneLater = LaneOrder<T>::Every(1, LaneOrder<T>::kLanes - 1);
  static constexpr LaneOrder<T> kLowerInPairs = LaneOrder<T>::Alternately(0);
  static constexpr LaneOrder<T> kUpperInPairs = LaneOrder<T>::Alternately(LaneOrder<T>::kLanes / 2);
};
#endif

// The last lanes of 16 bytes in reverse, from the last one or from the one before it.
template <class T, bool kAboutSample>
struct ReflectedOrder {
  alignas(16) uint8_t bytes[16];
  constexpr ReflectedOrder() : bytes() {
    constexpr int kSize = static_cast<int>(sizeof(T)), kLast = 16 / kSize - (kAboutSample ? 2 : 1);
    for (int i = 0; i < 16 && i / kSize <= kLast; ++i)
      bytes[i] = static_cast<uint8_t>((kLast - i / kSize) * kSize + i % kSize);
  }
};

template <class T>
struct LanesBase {
  using D = hn::ScalableTag<T>;
  using V = hn::Vec<D>;
  static constexpr int kLanes = static_cast<int>(hn::MaxLanes(D()));
  static constexpr bool kManyRegisters = HWY_TARGET == HWY_AVX3;

  static HWY_INLINE V Set(T value) { return hn::Set(D(), value); }
  // Once: left to itself, g++ 12 loads anew for each instruction that can take its operand from memory.
  static HWY_INLINE V Load(const T* p) {
    V v = hn::LoadU(D(), p);
#if HWY_ARCH_X86
    asm("" : "+v"(v.raw));
#endif
    return v;
  }
  static HWY_INLINE void Store(V v, T* p) { hn::StoreU(v, D(), p); }
  static HWY_INLINE void LoadPairs(const T* p, V& first, V& second) {
#if HWY_TARGET == HWY_AVX3
    const V low = Load(p), high = Load(p + kLanes);
    first = Pick(low, high, Orders::kEven);
    second = Pick(low, high, Orders::kOdd);
#elif HWY_TARGET == HWY_AVX2
    // The even and odd 32-bit units of two registers whose halves are so placed that no shuffle crosses them.
    const hn::Half<D> half;
    const hn::Repartition<float, D> d32;
    constexpr int kHalf = kLanes / 2;
    V low = hn::Combine(D(), hn::LoadU(half, p + 2 * kHalf), hn::LoadU(half, p));
    V high = hn::Combine(D(), hn::LoadU(half, p + 3 * kHalf), hn::LoadU(half, p + kHalf));
    if constexpr (sizeof(T) == 2) {
      // Within each 128 bits, the even lanes to the front.
      alignas(32) static constexpr uint8_t kEvenLanesFirst[32] = {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15,
                                                                  0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
      const hn::Repartition<uint8_t, D> d8;
      const hn::Repartition<uint64_t, D> d64;
      const auto order = hn::Load(d8, kEvenLanesFirst);
      const auto l = hn::BitCast(d64, hn::TableLookupBytes(hn::BitCast(d8, low), order));
      const auto h = hn::BitCast(d64, hn::TableLookupBytes(hn::BitCast(d8, high), order));
      first = hn::BitCast(D(), hn::InterleaveLower(d64, l, h));
      second = hn::BitCast(D(), hn::InterleaveUpper(d64, l, h));
    } else {
      const auto l = hn::BitCast(d32, low), h = hn::BitCast(d32, high);
      first = hn::BitCast(D(), hn::Vec<decltype(d32)>{_mm256_shuffle_ps(l.raw, h.raw, 0x88)});
      second = hn::BitCast(D(), hn::Vec<decltype(d32)>{_mm256_shuffle_ps(l.raw, h.raw, 0xDD)});
    }
#else
    hn::LoadInterleaved2(D(), p, first, second);
#endif
  }
  static HWY_INLINE void StorePairs(V first, V second, T* p) {
#if HWY_TARGET == HWY_AVX3
    Store(Pick(first, second, Orders::kLowerInPairs), p);
    Store(Pick(first, second, Orders::kUpperInPairs), p + kLanes);
#else
    hn::StoreInterleaved2(first, second, D(), p);
#endif
  }

  // Leaves the place of the last sample alone.
  static HWY_INLINE void StoreAllButLast(V v, T* p) {
#if HWY_TARGET == HWY_AVX3
    using Mask = hn::MFromD<D>;
    hn::BlendedStore(v, Mask{static_cast<typename Mask::Raw>((uint64_t{1} << (kLanes - 1)) - 1)}, D(), p);
#else
    T staged[kLanes];
    Store(v, staged);
    std::memcpy(p, staged, sizeof(T) * (kLanes - 1));
#endif
  }
  static HWY_INLINE void StorePairsAllButLast(V first, V second, T* p) {
#if HWY_TARGET == HWY_AVX3
    Store(Pick(first, second, Orders::kLowerInPairs), p);
    StoreAllButLast(Pick(first, second, Orders::kUpperInPairs), p + kLanes);
#else
    T staged[2 * kLanes];
    StorePairs(first, second, staged);
    std::memcpy(p, staged, sizeof(T) * (2 * kLanes - 1));
#endif
  }

  static HWY_INLINE V Add(V a, V b) { return hn::Add(a, b); }
  static HWY_INLINE V Sub(V a, V b) { return hn::Sub(a, b); }

  // The lanes of v, each one place later; the first comes from the end of `before`.
  static HWY_INLINE V Delay(V before, V v) {
#if HWY_TARGET == HWY_AVX3
    return Pick(before, v, Orders::kOneLater);
#else
#if HWY_TARGET == HWY_AVX2
    // The upper half of `before` and the lower half of v: what precedes each half of v.
    before = hn::ConcatLowerUpper(D(), v, before);
#endif
    return hn::CombineShiftRightBytes<16 - sizeof(T)>(D(), v, before);
#endif
  }

  // The first 16 bytes of v in the given order, in every 16 bytes of the register.
  static HWY_INLINE V FromStart(V v, const uint8_t* order) {
    const hn::Repartition<uint8_t, D> d8;
#if HWY_TARGET == HWY_AVX3
    const hn::Repartition<int32_t, D> d32;
    v = hn::BitCast(D(), hn::Vec<decltype(d32)>{_mm512_shuffle_i32x4(Bits(v), Bits(v), 0)});
#elif HWY_TARGET == HWY_AVX2
    v = hn::ConcatLowerLower(D(), v, v);
#endif
    return hn::BitCast(D(), hn::TableLookupBytes(hn::BitCast(d8, v), hn::LoadDup128(d8, order)));
  }
  // The lanes of v without the first kLeft ones, and their reflection about the last lane or about the place after it.
  template <int kLeft, bool kAboutSample>
  static HWY_INLINE V FromEnd(V v) {
#if HWY_TARGET == HWY_AVX3
    static constexpr auto kOrder = LaneOrder<hn::TFromD<DI>>::AndBack(kLeft, kLanes - (kAboutSample ? 2 : 1));
    return Pick(v, v, kOrder);
#else
    if constexpr (kLeft == 0) {
      return v;
    } else {
      static constexpr ReflectedOrder<T, kAboutSample> kOrder;
      const hn::Repartition<uint8_t, D> d8;
#if HWY_TARGET == HWY_AVX2
      V last = hn::ConcatUpperUpper(D(), v, v);
#else
      V last = v;
#endif
      last = hn::BitCast(D(), hn::TableLookupBytes(hn::BitCast(d8, last), hn::LoadDup128(d8, kOrder.bytes)));
#if HWY_TARGET == HWY_AVX2
      last = hn::ConcatLowerUpper(D(), last, v);
#endif
      return hn::CombineShiftRightBytes<kLeft * sizeof(T)>(D(), last, v);
    }
#endif
  }
  // One lane of v in all.
  static HWY_INLINE V Spread(V v, int lane) {
    T lanes[kLanes];
    Store(v, lanes);
    return Set(lanes[lane]);
  }

#if HWY_TARGET == HWY_AVX3
 private:
  using DI = hn::RebindToSigned<D>;
  using Orders = LaneOrders<hn::TFromD<DI>>;
  static HWY_INLINE __m512i Bits(V v) { return hn::BitCast(DI(), v).raw; }
  static HWY_INLINE V Pick(V x, V y, const LaneOrder<hn::TFromD<DI>>& order) {
    const __m512i from = _mm512_load_si512(order.from);
    if constexpr (sizeof(T) == 2) {
      return hn::BitCast(D(), hn::Vec<DI>{_mm512_permutex2var_epi16(Bits(x), from, Bits(y))});
    } else {
      return hn::BitCast(D(), hn::Vec<DI>{_mm512_permutex2var_epi32(Bits(x), from, Bits(y))});
    }
  }
#endif
};

template <class T>
struct Lanes;

template <>
struct Lanes<int32_t> : LanesBase<int32_t> {
  static HWY_INLINE V HalfSum(V a, V b) { return hn::ShiftRight<1>(hn::Add(a, b)); }
  static HWY_INLINE V QuarterSum(V a, V b) { return hn::ShiftRight<2>(hn::Add(hn::Add(a, b), hn::Set(D(), 2))); }
};

template <>
struct Lanes<int16_t> : LanesBase<int16_t> {
  // floor((a + b) / 2) without the 17th bit: a + b = 2 (a & b) + (a ^ b).
  static HWY_INLINE V HalfSum(V a, V b) { return hn::Add(hn::And(a, b), hn::ShiftRight<1>(hn::Xor(a, b))); }
  // floor((a + b + 2) / 4) = floor((h + 1) / 2) with the half sum h: the rounding product of h and a half.
  static HWY_INLINE V QuarterSum(V a, V b) { return hn::MulFixedPoint15(HalfSum(a, b), Set(1 << 14)); }

  // (a * factor + 8192) >> 14, low 16 bits. The rounding product has 15 fractional bits, so it takes twice the factor;
  // what exceeds 1 in magnitude is the value itself.
  static HWY_INLINE V Scaled(V a, int factor) {
    const int whole = factor / 16384;
    const V product = hn::MulFixedPoint15(a, Set(static_cast<int16_t>(2 * (factor - 16384 * whole))));
    return whole > 0 ? hn::Add(product, a) : whole < 0 ? hn::Sub(product, a) : product;
  }

  // Whether all of n samples lie within -limit to limit. False for less than a register of them.
  static bool AllWithin(const int16_t* p, int64_t n, int16_t limit) {
    if (n < kLanes) return false;
    const hn::RebindToUnsigned<D> unsigned_lanes;
    const auto magnitude = [&](int64_t i) HWY_ATTR { return hn::BitCast(unsigned_lanes, hn::Abs(Load(p + i))); };
    auto greatest = magnitude(n - kLanes);
    int64_t i = 0;
    for (; i < n - 4 * kLanes; i += 4 * kLanes) {
      const auto greater = hn::Max(magnitude(i), magnitude(i + kLanes));
      greatest = hn::Max(greatest, hn::Max(greater, hn::Max(magnitude(i + 2 * kLanes), magnitude(i + 3 * kLanes))));
    }
    for (; i < n - kLanes; i += kLanes) greatest = hn::Max(greatest, magnitude(i));
    const auto excess = hn::SaturatedSub(greatest, hn::Set(unsigned_lanes, static_cast<uint16_t>(limit)));
    return hn::AllTrue(unsigned_lanes, hn::Eq(excess, hn::Zero(unsigned_lanes)));
  }

  // ((a + b) * factor + 8192) >> 14, low 16 bits, with sums of 17 bits and products of 32.
  static HWY_INLINE V ScaledSum(V a, V b, int factor) {
#if HWY_TARGET == HWY_NEON
    const int16x8_t x = a.raw, y = b.raw;
    const int32x4_t lower = vmulq_n_s32(vaddl_s16(vget_low_s16(x), vget_low_s16(y)), factor);
    const int32x4_t upper = vmulq_n_s32(vaddl_s16(vget_high_s16(x), vget_high_s16(y)), factor);
    return V(vcombine_s16(vrshrn_n_s32(lower, 14), vrshrn_n_s32(upper, 14)));
#else
    // The true sum is the wrapped one and 2^16 times -1, 0 or 1, which contributes 4 * factor to the shifted product.
    const V sum = hn::Add(a, b);
    const V carry = hn::Sub(hn::BroadcastSignBit(hn::SaturatedAdd(a, b)), hn::BroadcastSignBit(sum));
    return hn::Add(Scaled(sum, factor), hn::Mul(carry, Set(static_cast<int16_t>(4 * factor))));
#endif
  }
};

template <>
struct Lanes<float> : LanesBase<float> {
  using Base = LanesBase<float>;
  using Base::Load;
  using Base::LoadPairs;
  using Base::Store;
  using Base::StoreAllButLast;
  using Base::StorePairs;
  using Base::StorePairsAllButLast;
  using Ints = LanesBase<int32_t>;

  static HWY_INLINE V Mul(V a, V b) { return hn::Mul(a, b); }

  static HWY_INLINE V Load(const int32_t* p) { return hn::ConvertTo(D(), Ints::Load(p)); }
  static HWY_INLINE void Store(V v, int32_t* p) { Ints::Store(Truncate(v), p); }
  static HWY_INLINE void LoadPairs(const int32_t* p, V& first, V& second) {
    Ints::V a, b;
    Ints::LoadPairs(p, a, b);
    first = hn::ConvertTo(D(), a);
    second = hn::ConvertTo(D(), b);
  }
  static HWY_INLINE void StorePairs(V first, V second, int32_t* p) {
    Ints::StorePairs(Truncate(first), Truncate(second), p);
  }
  static HWY_INLINE void StoreAllButLast(V v, int32_t* p) { Ints::StoreAllButLast(Truncate(v), p); }
  static HWY_INLINE void StorePairsAllButLast(V first, V second, int32_t* p) {
    Ints::StorePairsAllButLast(Truncate(first), Truncate(second), p);
  }

 private:
  // As TruncateToInt. x86's conversion gives INT32_MIN wherever the value does not fit; above 2^31 that is inverted.
  // No sum of scaled integers is NaN, so the values compare as their bits do: 0x4F000000 is 2^31.
  static HWY_INLINE Ints::V Truncate(V v) {
    const auto bits = hn::BitCast(Ints::D(), v), limit = Ints::Set(0x4F000000);
#if HWY_TARGET == HWY_AVX3
    const __mmask16 fits = _mm512_cmple_epi32_mask(bits.raw, limit.raw);
    return Ints::V{_mm512_mask_cvttps_epi32(Ints::Set(INT32_MAX).raw, fits, v.raw)};
#elif HWY_TARGET == HWY_AVX2
    return hn::Xor(Ints::V{_mm256_cvttps_epi32(v.raw)}, hn::VecFromMask(Ints::D(), hn::Gt(bits, limit)));
#elif HWY_TARGET == HWY_SSE4
    return hn::Xor(Ints::V{_mm_cvttps_epi32(v.raw)}, hn::VecFromMask(Ints::D(), hn::Gt(bits, limit)));
#else
    // Arm's conversion saturates and makes NaN zero.
    const auto fits = hn::RebindMask(Ints::D(), hn::Lt(v, Set(2147483648.0f)));
    return hn::IfThenElse(fits, hn::ConvertTo(Ints::D(), v),
                          hn::IfThenElse(hn::Gt(bits, limit), Ints::Set(INT32_MAX), Ints::Set(INT32_MIN)));
#endif
  }
};

}  // namespace
}  // namespace zmcj::HWY_NAMESPACE
