// The lifting engine, for registers of any number of lanes: the filters, the ladder that runs all steps of a filter in
// one sweep, and the two ways to drive it, down columns and along a row.
//
// No include guard: compiled once per instruction-set level, and once for the scalar reference, in the namespace
// ZMCJ_LIFTING_NAMESPACE. `Machine<T>` supplies the registers of lanes T.

#undef ZMCJ_LIFTING_INLINE
#define ZMCJ_LIFTING_INLINE inline __attribute__((always_inline))

namespace zmcj::ZMCJ_LIFTING_NAMESPACE {
namespace {

// A filter gives the lifting steps, and what happens to samples before the first step (Enter) and after the last one
// (Leave).
template <class W, bool kInverse, class M>
struct Filter;

template <class M, bool kInverse>
struct Reversible53 {
  using V = typename M::V;
  template <int kStep>
  static ZMCJ_LIFTING_INLINE V Step(V centre, V left, V right) {
    if constexpr (kInverse) {
      return kStep == 0 ? M::Sub(centre, M::QuarterSum(left, right)) : M::Add(centre, M::HalfSum(left, right));
    }
    return kStep == 0 ? M::Sub(centre, M::HalfSum(left, right)) : M::Add(centre, M::QuarterSum(left, right));
  }
  static ZMCJ_LIFTING_INLINE V EnterA(V v) { return v; }
  static ZMCJ_LIFTING_INLINE V EnterB(V v) { return v; }
  static ZMCJ_LIFTING_INLINE V LeaveA(V v) { return v; }
  static ZMCJ_LIFTING_INLINE V LeaveB(V v) { return v; }
};
template <bool kInverse, class M>
struct Filter<B53_16s, kInverse, M> : Reversible53<M, kInverse> {};
template <bool kInverse, class M>
struct Filter<B53_32s, kInverse, M> : Reversible53<M, kInverse> {};

// ISO/IEC 15444-1, table F.4, rounded to single precision and to 14 fractional bits.
constexpr float kLift[4] = {-1.586134315f, -0.0529801175f, 0.8829110861f, 0.4435068667f};
constexpr float kK = 1.230174065f, kInverseK = 0.8128930926f, kDeltaByK = 0.3605236411f;
constexpr int kFixedLift[4] = {-25987, -868, 14466, 7266};
constexpr int kFixedK = 20155, kFixedInverseK = 13318;

template <bool kInverse, class M>
struct Filter<D97_32s, kInverse, M> {
  using V = typename M::V;
  template <int kStep>
  static ZMCJ_LIFTING_INLINE V Step(V centre, V left, V right) {
    return M::Add(M::Mul(M::Add(left, right), M::Set(kInverse ? -kLift[3 - kStep] : kLift[kStep])), centre);
  }
  static ZMCJ_LIFTING_INLINE V EnterA(V v) { return kInverse ? M::Mul(v, M::Set(kInverseK)) : v; }
  static ZMCJ_LIFTING_INLINE V EnterB(V v) { return kInverse ? M::Mul(v, M::Set(kK)) : v; }
  static ZMCJ_LIFTING_INLINE V LeaveA(V v) { return kInverse ? v : M::Mul(v, M::Set(kInverseK)); }
  static ZMCJ_LIFTING_INLINE V LeaveB(V v) { return kInverse ? v : M::Mul(v, M::Set(kK)); }
};

// Going back, the lines fold the scaling into the first two steps: the first sees high samples that are not scaled.
template <bool kInverse, class M>
struct Filter<D97_32f, kInverse, M> : Filter<D97_32s, kInverse, M> {
  using Base = Filter<D97_32s, kInverse, M>;
  using V = typename M::V;
  template <int kStep>
  static ZMCJ_LIFTING_INLINE V Step(V centre, V left, V right) {
    if constexpr (kInverse && kStep == 0) {
      return M::Add(M::Mul(centre, M::Set(kK)), M::Mul(M::Add(left, right), M::Set(-kDeltaByK)));
    } else if constexpr (kInverse && kStep == 1) {
      return Base::template Step<1>(M::Mul(centre, M::Set(kInverseK)), left, right);
    } else {
      return Base::template Step<kStep>(centre, left, right);
    }
  }
  static ZMCJ_LIFTING_INLINE V EnterA(V v) { return v; }
  static ZMCJ_LIFTING_INLINE V EnterB(V v) { return v; }
};

template <bool kInverse, class M>
struct Filter<D97_16s, kInverse, M> {
  using V = typename M::V;
  template <int kStep>
  static ZMCJ_LIFTING_INLINE V Step(V centre, V left, V right) {
    if constexpr (kInverse) return M::Sub(centre, M::ScaledSum(left, right, kFixedLift[3 - kStep]));
    return M::Add(centre, M::ScaledSum(left, right, kFixedLift[kStep]));
  }
  // High samples are scaled by 1/K and low ones by K on the way back, the other way round going forward.
  static ZMCJ_LIFTING_INLINE V EnterA(V v) { return kInverse ? M::Scaled(v, kFixedInverseK) : v; }
  static ZMCJ_LIFTING_INLINE V EnterB(V v) { return kInverse ? M::Scaled(v, kFixedK) : v; }
  static ZMCJ_LIFTING_INLINE V LeaveA(V v) { return kInverse ? v : M::Scaled(v, kFixedInverseK); }
  static ZMCJ_LIFTING_INLINE V LeaveB(V v) { return kInverse ? v : M::Scaled(v, kFixedK); }
};

// The same, for samples so small that no sum of neighbours leaves 16 bits: then the machine's rounding product is
// exact. With samples up to x the results of the four steps stay below 4.18 x, 1.45 x, 6.72 x and 7.41 x going forward,
// and below 1.96 x, 4.26 x, 2.41 x and 11.9 x going back, where the last is in no sum: 2 * 6.72 * 2400 < 32767, with
// room for the roundings.
constexpr int16_t kCalm = 2400;
struct Calm97_16s : D97_16s {};
template <bool kInverse, class M>
struct Filter<Calm97_16s, kInverse, M> : Filter<D97_16s, kInverse, M> {
  using V = typename M::V;
  template <int kStep>
  static ZMCJ_LIFTING_INLINE V Step(V centre, V left, V right) {
    if constexpr (kInverse) return M::Sub(centre, M::Scaled(M::Add(left, right), kFixedLift[3 - kStep]));
    return M::Add(centre, M::Scaled(M::Add(left, right), kFixedLift[kStep]));
  }
};

// Whether a wavelet has a faster form for calm samples on this machine.
template <class W, class M>
constexpr bool kHasCalmForm = std::is_same_v<W, D97_16s> && (M::kLanes > 1);

// All steps of a filter at once, each one sample behind the step before it. rung[0] is the last A that came in, rung[i]
// the last result of step i - 1. Along a row (kAcross) "the last" of a lane is the lane before it.
template <class W, bool kInverse, class M, bool kAcross>
struct Ladder {
  using F = Filter<W, kInverse, M>;
  using V = typename M::V;
  V rung[W::kSteps];

