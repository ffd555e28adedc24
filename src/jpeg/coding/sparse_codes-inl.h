// The AC codes of a block sixteen at a time, where registers have 512 bits. Read once per level.
//
// The coefficients that are not zero are moved together, with the runs before them; their codes are looked up in
// registers, and every two are joined. What is left to do one after the other is to append some numbers.
#if defined(ZMCJ_SPARSE_CODES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_SPARSE_CODES_INL_H
#undef ZMCJ_SPARSE_CODES_INL_H
#else
#define ZMCJ_SPARSE_CODES_INL_H
#endif

#include <bit>
#include <cstdint>

#include "jpeg/coding/block_bits-inl.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/zigzag_mask-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if HWY_TARGET == HWY_AVX3
namespace {

struct PositionTables {
  constexpr PositionTables() {
    for (int i = 0; i < 64; ++i) position[i] = static_cast<uint8_t>(i), before[i] = static_cast<uint8_t>(i - 1);
  }
  alignas(64) uint8_t position[64] = {}, before[64] = {};
};
inline constexpr PositionTables kPositionTables;

class SparseCoder {
 public:
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE SparseCoder(const ZigzagBlock& block, uint64_t mask, const EncodeSpec* ac)
      : left_(std::popcount(mask)), ac_(ac) {
    const __m512i positions = _mm512_maskz_compress_epi8(mask, _mm512_load_si512(kPositionTables.position));
    const __m512i before = _mm512_load_si512(kPositionTables.before);
    const CodedBytes coded = CodeBytes(ZigzagV{_mm512_maskz_compress_epi8(mask, block.part[0].raw)});
    categories_ = coded.category.raw;
    appended_ = coded.appended.raw;
    // The first one's run begins behind DC, which is at 0.
    steps_ = _mm512_sub_epi8(positions, _mm512_maskz_permutexvar_epi8(~uint64_t{1}, before, positions));
  }

  // Whether a run is longer than a code can say.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool has_zero_run() const {
    const uint64_t here = _bzhi_u64(~uint64_t{0}, static_cast<unsigned>(left_));
    return _mm512_mask_cmpgt_epu8_mask(here, steps_, _mm512_set1_epi8(16)) != 0;
  }
  int left() const { return left_; }

  // The next sixteen. False where the table lacks a code.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool PutSixteen(BlockBits& bits) {
    const auto lowest = [](__m512i bytes) HWY_ATTR { return _mm512_cvtepu8_epi32(_mm512_castsi512_si128(bytes)); };
    const __m512i category = lowest(categories_), run = _mm512_sub_epi32(lowest(steps_), _mm512_set1_epi32(1));
    const auto here = static_cast<__mmask16>(_bzhi_u32(0xFFFF, static_cast<unsigned>(left_)));
    const __m512i entry = Entries(run, category, here);
    const __m512i code_length = _mm512_and_si512(_mm512_srli_epi32(entry, 16), _mm512_set1_epi32(0xFF));
    const __m512i length = _mm512_add_epi32(code_length, category);
    const __m512i code = _mm512_sllv_epi32(_mm512_and_si512(entry, _mm512_set1_epi32(0xFFFF)), category);
    const __m512i both = _mm512_or_si512(code, lowest(appended_));
    // Two to a number: the first one's bits above the second's.
    const __m512i low_half = _mm512_set1_epi64(0xFFFFFFFF), second_length = _mm512_srli_epi64(length, 32);
    const __m512i first = _mm512_sllv_epi64(_mm512_and_si512(both, low_half), second_length);
    alignas(64) uint64_t numbers[8], lengths[8];
    _mm512_store_si512(numbers, _mm512_or_si512(first, _mm512_srli_epi64(both, 32)));
    _mm512_store_si512(lengths, _mm512_and_si512(_mm512_add_epi32(length, second_length), low_half));
    // What is not there takes no bits.
    ZMCJ_UNROLL
    for (int i = 0; i < 8; ++i) {
      bits.Put(numbers[i], lengths[i]);
      bits.Spill();
    }
    const auto next = [](__m512i bytes) HWY_ATTR { return _mm512_alignr_epi64(_mm512_setzero_si512(), bytes, 2); };
    categories_ = next(categories_), appended_ = next(appended_), steps_ = next(steps_);
    left_ -= 16;
    return _mm512_mask_testn_epi32_mask(here, code_length, code_length) == 0;
  }

 private:
  // By run and category, which is below 8. A pair of runs, two categories of eight each, is looked up in at once.
  HWY_INLINE __m512i Entries(__m512i run, __m512i category, __mmask16 here) const {
    const __m512i index = _mm512_or_si512(_mm512_slli_epi32(run, 4), category);
    const auto look_up = [&](int pair) HWY_ATTR {
      const uint32_t* const entries = ac_->entries + 32 * pair;
      return _mm512_permutex2var_epi32(_mm512_loadu_si512(entries), index, _mm512_loadu_si512(entries + 16));
    };
    const __mmask16 bit1 = _mm512_test_epi32_mask(run, _mm512_set1_epi32(2));
    const __mmask16 bit2 = _mm512_test_epi32_mask(run, _mm512_set1_epi32(4));
    const __mmask16 bit3 = _mm512_test_epi32_mask(run, _mm512_set1_epi32(8));
    const __m512i run0 = _mm512_mask_mov_epi32(look_up(0), bit1, look_up(1));
    const __m512i run4 = _mm512_mask_mov_epi32(look_up(2), bit1, look_up(3));
    const __m512i run8 = _mm512_mask_mov_epi32(look_up(4), bit1, look_up(5));
    const __m512i run12 = _mm512_mask_mov_epi32(look_up(6), bit1, look_up(7));
    const __m512i low = _mm512_mask_mov_epi32(run0, bit2, run4), high = _mm512_mask_mov_epi32(run8, bit2, run12);
    return _mm512_maskz_mov_epi32(here, _mm512_mask_mov_epi32(low, bit3, high));
  }

  int left_;
  const EncodeSpec* ac_;
  __m512i categories_, appended_, steps_;
};

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
