// The lifting engine, for registers of any number of lanes: the ladder that runs all steps of a filter in one sweep, and
// the two ways to drive it, down columns and along a row.
//
// No include guard: compiled once per instruction-set level, and once for the scalar reference, in the namespace
// ZMCJ_LIFTING_NAMESPACE. `Machine<T>` supplies the registers of lanes T. What is too short for them goes to the kernels
// `kNarrower`.

#undef ZMCJ_LIFTING_INLINE
#define ZMCJ_LIFTING_INLINE inline __attribute__((always_inline))
#undef ZMCJ_LIFTING_LAMBDA
#define ZMCJ_LIFTING_LAMBDA __attribute__((always_inline))

#include "jpeg2k/transform/lifting_filters-inl.h"

namespace zmcj::ZMCJ_LIFTING_NAMESPACE {
namespace {

// The steps of a filter, each one sample behind the step before it. rung[0] is the last A that came in, rung[i] the last
// result of the step before step i. Along a row (kAcross) "the last" of a lane is the lane before it.
//
// The chain of steps is so long that the processor, running ahead, holds too few turns of a loop that follows it to the
// end. So the steps make up flights of one or two, and in each turn of the loops below every flight has a register of
// its own, while the registers between them wait for the next turn.
template <class W, bool kInverse, class M, bool kAcross, int kFlights>
struct Ladder {
  using F = Filter<W, kInverse, M>;
  using V = typename M::V;
  static constexpr int kFlightSteps = W::kSteps / kFlights;
  V rung[W::kSteps];

  // Not left to the compiler, which would give a constructor of its own no instruction set.
  ZMCJ_LIFTING_INLINE Ladder() {}

  // In: samples of type B and the ones of type A after them, or what comes up from the flight below. Out: what goes on
  // to the flight above; at the top, results of type A and the ones of type B after them.
  template <int kFlight>
  ZMCJ_LIFTING_INLINE void Climb(V& b, V& a) {
    constexpr int kFirst = kFlight * kFlightSteps, kLast = kFirst + kFlightSteps - 1;
    if constexpr (kFirst == 0) b = F::EnterB(b), a = F::EnterA(a);
    Step<kFirst>(b, a);
    if constexpr (kLast > kFirst) Step<kLast>(b, a);
    if constexpr (kLast == W::kSteps - 1) b = F::LeaveB(rung[kLast]), a = F::LeaveA(a);
  }
  template <int kFlight>
  ZMCJ_LIFTING_INLINE void ClimbFrom(V& b, V& a) {
    Climb<kFlight>(b, a);
    if constexpr (kFlight + 1 < kFlights) ClimbFrom<kFlight + 1>(b, a);
  }

  // What waits above each flight but the last one.
  struct Waiting {
    V b[kFlights - 1], a[kFlights - 1];
    ZMCJ_LIFTING_INLINE Waiting() {}
  };
  // Up the flights from kFlight down to 1.
  template <int kFlight>
  ZMCJ_LIFTING_INLINE void ClimbOn(const Waiting& from, Waiting& to) {
    if constexpr (kFlight > 0) {
      to.b[kFlight] = from.b[kFlight - 1], to.a[kFlight] = from.a[kFlight - 1];
      Climb<kFlight>(to.b[kFlight], to.a[kFlight]);
      ClimbOn<kFlight - 1>(from, to);
    }
  }

