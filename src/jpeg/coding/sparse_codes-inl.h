// A block's codes sixteen at a time, where registers have 512 bits. Read once per level.
//
// The coefficients that are not zero are moved together, with their positions; their codes are looked up in
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

// Codes stand in lanes of 32 bits, the second of two in the lower one: thus shifts alone join them.
constexpr int CodeInLane(int lane) { return lane ^ 1; }

// The lanes of the codes `first` to n - 1.
struct CodeLanes {
  constexpr explicit CodeLanes(int first) {
    for (int n = 0; n <= 16; ++n) {
      for (int code = first; code < n; ++code) lanes[n] = static_cast<uint16_t>(lanes[n] | 1 << CodeInLane(code));
    }
  }
  HWY_INLINE __mmask16 Below(int n) const { return _load_mask16(const_cast<__mmask16*>(lanes + std::min(n, 16))); }
  uint16_t lanes[17] = {};
};

struct SparseConstants {
  // Bytes by zigzag position: where in the packed block its coefficient stands (zero for DC's), and what tells that it
  // is coded. DC's always is: it is the place before the first run.
  Lanes<uint8_t> zigzag{64, [](int k) { return k == 0 ? 64 : PackedPlace(k); }};
  Lanes<uint8_t> not_coded{64, [](int k) { return k == 0; }};
  Lanes<uint8_t> position{64, [](int k) { return k; }}, before{64, [](int k) { return k - 1; }};
  Lanes<uint8_t> sixteen{16};

  // Lanes of codes: its position and that of the one before it; eight times the difference; its value, at the top.
  Lanes<uint8_t> two_positions{64, [](int i) { return CodeInLane(i / 4) - i % 2; }};
  Lanes<uint8_t> eight_times{64, [](int i) { return i % 4 == 0 ? 8 : i % 4 == 1 ? -8 : 0; }};
  Lanes<uint8_t> value{64, [](int i) { return i % 4 == 3 ? CodeInLane(i / 4) : 0; }};
  Lanes<uint32_t> below_value{1 << 23}, value_bits{8}, greatest{126 << 24}, longest{8 * 16};
  Lanes<uint32_t> code{0xFFFF}, from_run4{4 << 3}, from_run8{8 << 3};
  CodeLanes lanes{0}, lanes_behind_dc{1};

  // Lanes of pairs: the lengths of those before it (byte 1 is always zero); what counts of the bits before it, which for
  // the first are also whole bytes; the places of its bytes in it, and how many bits have to be there for each.
  Lanes<uint64_t> second_width{32};
  Lanes<uint8_t> pairs_before{64, [](int i) { return i % 8 < i / 8 ? i % 8 * 8 : 1; }};
  Lanes<uint64_t> in_byte{8, [](int pair) { return pair == 0 ? 63 : 7; }};
  Lanes<uint8_t> lowest{64, [](int i) { return i & ~7; }}, seven{7}, ff{0xFF};
  Lanes<uint8_t> place{64, [](int i) { return 8 * (7 - i % 8); }}, room{64, [](int i) { return 8 * (8 - i % 8); }};
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

// Codes with the bits behind them, in the low `length` bits.
struct SixteenCodes {
  __m512i bits, length;
  int count;
  bool good;  // not where the table lacks a code, a coefficient is saturated or a run is longer than a code can say
};

// Finds the codes of AC coefficients and of the end of the block. Their first place is DC's, which stays empty.
// kZeroRuns: also those of runs longer than 15.
template <bool kZeroRuns>
class SparseCoder {
 public:
  explicit ZMCJ_BIT_INSTRUCTIONS HWY_INLINE SparseCoder(const int16_t* block) : c_(*InRegister(&kSparseConstants)) {
    const __m512i zigzag = _mm512_permutex2var_epi8(PackBlock(block), c_.zigzag, _mm512_setzero_si512());
    uint64_t mask = _mm512_cmpneq_epi8_mask(zigzag, c_.not_coded);
    positions_ = Together(mask, c_.position);
    if constexpr (kZeroRuns) {
      // A zero that ends a run of 16 is coded like a coefficient, of category 0.
      while (const uint64_t far = Far()) {
        mask |= _pdep_u64(far >> 1, mask) << 16;
        positions_ = Together(mask, c_.position);
      }
    }
    values_ = Together(mask, zigzag);
    coefficients_ = std::popcount(mask);
    left_ = coefficients_ + static_cast<int>(~mask >> 63);
  }

  const SparseConstants& constants() const { return c_; }
  // How many there are still, with DC's place.
  int left() const { return left_; }

