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
 public:
  // What is needed near a marker, near the end and when all is done, kept apart from what every symbol needs.
  struct Origin {
    Source from;
    int marker;
    const uint8_t* start;  // where the bytes and the bits of the accumulator were last taken over
    uint32_t accumulator;
    bool stuffed;  // a stuffed byte stands between the start and the window's end
  };

 private:
  // What is called out of line gets a copy: a reader whose address is never taken stays in registers.
  template <class Call>
  [[gnu::always_inline]] auto OutOfLine(Call call) {
    WindowReader copy = *this;
    const auto result = call(copy);
    *this = copy;
    return result;
  }

 public:
  // *origin is only for this reader and lives as long.
  [[gnu::always_inline]] WindowReader(Origin* origin, const Source& from, const DecodeState* state) : origin_(origin) {
    origin->from = from;
    Load(BitReader(from, state));
  }

  [[gnu::always_inline]] void Save(DecodeState* state) const {
    const uint8_t* const at = next_ - (held_ - count_) / 8;
    if (origin_->stuffed || origin_->marker != 0 || at - origin_->from.bytes < 4) [[unlikely]] {
      const WindowReader copy = *this;
      SaveOutOfLine(copy, state);
      return;
    }
    // As many of the last four bytes as are new.
    const int bits = 8 * (at - origin_->start < 4 ? static_cast<int>(at - origin_->start) : 4);
    const uint64_t fresh = LoadBigEndian32(at - 4) & ((uint64_t{1} << bits) - 1);
    state->accumulator = static_cast<uint32_t>(static_cast<uint64_t>(origin_->accumulator) << bits | fresh);
    state->count = count_;
    *origin_->from.position = static_cast<int>(at - origin_->from.bytes);
  }

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
        const Received received = OutOfLine([&](WindowReader& reader) { return ReceiveByBytes(reader, n); });
        *status = received.status;
        return received.bits;
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
  [[gnu::noinline]] static void SaveOutOfLine(const WindowReader& reader, DecodeState* state) {
    reader.Bits().Save(reader.origin_->from, state);
  }

  [[gnu::noinline]] static Symbol DecodeByBytes(WindowReader& reader, const DecodeSpec* spec) {
    BitReader bits = reader.Bits();
    const Symbol symbol = DecodeSymbol(bits, spec);
    reader.Load(bits);
    return symbol;
  }

  struct Received {
    ZmcStatus status;
    uint32_t bits;
  };
  // For when fewer than n bits are held, so that the status is this fill's.
  [[gnu::noinline]] static Received ReceiveByBytes(WindowReader& reader, int n) {
    BitReader bits = reader.Bits();
    Received received = {zmcStatusOk, 0};
    received.bits = zmcj::Receive(bits, n, &received.status);
    reader.Load(bits);
    return received;
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
    if (origin_->marker != 0) return held_ >= bits;
    const uint8_t* const end = origin_->from.bytes + origin_->from.length;
    Scan();
    if (limit_ - next_ >= 8) {
      Refill();
      return true;
    }
    while (held_ < bits && next_ < end) {
      if (*next_ == 0xFF) {
        if (end - next_ < 2 || next_[1] != 0) break;
        ++next_;
        origin_->stuffed = true;
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

  // Moves limit_ by up to 32 bytes.
  [[gnu::always_inline]] void Scan() {
    const uint8_t* const end = origin_->from.bytes + origin_->from.length;
#if defined(__SSE2__)
    if (end - limit_ >= 32) {
      const __m128i ones = _mm_set1_epi8(-1);
      const auto found = [&](const uint8_t* at) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
        return static_cast<uint64_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, ones)));
      };
      limit_ += std::countr_zero(found(limit_) | found(limit_ + 16) << 16 | uint64_t{1} << 32);
      return;
    }
#endif
    for (int words = 0; words < 4 && end - limit_ >= 8 && !HasByteFF(LoadBigEndian64(limit_)); ++words) limit_ += 8;
  }

  [[gnu::always_inline]] void Load(const BitReader& bits) {
    count_ = held_ = bits.count();
    window_ = static_cast<uint64_t>(bits.accumulator()) << 32 << (32 - count_);
    next_ = limit_ = origin_->from.bytes + bits.position();
    origin_->marker = bits.marker();
    origin_->start = next_;
    origin_->accumulator = bits.accumulator();
    origin_->stuffed = false;
    if (bits.marker() == 0) Scan();
  }

  // The data byte that ends at `at`, which moves before it and its stuffing.
  uint8_t StepBack(const uint8_t** at) const {
    --*at;
    if (origin_->stuffed && **at == 0 && *at > origin_->start && (*at)[-1] == 0xFF) --*at;
    return **at;
  }

  // What BitReader would be by now.
  BitReader Bits() const {
    const uint8_t* at = next_;
    for (int ahead = (held_ - count_) / 8; ahead > 0; --ahead) StepBack(&at);
    const uint8_t* before = at;
    uint32_t accumulator = 0;
    int bits = 0;
    for (; bits < 32 && before > origin_->start; bits += 8) {
      accumulator |= static_cast<uint32_t>(StepBack(&before)) << bits;
    }
    if (bits < 32) accumulator |= origin_->accumulator << bits;
    return BitReader(origin_->from, static_cast<int>(at - origin_->from.bytes), origin_->marker,
                     HeldBits(accumulator, count_));
  }

  Origin* origin_;
  uint64_t window_;       // the next bits at its top
  int held_;              // valid bits in it
  int count_;             // bits that BitReader would hold
  const uint8_t* next_;   // the first byte that is not in the window
  const uint8_t* limit_;  // no 0xFF between next_ and this
};

}  // namespace zmcj
