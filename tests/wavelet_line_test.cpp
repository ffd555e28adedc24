#include <limits>
#include <memory>

#include "wavelet_model.h"

namespace zmcj::testing {
namespace {

struct Float32f : Floating<float, float> {
  // Going back, the lines scale inside the first two steps.
  static float Undo(int step, float c, float l, float r) {
    if (step == 3) return c * kK + (l + r) * -0.3605236411f;
    return Floating::Undo(step, step == 2 ? c * kInverseK : c, l, r);
  }
  static float Enter(float v, bool) { return v; }
};
#define ZMCJ_LINE_KIND(name, base, filter, type)                                     \
  struct name : base {                                                               \
    static constexpr auto forward_row = zmciWTFwdRow_##filter##_JPEG2K_##type##_C1R; \
    static constexpr auto forward_col = zmciWTFwdCol_##filter##_JPEG2K_##type##_C1R; \
    static constexpr auto inverse_row = zmciWTInvRow_##filter##_JPEG2K_##type##_C1R; \
    static constexpr auto inverse_col = zmciWTInvCol_##filter##_JPEG2K_##type##_C1R; \
  }
ZMCJ_LINE_KIND(Reversible16, Reversible<int16_t>, B53, 16s);
ZMCJ_LINE_KIND(Reversible32, Reversible<int32_t>, B53, 32s);
ZMCJ_LINE_KIND(Floating32, Float32f, D97, 32f);

template <class K>
class WaveletLines : public ::testing::Test {};
using Kinds = ::testing::Types<Reversible16, Reversible32, Floating32>;
TYPED_TEST_SUITE(WaveletLines, Kinds);

// The border that the contract grants, by steps of the filter (2, 4) and phase: samples of the signal before and after
// the region; low and high samples before and after it.
struct Border {
  int before, after, low_before, high_before, low_after, high_after;
};
Border BorderOf(int steps, int phase) {
  if (steps == 2) return phase == 0 ? Border{2, 1, 0, 1, 1, 1} : Border{1, 2, 1, 1, 0, 1};
  return phase == 0 ? Border{4, 3, 1, 2, 2, 2} : Border{3, 4, 2, 2, 1, 2};
}

// `lines` lines of before + length + after samples, along rows or columns, with inaccessible memory right after the
// last or right before the first.
template <class T>
class Lines {
 public:
  Lines(bool columns, int lines, int before, int length, int after, int slack, Guarded::Side side, int first_step = 0)
      : columns_(columns), before_(before), total_(before + length + after) {
    const int row = static_cast<int>(sizeof(T)) * (columns ? lines : total_), rows = columns ? total_ : lines;
    step_ = row + slack;
    lead_ = columns && before == 1 && first_step != 0 ? first_step - step_ : 0;
    memory_ = std::make_unique<Guarded>(static_cast<size_t>(lead_ + (rows - 1) * step_ + row), side);
  }
  T* region() const { return reinterpret_cast<T*>(Address(0, 0)); }
  int step() const { return step_; }
  T Get(int line, int i) const {
    T v;
    std::memcpy(&v, Address(line, i), sizeof v);
    return v;
  }
  void Set(int line, int i, T v) { std::memcpy(Address(line, i), &v, sizeof v); }
  bool Holds(int i) const { return i >= -before_ && i < total_ - before_; }

