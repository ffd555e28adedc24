// The encoder's modelling: a block's coefficients as bit-planes in scan order, and the passes over them recorded.
// Included once per level: no ordinary include guard.

#if defined(ZMCJ_T1_MODEL_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_T1_MODEL_INL_H_
#undef ZMCJ_T1_MODEL_INL_H_
#else
#define ZMCJ_T1_MODEL_INL_H_
#endif

#include "core/memory.h"
#include "jpeg2k/t1/distortion.h"
#include "jpeg2k/t1/pass_order.h"
#include "jpeg2k/t1/passes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::t1::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// The 64 samples of a group: first as words in scan order, sign above magnitude, then as 32 sets, one per bit of the
// words. Both take the same 256 bytes. A set's bytes are stored one by one and read as a whole: little-endian.
constexpr int kWords = kGroup * kStripe;
constexpr int kSigns = 31;  // the set of negative samples

// Sign above magnitude.
template <class D, class V>
HWY_INLINE V SignMagnitude(D d, V value, V mask) {
  const V negative = hn::ShiftRight<31>(value);
  const V magnitude = hn::And(hn::Xor(hn::Add(value, negative), negative), mask);
  return hn::Or(magnitude, hn::And(negative, hn::Set(d, INT32_MIN)));
}

// The words of a whole group in scan order; returns the magnitudes' bits together.
HWY_INLINE uint32_t GatherGroup(const int32_t* src, int step, uint32_t mask, uint32_t* words) {
  const hn::Full128<int32_t> d;
  const auto mask4 = hn::Set(d, static_cast<int32_t>(mask));
  auto any = hn::Zero(d);
  auto* const out = reinterpret_cast<int32_t*>(words);
  for (int x = 0; x < kGroup; x += 4) {
    const auto row = [&](int y) HWY_ATTR { return SignMagnitude(d, hn::LoadU(d, RowAt(src, y, step) + x), mask4); };
    const auto r0 = row(0), r1 = row(1), r2 = row(2), r3 = row(3);
    any = hn::Or(any, hn::Or(hn::Or(r0, r1), hn::Or(r2, r3)));
    const auto low01 = hn::InterleaveLower(d, r0, r1), high01 = hn::InterleaveUpper(d, r0, r1);
    const auto low23 = hn::InterleaveLower(d, r2, r3), high23 = hn::InterleaveUpper(d, r2, r3);
    hn::StoreU(hn::ConcatLowerLower(d, low23, low01), d, out + kStripe * x);
    hn::StoreU(hn::ConcatUpperUpper(d, low23, low01), d, out + kStripe * x + 4);
    hn::StoreU(hn::ConcatLowerLower(d, high23, high01), d, out + kStripe * x + 8);
    hn::StoreU(hn::ConcatUpperUpper(d, high23, high01), d, out + kStripe * x + 12);
  }
  HWY_ALIGN int32_t lanes[4];
  hn::Store(any, d, lanes);
  return static_cast<uint32_t>(lanes[0] | lanes[1] | lanes[2] | lanes[3]) & mask;
}

// Of a group that the block's edges cut.
HWY_INLINE uint32_t GatherPart(const int32_t* src, int step, int columns, int rows, uint32_t mask, uint32_t* words) {
  alignas(16) int32_t padded[kStripe][kGroup] = {};
  for (int y = 0; y < rows; ++y)
    std::memcpy(padded[y], RowAt(src, y, step), static_cast<size_t>(columns) * sizeof(int32_t));
  return GatherGroup(padded[0], static_cast<int>(sizeof padded[0]), mask, words);
}

