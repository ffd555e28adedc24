// A block's 64 coefficients in zigzag order, and masks over them with bit k for position k. Read once per level.

#if defined(ZMCJ_ZIGZAG_MASK_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_ZIGZAG_MASK_INL_H
#undef ZMCJ_ZIGZAG_MASK_INL_H
#else
#define ZMCJ_ZIGZAG_MASK_INL_H
#endif

#include <cstdint>

#include "jpeg/coding/huffman_records.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Keeps an address in a register where the compiler would form it anew for every use, or make registers of the
// constants behind it, several instructions for each.
template <class T>
HWY_INLINE const T* InRegister(const T* address) {
  __asm__("" : "+r"(address));
  return address;
}

using Words = hn::Full128<int16_t>;  // a row
using Bytes = hn::Full128<uint8_t>;  // two rows, or 16 zigzag positions
using VWords = hn::Vec<Words>;
using VBytes = hn::Vec<Bytes>;

// Two rows as bytes, saturated: zero, one and the sign survive.
HWY_INLINE VBytes PackRows(VWords low, VWords high) {
#if HWY_ARCH_X86
  return VBytes{_mm_packs_epi16(low.raw, high.raw)};
#else
  const hn::Rebind<int8_t, Words> half;
  const hn::Full128<int8_t> full;
  return hn::BitCast(Bytes(), hn::Combine(full, hn::DemoteTo(half, high), hn::DemoteTo(half, low)));
#endif
}

// For one pair of rows and 16 positions of the zigzag order: where in the pair each position's coefficient stands;
// 0x80, which looks up as zero, where it stands in another pair, and for DC, which all users treat apart.
struct ZigzagShuffles {
  constexpr ZigzagShuffles() {
    for (int k = 0; k < 64; ++k) {
      for (int pair = 0; pair < 4; ++pair) {
        const int natural = kNaturalOrder[k];
        index[pair][k / 16][k % 16] = static_cast<uint8_t>(natural / 16 == pair && k > 0 ? natural % 16 : 0x80);
      }
    }
  }
  alignas(32) uint8_t index[4][4][16] = {};
};
inline constexpr ZigzagShuffles kZigzagShuffles;

// One byte per coefficient, in zigzag order.
struct ZigzagBytes {
  VBytes part[4];
};

template <int kPart, int kPair>
HWY_INLINE VBytes Positions(const VBytes pair) {
  return hn::TableLookupBytesOr0(pair, hn::Load(Bytes(), kZigzagShuffles.index[kPair][kPart]));
}

// The first 16 positions use nothing of the last two rows, the last 16 nothing of the first two.
HWY_INLINE ZigzagBytes ToZigzag(const VBytes p0, const VBytes p1, const VBytes p2, const VBytes p3) {
  return {{hn::Or(hn::Or(Positions<0, 0>(p0), Positions<0, 1>(p1)), Positions<0, 2>(p2)),
           hn::Or(hn::Or(Positions<1, 0>(p0), Positions<1, 1>(p1)), hn::Or(Positions<1, 2>(p2), Positions<1, 3>(p3))),
           hn::Or(hn::Or(Positions<2, 0>(p0), Positions<2, 1>(p1)), hn::Or(Positions<2, 2>(p2), Positions<2, 3>(p3))),
           hn::Or(hn::Or(Positions<3, 1>(p1), Positions<3, 2>(p2)), Positions<3, 3>(p3))}};
}

// Of the lanes that are equal; up to 64 bytes.
template <class V>
HWY_INLINE uint64_t MaskEqual(V part, V value) {
  const hn::DFromV<V> d;
  const auto equal = hn::Eq(part, value);
#if HWY_TARGET == HWY_AVX3
  return equal.raw;
#elif HWY_ARCH_X86
  if constexpr (hn::MaxLanes(d) == 32) {
    return static_cast<uint32_t>(_mm256_movemask_epi8(equal.raw));
  } else {
    return static_cast<uint16_t>(_mm_movemask_epi8(equal.raw));
  }
#else
  uint8_t bits[8];
  hn::StoreMaskBits(d, equal, bits);
  return static_cast<uint64_t>(bits[0] | bits[1] << 8);
#endif
}

