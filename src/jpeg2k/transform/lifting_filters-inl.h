// The filters of the lifting engine.
//
// No include guard: part of lifting-inl.h.

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

}  // namespace
}  // namespace zmcj::ZMCJ_LIFTING_NAMESPACE
