// What the lifting engine's parts share: the geometry of a line, how its samples are reached, the table of kernels.
//
// A wavelet line alternates samples of two types. Each lifting step updates all samples of one type from their two
// neighbours of the other, and the steps alternate between the types. B is the type that the first step updates, A the
// other one: going forward B is high and A is low, going back B is low and A is high. Everything else (phase, parity,
// direction) is a matter of which type stands first, so the engine knows only A and B.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/level.h"
#include "core/memory.h"

namespace zmcj {

// The samples at positions 0 to length - 1. Where the line is mirrored (length at least 2), positions outside it stand
// for their reflections about the end samples, back and forth (ISO/IEC 15444-1, F.3.7); otherwise they are the
// caller's own border samples.
struct Line {
  int64_t length;
  bool a_first;
  bool mirrored;

  int64_t a_offset() const { return a_first ? 0 : 1; }
  int64_t b_offset() const { return a_first ? 1 : 0; }

  // A feed at position c of type B hands the samples c and c + 1 to a ladder of `steps` steps, which then yields the
  // results of c + 1 - steps and c + 2 - steps. A result of type A depends on `steps` samples to either side, one of
  // type B on one less: these two are the first and the last feed that some result of the line depends on.
  int64_t FirstFeed(int steps) const { return (a_first ? 1 : 2) - steps; }
  int64_t LastFeed(int steps) const {
    const bool last_is_a = (length % 2 != 0) == a_first;
    return length - 3 + steps + (last_is_a ? 1 : 0);
  }

  bool Has(int64_t position) const { return position >= 0 && position < length; }
  int64_t Fold(int64_t position) const {
    if (!mirrored) return position;
    while (!Has(position)) position = position < 0 ? -position : 2 * (length - 1) - position;
    return position;
  }
};

// A line whose two types lie in separate arrays.
template <class T>
struct Bands {
  T* a;
  T* b;
  int64_t a_offset;  // position of a[0] in the line: 0 or 1, and b[0] has the other

  Bands(T* a_band, T* b_band, const Line& line) : a(a_band), b(b_band), a_offset(line.a_offset()) {}

  T* A(int64_t position) const { return a + static_cast<ptrdiff_t>((position - a_offset) / 2); }
  T* B(int64_t position) const { return b + static_cast<ptrdiff_t>((position - 1 + a_offset) / 2); }
  T* At(int64_t position) const { return (position & 1) == a_offset ? A(position) : B(position); }
};

// A line as it stands in the image.
template <class T>
struct Interleaved {
  T* line;

  T* At(int64_t position) const { return line + static_cast<ptrdiff_t>(position); }
};

// The rows of a few feeds, for one strip of columns. Each further row of a block is one more stream of memory, and rows
// whose step is a power of two share their cache sets: two feeds are the most that pay. The rows of the next block are
// asked for while this one is in work, since no hardware foresees the jump from strip row to strip row: with that, a
// strip as narrow as 2 KiB keeps up with memory. Rows that lie close together are foreseen, and none are asked for.
inline constexpr int kFeeds = 2;
inline constexpr int kStripBytes = 2048;
template <class T>
inline constexpr int kStripColumns = kStripBytes / static_cast<int>(sizeof(T));
// Overlapping registers take the lanes of one more cache line.
template <class T>
inline constexpr int kStripRungs = kStripColumns<T> + 64 / static_cast<int>(sizeof(T));
template <class T>
struct FeedRows {
  const T* in_a[kFeeds];
  const T* in_b[kFeeds];
  T* out_a[kFeeds];
  T* out_b[kFeeds];
  const T* next[2 * kFeeds];  // null: ask for none
};

// The ladders of one strip: kStripRungs lanes for every step. All zero in the beginning.
struct StripState {
  void* rungs;
  int aligned;         // the first column that starts a cache line of the rows
  int64_t calm_feeds;  // how many feeds in a row, up to the last one, had only small samples
};

template <class T>
struct LiftingKernels {
  // Vertically: kFeeds feeds, or a single one, of `columns` columns.
  void (*forward_columns)(const FeedRows<T>& rows, int feeds, int columns, StripState* state);
  void (*inverse_columns)(const FeedRows<T>& rows, int feeds, int columns, StripState* state);
  // Horizontally: one line, out of place. `next` is the row that will be read next; it is asked for meanwhile.
  // By reference: a copy of a Bands would be loaded in other units than its fields were just stored in, and wait.
  void (*forward_row)(const Interleaved<const T>& src, const Bands<T>& dst, const Line& line, const T* next);
  void (*inverse_row)(const Bands<const T>& src, const Interleaved<T>& dst, const Line& line, const T* next);
};

// The five wavelets: filter, sample type, the type of a register's lanes, and the number of lifting steps.
template <class SampleType, class RegisterType, int kStepCount>
struct Wavelet {
  using Sample = SampleType;
  using Register = RegisterType;
  static constexpr int kSteps = kStepCount;
  static constexpr bool kReversible = kStepCount == 2;
};
struct B53_16s : Wavelet<int16_t, int16_t, 2> {};
struct B53_32s : Wavelet<int32_t, int32_t, 2> {};
struct D97_16s : Wavelet<int16_t, int16_t, 4> {};
struct D97_32s : Wavelet<int32_t, float, 4> {};
struct D97_32f : Wavelet<float, float, 4> {};

struct WaveletKernels {
  LiftingKernels<int16_t> b53_16s;
  LiftingKernels<int32_t> b53_32s;
  LiftingKernels<int16_t> d97_16s;
  LiftingKernels<int32_t> d97_32s;
  LiftingKernels<float> d97_32f;

  constexpr const LiftingKernels<int16_t>& Of(B53_16s) const { return b53_16s; }
  constexpr const LiftingKernels<int32_t>& Of(B53_32s) const { return b53_32s; }
  constexpr const LiftingKernels<int16_t>& Of(D97_16s) const { return d97_16s; }
  constexpr const LiftingKernels<int32_t>& Of(D97_32s) const { return d97_32s; }
  constexpr const LiftingKernels<float>& Of(D97_32f) const { return d97_32f; }
};

extern const WaveletKernels kWaveletReference;
extern Family<WaveletKernels> wavelet_family;

}  // namespace zmcj