// Bit k: byte k equals `value`.
HWY_INLINE uint64_t MaskEqual(const ZigzagBytes& bytes, uint8_t value) {
  const VBytes v = hn::Set(Bytes(), value);
  return MaskEqual(bytes.part[0], v) | MaskEqual(bytes.part[1], v) << 16 | MaskEqual(bytes.part[2], v) << 32 |
         MaskEqual(bytes.part[3], v) << 48;
}

HWY_INLINE VWords Row(const int16_t* block, int row) { return hn::LoadU(Words(), block + 8 * row); }

// A block as saturated bytes in zigzag order, DC as zero.
using ZigzagLanes = hn::ScalableTag<uint8_t>;
using ZigzagV = hn::Vec<ZigzagLanes>;
constexpr size_t kZigzagParts = 64 / hn::MaxLanes(ZigzagLanes());
struct ZigzagBlock {
  ZigzagV part[kZigzagParts];
};

#if HWY_TARGET == HWY_AVX3
// Where in the packed block the coefficient of zigzag position k stands: its words come eight by eight from the first
// and the last half.
constexpr int PackedPlace(int k) {
  const int natural = kNaturalOrder[k];
  return natural % 32 / 8 * 16 + natural / 32 * 8 + natural % 8;
}
HWY_INLINE __m512i PackBlock(const int16_t* block) {
  return _mm512_packs_epi16(_mm512_loadu_si512(block), _mm512_loadu_si512(block + 32));
}

struct WideZigzagShuffles {
  constexpr WideZigzagShuffles() {
    for (int k = 0; k < 64; ++k) {
      words[k] = kNaturalOrder[k];
      bytes[k] = static_cast<uint8_t>(PackedPlace(k));
    }
  }
  alignas(64) uint16_t words[64] = {};
  alignas(64) uint8_t bytes[64] = {};
};
inline constexpr WideZigzagShuffles kWideZigzagShuffles;

// Positions 32 * kHalf and the 31 behind it.
template <int kHalf>
HWY_INLINE __m512i ZigzagHalf(__m512i low, __m512i high) {
  return _mm512_permutex2var_epi16(low, _mm512_load_si512(kWideZigzagShuffles.words + 32 * kHalf), high);
}

ZMCJ_BIT_INSTRUCTIONS HWY_INLINE ZigzagBlock ToZigzag(const int16_t* block) {
  constexpr uint64_t kAc = ~uint64_t{1};
  return {
      {ZigzagV{_mm512_maskz_permutexvar_epi8(kAc, _mm512_load_si512(kWideZigzagShuffles.bytes), PackBlock(block))}}};
}
#elif HWY_TARGET == HWY_AVX2
// Each lane is looked up in apart, so both get the same two rows.
HWY_INLINE ZigzagV PackTwice(const int16_t* two_rows) {
  const hn::ScalableTag<int16_t> d;
  return ZigzagV{_mm256_packs_epi16(hn::LoadDup128(d, two_rows).raw, hn::LoadDup128(d, two_rows + 8).raw)};
}

template <int kHalf>
HWY_INLINE ZigzagV ZigzagHalf(ZigzagV p0, ZigzagV p1, ZigzagV p2, ZigzagV p3) {
  const auto positions = [](ZigzagV pair, int i) HWY_ATTR {
    return hn::TableLookupBytesOr0(pair, hn::Load(ZigzagLanes(), kZigzagShuffles.index[i][2 * kHalf]));
  };
  return hn::Or(hn::Or(positions(p0, 0), positions(p1, 1)), hn::Or(positions(p2, 2), positions(p3, 3)));
}

HWY_INLINE ZigzagBlock ToZigzag(const int16_t* block) {
  const ZigzagV p0 = PackTwice(block), p1 = PackTwice(block + 16), p2 = PackTwice(block + 32),
                p3 = PackTwice(block + 48);
  return {{ZigzagHalf<0>(p0, p1, p2, p3), ZigzagHalf<1>(p0, p1, p2, p3)}};
}
#else
HWY_INLINE ZigzagBlock ToZigzag(const int16_t* block) {
  const ZigzagBytes b = ToZigzag(PackRows(Row(block, 0), Row(block, 1)), PackRows(Row(block, 2), Row(block, 3)),
                                 PackRows(Row(block, 4), Row(block, 5)), PackRows(Row(block, 6), Row(block, 7)));
  return {{b.part[0], b.part[1], b.part[2], b.part[3]}};
}
#endif

