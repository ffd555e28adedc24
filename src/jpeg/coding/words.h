// Eight bytes of entropy-coded data at a time.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace zmcj {

inline uint64_t LoadBigEndian64(const uint8_t* from) {
  uint64_t word;
  std::memcpy(&word, from, sizeof word);
  return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

inline uint32_t LoadBigEndian32(const uint8_t* from) {
  uint32_t word;
  std::memcpy(&word, from, sizeof word);
  return std::endian::native == std::endian::little ? __builtin_bswap32(word) : word;
}

inline void StoreBigEndian64(uint8_t* to, uint64_t word) {
  if (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
  std::memcpy(to, &word, sizeof word);
}

// One after the other becomes the highest first.
inline uint64_t ReverseBits(uint64_t v) {
  v = (v >> 1 & 0x5555555555555555u) | (v & 0x5555555555555555u) << 1;
  v = (v >> 2 & 0x3333333333333333u) | (v & 0x3333333333333333u) << 2;
  v = (v >> 4 & 0x0F0F0F0F0F0F0F0Fu) | (v & 0x0F0F0F0F0F0F0F0Fu) << 4;
  return __builtin_bswap64(v);
}

// Whether one of the eight bytes is 0xFF: only such a byte loses its top bit when 1 is added to it.
inline bool HasByteFF(uint64_t word) { return (word & 0x8080808080808080u & ~(word + 0x0101010101010101u)) != 0; }

}  // namespace zmcj
