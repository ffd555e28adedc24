// A block's codes sixteen at a time, where registers have 512 bits. Read once per level.
//
// The coefficients that are not zero are moved together, with the runs before them; their codes are looked up in
// registers, joined two by two, and each pair is placed where it ends in the stream. There is no loop over codes, whose
// number no processor predicts, and no memory between the block and its bytes: a load across several stores would wait
// until all of them have left the processor.
#if defined(ZMCJ_SPARSE_CODES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_SPARSE_CODES_INL_H
#undef ZMCJ_SPARSE_CODES_INL_H
#else
#define ZMCJ_SPARSE_CODES_INL_H
#endif

#include <algorithm>
#include <bit>
#include <cstdint>

#include "jpeg/coding/bit_writer.h"
#include "jpeg/coding/huffman_records.h"
#include "jpeg/coding/zigzag_mask-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if HWY_TARGET == HWY_AVX3
namespace {

// A register's worth of one value, or of f(0), f(1), ...
template <class T>
struct alignas(64) Lanes {
  constexpr explicit Lanes(T value) { std::fill(std::begin(lane), std::end(lane), value); }
  template <class F>
  constexpr Lanes(int count, F f) {
    for (int i = 0; i < count; ++i) lane[i] = static_cast<T>(f(i));
  }
  HWY_INLINE operator __m512i() const { return _mm512_load_si512(lane); }
  T lane[64 / sizeof(T)] = {};
};

struct SparseConstants {
  // In DC's place stands `one`.
  Lanes<uint8_t> zigzag{64, [](int k) { return k == 0 ? 64 : PackedPlace(k); }};
  Lanes<uint8_t> behind{64, [](int k) { return k + 1; }}, before{64, [](int k) { return k - 1; }};
  Lanes<uint8_t> big_endian{64, [](int i) { return i ^ 7; }};
  Lanes<uint8_t> one{1}, ones{0xFF}, above15{0xF0};
  Lanes<uint32_t> width{32}, code{0xFFFF}, greatest{126}, from_run4{4 << 3}, from_run8{8 << 3};
  Lanes<uint64_t> second_width{uint64_t{32} << 32}, below8{7};
};
inline constexpr SparseConstants kSparseConstants;

// The bytes of the mask, together; zeros follow. Into a register that is new, since vpcompressb waits for its old
// contents even where it clears them.
ZMCJ_BIT_INSTRUCTIONS HWY_INLINE __m512i Together(__mmask64 mask, __m512i bytes) {
  __m512i zeros = _mm512_setzero_si512();
  __asm__("" : "+v"(zeros));
  return _mm512_mask_compress_epi8(zeros, mask, bytes);
}

// Numbers move to the lane kLanes above theirs; zeros follow.
template <int kLanes>
HWY_INLINE __m512i Up(__m512i numbers) {
  return _mm512_alignr_epi64(numbers, _mm512_setzero_si512(), 8 - kLanes);
}

// Codes with the bits behind them, in the low `length` bits, in the order of the stream.
struct SixteenCodes {
  __m512i bits, length;
  int count;
  bool good;  // not where the table lacks a code or a coefficient is saturated
};

// Finds the codes of AC coefficients and of the end of the block. Their first place is DC's, which stays empty.
class SparseCoder {
 public:
  explicit ZMCJ_BIT_INSTRUCTIONS HWY_INLINE SparseCoder(const int16_t* block) : c_(*InRegister(&kSparseConstants)) {
    zigzag_ = _mm512_permutex2var_epi8(PackBlock(block), c_.zigzag, c_.one);
    mask_ = _mm512_test_epi8_mask(zigzag_, zigzag_);
    MoveTogether();
  }

  const SparseConstants& constants() const { return c_; }
  // How many there are still, with DC's place.
  int left() const { return left_; }

  // Coefficients with a run before them that is longer than a code can say.
  HWY_INLINE uint64_t far() const { return _mm512_test_epi8_mask(runs_, c_.above15); }
  // A zero that ends a run of 16 before one of these is coded like a coefficient, of category 0.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE void CodeZeros(uint64_t far) {
    mask_ |= _pdep_u64(far >> 1, mask_) << 16;
    MoveTogether();
  }

