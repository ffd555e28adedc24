// Masks over a block's 64 coefficients with bit k for zigzag position k. Included once per level.

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

// For 16 positions of the zigzag order and one pair of rows: where in the pair each position's coefficient stands;
// 0x80, which looks up as zero, where it stands in another pair.
struct ZigzagShuffles {
  constexpr ZigzagShuffles() {
    for (int k = 0; k < 64; ++k) {
      for (int pair = 0; pair < 4; ++pair) {
        const int natural = kNaturalOrder[k];
        index[k / 16][pair][k % 16] = static_cast<uint8_t>(natural / 16 == pair ? natural % 16 : 0x80);
      }
    }
  }
  alignas(16) uint8_t index[4][4][16] = {};
};
inline constexpr ZigzagShuffles kZigzagShuffles;

// One byte per coefficient, in zigzag order.
struct ZigzagBytes {
  VBytes part[4];
};

template <int kPart, int kPair>
HWY_INLINE VBytes Positions(const VBytes pair) {
  return hn::TableLookupBytesOr0(pair, hn::Load(Bytes(), kZigzagShuffles.index[kPart][kPair]));
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

// Bit k: the coefficient at zigzag position k is not zero.
HWY_INLINE uint64_t NonZeroMask(const int16_t* block) {
  const __m512i low = _mm512_loadu_si512(block), high = _mm512_loadu_si512(block + 32);
  const __m512i first = ZigzagHalf<0>(low, high), last = ZigzagHalf<1>(low, high);
  return _mm512_test_epi16_mask(first, first) | static_cast<uint64_t>(_mm512_test_epi16_mask(last, last)) << 32;
}
#elif HWY_TARGET == HWY_AVX2
// For 32 positions of the zigzag order: where each position's coefficient stands in a register of four packed rows, of
// which rows 0 and 2 are in the lower lane and rows 1 and 3 in the upper one. The sources are the first four rows, the
// same with the lanes exchanged, and likewise the last four.
struct WideZigzagShuffles {
  constexpr WideZigzagShuffles() {
    for (int k = 0; k < 64; ++k) {
      const int row = kNaturalOrder[k] / 8, column = kNaturalOrder[k] % 8, lane = k / 16 % 2;
      const int source = row / 4 * 2 + (row % 2 != lane ? 1 : 0);
      for (int s = 0; s < 4; ++s) {
        index[k / 32][s][k % 32] = static_cast<uint8_t>(s == source ? row / 2 % 2 * 8 + column : 0x80);
      }
    }
  }
  alignas(32) uint8_t index[2][4][32] = {};
};
inline constexpr WideZigzagShuffles kWideZigzagShuffles;

template <int kHalf>
HWY_INLINE uint64_t ZeroMask(const __m256i (&source)[4]) {
  const auto positions = [&](int s) HWY_ATTR {
    const auto* const index = reinterpret_cast<const __m256i*>(kWideZigzagShuffles.index[kHalf][s]);
    return _mm256_shuffle_epi8(source[s], _mm256_load_si256(index));
  };
  const __m256i all =
      _mm256_or_si256(_mm256_or_si256(positions(0), positions(1)), _mm256_or_si256(positions(2), positions(3)));
  return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(all, _mm256_setzero_si256())));
}

// Bit k: the coefficient at zigzag position k is not zero.
HWY_INLINE uint64_t NonZeroMask(const int16_t* block) {
  const auto* const rows = reinterpret_cast<const __m256i*>(block);
  const __m256i first = _mm256_packs_epi16(_mm256_loadu_si256(rows), _mm256_loadu_si256(rows + 1));
  const __m256i last = _mm256_packs_epi16(_mm256_loadu_si256(rows + 2), _mm256_loadu_si256(rows + 3));
  const __m256i source[4] = {first, _mm256_permute2x128_si256(first, first, 1), last,
                             _mm256_permute2x128_si256(last, last, 1)};
  return ~(ZeroMask<0>(source) | ZeroMask<1>(source) << 32);
}
#else
// Bit k: the coefficient at zigzag position k is not zero.
HWY_INLINE uint64_t NonZeroMask(const int16_t* block) {
  return ~MaskEqual(ToZigzag(PackRows(Row(block, 0), Row(block, 1)), PackRows(Row(block, 2), Row(block, 3)),
                             PackRows(Row(block, 4), Row(block, 5)), PackRows(Row(block, 6), Row(block, 7))),
                    0);
}
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
