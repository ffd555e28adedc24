// The fast reader: a window of up to 64 bits that are read ahead, eight bytes at a time where none of them is 0xFF. How
// far BitReader would have read by then is kept beside it as a mere count. Near a marker and near the end the two
// change places. What is left in the end is BitReader's position and state.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "jpeg/coding/bit_reader.h"
#include "jpeg/coding/words.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zmcj {

class WindowReader {
  // What is called out of line gets a copy: a reader whose address is never taken stays in registers.
  template <class Call>
  [[gnu::always_inline]] auto OutOfLine(Call call) {
    WindowReader copy = *this;
    const auto result = call(copy);
    *this = copy;
    return result;
  }

 public:
  WindowReader(const Source& from, const DecodeState* state) : from_(from) { Load(BitReader(from, state)); }

  void Save(const Source& from, DecodeState* state) const { Bits().Save(from, state); }

  [[gnu::always_inline]] Symbol Decode(const DecodeSpec* spec) {
    if (limit_ - next_ >= 8) [[likely]] {
      Refill();
    } else if (!OutOfLine([](WindowReader& reader) { return reader.Reach(48); })) {
      return OutOfLine([&](WindowReader& reader) { return DecodeByBytes(reader, spec); });
    }
    CountFill(8);
    const uint32_t entry = spec->lookahead[window_ >> 56];
    if (entry == 0) [[unlikely]]
      return DecodeLong(spec);
    Use(static_cast<int>(entry >> 16));
    return {zmcStatusOk, entry & 0xFF};
  }

  // As the function Receive.
  [[gnu::always_inline]] uint32_t Receive(int n, ZmcStatus* status) {
    if (held_ < 32) [[unlikely]] {
      if (!OutOfLine([](WindowReader& reader) { return reader.Reach(32); }) && count_ < n) {
        return OutOfLine([&](WindowReader& reader) { return ReceiveByBytes(reader, n, status); });
      }
    }
    CountFill(n);
    const auto bits = static_cast<uint32_t>(window_ >> (64 - n));
    Use(n);
    return bits;
  }

  // Whether TakeSingles can be called: 16 bits, and 32 that BitReader may read behind any of them.
  [[gnu::always_inline]] bool Ready() {
    return held_ >= 48 || OutOfLine([](WindowReader& reader) { return reader.Reach(48); });
  }
  // n bits, up to 16, that BitReader takes one by one.
  uint32_t TakeSingles(int n) {
    const auto bits = static_cast<uint32_t>(window_ >> (64 - n));
    Use(n);
    // They ran out on the way: four bytes were read.
    count_ += 32 & count_ >> 31;
    return bits;
  }

 private:
  [[gnu::noinline]] static Symbol DecodeByBytes(WindowReader& reader, const DecodeSpec* spec) {
    BitReader bits = reader.Bits();
    const Symbol symbol = DecodeSymbol(bits, spec);
    reader.Load(bits);
    return symbol;
  }

  [[gnu::noinline]] static uint32_t ReceiveByBytes(WindowReader& reader, int n, ZmcStatus* status) {
    BitReader bits = reader.Bits();
    const uint32_t value = zmcj::Receive(bits, n, status);
    reader.Load(bits);
    return value;
  }

  // The first length from 9 on at which the next 16 bits begin with a code; 17 if there is none.
  static int LongLength(const DecodeSpec* spec, uint32_t next16) {
#if defined(__SSE2__)
    // All lengths at once, as the lengths of rare symbols are hard to predict: the bits times 2^length, shifted by 16.
    const __m128i factors = _mm_setr_epi16(1 << 9, 1 << 10, 1 << 11, 1 << 12, 1 << 13, 1 << 14, -(1 << 15), 0);
    const __m128i all = _mm_set1_epi16(static_cast<int16_t>(next16));
    const __m128i bits = _mm_insert_epi16(_mm_mulhi_epu16(all, factors), static_cast<int16_t>(next16), 7);
    const __m128i last = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&spec->maxcode[9]));
    const __m128i above = _mm_subs_epu16(bits, last);
    const __m128i is_code =
        _mm_andnot_si128(_mm_cmpeq_epi16(last, _mm_set1_epi16(-1)), _mm_cmpeq_epi16(above, _mm_setzero_si128()));
    // Two bits per length, and one behind them.
    return 9 + std::countr_zero(static_cast<uint32_t>(_mm_movemask_epi8(is_code)) | 1u << 16) / 2;
#else
    int length = 9;
    while (length <= kMaxCodeLength && !IsCode(spec, length, static_cast<int32_t>(next16 >> (16 - length)))) ++length;
    return length;