// Bit k: the AC coefficient at zigzag position k is not zero. Bit 0 means nothing.
HWY_INLINE uint64_t NonZeroMask(const ZigzagBlock& bytes) {
  uint64_t zeros = 0;
  ZMCJ_UNROLL
  for (size_t i = 0; i < kZigzagParts; ++i) {
    zeros |= MaskEqual(bytes.part[i], hn::Zero(ZigzagLanes())) << i * hn::MaxLanes(ZigzagLanes());
  }
  return ~zeros;
}
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE uint64_t NonZeroMask(const int16_t* block) { return NonZeroMask(ToZigzag(block)); }

HWY_INLINE ZigzagV Magnitudes(ZigzagV part) {
  const hn::RebindToSigned<ZigzagLanes> d;
  return hn::BitCast(ZigzagLanes(), hn::Abs(hn::BitCast(d, part)));
}

// Whether no magnitude is above 126: then nothing was saturated.
HWY_INLINE bool Unsaturated(const ZigzagBlock& bytes) {
  const ZigzagLanes d;
  ZigzagV most = hn::Zero(d);
  ZMCJ_UNROLL
  for (size_t i = 0; i < kZigzagParts; ++i) most = hn::Max(most, Magnitudes(bytes.part[i]));
  return hn::AllTrue(d, hn::Eq(hn::SaturatedSub(most, hn::Set(d, 126)), hn::Zero(d)));
}

alignas(16) inline constexpr uint8_t kLowCategory[16] = {0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4};
alignas(16) inline constexpr uint8_t kHighCategory[16] = {0, 5, 6, 6, 7, 7, 7, 7};
alignas(16) inline constexpr uint8_t kCategoryBits[16] = {0, 1, 3, 7, 15, 31, 63, 127};

// The categories of unsaturated coefficients, and the bits that follow their codes.
struct CodedBytes {
  ZigzagV category, appended;
};
HWY_INLINE CodedBytes CodeBytes(ZigzagV v) {
  const ZigzagLanes d;
  const hn::RebindToSigned<ZigzagLanes> di;
  const hn::Repartition<uint16_t, ZigzagLanes> d16;
  const ZigzagV magnitude = Magnitudes(v), nibble = hn::Set(d, 15), low = hn::And(magnitude, nibble);
  const ZigzagV high = hn::And(hn::BitCast(d, hn::ShiftRight<4>(hn::BitCast(d16, magnitude))), nibble);
  const ZigzagV category = hn::Max(hn::TableLookupBytes(hn::LoadDup128(d, kLowCategory), low),
                                   hn::TableLookupBytes(hn::LoadDup128(d, kHighCategory), high));
  const ZigzagV negative = hn::BitCast(d, hn::BroadcastSignBit(hn::BitCast(di, v)));
  const ZigzagV bits = hn::TableLookupBytes(hn::LoadDup128(d, kCategoryBits), category);
  return {category, hn::And(hn::Add(v, negative), bits)};
}

// The same by zigzag position.
struct ByteMagnitudes {
  alignas(64) uint8_t category[64], appended[64];
};
HWY_INLINE void StoreMagnitudes(const ZigzagBlock& bytes, ByteMagnitudes* to) {
  const ZigzagLanes d;
  ZMCJ_UNROLL
  for (size_t i = 0; i < kZigzagParts; ++i) {
    const CodedBytes coded = CodeBytes(bytes.part[i]);
    hn::Store(coded.category, d, to->category + i * hn::MaxLanes(d));
    hn::Store(coded.appended, d, to->appended + i * hn::MaxLanes(d));
  }
}

// Whether every coefficient has an entry in kMagnitudes.
HWY_INLINE bool AllInMagnitudeTable(const int16_t* block) {
  const hn::CappedTag<int16_t, 16> d;
  auto outside = hn::Zero(d);
  ZMCJ_UNROLL
  for (size_t i = 0; i < 64; i += hn::Lanes(d)) {
    outside = hn::Or(outside, hn::Add(hn::LoadU(d, block + i), hn::Set(d, MagnitudeTable::kReach)));
  }
  const auto high_bits = hn::Set(d, static_cast<int16_t>(~(2 * MagnitudeTable::kReach - 1)));
  return hn::AllTrue(d, hn::Eq(hn::And(outside, high_bits), hn::Zero(d)));
}

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
