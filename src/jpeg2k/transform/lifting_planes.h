// The engine over the rows of an image: all columns of a region at once.
#pragma once

#include <algorithm>

#include "jpeg2k/transform/lifting.h"

namespace zmcj {

// The rows of a line of rows, by type: row k of a type lies k steps from the type's first one.
template <class T>
struct RowBands {
  T* a;
  T* b;
  int64_t a_step;
  int64_t b_step;
  int64_t a_offset;

  // Rows that stand in line in an image.
  static RowBands InImage(T* first, int step, const Line& line) {
    const auto row = [&](int64_t i) { return RowAt(first, i, step); };
    return {row(line.a_offset()), row(line.b_offset()), 2 * static_cast<int64_t>(step), 2 * static_cast<int64_t>(step),
            line.a_offset()};
  }

  T* A(int64_t position) const { return Row(a, position - a_offset, a_step); }
  T* B(int64_t position) const { return Row(b, position - 1 + a_offset, b_step); }
  T* At(int64_t position) const { return (position & 1) == a_offset ? A(position) : B(position); }

 private:
  static T* Row(T* first, int64_t distance, int64_t step) {
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(first) + static_cast<ptrdiff_t>((distance >> 1) * step));
  }
};

// Lifts every column of the rows `src` into the rows `dst`, which may be the same rows. Strips of columns keep the rows
// in work inside the caches; one strip's ladders and the raw rows that are needed once more at the mirrored end live
// here. `row_before` is the row at position -1, where it is not in its place.
template <class W, class Kernel, class T>
void LiftColumns(Kernel kernel, const RowBands<const T>& src, const RowBands<T>& dst, const Line& line, int columns,
                 const T* row_before = nullptr) {
  constexpr int kSteps = W::kSteps, kSaved = kSteps + 1, kStrip = kStripColumns<T>, kRungs = kStripRungs<T>;
  alignas(64) typename W::Register rungs[kSteps * kRungs];
  alignas(64) T saved[kSaved][kStrip];
  alignas(64) T discarded[kStrip];
  const bool jumps = src.a_step > 2 * kStripBytes;
  const int64_t first_saved = std::max<int64_t>(0, line.length - kSaved);

  for (int x = 0; x < columns; x += std::min(kStrip, columns - x)) {
    const int width = std::min(kStrip, columns - x);
    // Where registers stop straddling cache lines.
    const int aligned = static_cast<int>(-reinterpret_cast<uintptr_t>(dst.At(0) + x) % 64 / sizeof(T));
    if (line.mirrored) {
      for (int64_t i = first_saved; i < line.length; ++i)
        std::memcpy(saved[i - first_saved], src.At(i) + x, sizeof(T) * static_cast<size_t>(width));
    }
    for (int i = 0; i < kSteps; ++i) std::fill_n(rungs + i * kRungs, width + kRungs - kStrip, typename W::Register{0});
    StripState state = {rungs, aligned, 0};
    const auto in = [&](const T* row, int64_t position) -> const T* {
      return position < line.length || !line.mirrored ? row + x : saved[line.Fold(position) - first_saved];
    };
    const auto in_a = [&](int64_t position) { return in(src.A(line.Fold(position)), position); };
    const auto in_b = [&](int64_t position) {
      return in(row_before != nullptr && position == -1 ? row_before : src.B(line.Fold(position)), position);
    };
    const auto out_a = [&](int64_t position) { return line.Has(position) ? dst.A(position) + x : discarded; };
    const auto out_b = [&](int64_t position) { return line.Has(position) ? dst.B(position) + x : discarded; };
    // The feed before the first one only brings in its A.
    const int64_t first = line.FirstFeed(kSteps) - 2, last = line.LastFeed(kSteps);
    FeedRows<T> rows = {};
    for (int64_t c = first; c <= last;) {
      int feeds = 0;
      for (; feeds < kFeeds && c <= last; ++feeds, c += 2) {
        rows.in_a[feeds] = in_a(c + 1);
        rows.in_b[feeds] = c == first ? rows.in_a[feeds] : in_b(c);
        rows.out_a[feeds] = out_a(c + 1 - kSteps);
        rows.out_b[feeds] = out_b(c + 2 - kSteps);
      }
      for (int64_t i = 0; i < 2 * kFeeds && jumps; ++i)
        rows.next[i] = src.At(std::clamp<int64_t>(c + i, 0, line.length - 1)) + x;
      kernel(rows, feeds, width, &state);
    }
  }
}

}  // namespace zmcj
