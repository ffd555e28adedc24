// Rows, unaligned samples, and the heap blocks behind the records that the library allocates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "zmcj.h"

namespace zmcj {

// Row `row` of an image whose rows are `step` bytes apart.
template <class T>
T* RowAt(T* base, int64_t row, int step) {
  using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + static_cast<ptrdiff_t>(row * step));
}

// Steps are in bytes and may be odd, so a row of 16- or 32-bit samples may stand at any address: scalar code reads and
// writes such samples through these two, which compile to plain moves.
template <class T>
T LoadSample(const void* address) {
  T value;
  std::memcpy(&value, address, sizeof value);
  return value;
}
template <class T>
void StoreSample(void* address, T value) {
  std::memcpy(address, &value, sizeof value);
}

// A block of n bytes at an address divisible by 32, or null (n below 1, or no memory). The word below the address holds
// the start of the heap block, so that AlignedFree needs nothing else.
void* AlignedAllocate(int64_t n);
void AlignedFree(void* address);

// All n bytes to zero; above 512 KiB with stores that pass the caches by. Null: zmcStatusNullPointer; n below 1:
// zmcStatusBadSize.
ZmcStatus ZeroFill(void* address, int64_t n);

}  // namespace zmcj
