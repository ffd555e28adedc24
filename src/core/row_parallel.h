// Runs the rows of a whole-image operation, on the calling thread or divided among an OpenMP team.
//
// `row(y)` does one row, and each row's output depends on the row's index alone: the results do not depend on the
// division. `finish()` is called by each thread after its last row (a store fence, say).
#pragma once

#include <cstdint>

#include "zmcj.h"

namespace zmcj {

// Up to this many pixels the work is done before a team would have woken up.
inline constexpr int32_t kMaxSerialPixels = 8192;

// Whether a region is worth a parallel region. The product wraps as a signed 32-bit register does, by design: a region
// of more than 2147483647 pixels may come out negative, or small, and then runs serially.
constexpr bool WorthThreads(ZmciSize size) {
  const uint32_t product = static_cast<uint32_t>(size.width) * static_cast<uint32_t>(size.height);
  return static_cast<int32_t>(product) > kMaxSerialPixels;
}

// All rows in order on the calling thread.
template <class Row, class Finish>
void RunRowsSerial(ZmciSize size, const Row& row, const Finish& finish) {
  for (int32_t y = 0; y < size.height; ++y) row(y);
  finish();
}

// A small region as RunRowsSerial; a larger one in a parallel region with the runtime's default number of threads, each
// of which does one contiguous block of rows in order. Inside somebody's parallel region the runtime decides whether a
// team forms. Returns when all rows are done. Without OpenMP everything is serial.
template <class Row, class Finish>
void RunRowsParallel(ZmciSize size, const Row& row, const Finish& finish) {
#ifdef _OPENMP
  if (WorthThreads(size)) {
#pragma omp parallel
    {
#pragma omp for schedule(static) nowait
      for (int32_t y = 0; y < size.height; ++y) row(y);
      finish();
    }
    return;
  }
#endif
  RunRowsSerial(size, row, finish);
}

}  // namespace zmcj