  // The next sixteen, of which only those in `lanes` are not empty.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE SixteenCodes Next(uint64_t lanes, const EncodeSpec* ac) const {
    const auto here = static_cast<__mmask16>(_bzhi_u64(lanes, static_cast<unsigned>(left_)));
    const __m512i value = _mm512_maskz_cvtepi8_epi32(here, _mm512_castsi512_si128(values_));
    const __m512i run = _mm512_cvtepu8_epi32(_mm_slli_epi16(_mm512_castsi512_si128(runs_), 3));
    const __m512i magnitude = _mm512_abs_epi32(value), unused = _mm512_lzcnt_epi32(magnitude);
    const __m512i category = _mm512_sub_epi32(c_.width, unused);
    const __m512i entry = Entries(ac, _mm512_or_si512(run, category));
    const __m512i length = _mm512_maskz_srli_epi32(here, entry, 16);
    const __m512i code = _mm512_maskz_and_epi32(here, entry, c_.code);
    // The bits that follow are the low ones of the value, or of value - 1 where it is negative. They come in at the
    // right of the code.
    const __m512i appended = _mm512_sllv_epi32(_mm512_add_epi32(value, _mm512_srai_epi32(value, 31)), unused);
    const __mmask16 missing = _mm512_mask_testn_epi32_mask(here, length, length);
    const __mmask16 saturated = _mm512_cmpgt_epi32_mask(magnitude, c_.greatest);
    return {_mm512_shldv_epi32(code, appended, category), _mm512_add_epi32(length, category), std::min(left_, 16),
            _kortestz_mask16_u8(missing, saturated) != 0};
  }
  HWY_INLINE void Skip() {
    const auto next = [](__m512i bytes) HWY_ATTR { return _mm512_alignr_epi64(_mm512_setzero_si512(), bytes, 2); };
    values_ = next(values_), runs_ = next(runs_);
    left_ -= 16;
  }

 private:
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE void MoveTogether() {
    const __m512i behind = Together(mask_, c_.behind);
    // What is not there has no run: nor has DC, and the end of the block does not tell.
    const __m512i step = _mm512_subs_epu8(behind, _mm512_permutexvar_epi8(c_.before, behind));
    runs_ = _mm512_subs_epu8(step, c_.one);
    values_ = Together(mask_, zigzag_);
    left_ = std::popcount(mask_) + static_cast<int>(~mask_ >> 63);
  }

  // By run and category, which is below 8. Only half of what the table has for a run is looked at.
  HWY_INLINE __m512i Entries(const EncodeSpec* ac, __m512i index) const {
    const auto of_run = [&](int run) HWY_ATTR { return reinterpret_cast<const __m256i*>(ac->entries + 16 * run); };
    const auto of_two_runs = [&](int run) HWY_ATTR {
      const __m256i first = _mm256_loadu_si256(of_run(run)), second = _mm256_loadu_si256(of_run(run + 1));
      return _mm512_inserti64x4(_mm512_castsi256_si512(first), second, 1);
    };
    const auto in_four_runs = [&](int run) HWY_ATTR {
      return _mm512_permutex2var_epi32(of_two_runs(run), index, of_two_runs(run + 2));
    };
    const __mmask16 run4 = _mm512_test_epi32_mask(index, c_.from_run4);
    const __mmask16 run8 = _mm512_test_epi32_mask(index, c_.from_run8);
    const __m512i low = _mm512_mask_mov_epi32(in_four_runs(0), run4, in_four_runs(4));
    const __m512i high = _mm512_mask_mov_epi32(in_four_runs(8), run4, in_four_runs(12));
    return _mm512_mask_mov_epi32(low, run8, high);
  }

  const SparseConstants& c_;
  __m512i zigzag_;  // saturated
  uint64_t mask_;   // of what is coded, by position
  __m512i values_, runs_;
  int left_;
};

class SparseWriter {
 public:
  HWY_INLINE SparseWriter(const Destination& to, const EncodeState* state, const SparseConstants& constants)
      : c_(constants),
        out_(to.bytes + *to.position),
        pending_(uint64_t{state->accumulator} << state->count >> 24),
        count_(static_cast<uint64_t>(state->count)) {}

