#include "core/memory.h"

#include <cstdlib>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zmcj {
namespace {

constexpr int64_t kAlignment = 32;
// The start rounded up to the alignment, with room for the word that holds the start: 35 = 31 + 4 on a 32-bit machine;
// a 64-bit word needs 31 + 8, and rounding 39 down keeps the address within the same block of n + 40 bytes.
constexpr int64_t kHeadroom = kAlignment - 1 + static_cast<int64_t>(sizeof(void*));
constexpr int64_t kStreamingThreshold = 512 * 1024;

}  // namespace

void* AlignedAllocate(int64_t n) {
  if (n < 1 || n > PTRDIFF_MAX - kHeadroom - 1) return nullptr;
  void* start = std::malloc(static_cast<size_t>(n + kHeadroom + 1));
  if (start == nullptr) return nullptr;
  const auto last = reinterpret_cast<uintptr_t>(start) + static_cast<uintptr_t>(kHeadroom);
  char* block = static_cast<char*>(start) + kHeadroom - static_cast<ptrdiff_t>(last % kAlignment);
  reinterpret_cast<void**>(block)[-1] = start;
  return block;
}

void AlignedFree(void* address) {
  if (address != nullptr) std::free(static_cast<void**>(address)[-1]);
}

ZmcStatus ZeroFill(void* address, int64_t n) {
  if (address == nullptr) return zmcStatusNullPointer;
  if (n < 1) return zmcStatusBadSize;
  auto* bytes = static_cast<unsigned char*>(address);
  auto left = static_cast<size_t>(n);
#if defined(__SSE2__)
  if (n > kStreamingThreshold) {
    const size_t head = (0 - reinterpret_cast<uintptr_t>(bytes)) & 15;
    std::memset(bytes, 0, head);
    bytes += head;
    left -= head;
    for (; left >= 16; left -= 16, bytes += 16)
      _mm_stream_si128(reinterpret_cast<__m128i*>(bytes), _mm_setzero_si128());
    _mm_sfence();
  }
#endif
  std::memset(bytes, 0, left);
  return zmcStatusOk;
}

}  // namespace zmcj
