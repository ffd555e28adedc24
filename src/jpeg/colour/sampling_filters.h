// The sampling filters, row by row: the reference that defines every level's bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zmcj {

enum class Filter { kBoxH2V1, kBoxH2V2, kTriangleH2V1, kTriangleH2V2 };
inline constexpr size_t kFilters = 4;

// Makes `count` destination samples from one or two source rows. The filters of a single row ignore `second`; of the
// triangle's two rows, `first` is the nearer. Source sample i is for destination sample i / 2 (box) or 2 i (triangle).
// The triangle filters read the sample before the first one, and the one after the last one when the count is even.
using FilterRow = void (*)(const uint8_t* first, const uint8_t* second, uint8_t* to, ptrdiff_t count);

struct SamplingKernels {
  std::array<FilterRow, kFilters> rows;
  // The same with stores that pass the caches by, where the destination's alignment allows.
  std::array<FilterRow, kFilters> streaming_rows;
};

// The rounding terms alternate from column to column, so that a row's rounding has no bias.
inline void BoxH2V1Reference(const uint8_t* row, const uint8_t*, uint8_t* to, ptrdiff_t count) {
  for (ptrdiff_t i = 0; i < count; ++i) to[i] = static_cast<uint8_t>((row[2 * i] + row[2 * i + 1] + i % 2) >> 1);
}

inline void BoxH2V2Reference(const uint8_t* first, const uint8_t* second, uint8_t* to, ptrdiff_t count) {
  for (ptrdiff_t i = 0; i < count; ++i) {
    const ptrdiff_t sum = first[2 * i] + first[2 * i + 1] + second[2 * i] + second[2 * i + 1];
    to[i] = static_cast<uint8_t>((sum + 1 + i % 2) >> 2);
  }
}

// Weights 3/4 and 1/4: a destination sample's centre lies a quarter of a source sample from its source's centre.
inline void TriangleH2V1Reference(const uint8_t* row, const uint8_t*, uint8_t* to, ptrdiff_t count) {
  for (ptrdiff_t i = 0; i < count; ++i) {
    const uint8_t* s = row + i / 2;
    to[i] = static_cast<uint8_t>(i % 2 == 0 ? (3 * s[0] + s[-1] + 1) >> 2 : (3 * s[0] + s[1] + 2) >> 2);
  }
}

inline void TriangleH2V2Reference(const uint8_t* near, const uint8_t* far, uint8_t* to, ptrdiff_t count) {
  for (ptrdiff_t i = 0; i < count; ++i) {
    const auto column = [&](ptrdiff_t x) { return 3 * near[x] + far[x]; };
    const ptrdiff_t x = i / 2;
    to[i] = static_cast<uint8_t>(i % 2 == 0 ? (3 * column(x) + column(x - 1) + 8) >> 4
                                            : (3 * column(x) + column(x + 1) + 7) >> 4);
  }
}

}  // namespace zmcj