  // DC's code, which waits for the next sixteen.
  HWY_INLINE void PutDc(uint64_t bits, uint64_t length) {
    pending_ = pending_ << length | bits;
    count_ += length;
  }

  // False where they have more bytes than a register: then nothing is written.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool Put(const SixteenCodes& codes) {
    // Two to a number: the second one is moved to the left, and goes round to below the first.
    const __m512i turned = _mm512_sllv_epi32(codes.bits, _mm512_subs_epu16(c_.second_width, codes.length));
    const __m512i two = _mm512_rolv_epi64(turned, _mm512_srli_epi64(codes.length, 32));
    // In every lane the stream up to and with its pair: how long it is, and its last 64 bits, or those of eight codes.
    // Thus they fill the byte that the pair begins in: of the six codes before it three at most are zero runs, and the
    // others have a bit behind their code.
    const __m512i length2 = _mm512_sad_epu8(codes.length, _mm512_setzero_si512());
    const __m512i four = _mm512_or_si512(two, _mm512_sllv_epi64(Up<1>(two), length2));
    const __m512i length4 = _mm512_add_epi64(length2, Up<1>(length2));
    const __m512i before_four = _mm512_sllv_epi64(Up<2>(four), length4);
    const __m512i length8 = _mm512_add_epi64(length4, Up<2>(length4));
    const __m512i length16 = _mm512_add_epi64(length8, Up<4>(length8));
    const __m512i before_all = _mm512_sllv_epi64(_mm512_set1_epi64(static_cast<int64_t>(pending_)), length16);
    const __m512i stream = _mm512_ternarylogic_epi64(four, before_four, before_all, 0xFE);
    const __m512i end = _mm512_add_epi64(length16, _mm512_set1_epi64(static_cast<int64_t>(count_)));
    // The bytes that end in a lane are its lowest.
    const __m512i full = _mm512_andnot_si512(c_.below8, end);
    const __m512i words = _mm512_srlv_epi64(stream, _mm512_and_si512(end, c_.below8));
    const __m512i bytes = _mm512_shuffle_epi8(words, c_.big_endian);
    const __m512i others = _mm512_srlv_epi64(c_.ones, _mm512_sub_epi64(full, Up<1>(full)));
    const __mmask64 ended = _mm512_testn_epi8_mask(others, others);
    const __m512i last = _mm512_castsi128_si512(_mm_cvtsi32_si128((codes.count - 1) >> 1));
    const auto at_last = [&](__m512i numbers) HWY_ATTR {
      return static_cast<uint64_t>(_mm_cvtsi128_si64(_mm512_castsi512_si128(_mm512_permutexvar_epi64(last, numbers))));
    };
    const uint64_t bits = at_last(end);
    pending_ = at_last(stream);
    count_ = bits & 7;
    return PutBytes(bytes, ended, bits >> 3);
  }

  HWY_INLINE void Save(const Destination& to, EncodeState* state) const {
    const auto count = static_cast<unsigned>(count_);
    state->accumulator = (static_cast<uint32_t>(pending_) & ((1u << count) - 1)) << (24 - count);
    state->reserved = 0;
    state->count = static_cast<int>(count);
    *to.position = static_cast<int>(out_ - to.bytes);
  }

 private:
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE bool PutBytes(__m512i bytes, __mmask64 mask, uint64_t count) {
    if (count > 64) [[unlikely]]
      return false;
    const __mmask64 ff = _mm512_mask_cmpeq_epi8_mask(mask, bytes, c_.ones);
    bytes = Together(mask, bytes);
    if (ff != 0) [[unlikely]] {
      uint64_t stuffed = _mm512_cmpeq_epi8_mask(bytes, c_.ones);
      for (; stuffed != 0; stuffed = (stuffed & (stuffed - 1)) << 1) {
        if (++count > 64) [[unlikely]]
          return false;
        bytes = _mm512_maskz_expand_epi8(~((stuffed & -stuffed) << 1), bytes);
      }
    }
    _mm512_mask_storeu_epi8(out_, _bzhi_u64(~uint64_t{0}, static_cast<unsigned>(count)), bytes);
    out_ += count;
    return true;
  }

  const SparseConstants& c_;
  uint8_t* out_;
  uint64_t pending_;  // in the low count_ bits; what stands above them is old
  uint64_t count_;
};

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