 private:
  template <int kStep>
  ZMCJ_LIFTING_INLINE void Step(V& centre, V& right) {
    V left = rung[kStep];
    if constexpr (kAcross) left = M::Delay(left, right);
    const V result = F::template Step<kStep>(centre, left, right);
    rung[kStep] = right;
    centre = left;
    right = result;
  }
};

// Columns x to x + M::kLanes - 1 of several feeds, up one flight.
template <class Ladder, int kFlight, class M, int kCount, class Register, class V>
ZMCJ_LIFTING_INLINE void ClimbColumn(V (&b)[kCount], V (&a)[kCount], Register* rungs, int strip) {
  constexpr int kFirst = kFlight * Ladder::kFlightSteps, kEnd = kFirst + Ladder::kFlightSteps;
  Ladder ladder;
#pragma GCC unroll 2
  for (int i = kFirst; i < kEnd; ++i) ladder.rung[i] = M::Load(rungs + i * strip);
#pragma GCC unroll 2
  for (int f = 0; f < kCount; ++f) ladder.template Climb<kFlight>(b[f], a[f]);
#pragma GCC unroll 2
  for (int i = kFirst; i < kEnd; ++i) M::Store(ladder.rung[i], rungs + i * strip);
}

// Several feeds, in whole registers: at least one. The second register starts at the first aligned column and the last
// one ends with the strip, so both may overlap the one before. That does no harm: each enters before that one leaves,
// and has rungs of its own.
template <class W, bool kInverse, class M, int kCount>
ZMCJ_LIFTING_INLINE void FeedColumns(const FeedRows<typename W::Sample> rows, int columns, const StripState state) {
  using V = typename M::V;
  using Stairs = Ladder<W, kInverse, M, false, 2>;
  using Register = typename W::Register;
  constexpr int kLanes = M::kLanes, kRungs = kStripRungs<typename W::Sample>;
  constexpr int kLineLanes = 64 / static_cast<int>(sizeof(typename W::Sample));
  Register* const rungs = static_cast<Register*>(state.rungs);
  const bool jumps = rows.next[0] != nullptr;
  const auto enter = [&](int x, int rung, V(&b)[kCount], V(&a)[kCount]) ZMCJ_LIFTING_LAMBDA {
    if (jumps && rung % kLineLanes == 0) {
#pragma GCC unroll 4
      for (const auto* row : rows.next) __builtin_prefetch(row + x);
    }
#pragma GCC unroll 2
    for (int f = 0; f < kCount; ++f) {
      b[f] = M::Load(rows.in_b[f] + x);
      a[f] = M::Load(rows.in_a[f] + x);
    }
    ClimbColumn<Stairs, 0, M>(b, a, rungs + rung, kRungs);
  };
  const auto leave = [&](int x, int rung, V(&b)[kCount], V(&a)[kCount]) ZMCJ_LIFTING_LAMBDA {
    ClimbColumn<Stairs, 1, M>(b, a, rungs + rung, kRungs);
#pragma GCC unroll 2
    for (int f = 0; f < kCount; ++f) {
      M::Store(a[f], rows.out_a[f] + x);
      M::Store(b[f], rows.out_b[f] + x);
    }
  };
  V b[kCount], a[kCount], next_b[kCount], next_a[kCount];
  const int last = columns - kLanes;
  // Where arithmetic is the limit, one more register would cost more than straddled lines do.
  const int before_aligned = W::kReversible && last >= kLanes ? state.aligned % kLanes : 0;
  const int second = before_aligned == 0 ? kLanes : before_aligned;
  enter(0, 0, b, a);
  if (last == 0) return leave(0, 0, b, a);
  int x = std::min(second, last), rung = kLanes;
  enter(x, rung, next_b, next_a);
  leave(0, 0, b, a);
#pragma GCC unroll 2
  for (int f = 0; f < kCount; ++f) b[f] = next_b[f], a[f] = next_a[f];
  // Two turns at once, which spares them to hand registers on.
  for (; last - x >= 2 * kLanes; x += 2 * kLanes, rung += 2 * kLanes) {
    enter(x + kLanes, rung + kLanes, next_b, next_a);
    leave(x, rung, b, a);
    enter(x + 2 * kLanes, rung + 2 * kLanes, b, a);
    leave(x + kLanes, rung + kLanes, next_b, next_a);
  }
  while (x < last) {
    const int next = std::min(x + kLanes, last);
    enter(next, rung + kLanes, next_b, next_a);
    leave(x, rung, b, a);
#pragma GCC unroll 2
    for (int f = 0; f < kCount; ++f) b[f] = next_b[f], a[f] = next_a[f];
    x = next, rung += kLanes;
  }
  leave(x, rung, b, a);
}

template <class W, bool kInverse, template <class> class Machine>
void Columns(const FeedRows<typename W::Sample>& rows, int feeds, int columns, StripState* state) {
  using M = Machine<typename W::Register>;
  if constexpr (M::kLanes > 1) {
    constexpr auto& narrower = kNarrower.Of(W());
    if (columns < M::kLanes)
      return (kInverse ? narrower.inverse_columns : narrower.forward_columns)(rows, feeds, columns, state);
  }
  if constexpr (kHasCalmForm<W, M>) {
    bool calm = true;
    for (int f = 0; f < feeds; ++f)
      calm = calm && M::AllWithin(rows.in_a[f], columns, kCalm) && M::AllWithin(rows.in_b[f], columns, kCalm);
    state->calm_feeds = calm ? state->calm_feeds + feeds : 0;
    // What the ladder holds goes back to the samples of the last four feeds.
    if (feeds == kFeeds && state->calm_feeds >= kFeeds + 4)
      return FeedColumns<Calm97_16s, kInverse, M, kFeeds>(rows, columns, *state);
  }
  if (feeds == kFeeds) return FeedColumns<W, kInverse, M, kFeeds>(rows, columns, *state);
  FeedColumns<W, kInverse, M, 1>(rows, columns, *state);
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
    M::StorePairsAllButLast(first, second, pairs + 2 * i);
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
    M::Store(first, firsts + i);
    M::StoreAllButLast(second, seconds + i);
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

// Feeds one by one, from the line's first one to those before position `end`.
template <class W, bool kInverse, class Source, class Target>
ZMCJ_LIFTING_INLINE Ladder<W, kInverse, Single<typename W::Register>, false, 2> FeedSingly(const Source& src,
                                                                                           const Target& dst,
                                                                                           const Line& line,
                                                                                           int64_t end) {
  using Sample = typename W::Sample;
  using Register = typename W::Register;
  using One = Single<Register>;
  const auto sample = [&](int64_t position) {
    return static_cast<Register>(LoadSample<Sample>(src.At(line.Fold(position))));
  };
  int64_t c = line.FirstFeed(W::kSteps);
  Ladder<W, kInverse, One, false, 2> ladder;
  for (int i = 0; i < W::kSteps; ++i) ladder.rung[i] = 0;
  ladder.rung[0] = Filter<W, kInverse, One>::EnterA(sample(c - 1));
  for (; c < end; c += 2) {
    Register b = sample(c), a = sample(c + 1);
    ladder.template ClimbFrom<0>(b, a);
    const int64_t results = c + 1 - W::kSteps;
    if (results >= 0) One::Store(a, dst.At(results));
    if (results >= -1 && results + 1 < line.length) One::Store(b, dst.At(results + 1));
  }
  return ladder;
}

// The last lanes of a register whose samples run up to the line's lane `last`, out of 16 bytes of samples from the
// line's start on. What comes before the start is reflected: type by type, about a sample (the type that stands first)
// or about the place between two.
template <class S, bool kAboutSample, int kLast>
struct LeadOrder {
  alignas(16) uint8_t bytes[16];
  constexpr LeadOrder() : bytes() {
    constexpr int kSize = static_cast<int>(sizeof(S)), kCount = 16 / kSize;
    for (int i = 0; i < 16; ++i) {
      const int lane = kLast - (kCount - 1 - i / kSize);
      bytes[i] = static_cast<uint8_t>((lane >= 0 ? lane : kAboutSample ? -lane : -1 - lane) * kSize + i % kSize);
    }
  }
};

// Fills the ladder with what comes before the first pair of results, and stores a B that stands before them. A last
// lane depends on kSteps samples of a type at most: those of the last 16 bytes.
template <class W, bool kInverse, class M, int kFlights, class Source, class Target>
ZMCJ_LIFTING_INLINE void LeadIn(const Source& src, const Target& dst, const Line& line, int64_t first,
                                Ladder<W, kInverse, M, true, kFlights>& ladder) {
  using V = typename M::V;
  using Register = typename W::Register;
  constexpr int kSteps = W::kSteps;
  if (!line.mirrored) {
    auto single = FeedSingly<W, kInverse>(src, dst, line, first);
#pragma GCC unroll 4
    for (int i = 0; i < kSteps; ++i) ladder.rung[i] = M::Set(single.rung[i]);
    return;
  }
  static constexpr LeadOrder<Register, true, kSteps / 2 - 1> kEven;
  static constexpr LeadOrder<Register, false, kSteps / 2 - 2> kOddB;
  static constexpr LeadOrder<Register, false, kSteps / 2 - 1> kOddA;
#pragma GCC unroll 4
  for (int i = 0; i < kSteps; ++i) ladder.rung[i] = M::Set(0);
  V even, odd;
  From(src, 0).template Load<M>(0, even, odd);
  even = M::FromStart(even, kEven.bytes);
  odd = M::FromStart(odd, line.a_first ? kOddB.bytes : kOddA.bytes);
  V b = line.a_first ? odd : even, a = line.a_first ? even : odd;
  ladder.template ClimbFrom<0>(b, a);
  if (line.a_first) return;
  typename W::Sample staged[M::kLanes];
  M::Store(b, staged);
  StoreSample(dst.At(0), staged[M::kLanes - 1]);
}

// Whether a line has the samples of all registers: of two at least, and of one that is not the last one, which starts
// kSteps - 1 samples behind the first pair.
template <class W, class M>
ZMCJ_LIFTING_INLINE bool IsLong(const Line& line) {
  const int64_t last = (line.length - line.a_offset() + 1) / 2 - M::kLanes;
  return line.length >= 2 * M::kLanes && (last == 0 || last >= W::kSteps / 2);
}

template <class W, bool kInverse, template <class> class Machine, class Source, class Target>
void LiftLongRow(const Source& src, const Target& dst, const Line& line, const typename W::Sample* next) {
  using M = Machine<typename W::Register>;
  using V = typename M::V;
  constexpr int kSteps = W::kSteps, kLanes = M::kLanes;
  // What waits between the flights stays in registers.
  constexpr int kFlights = M::kManyRegisters ? kSteps : 2, kWaiting = kFlights - 1;
  // Results in pairs of an A and the B after it.
  const int64_t pairs = (line.length - line.a_offset() + 1) / 2, last = pairs - kLanes;
  const int64_t first = line.a_offset() + kSteps - 1;
  const bool ends_in_b = line.a_offset() + 2 * pairs <= line.length;
  using Stairs = Ladder<W, kInverse, M, true, kFlights>;
  Stairs ladder;
  LeadIn<W, kInverse, M>(src, dst, line, first, ladder);

  const auto from = From(src, first);
  const auto to = From(dst, line.a_offset());
  const auto load = [&](int64_t i, V& b, V& a) ZMCJ_LIFTING_LAMBDA {
    __builtin_prefetch(next + 2 * i);
    if constexpr (2 * kLanes * sizeof(*next) > 64) __builtin_prefetch(next + 2 * i + kLanes);
    from.template Load<M>(i, b, a);
  };
  const auto enter = [&](int64_t i, V& b, V& a) ZMCJ_LIFTING_LAMBDA {
    if (i == last && line.mirrored) {
      // The last register's samples go on beyond the end of the line.
      V x, y;
      From(src, line.length - 2 * kLanes).template Load<M>(0, x, y);
      x = M::template FromEnd<kSteps / 2, false>(x);
      b = ends_in_b ? M::template FromEnd<kSteps / 2 - 1, true>(y) : x;
      a = ends_in_b ? x : M::template FromEnd<kSteps / 2, true>(y);
    } else {
      load(i, b, a);
    }
    ladder.template Climb<0>(b, a);
  };
  const auto store = [&](int64_t i, V b, V a) ZMCJ_LIFTING_LAMBDA {
    if (i < last || ends_in_b) {
      to.template Store<M>(i, a, b);
    } else {
      to.template StoreAllButLast<M>(i, a, b);
    }
  };
  const auto lift_alone = [&](int64_t i) ZMCJ_LIFTING_LAMBDA {
    V b, a;
    enter(i, b, a);
    ladder.template ClimbFrom<1>(b, a);
    store(i, b, a);
  };

  int64_t i = 0;
  if (pairs % kLanes != 0) {
    // The second register overlaps the first one, so that the last one is whole.
    lift_alone(0);
    i = pairs % kLanes;
#pragma GCC unroll 4
    for (int step = 0; step < kSteps; ++step) ladder.rung[step] = M::Spread(ladder.rung[step], static_cast<int>(i) - 1);
  }
  if (last - i < (kWaiting - 1) * kLanes) {
    for (; i <= last; i += kLanes) lift_alone(i);
    return;
  }
  typename Stairs::Waiting x, y;
  enter(i, x.b[0], x.a[0]);
  if constexpr (kWaiting == 3) {
    ladder.template ClimbOn<1>(x, y);
    enter(i + kLanes, y.b[0], y.a[0]);
    ladder.template ClimbOn<2>(y, x);
    enter(i + 2 * kLanes, x.b[0], x.a[0]);
  }
  // Away from the end, two turns at once.
  const auto turn = [&](int64_t at, typename Stairs::Waiting& now, typename Stairs::Waiting& then) ZMCJ_LIFTING_LAMBDA {
    load(at + kWaiting * kLanes, then.b[0], then.a[0]);
    ladder.template Climb<0>(then.b[0], then.a[0]);
    ladder.template ClimbOn<kWaiting - 1>(now, then);
    ladder.template Climb<kWaiting>(now.b[kWaiting - 1], now.a[kWaiting - 1]);
    to.template Store<M>(at, now.a[kWaiting - 1], now.b[kWaiting - 1]);
  };
  for (; i < last - (kWaiting + 1) * kLanes; i += 2 * kLanes) {
    turn(i, x, y);
    turn(i + kLanes, y, x);
  }
  for (; i <= last - kWaiting * kLanes; i += kLanes) {
    enter(i + kWaiting * kLanes, y.b[0], y.a[0]);
    ladder.template ClimbOn<kWaiting - 1>(x, y);
    ladder.template Climb<kWaiting>(x.b[kWaiting - 1], x.a[kWaiting - 1]);
    store(i, x.b[kWaiting - 1], x.a[kWaiting - 1]);
    x = y;
  }
  if constexpr (kWaiting == 3) {
    ladder.template ClimbFrom<3>(x.b[2], x.a[2]);
    store(last - 2 * kLanes, x.b[2], x.a[2]);
    ladder.template ClimbFrom<2>(x.b[1], x.a[1]);
    store(last - kLanes, x.b[1], x.a[1]);
  }
  ladder.template ClimbFrom<1>(x.b[0], x.a[0]);
  store(last, x.b[0], x.a[0]);
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
void Row(const Source& src, const Target& dst, const Line& line, const typename W::Sample* next) {
  using M = Machine<typename W::Register>;
  if constexpr (M::kLanes == 1) {
    FeedSingly<W, kInverse>(src, dst, line, line.LastFeed(W::kSteps) + 1);
  } else if (!IsLong<W, M>(line)) {
    constexpr auto& narrower = kNarrower.Of(W());
    if constexpr (kInverse) {
      narrower.inverse_row(src, dst, line, next);
    } else {
      narrower.forward_row(src, dst, line, next);
    }
  } else {
    if constexpr (kHasCalmForm<W, M>) {
      if (line.mirrored && IsCalm<M>(src, line))
        return LiftLongRow<Calm97_16s, kInverse, Machine>(src, dst, line, next);
    }
    LiftLongRow<W, kInverse, Machine>(src, dst, line, next);
  }
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
