// The wavelets as ISO/IEC 15444-1, annex F, writes them down: extend a line of samples, apply one lifting step after
// the other to all of it, read off the bands. Independent of the library's code, and with its public functions by type.
#pragma once

#include <functional>

#include "support/testing.h"

namespace zmcj::testing {

// Samples around position 0 of a line, with room for a border on both sides.
template <class V>
using Extended = std::vector<V>;
inline constexpr int kBorder = 6;

// Whole-sample symmetric extension of n samples (n at least 2).
template <class V, class Sample>
Extended<V> Mirrored(int n, const Sample& sample) {
  Extended<V> line;
  for (int i = -kBorder; i < n + kBorder; ++i) {
    const int period = 2 * (n - 1), folded = ((i % period) + period) % period;
    line.push_back(static_cast<V>(sample(folded < n ? folded : period - folded)));
  }
  return line;
}

// One step after the other. `odd` is the parity of the coordinate of position 0: low samples are at even coordinates.
template <class K>
void Lift(Extended<typename K::V>& line, bool inverse, int odd) {
  const int n = static_cast<int>(line.size());
  const auto is_high = [&](int i) { return ((i - kBorder + odd) & 1) != 0; };
  if (inverse) {
    for (int i = 0; i < n; ++i) line[static_cast<size_t>(i)] = K::Enter(line[static_cast<size_t>(i)], is_high(i));
  }
  for (int step = 0; step < K::kSteps; ++step) {
    const bool high = (step % 2 == 0) != inverse;
    for (int i = step + 1; i < n - 1 - step; ++i) {
      if (is_high(i) != high) continue;
      const auto* v = line.data() + i;
      line[static_cast<size_t>(i)] =
          inverse ? K::Undo(K::kSteps - 1 - step, v[0], v[-1], v[1]) : K::Do(step, v[0], v[-1], v[1]);
    }
  }
  if (!inverse) {
    for (int i = 0; i < n; ++i) line[static_cast<size_t>(i)] = K::Leave(line[static_cast<size_t>(i)], is_high(i));
  }
}

inline int32_t Wrap32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }
inline int64_t FloorDiv(int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

// What a kind K of wavelet gives: the sample type T, the type V it is computed in, steps and scalings, and the
// library's functions.
template <class Sample>
struct Reversible {
  using T = Sample;
  using V = Sample;
  static constexpr int kSteps = 2;
  static constexpr bool kReversible = true;
  static V Wrap(int64_t v) { return static_cast<V>(v); }
  // Sums of 32-bit samples wrap before they are halved; sums of 16-bit samples do not.
  static int64_t Sum(int64_t v) { return Wrap32(v); }
  static int64_t Term(int step, V l, V r) {
    return step == 0 ? -FloorDiv(Sum(int64_t{l} + r), 2) : FloorDiv(Sum(int64_t{l} + r + 2), 4);
  }
  static V Do(int step, V c, V l, V r) { return Wrap(c + Term(step, l, r)); }
  static V Undo(int step, V c, V l, V r) { return Wrap(c - Term(step, l, r)); }
  static V Enter(V v, bool) { return v; }
  static V Leave(V v, bool) { return v; }
  static T Out(V v) { return v; }
};

struct Fixed {
  using T = int16_t;
  using V = int16_t;
  static constexpr int kSteps = 4;
  static constexpr bool kReversible = false;
  static int Round(int64_t product) { return static_cast<int>(FloorDiv(product + 8192, 16384)); }
  static int Term(int step, V l, V r) {
    constexpr int kFactors[4] = {-25987, -868, 14466, 7266};
    return Round(int64_t{kFactors[step]} * (l + r));
  }
  static V Do(int step, V c, V l, V r) { return static_cast<V>(c + Term(step, l, r)); }
  static V Undo(int step, V c, V l, V r) { return static_cast<V>(c - Term(step, l, r)); }
  static V Enter(V v, bool high) { return static_cast<V>(Round(int64_t{v} * (high ? 13318 : 20155))); }
  static V Leave(V v, bool high) { return static_cast<V>(Round(int64_t{v} * (high ? 20155 : 13318))); }
  static T Out(V v) { return v; }
};

// F: float, as the library computes, or double, to see how far that is from the truth.
template <class F, class Sample>
struct Floating {
  using T = Sample;
  using V = F;
  static constexpr int kSteps = 4;
  static constexpr bool kReversible = false;
  static constexpr F kFactors[4] = {F(-1.586134315f), F(-0.0529801175f), F(0.8829110861f), F(0.4435068667f)};
  static constexpr F kK = F(1.230174065f), kInverseK = F(0.8128930926f);
  static V Do(int step, V c, V l, V r) { return (l + r) * kFactors[step] + c; }
  static V Undo(int step, V c, V l, V r) { return (l + r) * -kFactors[step] + c; }
  static V Enter(V v, bool high) { return v * (high ? kInverseK : kK); }
  static V Leave(V v, bool high) { return v * (high ? kK : kInverseK); }
  static T Out(V v) {
    if constexpr (std::is_same_v<T, int32_t>) {
      if (v > 2147483648.0f) return INT32_MAX;
      return v >= -2147483648.0f && v < 2147483648.0f ? static_cast<T>(v) : INT32_MIN;
    } else {
      return v;
    }
  }
};

}  // namespace zmcj::testing