  // Not left to the compiler, which would give a constructor of its own no instruction set.
  ZMCJ_LIFTING_INLINE Ladder() {}

  // In: samples of type B and the ones of type A after them. Out: results of type A and those of type B after them.
  ZMCJ_LIFTING_INLINE void Feed(V b, V a, V& result_a, V& result_b) {
    V centre = F::EnterB(b), right = F::EnterA(a);
    Climb<0>(centre, right);
    Climb<1>(centre, right);
    if constexpr (W::kSteps == 4) {
      Climb<2>(centre, right);
      Climb<3>(centre, right);
    }
    result_a = F::LeaveA(right);
    result_b = F::LeaveB(rung[W::kSteps - 1]);
  }

 private:
  template <int kStep>
  ZMCJ_LIFTING_INLINE void Climb(V& centre, V& right) {
    V left = rung[kStep];
    if constexpr (kAcross) left = M::Delay(left, right);
    const V result = F::template Step<kStep>(centre, left, right);
    rung[kStep] = right;
    centre = left;
    right = result;
  }
};

// Columns x to x + M::kLanes - 1 of several feeds.
template <class W, bool kInverse, class M, int kCount>
ZMCJ_LIFTING_INLINE void FeedColumn(const FeedRows<typename W::Sample>& rows, int x, typename W::Register* rungs) {
  using V = typename M::V;
  constexpr int kStrip = kStripColumns<typename W::Sample>;
  Ladder<W, kInverse, M, false> ladder;
#pragma GCC unroll 4
  for (int i = 0; i < W::kSteps; ++i) ladder.rung[i] = M::Load(rungs + i * kStrip + x);
#pragma GCC unroll 2
  for (int f = 0; f < kCount; ++f) {
    V a, b;
    ladder.Feed(M::Load(rows.in_b[f] + x), M::Load(rows.in_a[f] + x), a, b);
    M::Store(a, rows.out_a[f] + x);
    M::Store(b, rows.out_b[f] + x);
  }
#pragma GCC unroll 4
  for (int i = 0; i < W::kSteps; ++i) M::Store(ladder.rung[i], rungs + i * kStrip + x);
}

template <class W, bool kInverse, template <class> class Machine, int kCount>
ZMCJ_LIFTING_INLINE void FeedStrip(const FeedRows<typename W::Sample>& rows, int columns, typename W::Register* rungs) {
  using Register = typename W::Register;
  using M = Machine<Register>;
  constexpr int kCacheLine = 64 / static_cast<int>(sizeof(typename W::Sample));
  int x = 0;
  for (; x <= columns - M::kLanes; x += M::kLanes) {
    if (x % kCacheLine == 0) {
      for (const auto* row : rows.next) __builtin_prefetch(row + x);
    }
    FeedColumn<W, kInverse, M, kCount>(rows, x, rungs);
  }
  for (; x < columns; ++x) FeedColumn<W, kInverse, Single<Register>, kCount>(rows, x, rungs);
}

template <class W, bool kInverse, template <class> class Machine>
void Columns(const FeedRows<typename W::Sample>& rows, int feeds, int columns, StripState* state) {
  using Register = typename W::Register;
  using M = Machine<Register>;
  Register* const rungs = static_cast<Register*>(state->rungs);
  if constexpr (kHasCalmForm<W, M>) {
    bool calm = true;
    for (int f = 0; f < feeds; ++f)
      calm = calm && M::AllWithin(rows.in_a[f], columns, kCalm) && M::AllWithin(rows.in_b[f], columns, kCalm);
    state->calm_feeds = calm ? state->calm_feeds + feeds : 0;
    // What the ladder holds goes back to the samples of the last four feeds.
    if (feeds == kFeeds && state->calm_feeds >= kFeeds + 4)
      return FeedStrip<Calm97_16s, kInverse, Machine, kFeeds>(rows, columns, rungs);
  }
  if (feeds == kFeeds) return FeedStrip<W, kInverse, Machine, kFeeds>(rows, columns, rungs);
  FeedStrip<W, kInverse, Machine, 1>(rows, columns, rungs);
}

// A row's samples from some position on, in pairs: samples i of the type that stands there and of the other.
template <class S>
struct PairsFrom {
  S* pairs;