// Turns a group's words into sets in place.
HWY_INLINE void SplitIntoSets(uint32_t* words, int planes) {
  const hn::ScalableTag<int32_t> d;
  const size_t lanes = hn::Lanes(d);
  HWY_ALIGN int32_t shifted[kWords];
  std::memcpy(shifted, words, sizeof shifted);
  auto* const sets = reinterpret_cast<unsigned char*>(words);
  const auto split = [&](int set, int shift) HWY_ATTR {
    unsigned char* byte = sets + 8 * set;
    for (size_t i = 0; i < kWords; i += 8, ++byte) {
      unsigned bits = 0;
      for (size_t j = 0; j < 8; j += lanes) {
        const auto v = hn::Load(d, shifted + i + j);
        uint8_t mask[8];
        hn::StoreMaskBits(d, hn::Lt(v, hn::Zero(d)), mask);
        bits |= static_cast<unsigned>(mask[0]) << j;
        hn::Store(hn::ShiftLeftSame(v, shift), d, shifted + i + j);
      }
      *byte = static_cast<unsigned char>(bits);
    }
  };
  split(kSigns, kSigns - (planes - 1));
  for (int plane = planes - 1; plane >= 0; --plane) split(plane, 1);
}

// The Io of recording. Raw decisions have context 0.
template <bool kRaw>
struct Recorder {
  const uint64_t* sets;
  int plane;
  int groups;
  uint8_t* out;
  uint64_t bits = 0, signs = 0;

  HWY_INLINE void Enter(int stripe, int group) {
    const uint64_t* const own = sets + (ptrdiff_t{stripe} * groups + group) * 32;
    bits = own[plane];
    signs = own[kSigns];
  }
  HWY_INLINE uint32_t Record(unsigned context, uint64_t bit) {
    *out++ = static_cast<uint8_t>((kRaw ? 0 : 2 * context) + bit);
    return static_cast<uint32_t>(bit);
  }
  HWY_INLINE uint32_t Zero(unsigned context, unsigned b) { return Record(context, bits >> b & 1); }
  HWY_INLINE uint32_t Sign(unsigned entry, unsigned b) {
    const uint64_t negative = signs >> b & 1;
    Record(entry & 127, kRaw ? negative : negative ^ entry >> 7);
    return static_cast<uint32_t>(negative);
  }
  HWY_INLINE uint64_t SkipRuns(uint64_t todo, uint64_t runs) {
    const uint64_t any = bits | bits >> 1 | bits >> 2 | bits >> 3;
    const uint64_t skipped = LeadingRuns(todo, runs & ~any);
    // As many as a group can have; those beyond the count are overwritten.
    std::memset(out, 2 * kRunLength, kGroup);
    out += std::popcount(skipped);
    return todo ^ skipped;
  }
  HWY_INLINE unsigned Run(unsigned b) {
    const auto column = static_cast<unsigned>(bits >> b & 15);
    if (Record(kRunLength, column != 0) == 0) return kStripe;
    const auto row = static_cast<unsigned>(std::countr_zero(column));
    Record(kUniform, row >> 1);
    Record(kUniform, row & 1);
    return row;
  }
  HWY_INLINE void Became(unsigned, uint32_t) {}
  HWY_INLINE void Refine(unsigned context, unsigned b) { Record(context, bits >> b & 1); }
};

class Model {
 public:
  Model(const ModelJob& job, Recording& recording)
      : job_(job),
        recording_(recording),
        state_(job.work, job.size),
        sets_(reinterpret_cast<uint64_t*>(job.magnitudes)),
        causal_((job.options & kCausal) != 0),
        zero_coding_(kZeroCodingByColumn[static_cast<size_t>(BandOf(job.orientation))].data()),
        out_(recording.decisions) {}

  void Run() {
    const int planes = Gather();
    recording_.planes = planes;
    recording_.passes = ForEachPass(planes, [&](int i, Pass pass, int plane) {
      const bool raw = IsRaw(job_.options, pass, plane, planes);
      // What a pass does to the error shows in the sets before the cleanup pass and after the others.
      if (pass == Pass::kSignificance) raw ? SignificanceRaw(plane) : SignificanceMq(plane);
      recording_.distortion[i] = Distortion(pass, plane);
      if (pass == Pass::kRefinement) raw ? RefinementRaw(plane) : RefinementMq(plane);
      if (pass == Pass::kCleanup) Cleanup(plane);
      recording_.end[i] = out_ - recording_.decisions;
    });
    *out_ = 0;
  }