 private:
  // Sample i of a line; row -1 alone may lie at another distance than the rest.
  unsigned char* Address(int line, int i) const {
    const int across = line * (columns_ ? static_cast<int>(sizeof(T)) : step_);
    const int along = (i + before_) * (columns_ ? step_ : static_cast<int>(sizeof(T)));
    return memory_->data() + across + along + (i >= 0 ? lead_ : 0);
  }
  bool columns_;
  int before_, total_, step_, lead_;
  std::unique_ptr<Guarded> memory_;
};

template <class T>
T Sample(Random& random, bool wide) {
  if constexpr (std::is_same_v<T, float>) {
    return static_cast<float>(random.In(-100000, 100000)) * (wide ? 1e20f : 1e-5f);
  } else {
    T v;
    random.FillInRuns(&v, 1, wide ? std::numeric_limits<T>::min() : -1000, wide ? std::numeric_limits<T>::max() : 1000);
    return v;
  }
}

template <class T>
bool SameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

template <class K>
void CheckLines(bool columns, int length, int lines, int phase, Level level, Random& random) {
  using T = typename K::T;
  const Border border = BorderOf(K::kSteps, phase);
  const int odd = phase != 0 ? 1 : 0;
  const auto side = random.In(0, 1) != 0 ? Guarded::Side::kEnd : Guarded::Side::kStart;
  const int slack = random.In(0, 7), high_slack = random.In(0, 7);
  const bool wide = random.In(0, 1) != 0;
  SCOPED_TRACE(::testing::Message() << LevelName(level) << (columns ? " columns" : " rows") << " length " << length
                                    << " lines " << lines << " phase " << phase);
  const AtLevel at(level);
  const ZmciSize size = columns ? ZmciSize{lines, length} : ZmciSize{length, lines};
  {
    Lines<T> signal(columns, lines, border.before, 2 * length, border.after, slack, side);
    Lines<T> low(columns, lines, 0, length, 0, slack, side), high(columns, lines, 0, length, 0, high_slack, side);
    for (int l = 0; l < lines; ++l) {
      for (int i = -border.before; i < 2 * length + border.after; ++i) signal.Set(l, i, Sample<T>(random, wide));
    }
    ASSERT_EQ((columns ? K::forward_col : K::forward_row)(signal.region(), signal.step(), low.region(), low.step(),
                                                          high.region(), high.step(), size, phase),
              zmcStatusOk);
    const bool direct = !K::kReversible && !columns && length == 1 && odd;
    for (int l = 0; l < lines && !direct; ++l) {
      Extended<typename K::V> line;
      for (int i = -kBorder; i < 2 * length + kBorder; ++i) line.push_back(signal.Holds(i) ? signal.Get(l, i) : T{99});
      Lift<K>(line, false, odd);
      for (int i = 0; i < 2 * length; ++i) {
        const bool is_high = ((i + odd) & 1) != 0;
        ASSERT_TRUE(SameBits((is_high ? high : low).Get(l, i / 2), line[static_cast<size_t>(i + kBorder)]))
            << "line " << l << " position " << i;
      }
    }
  }
  // The low row above the region lies one step of the high band away.
  const int first_step = K::kReversible ? static_cast<int>(sizeof(T)) * lines + high_slack + 20 : 0;
  Lines<T> low(columns, lines, border.low_before, length, border.low_after, K::kReversible ? 7 : slack, side,
               first_step);
  Lines<T> high(columns, lines, border.high_before, length, border.high_after, high_slack + 20, side);
  Lines<T> signal(columns, lines, 0, 2 * length, 0, slack, side);
  for (int l = 0; l < lines; ++l) {
    for (int i = -kBorder; i < length + kBorder; ++i) {
      if (low.Holds(i)) low.Set(l, i, Sample<T>(random, wide));
      if (high.Holds(i)) high.Set(l, i, Sample<T>(random, wide));
    }
  }
  ASSERT_EQ((columns ? K::inverse_col : K::inverse_row)(low.region(), low.step(), high.region(), high.step(), size,
                                                        signal.region(), signal.step(), phase),
            zmcStatusOk);
  for (int l = 0; l < lines; ++l) {
    Extended<typename K::V> line;
    for (int i = -kBorder; i < 2 * length + kBorder; ++i) {
      const int k = static_cast<int>(FloorDiv(i, 2));
      const auto& band = ((i + odd) & 1) != 0 ? high : low;
      line.push_back(band.Holds(k) ? band.Get(l, k) : T{99});
    }
    Lift<K>(line, true, odd);
    for (int i = 0; i < 2 * length; ++i)
      ASSERT_TRUE(SameBits(signal.Get(l, i), line[static_cast<size_t>(i + kBorder)])) << "line " << l << " at " << i;
  }
}

TYPED_TEST(WaveletLines, AreTheDefinitionUpToTheGrantedBorder) {
  Random random;
  for (const Level level : Levels()) {
    for (const bool columns : {false, true}) {
      for (int length = 1; length <= 40; ++length) {
        for (const int phase : {0, 1, 5}) {
          CheckLines<TypeParam>(columns, length, random.In(1, 40), phase, level, random);
          if (this->HasFatalFailure()) return;
        }
      }
      CheckLines<TypeParam>(columns, 3, 1030, 1, level, random);
      CheckLines<TypeParam>(columns, 301, 3, 0, level, random);
      if (this->HasFatalFailure()) return;
    }
  }
}

TYPED_TEST(WaveletLines, CheckInOrderAndWriteNothing) {
  using T = typename TypeParam::T;
  T a[8] = {1}, b[8] = {2}, c[8] = {3};
  for (const auto call : {TypeParam::forward_row, TypeParam::forward_col}) {
    EXPECT_EQ(call(nullptr, 0, b, 0, c, 0, {0, 0}, 0), zmcStatusNullPointer);
    EXPECT_EQ(call(a, 0, nullptr, 0, c, 0, {0, 0}, 0), zmcStatusNullPointer);
    EXPECT_EQ(call(a, 0, b, 0, nullptr, 0, {0, 0}, 0), zmcStatusNullPointer);
    EXPECT_EQ(call(a, 4, b, 0, c, 4, {0, 0}, 0), zmcStatusBadStep);
    EXPECT_EQ(call(a, 4, b, 4, c, 4, {1, 0}, 0), zmcStatusBadSize);
  }
  for (const auto call : {TypeParam::inverse_row, TypeParam::inverse_col}) {
    EXPECT_EQ(call(nullptr, 0, b, 0, {0, 0}, c, 0, 0), zmcStatusNullPointer);
    EXPECT_EQ(call(a, 4, b, 4, {0, 0}, c, -1, 0), zmcStatusBadStep);
    EXPECT_EQ(call(a, 4, b, 4, {0, 1}, c, 4, 0), zmcStatusBadSize);
  }
  EXPECT_TRUE(a[0] == T{1} && b[0] == T{2} && c[0] == T{3});
}

TEST(WaveletLinesExamples, SixteenBitResultsWrapBeforeTheirUse) {
  const int16_t x[5] = {-32768, 32767, -32768, 0, 0};
  int16_t low, high;
  ASSERT_EQ(zmciWTFwdRow_B53_JPEG2K_16s_C1R(x + 2, 10, &low, 2, &high, 2, {1, 1}, 0), zmcStatusOk);
  EXPECT_EQ(high, 16384);                         // 0 - floor(-32768 / 2)
  EXPECT_EQ(low, -32768 + (-1 + 16384 + 2) / 4);  // the high sample before, 65535, has become -1
}

// A single pair behind a high sample is computed by taps: they agree with the steps to rounding.
TEST(WaveletLinesExamples, DirectFormAgreesWithTheLifting) {
  Random random;
  for (int i = 0; i < 200; ++i) {
    float x[9];
    for (float& v : x) v = static_cast<float>(random.In(-1000, 1000)) / 1000;
    Extended<float> line(x, x + 9);
    float low, high;
    ASSERT_EQ(zmciWTFwdRow_D97_JPEG2K_32f_C1R(x + 3, 36, &low, 4, &high, 4, {1, 1}, 1), zmcStatusOk);
    line.insert(line.begin(), kBorder - 3, 0.0f);
    line.insert(line.end(), 6, 0.0f);
    Lift<Float32f>(line, false, 1);
    ASSERT_NEAR(high, line[kBorder], 2e-6);
    ASSERT_NEAR(low, line[kBorder + 1], 2e-6);
  }
}

// Eleven roundings of values up to 4.2 in magnitude, none amplified beyond its lifting factor: 2e-6 covers them for
// samples up to 1. And a constant line gives its value and 0.
TEST(WaveletLinesExamples, SinglePrecisionStaysCloseToDouble) {
  Random random;
  for (int phase = 0; phase < 2; ++phase) {
    constexpr int kLength = 50;
    for (const bool constant : {false, true}) {
      std::vector<float> x(2 * kLength + 2 * kBorder), low(kLength), high(kLength);
      for (float& v : x) v = constant ? 1.0f : static_cast<float>(random.In(-1000000, 1000000)) * 1e-6f;
      Extended<double> line(x.begin(), x.end());
      Lift<Floating<double, float>>(line, false, phase);
      ASSERT_EQ(
          zmciWTFwdRow_D97_JPEG2K_32f_C1R(x.data() + kBorder, 4, low.data(), 4, high.data(), 4, {kLength, 1}, phase),
          zmcStatusOk);
      for (int i = 0; i < 2 * kLength; ++i) {
        const bool is_high = ((i + phase) & 1) != 0;
        const float result = (is_high ? high : low)[static_cast<size_t>(i / 2)];
        ASSERT_NEAR(result, line[static_cast<size_t>(i + kBorder)], 2e-6) << i;
        ASSERT_TRUE(!constant || std::abs(result - (is_high ? 0 : 1)) < 2e-6) << i;
      }
    }
  }
}

}  // namespace
}  // namespace zmcj::testing