#endif
  }

  // A code of more than 8 bits: nine are taken at once, then one by one.
  [[gnu::always_inline]] Symbol DecodeLong(const DecodeSpec* spec) {
    const auto next16 = static_cast<uint32_t>(window_ >> 48);
    const int found = LongLength(spec, next16), length = found <= kMaxCodeLength ? found : kMaxCodeLength;
    CountFill(9);
    Use(length);
    // The bits ran out on the way: four bytes were read.
    if (count_ < 0) count_ += 32;
    if (found > kMaxCodeLength) [[unlikely]]
      return {zmcStatusBadHuffmanData, 0};
    return SymbolAt(spec, length, static_cast<int32_t>(next16 >> (16 - length)));
  }

  // BitReader fills, until 25 or more bits are held, where it holds less than `need`; without a branch.
  void CountFill(int need) { count_ += (32 - count_) & ~7 & (count_ - need) >> 31; }

  void Use(int n) {
    window_ <<= n;
    held_ -= n;
    count_ -= n;
  }

  // 56 or more bits, of which the last may be there twice, as it is read again.
  void Refill() {
    window_ |= LoadBigEndian64(next_) >> held_;
    next_ += (63 - held_) >> 3;
    held_ |= 56;
  }

  // Whether `bits` can be held without meeting a marker or the end; moves limit_ where there is no 0xFF, else reads
  // byte by byte.
  [[gnu::noinline]] bool Reach(int bits) {
    if (marker_ != 0) return held_ >= bits;
    const uint8_t* const end = from_.bytes + from_.length;
    Scan(4);
    if (limit_ - next_ >= 8) {
      Refill();
      return true;
    }
    while (held_ < bits && next_ < end) {
      if (*next_ == 0xFF) {
        if (end - next_ < 2 || next_[1] != 0) break;
        ++next_;
        stuffed_ = true;
        window_ |= uint64_t{0xFF} << (56 - held_);
      } else {
        window_ |= static_cast<uint64_t>(*next_) << (56 - held_);
      }
      ++next_;
      held_ += 8;
    }
    if (limit_ < next_) limit_ = next_;
    return held_ >= bits;
  }

  void Scan(int words) {
    const uint8_t* const end = from_.bytes + from_.length;
    while (words-- > 0 && end - limit_ >= 8 && !HasByteFF(LoadBigEndian64(limit_))) limit_ += 8;
  }

  [[gnu::always_inline]] void Load(const BitReader& bits) {
    marker_ = bits.marker();
    accumulator_ = bits.accumulator();
    count_ = held_ = bits.count();
    window_ = static_cast<uint64_t>(accumulator_) << 32 << (32 - count_);
    start_ = next_ = limit_ = from_.bytes + bits.position();
    stuffed_ = false;
    if (marker_ == 0) Scan(2);
  }

  // The data byte that ends at `at`, which moves before it and its stuffing.
  uint8_t StepBack(const uint8_t** at) const {
    --*at;
    if (stuffed_ && **at == 0 && *at > start_ && (*at)[-1] == 0xFF) --*at;
    return **at;
  }

  // What BitReader would be by now.
  BitReader Bits() const {
    const uint8_t* at = next_ - (held_ - count_) / 8;
    if (!stuffed_ && at - start_ >= 4) [[likely]] {
      uint32_t word;
      std::memcpy(&word, at - 4, sizeof word);
      if (std::endian::native == std::endian::little) word = __builtin_bswap32(word);
      return BitReader(from_, static_cast<int>(at - from_.bytes), marker_, HeldBits(word, count_));
    }
    at = next_;
    for (int ahead = (held_ - count_) / 8; ahead > 0; --ahead) StepBack(&at);
    const uint8_t* before = at;
    uint32_t accumulator = 0;
    int bits = 0;
    for (; bits < 32 && before > start_; bits += 8) accumulator |= static_cast<uint32_t>(StepBack(&before)) << bits;
    if (bits < 32) accumulator |= accumulator_ << bits;
    return BitReader(from_, static_cast<int>(at - from_.bytes), marker_, HeldBits(accumulator, count_));
  }

  Source from_;
  int marker_;
  uint64_t window_;       // the next bits at its top
  int held_;              // valid bits in it
  int count_;             // bits that BitReader would hold
  const uint8_t* next_;   // the first byte that is not in the window
  const uint8_t* limit_;  // no 0xFF between next_ and this
  const uint8_t* start_;  // where the bytes and the bits of accumulator_ were last taken over
  uint32_t accumulator_;
  bool stuffed_;  // a stuffed byte stands between start_ and next_
};

}  // namespace zmcj