 private:
  template <bool kRaw>
  HWY_INLINE Recorder<kRaw> Output(int plane) const {
    return {sets_, plane, state_.groups(), out_};
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void SignificanceMq(int plane) {
    auto io = Output<false>(plane);
    SignificancePass(io, state_, causal_, zero_coding_);
    out_ = io.out;
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void SignificanceRaw(int plane) {
    auto io = Output<true>(plane);
    SignificancePass(io, state_, causal_, zero_coding_);
    out_ = io.out;
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void RefinementMq(int plane) {
    auto io = Output<false>(plane);
    RefinementPass(io, state_, causal_);
    out_ = io.out;
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void RefinementRaw(int plane) {
    auto io = Output<true>(plane);
    RefinementPass(io, state_, causal_);
    out_ = io.out;
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void Cleanup(int plane) {
    auto io = Output<false>(plane);
    CleanupPass(io, state_, causal_, zero_coding_);
    if (job_.options & kSegmentationSymbols) {
      for (const uint64_t bit : {1, 0, 1, 0}) io.Record(kUniform, bit);
    }
    out_ = io.out;
  }

  // Makes the sets of all groups; returns the number of planes.
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE int Gather() {
    const uint32_t mask = (1u << job_.magnitude_bits) - 1;
    uint32_t any = 0;
    uint32_t* words = job_.magnitudes;
    for (int stripe = 0; stripe < state_.stripes(); ++stripe) {
      const int top = stripe * kStripe, rows = std::min(kStripe, job_.size.height - top);
      for (int g = 0; g < state_.groups(); ++g, words += kWords) {
        const int left = g * kGroup, columns = std::min(kGroup, job_.size.width - left);
        const int32_t* const src = RowAt(job_.src, top, job_.src_step) + left;
        any |= columns == kGroup && rows == kStripe ? GatherGroup(src, job_.src_step, mask, words)
                                                    : GatherPart(src, job_.src_step, columns, rows, mask, words);
      }
    }
    const int planes = std::bit_width(any);
    if (planes == 0) return 0;
    for (uint32_t* group = job_.magnitudes; group < words; group += kWords) SplitIntoSets(group, planes);
    return planes;
  }

  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE double Distortion(Pass pass, int plane) const {
    DistortionSums sums;
    const uint64_t* sets = sets_;
    const Group* const end = state_.GroupsOf(state_.stripes());
    for (const Group* group = state_.GroupsOf(0); group < end; ++group, sets += 32) {
      if (pass == Pass::kRefinement) {
        const uint64_t all = group->significant & ~group->visited;
        const uint64_t above = all & sets[plane], below = all & ~sets[plane];
        sums.refined += std::popcount(all);
        // Above the midpoint the lower bits are the distance, below it their difference to 2^plane.
        sums.refined_distance +=
            Sum(sets, plane, above) - Sum(sets, plane, below) + (int64_t{std::popcount(below)} << plane);
      } else {
        const uint64_t became =
            pass == Pass::kSignificance ? group->significant & group->visited : sets[plane] & ~group->significant;
        sums.became += std::popcount(became);
        sums.became_magnitude += Sum(sets, plane + 1, became);
      }
    }
    return sums.Reduction(plane);
  }

  // Of the lower `planes` bits of the samples in a set.
  static HWY_INLINE int64_t Sum(const uint64_t* sets, int planes, uint64_t samples) {
    int64_t sum = 0;
    if (samples == 0) return 0;
    for (int i = 0; i < planes; ++i) sum += int64_t{std::popcount(sets[i] & samples)} << i;
    return sum;
  }

  const ModelJob& job_;
  Recording& recording_;
  BlockState state_;
  uint64_t* sets_;
  bool causal_;
  const uint8_t* zero_coding_;
  uint8_t* out_;
};

}  // namespace
#endif
}  // namespace zmcj::t1::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // ZMCJ_T1_MODEL_INL_H_
