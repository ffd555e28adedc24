// Runs the rows of a whole-image operation, on the calling thread or divided among an OpenMP team.
//
// `rows(begin, end)` does rows begin..end-1, of which there may be none, in order. Each row's output depends on the
// row's index alone: the results do not depend on the division.
#pragma once

#include <cstdint>
#ifdef _OPENMP
#include <omp.h>
#endif

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

// A small region's rows in one call on the calling thread; a larger region's in a parallel region with the runtime's
// default number of threads, one call each. Inside somebody's parallel region the runtime decides whether a team forms.
// Returns when all rows are done. Without OpenMP everything is serial.
template <class Rows>
void RunRowsParallel(ZmciSize size, const Rows& rows) {
#ifdef _OPENMP
  if (WorthThreads(size)) {
#pragma omp parallel
    {
      const int64_t height = size.height, thread = omp_get_thread_num(), threads = omp_get_num_threads();
      rows(static_cast<int32_t>(height * thread / threads), static_cast<int32_t>(height * (thread + 1) / threads));
    }
    return;
  }
#endif
  rows(0, size.height);
}

}  // namespace zmcj
