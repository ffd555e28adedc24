// Loops on all cores.
#pragma once

#include <cstdint>
#include <exception>
#include <mutex>

namespace zmc::j2k {

// Runs body(0) .. body(count - 1), in any order. The first exception ends up with the caller. A loop inside another
// runs on the outer one's thread.
template <typename Body>
void ParallelFor(int64_t count, const Body& body) {
  std::exception_ptr failure;
  std::mutex mutex;
#ifdef _OPENMP
#pragma omp parallel for schedule(dynamic) if (count > 1)
#endif
  for (int64_t i = 0; i < count; ++i) {
    try {
      body(i);
    } catch (...) {
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace zmc::j2k
