// One level of a wavelet over a region of at least one sample, in both directions and in place.
//
// The vertical pass lifts every row where it stands. The horizontal pass takes each row to its place among the bands
// (or back from there): it works out of place, so it follows the cycles of that permutation of the rows and sets aside
// only one row at a time, in the caller's buffer.
#pragma once

#include <bit>

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

  // Rows too short to lift.
  void TransformShortRow(const T* src, T* dst) const {
    if (width_ == 1) {
      const T v = LoadSample<T>(src);
      StoreSample(dst, odd_x_ ? DoubledOrHalved(v, kInverse) : v);
      return;
    }
    const int even = odd_x_ ? 1 : 0;
    if constexpr (kInverse) {
      StorePair(PairOf(src, src + 1), dst + even, dst + 1 - even);
    } else {
      StorePair(PairOf(src + even, src + 1 - even), dst, dst + 1);
    }
  }

  void Rows() {
    if (width_ == 1 || (W::kReversible && width_ == 2))
      return MoveRows([this](const T* src, T* dst, const T*) { TransformShortRow(src, dst); });
    const Line line = MirroredLine(width_, odd_x_);
    const int low = LowCount(width_, odd_x_);
    const auto& kernels = wavelet_family->Of(W());
    MoveRows([&](const T* src, T* dst, const T* next) {
      if constexpr (kInverse) {
        kernels.inverse_row({src + low, src, line}, {dst}, line, next);
      } else {
        kernels.forward_row({src}, {dst, dst + low, line}, line, next);
      }
    });
  }

  // The row whose transform ends up as row y: going forward the rows of the image part into low and high ones. Without
  // branches, which nothing could foresee.
  int SourceOf(int y) const {
    const int low = LowCount(height_, odd_y_), first_low = odd_y_ ? 1 : 0;
    if constexpr (kInverse) return y / 2 + ((y ^ first_low) & 1) * low;
    // For a high row y >= low this is 2 (y - low) + 1 - first_low; for a low one the second number wraps.
    const auto twice = 2 * static_cast<uint32_t>(y) + static_cast<uint32_t>(first_low);
    return static_cast<int>(std::min(twice, twice - static_cast<uint32_t>(2 * (low + first_low) - 1)));
  }

  // Whether y is the least row of its cycle: walking on from any other one meets a lesser row first, after 20 to 26
  // steps on average at worst (measured for every height up to 20000 and some up to 2^24).
  bool LeadsCycle(int y) const {
    int next = SourceOf(y);
    while (next > y) next = SourceOf(next);
    return next == y;
  }

  // Which of the first rows have been moved to their places.
  class Moved {
   public:
    static constexpr int kRows = 4096;

    void Note(int y) {
      if (y < kRows) rows_[y / 64] |= uint64_t{1} << (y % 64);
    }
    // The first row from y on that has not been; kRows or y if there is none.
    int FirstLeft(int y) const {
      for (; y < kRows; y = (y / 64 + 1) * 64) {
        if (const uint64_t left = ~rows_[y / 64] >> (y % 64)) return y + std::countr_zero(left);
      }
      return y;
    }

   private:
    uint64_t rows_[kRows / 64] = {};
  };

  // The first row from y on that leads a cycle.
  int NextLeader(int y, const Moved& moved) const {
    y = moved.FirstLeft(y);
    while (y >= Moved::kRows && y < height_ && !LeadsCycle(y)) ++y;
    return y;
  }

  // Calls transform(source, destination, the source after that) for every row. Each cycle of rows is found once, from
  // its least row.
  template <class Transform>
  void MoveRows(const Transform& transform) {
    Moved moved;
    for (int leader = 0; (leader = NextLeader(leader, moved)) < height_; ++leader) {
      std::memcpy(set_aside_, RowOf(leader), sizeof(T) * static_cast<size_t>(width_));
      int y = leader;
      for (int source = SourceOf(y); source != leader;) {
        const int next = SourceOf(source);
        transform(RowOf(source), RowOf(y), RowOf(next));
        moved.Note(source);
        y = source;
        source = next;
      }
      transform(set_aside_, RowOf(y), RowOf(std::min(leader + 1, height_ - 1)));
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