  // The next sixteen. kFirst: with DC's place.
  template <bool kFirst>
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE SixteenCodes Codes(const EncodeSpec* ac) const {
    const CodeLanes& lanes = kFirst ? c_.lanes_behind_dc : c_.lanes;
    const __mmask16 here = lanes.Below(left_), coefficients = lanes.Below(coefficients_);
    // Below the value stands zero: in the first sixteen DC's place has it.
    constexpr __mmask64 kHighest = 0x8888'8888'8888'8888;
    const __m512i value = kFirst
                              ? _mm512_permutexvar_epi8(c_.value, values_)
                              : _mm512_maskz_permutexvar_epi8(kHighest, _mm512_add_epi8(c_.value, skipped_), values_);
    const __m512i magnitude = _mm512_abs_epi32(value);
    const __m512i unused = _mm512_lzcnt_epi32(kZeroRuns ? _mm512_or_si512(magnitude, c_.below_value) : magnitude);
    const __m512i category = _mm512_maskz_sub_epi32(coefficients, c_.value_bits, unused);
    // 8 * run + category is 8 * step - unused. Elsewhere 0 finds the end of the block.
    const __m512i two_positions =
        _mm512_permutexvar_epi8(kFirst ? c_.two_positions : _mm512_add_epi8(c_.two_positions, skipped_), positions_);
    const __m512i step = _mm512_maddubs_epi16(two_positions, c_.eight_times);
    const __m512i entry = Entries(ac, _mm512_maskz_sub_epi32(coefficients, step, unused));
    const __m512i length = _mm512_maskz_srli_epi32(here, entry, 16);
    const __m512i code = _mm512_maskz_and_epi32(here, entry, c_.code);
    // What follows comes in at the right of the code: the magnitude, of a negative value its complement.
    const __m512i appended = _mm512_xor_si512(_mm512_sllv_epi32(magnitude, unused), _mm512_srai_epi32(value, 31));
    const __mmask16 missing = _mm512_mask_testn_epi32_mask(here, length, length);
    const __mmask16 saturated = _mm512_mask_cmpgt_epu32_mask(coefficients, magnitude, c_.greatest);
    const __mmask16 far = kZeroRuns ? 0 : _mm512_mask_cmpgt_epi32_mask(coefficients, step, c_.longest);
    return {_mm512_shldv_epi32(code, appended, category), _mm512_add_epi32(length, category), std::min(left_, 16),
            _kortestz_mask16_u8(_kor_mask16(missing, far), saturated) != 0};
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE void Skip() {
    skipped_ = _mm512_add_epi8(skipped_, c_.sixteen);
    left_ -= 16, coefficients_ -= 16;
  }

 private:
  // Places of coefficients with a run before them that is longer than a code can say.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE uint64_t Far() const {
    const __m512i step = _mm512_subs_epu8(positions_, _mm512_permutexvar_epi8(c_.before, positions_));
    return _mm512_cmpgt_epu8_mask(step, c_.sixteen);
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
  __m512i positions_, values_;  // of what is coded; values are saturated
  __m512i skipped_ = _mm512_setzero_si512();
  int left_, coefficients_;
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
    // Two to a number: the second one goes to the top of its half, and both together down again.
    const __m512i gap = _mm512_subs_epu16(c_.second_width, codes.length);
    const __m512i two = _mm512_srlv_epi64(_mm512_sllv_epi32(codes.bits, gap), gap);
    // In every lane the stream up to and with its pair: how long it is, and its last 64 bits, or those of eight codes.
    // Thus they fill the byte that the pair begins in: of the six codes before it three at most are zero runs, and the
    // others have a bit behind their code.
    const __m512i zero = _mm512_setzero_si512();
    const __m512i length2 = _mm512_sad_epu8(codes.length, zero);
    const __m512i before = _mm512_sad_epu8(_mm512_permutexvar_epi8(c_.pairs_before, length2), zero);
    const __m512i length16 = _mm512_add_epi64(before, length2);
    const __m512i four = _mm512_or_si512(two, _mm512_sllv_epi64(Up<1>(two), length2));
    const __m512i length4 = _mm512_add_epi64(length2, Up<1>(length2));
    const __m512i before_four = _mm512_sllv_epi64(Up<2>(four), length4);
    const __m512i before_all = _mm512_sllv_epi64(_mm512_set1_epi64(static_cast<int64_t>(pending_)), length16);
    const __m512i stream = _mm512_ternarylogic_epi64(four, before_four, before_all, 0xFE);
    // Where the pair begins and ends, seen from the start of the byte that it begins in. The bytes that end in it are the
    // lowest, but for what is left over.
    const __m512i count = _mm512_set1_epi64(static_cast<int64_t>(count_));
    const __m512i begin = _mm512_and_si512(_mm512_add_epi64(before, count), c_.in_byte);
    const __m512i end = _mm512_shuffle_epi8(_mm512_add_epi64(begin, length2), c_.lowest);
    const __m512i place = _mm512_ternarylogic_epi64(end, c_.seven, c_.place, 0xEA);  // its remainder added
    const __m512i bytes = _mm512_multishift_epi64_epi8(place, stream);
    const __mmask64 ended = _mm512_cmpge_epu8_mask(end, c_.room);
    const __m512i last = _mm512_castsi128_si512(_mm_cvtsi32_si128((codes.count - 1) >> 1));
    const auto at_last = [&](__m512i numbers) HWY_ATTR {
      return static_cast<uint64_t>(_mm_cvtsi128_si64(_mm512_castsi512_si128(_mm512_permutexvar_epi64(last, numbers))));
    };
    const uint64_t bits = at_last(length16) + count_;
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
    const __mmask64 ff = _mm512_mask_cmpeq_epi8_mask(mask, bytes, c_.ff);
    bytes = Together(mask, bytes);
    if (ff != 0) [[unlikely]] {
      uint64_t stuffed = _mm512_cmpeq_epi8_mask(bytes, c_.ff);
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
