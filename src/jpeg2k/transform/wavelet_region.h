// One level of a wavelet over a region of at least one sample, in both directions and in place.
//
// The vertical pass lifts every row where it stands. The horizontal pass takes each row to its place among the bands
// (or back from there): it works out of place, so it follows the cycles of that permutation of the rows and sets aside
// only one row at a time, in the caller's buffer.
#pragma once

#include "jpeg2k/transform/lifting_planes.h"
#include "jpeg2k/transform/lifting_single.h"

namespace zmcj {

// Lines too short to lift. One sample at an odd coordinate is a high-pass sample alone: it is doubled, and halved
// toward zero on the way back. Two samples have the reversible filter's own rule; their sums wrap.
template <class T>
T DoubledOrHalved(T v, bool inverse) {
  return inverse ? static_cast<T>(v / 2) : static_cast<T>(WrappingAdd(v, v));
}

template <class T>
struct Pair {
  T low, high;
};

template <class T>
Pair<T> ForwardPair(T even, T odd) {
  const T high = static_cast<T>(WrappingSub(odd, even));
  return {static_cast<T>(WrappingAdd(even, WrappingAdd(high, 1) >> 1)), high};
}

// The even sample and the odd one, in this order.
template <class T>
Pair<T> InversePair(Pair<T> bands) {
  const T even = static_cast<T>(WrappingSub(bands.low, WrappingAdd(bands.high, 1) >> 1));
  return {even, static_cast<T>(WrappingAdd(bands.high, even))};
}

template <class W, bool kInverse>
class RegionTransform {
 public:
  using T = typename W::Sample;

  RegionTransform(T* samples, int step, const ZmciRect& rect, uint8_t* buffer)
      : samples_(samples),
        step_(step),
        width_(rect.width),
        height_(rect.height),
        odd_x_((rect.x & 1) != 0),
        odd_y_((rect.y & 1) != 0),
        set_aside_(width_ <= 2 ? narrow_row_ : reinterpret_cast<T*>(buffer)) {}

  void Run() {
    if constexpr (!kInverse) Columns();
    Rows();
    if constexpr (kInverse) Columns();
  }

 private:
  // A line's first sample is low at an even coordinate; going forward the low samples are the A.
  static Line MirroredLine(int length, bool odd) { return {length, odd == kInverse, true}; }

  // The number of low samples in a line of `length`.
  static int LowCount(int length, bool odd) { return odd ? length / 2 : length - length / 2; }

  T* RowOf(int y) const { return RowAt(samples_, y, step_); }

  void Columns() {
    if (height_ == 1) {
      for (int x = 0; x < width_ && odd_y_; ++x)
        StoreSample(samples_ + x, DoubledOrHalved(LoadSample<T>(samples_ + x), kInverse));
      return;
    }
    if (W::kReversible && height_ == 2) {
      T* const even = RowOf(odd_y_ ? 1 : 0);
      T* const odd = RowOf(odd_y_ ? 0 : 1);
      for (int x = 0; x < width_; ++x) StorePair(PairOf(even + x, odd + x), even + x, odd + x);
      return;
    }
    const Line line = MirroredLine(height_, odd_y_);
    const auto& kernels = wavelet_family->Of(W());
    LiftColumns<W>(kInverse ? kernels.inverse_columns : kernels.forward_columns,
                   RowBands<const T>::InImage(samples_, step_, line), RowBands<T>::InImage(samples_, step_, line), line,
                   width_);
  }

  // Results of a pair of samples that stand where `first` (low, or even) and `second` point.
  static Pair<T> PairOf(const T* first, const T* second) {
    const T a = LoadSample<T>(first), b = LoadSample<T>(second);
    return kInverse ? InversePair<T>({a, b}) : ForwardPair(a, b);
  }
  static void StorePair(Pair<T> pair, T* first, T* second) {
    StoreSample(first, pair.low);
    StoreSample(second, pair.high);
  }

  void TransformRow(const T* src, T* dst, const T* next) const {
    if (width_ == 1) {
      const T v = LoadSample<T>(src);
      StoreSample(dst, odd_x_ ? DoubledOrHalved(v, kInverse) : v);
      return;
    }
    const int even = odd_x_ ? 1 : 0;
    if (W::kReversible && width_ == 2) {
      if constexpr (kInverse) {
        StorePair(PairOf(src, src + 1), dst + even, dst + 1 - even);
      } else {
        StorePair(PairOf(src + even, src + 1 - even), dst, dst + 1);
      }
      return;
    }
    const Line line = MirroredLine(width_, odd_x_);
    const auto& kernels = wavelet_family->Of(W());
    if constexpr (kInverse) {
      kernels.inverse_row({src + LowCount(width_, odd_x_), src, line}, {dst}, line, next);
    } else {
      kernels.forward_row({src}, {dst, dst + LowCount(width_, odd_x_), line}, line, next);
    }
  }

  // The row whose transform ends up as row y: going forward the rows of the image part into low and high ones.
  int SourceOf(int y) const {
    const int low = LowCount(height_, odd_y_), first_low = odd_y_ ? 1 : 0;
    if (!kInverse) return y < low ? 2 * y + first_low : 2 * (y - low) + 1 - first_low;
    return y % 2 == first_low ? y / 2 : low + y / 2;
  }

  // Each cycle of rows is found once, from its least row: walking on from any other one meets a lesser row first, after
  // 20 to 26 steps on average at worst (measured for every height up to 20000 and some up to 2^24).
  bool LeadsCycle(int y) const {
    int next = SourceOf(y);
    while (next > y) next = SourceOf(next);
    return next == y;
  }

  void Rows() {
    for (int leader = 0; leader < height_; ++leader) {
      if (!LeadsCycle(leader)) continue;
      std::memcpy(set_aside_, RowOf(leader), sizeof(T) * static_cast<size_t>(width_));
      int y = leader;
      for (int source = SourceOf(y); source != leader;) {
        const int next = SourceOf(source);
        TransformRow(RowOf(source), RowOf(y), RowOf(next));
        y = source;
        source = next;
      }
      TransformRow(set_aside_, RowOf(y), RowOf(std::min(leader + 1, height_ - 1)));
    }
  }

  T* const samples_;
  const int step_;
  const int width_;
  const int height_;
  const bool odd_x_;
  const bool odd_y_;
  T narrow_row_[2];
  T* const set_aside_;
};

}  // namespace zmcj
