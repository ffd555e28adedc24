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

HWY_INLINE uint64_t MaskEqual(VBytes part, VBytes value) {
#if HWY_ARCH_X86
  return static_cast<uint16_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(part.raw, value.raw)));
#else
  uint8_t bits[8];
  hn::StoreMaskBits(Bytes(), hn::Eq(part, value), bits);
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

#if HWY_TARGET == HWY_AVX3
struct ZigzagWords {
  constexpr ZigzagWords() {
    for (int k = 0; k < 64; ++k) index[k] = kNaturalOrder[k];
  }
  alignas(64) uint16_t index[64] = {};
};
inline constexpr ZigzagWords kZigzagWords;

// Positions 32 * kHalf and the 31 behind it.
template <int kHalf>
HWY_INLINE __m512i ZigzagHalf(__m512i low, __m512i high) {
  return _mm512_permutex2var_epi16(low, _mm512_load_si512(kZigzagWords.index + 32 * kHalf), high);
}

// Bit k: the AC coefficient at zigzag position k is not zero. Bit 0 means nothing.
HWY_INLINE uint64_t NonZeroMask(const int16_t* block) {
  const __m512i low = _mm512_loadu_si512(block), high = _mm512_loadu_si512(block + 32);
  const __m512i first = ZigzagHalf<0>(low, high), last = ZigzagHalf<1>(low, high);
  return _mm512_test_epi16_mask(first, first) | static_cast<uint64_t>(_mm512_test_epi16_mask(last, last)) << 32;
}
#elif HWY_TARGET == HWY_AVX2
// A block as saturated bytes in zigzag order, DC as zero.
struct ZigzagBlock {
  __m256i half[2];
};

// Each lane is looked up in apart, so both get the same two rows.
HWY_INLINE __m256i PackTwice(const int16_t* two_rows) {
  const auto twice = [](const int16_t* row) HWY_ATTR {
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row)));
  };
  return _mm256_packs_epi16(twice(two_rows), twice(two_rows + 8));
}

template <int kHalf>
HWY_INLINE __m256i ZigzagHalf(const __m256i p0, const __m256i p1, const __m256i p2, const __m256i p3) {
  const auto positions = [](__m256i pair, int i) HWY_ATTR {
    return _mm256_shuffle_epi8(
        pair, _mm256_load_si256(reinterpret_cast<const __m256i*>(kZigzagShuffles.index[i][2 * kHalf])));
  };
  return _mm256_or_si256(_mm256_or_si256(positions(p0, 0), positions(p1, 1)),
                         _mm256_or_si256(positions(p2, 2), positions(p3, 3)));
}

HWY_INLINE ZigzagBlock ToZigzag(const int16_t* block) {
  const __m256i p0 = PackTwice(block), p1 = PackTwice(block + 16), p2 = PackTwice(block + 32),
                p3 = PackTwice(block + 48);
  return {{ZigzagHalf<0>(p0, p1, p2, p3), ZigzagHalf<1>(p0, p1, p2, p3)}};
}

HWY_INLINE uint64_t NonZeroMask(const ZigzagBlock& bytes) {
  const auto zeros = [](__m256i half) HWY_ATTR {
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(half, _mm256_setzero_si256())));
  };
  return ~(zeros(bytes.half[0]) | static_cast<uint64_t>(zeros(bytes.half[1])) << 32);
}

// Whether no magnitude is above 126: then nothing was saturated.
HWY_INLINE bool Unsaturated(const ZigzagBlock& bytes) {
  const __m256i most = _mm256_max_epu8(_mm256_abs_epi8(bytes.half[0]), _mm256_abs_epi8(bytes.half[1]));
  return _mm256_movemask_epi8(_mm256_add_epi8(most, _mm256_set1_epi8(1))) == 0;
}

HWY_INLINE void Store(const ZigzagBlock& bytes, uint8_t* to) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes.half[0]);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + 32), bytes.half[1]);
}

// Bit k: the AC coefficient at zigzag position k is not zero. Bit 0 means nothing.
HWY_INLINE uint64_t NonZeroMask(const int16_t* block) { return NonZeroMask(ToZigzag(block)); }
#else
// A block as saturated bytes in zigzag order, DC as zero.
using ZigzagBlock = ZigzagBytes;

HWY_INLINE ZigzagBlock ToZigzag(const int16_t* block) {
  return ToZigzag(PackRows(Row(block, 0), Row(block, 1)), PackRows(Row(block, 2), Row(block, 3)),
                  PackRows(Row(block, 4), Row(block, 5)), PackRows(Row(block, 6), Row(block, 7)));
}

HWY_INLINE uint64_t NonZeroMask(const ZigzagBlock& bytes) { return ~MaskEqual(bytes, 0); }

// Whether no magnitude is above 126: then nothing was saturated.
HWY_INLINE bool Unsaturated(const ZigzagBlock& bytes) {
  const hn::Full128<int8_t> d;
  const auto magnitudes = [&](int i) HWY_ATTR { return hn::BitCast(Bytes(), hn::Abs(hn::BitCast(d, bytes.part[i]))); };
  const VBytes most = hn::Max(hn::Max(magnitudes(0), magnitudes(1)), hn::Max(magnitudes(2), magnitudes(3)));
  return hn::AllTrue(Bytes(), hn::Eq(hn::SaturatedSub(most, hn::Set(Bytes(), 126)), hn::Zero(Bytes())));
}

HWY_INLINE void Store(const ZigzagBlock& bytes, uint8_t* to) {
  ZMCJ_UNROLL
  for (int i = 0; i < 4; ++i) hn::StoreU(bytes.part[i], Bytes(), to + 16 * i);
}

// Bit k: the AC coefficient at zigzag position k is not zero. Bit 0 means nothing.
HWY_INLINE uint64_t NonZeroMask(const int16_t* block) { return NonZeroMask(ToZigzag(block)); }
#endif

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
