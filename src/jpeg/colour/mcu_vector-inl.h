// Registers of MCU kernels: a register holds one row of eight 16-bit samples per 128 bits, so two rows on a 256-bit
// level and four on a 512-bit one, and the same body serves every level. Read once per level.
#if defined(ZMCJ_MCU_VECTOR_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_MCU_VECTOR_INL_H
#undef ZMCJ_MCU_VECTOR_INL_H
#else
#define ZMCJ_MCU_VECTOR_INL_H
#endif

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::ScalableTag<int16_t> d16;
constexpr hn::Repartition<uint8_t, hn::ScalableTag<int16_t>> d8;
constexpr hn::Repartition<int32_t, hn::ScalableTag<int16_t>> d32;
using V8 = hn::VFromD<decltype(d8)>;
using V16 = hn::VFromD<decltype(d16)>;
using V32 = hn::VFromD<decltype(d32)>;

constexpr int kRows = static_cast<int>(hn::MaxLanes(d16) / 8);  // rows in one register

// Sixteen bytes of each of the register's rows, which are `distance` bytes apart.
HWY_INLINE V8 LoadRows(const uint8_t* first, [[maybe_unused]] ptrdiff_t distance) {
  // Broadcasting loads and blends leave the shuffle units alone, which insertions would occupy.
#if HWY_TARGET == HWY_AVX3
  const auto row = [&](int i) HWY_ATTR { return hn::LoadU(hn::Full128<uint8_t>(), first + i * distance).raw; };
  const __m512i rows01 = _mm512_mask_broadcast_i32x4(_mm512_castsi128_si512(row(0)), 0x00F0, row(1));
  return V8{_mm512_mask_broadcast_i32x4(_mm512_mask_broadcast_i32x4(rows01, 0x0F00, row(2)), 0xF000, row(3))};
#elif HWY_TARGET == HWY_AVX2
  return hn::ConcatUpperLower(d8, hn::LoadDup128(d8, first + distance), hn::LoadDup128(d8, first));
#else
  return hn::LoadU(d8, first);
#endif
}

// A codec walks along eight or sixteen rows at once with a few bytes of each: too many and too short for the processor
// to fetch ahead by itself. Three cache lines are some MCUs ahead; behind the picture's end a prefetch does nothing.
HWY_INLINE void PrefetchRows(const uint8_t* first, ptrdiff_t distance, int rows) {
  constexpr uintptr_t kAhead = 3 * 64;
  const auto address = reinterpret_cast<uintptr_t>(first) + kAhead;
  ZMCJ_UNROLL for (int row = 0; row < rows; ++row) {
    __builtin_prefetch(reinterpret_cast<const void*>(address + static_cast<uintptr_t>(row * distance)));
  }
}

template <class D>
HWY_INLINE void StoreRow(D d, hn::VFromD<D> v, int row, uint8_t* to) {
  if constexpr (hn::MaxLanes(d) > 16) {
    const hn::Half<D> half;
    constexpr int half_rows = hn::MaxLanes(d) / 32;
    const auto rows = row < half_rows ? hn::LowerHalf(half, v) : hn::UpperHalf(half, v);
    StoreRow(half, rows, row % half_rows, to);
  } else {
    hn::StoreU(v, d, to);
  }
}
HWY_INLINE void StoreRow(V8 v, int row, uint8_t* to) { StoreRow(d8, v, row, to); }

// Rows of eight samples of blocks; `distance` counts samples, and 8 are rows that follow each other. Blocks may stand
// at any address, hence the bytes.
template <int distance = 8>
HWY_INLINE V16 LoadBlockRows(const int16_t* first) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(first);
  return hn::BitCast(d16, distance == 8 ? hn::LoadU(d8, bytes) : LoadRows(bytes, 2 * distance));
}
template <int distance = 8>
HWY_INLINE void StoreBlockRows(V16 v, int16_t* first) {
  auto* bytes = reinterpret_cast<uint8_t*>(first);
  const V8 v8 = hn::BitCast(d8, v);
  if (distance == 8) return hn::StoreU(v8, d8, bytes);
  ZMCJ_UNROLL for (int row = 0; row < kRows; ++row) StoreRow(v8, row, bytes + row * 2 * distance);
}

// Byte indices (0x80 gives zero) or masks for every 128 bits.
struct alignas(16) ByteTable {
  uint8_t bytes[16] = {};
  constexpr void Set(int i, int value) { bytes[i] = static_cast<uint8_t>(value); }
};
HWY_INLINE V8 Load(const ByteTable& table) { return hn::LoadDup128(d8, table.bytes); }
HWY_INLINE V8 Choose(const ByteTable& mask, V8 yes, V8 no) {
  return hn::IfThenElse(hn::MaskFromVec(Load(mask)), yes, no);
}

// Per 128 bits, the 16-bit lanes whose bit is set in `lanes` from yes, the others from no.
template <int lanes>
HWY_INLINE V8 ChooseWords(V8 yes, V8 no) {
#if HWY_TARGET == HWY_AVX3
  return V8{_mm512_mask_blend_epi16(lanes * 0x01010101u, no.raw, yes.raw)};
#elif HWY_TARGET == HWY_AVX2
  return V8{_mm256_blend_epi16(no.raw, yes.raw, lanes)};
#elif HWY_TARGET == HWY_SSE4
  return V8{_mm_blend_epi16(no.raw, yes.raw, lanes)};
#else
  static constexpr ByteTable kMask = [] {
    ByteTable table;
    for (int i = 0; i < 16; ++i) table.Set(i, lanes >> i / 2 & 1 ? 0xFF : 0);
    return table;
  }();
  return Choose(kMask, yes, no);
#endif
}

// first x low + second x high of each pair of 16-bit lanes.
HWY_INLINE V16 SetPair(int low, int high) {
  return hn::BitCast(d16, hn::Set(d32, static_cast<int32_t>((static_cast<uint32_t>(high) << 16) |
                                                            (static_cast<uint32_t>(low) & 0xFFFF))));
}
// a x b, each pair of 16-bit lanes added up.
HWY_INLINE V32 MultiplyPairs(V16 a, V16 b) {
  V32 sum1 = hn::Zero(d32);
  const V32 sum0 = hn::ReorderWidenMulAccumulate(d32, a, b, hn::Zero(d32), sum1);
  return hn::RearrangeToOddPlusEven(sum0, sum1);
}

// Within each 128 bits: a then b, narrowed with saturation.
HWY_INLINE V16 NarrowTo16(V32 a, V32 b) { return hn::ReorderDemote2To(d16, a, b); }
HWY_INLINE V8 NarrowTo8(V16 a, V16 b) {
#if HWY_TARGET == HWY_AVX3
  return V8{_mm512_packus_epi16(a.raw, b.raw)};
#elif HWY_TARGET == HWY_AVX2
  return V8{_mm256_packus_epi16(a.raw, b.raw)};
#elif HWY_TARGET == HWY_SSE4
  return V8{_mm_packus_epi16(a.raw, b.raw)};
#else
  return hn::Combine(d8, hn::DemoteTo(hn::Half<decltype(d8)>(), b), hn::DemoteTo(hn::Half<decltype(d8)>(), a));
#endif
}

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
