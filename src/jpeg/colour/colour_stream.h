// Writing large destinations past the caches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zmcj {

#if defined(__SSE2__)
inline constexpr bool kHasStreamingStores = true;
#else
inline constexpr bool kHasStreamingStores = false;
#endif

// Whether a destination of `rows` rows of `row_bytes` is worth streaming: it is larger than the caches that its reader
// could find it in, and its rows are long against the cache lines that a row's ends leave incomplete.
constexpr bool WorthStreaming(int64_t row_bytes, int64_t rows) {
  constexpr int64_t kMinRowBytes = 512, kMinBytes = int64_t{2} << 20;
  return kHasStreamingStores && row_bytes >= kMinRowBytes && row_bytes * rows >= kMinBytes;
}

// As memcpy, with stores that pass the caches by. The thread calls StreamFence before anybody else reads.
inline void StreamCopy(uint8_t* to, const uint8_t* from, size_t n) {
#if defined(__SSE2__)
  constexpr size_t kLine = 64;
  const size_t head = (0 - reinterpret_cast<uintptr_t>(to)) & (kLine - 1);
  if (n >= head + kLine) {
    std::memcpy(to, from, head);
    to += head, from += head, n -= head;
    for (; n >= kLine; n -= kLine, to += kLine, from += kLine) {
      for (size_t i = 0; i < kLine; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i));
        _mm_stream_si128(reinterpret_cast<__m128i*>(to + i), v);
      }
    }
  }
#endif
  std::memcpy(to, from, n);
}

inline void StreamFence() {
#if defined(__SSE2__)
  _mm_sfence();
#endif
}

}  // namespace zmcj