  PairsFrom(const Interleaved<S>& line, int64_t position) : pairs(line.At(position)) {}
  template <class M>
  ZMCJ_LIFTING_INLINE void Load(int64_t i, typename M::V& first, typename M::V& second) const {
    M::LoadPairs(pairs + 2 * i, first, second);
  }
  template <class M>
  ZMCJ_LIFTING_INLINE void Store(int64_t i, typename M::V first, typename M::V second) const {
    M::StorePairs(first, second, pairs + 2 * i);
  }
  template <class M>
  ZMCJ_LIFTING_INLINE void StoreAllButLast(int64_t i, typename M::V first, typename M::V second) const {
    S staged[2 * M::kLanes];
    M::StorePairs(first, second, staged);
    std::memcpy(pairs + 2 * i, staged, sizeof(S) * (2 * M::kLanes - 1));
  }
};
template <class S>
struct BandsFrom {
  S* firsts;
  S* seconds;

  BandsFrom(const Bands<S>& line, int64_t position) : firsts(line.At(position)), seconds(line.At(position + 1)) {}
  template <class M>
  ZMCJ_LIFTING_INLINE void Load(int64_t i, typename M::V& first, typename M::V& second) const {
    first = M::Load(firsts + i);
    second = M::Load(seconds + i);
  }
  template <class M>
  ZMCJ_LIFTING_INLINE void Store(int64_t i, typename M::V first, typename M::V second) const {
    M::Store(first, firsts + i);
    M::Store(second, seconds + i);
  }
  template <class M>
  ZMCJ_LIFTING_INLINE void StoreAllButLast(int64_t i, typename M::V first, typename M::V second) const {
    S staged[M::kLanes];
    M::Store(first, firsts + i);
    M::Store(second, staged);
    std::memcpy(seconds + i, staged, sizeof(S) * (M::kLanes - 1));
  }
};
template <class S>
ZMCJ_LIFTING_INLINE PairsFrom<S> From(const Interleaved<S>& line, int64_t position) {
  return {line, position};
}
template <class S>
ZMCJ_LIFTING_INLINE BandsFrom<S> From(const Bands<S>& line, int64_t position) {
  return {line, position};
}

template <class W, bool kInverse, template <class> class Machine, class Source, class Target>
void LiftRow(Source src, Target dst, const Line& line, const typename W::Sample* next) {
  using Sample = typename W::Sample;
  using Register = typename W::Register;
  using One = Single<Register>;
  using M = Machine<Register>;
  using V = typename M::V;
  constexpr int kSteps = W::kSteps, kLanes = M::kLanes, kPairs = 2 * kLanes;

  // Of the feeds, as many of the last ones as fill registers go in registers; the ones before go one by one, at least
  // those that only fill the ladder.
  int64_t c = line.FirstFeed(kSteps);
  const int64_t feeds = (line.LastFeed(kSteps) - c) / 2 + 1;
  const bool wide = kLanes > 1 && line.length >= kPairs + kSteps;
  const int64_t registers = wide ? (feeds - (kSteps - 1)) / kLanes : 0;

  const auto sample = [&](int64_t position) {
    return static_cast<Register>(LoadSample<Sample>(src.At(line.Fold(position))));
  };
  Ladder<W, kInverse, One, false> start;
  std::fill_n(start.rung, kSteps, Register{0});
  start.rung[0] = Filter<W, kInverse, One>::EnterA(sample(c - 1));
  for (int64_t i = feeds - registers * kLanes; i > 0; --i, c += 2) {
    Register a, b;
    start.Feed(sample(c), sample(c + 1), a, b);
    const int64_t results = c + 1 - kSteps;
    if (results >= 0) One::Store(a, dst.At(results));
    if (results >= -1 && results + 1 < line.length) One::Store(b, dst.At(results + 1));
  }
  if (registers == 0) return;

  Ladder<W, kInverse, M, true> ladder;
#pragma GCC unroll 4
  for (int i = 0; i < kSteps; ++i) ladder.rung[i] = M::Set(start.rung[i]);
  const auto from = From(src, c);
  const auto to = From(dst, c + 1 - kSteps);
  const int64_t last = (registers - 1) * kLanes;
  V a, b;
  for (int64_t i = 0; i < last; i += kLanes) {
    __builtin_prefetch(next + 2 * i);
    from.template Load<M>(i, b, a);
    ladder.Feed(b, a, a, b);
    to.template Store<M>(i, a, b);
  }

  // The last register's samples go on beyond the end of the line, and its last result may do so.
  if (line.mirrored) {
    using Raw = Machine<Sample>;
    Sample end[kPairs + kSteps];
    typename Raw::V first, second;
    From(src, line.length - kPairs).template Load<Raw>(0, first, second);
    Raw::StorePairs(first, second, end);
    for (int i = 0; i < kSteps; ++i) end[kPairs + i] = end[kPairs - 2 - i];
    M::LoadPairs(end + (c + 2 * last + kPairs - line.length), b, a);
  } else {
    from.template Load<M>(last, b, a);
  }
  ladder.Feed(b, a, a, b);
  if (line.LastFeed(kSteps) + 2 - kSteps < line.length) {
    to.template Store<M>(last, a, b);
  } else {
    to.template StoreAllButLast<M>(last, a, b);
  }
}

template <class M, class S>
bool IsCalm(const Interleaved<S>& row, const Line& line) {
  return M::AllWithin(row.line, line.length, kCalm);
}
template <class M, class S>
bool IsCalm(const Bands<S>& row, const Line& line) {
  return M::AllWithin(row.a, (line.length + 1 - line.a_offset()) / 2, kCalm) &&
         M::AllWithin(row.b, (line.length + 1 - line.b_offset()) / 2, kCalm);
}

template <class W, bool kInverse, template <class> class Machine, class Source, class Target>
void Row(Source src, Target dst, const Line& line, const typename W::Sample* next) {
  using M = Machine<typename W::Register>;
  if constexpr (kHasCalmForm<W, M>) {
    if (line.mirrored && IsCalm<M>(src, line)) return LiftRow<Calm97_16s, kInverse, Machine>(src, dst, line, next);
  }
  LiftRow<W, kInverse, Machine>(src, dst, line, next);
}

template <class W, template <class> class Machine>
constexpr LiftingKernels<typename W::Sample> LiftingKernelsOf() {
  using S = typename W::Sample;
  return {Columns<W, false, Machine>, Columns<W, true, Machine>, Row<W, false, Machine, Interleaved<const S>, Bands<S>>,
          Row<W, true, Machine, Bands<const S>, Interleaved<S>>};
}

template <template <class> class Machine>
constexpr WaveletKernels WaveletKernelsOf() {
  return {LiftingKernelsOf<B53_16s, Machine>(), LiftingKernelsOf<B53_32s, Machine>(),
          LiftingKernelsOf<D97_16s, Machine>(), LiftingKernelsOf<D97_32s, Machine>(),
          LiftingKernelsOf<D97_32f, Machine>()};
}

}  // namespace
}  // namespace zmcj::ZMCJ_LIFTING_NAMESPACE
