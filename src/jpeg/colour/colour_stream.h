// When to write a destination past the caches. The kernels have a second form for it.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zmcj {

// Whether a destination of `rows` rows of `row_bytes` is worth streaming. Measured on one thread of a Zen 5 with 32 MiB
// of third-level cache: no difference up to 4 MiB, up to 7 % faster at 8 MiB, 10 to 30 % at 16 MiB and above, where
// plain stores fetch from memory what they are about to overwrite. Processors with slower memory gain more and earlier.
// A short row would lose what it gains at its two incomplete ends.
constexpr bool WorthStreaming([[maybe_unused]] int64_t row_bytes, [[maybe_unused]] int64_t rows) {
#if defined(__SSE2__)
  constexpr int64_t kMinRowBytes = 512, kMinBytes = int64_t{4} << 20;
  return row_bytes >= kMinRowBytes && rows >= kMinBytes / row_bytes;
#else
  return false;
#endif
}

// Each thread that has streamed calls this before anybody else may read.
inline void StreamFence() {
#if defined(__SSE2__)
  _mm_sfence();
#endif
}

}  // namespace zmcj
