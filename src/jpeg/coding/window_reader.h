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
    bool special;  // a stuffed byte stands between the start and the window's end, or a marker has been met
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
    const uint8_t* const at = next_ - Ahead();
    const ptrdiff_t position = at - origin_->from.bytes;
    if (origin_->special || position < 4) [[unlikely]] {
      const WindowReader copy = *this;
      SaveOutOfLine(copy, state);
      return;
    }
    // As many of the last four bytes as are new.
    const size_t read = static_cast<size_t>(at - origin_->start), most = Computed(size_t{4});
    const size_t bits = 8 * (read < most ? read : most);
    const uint64_t fresh = LoadBigEndian32(at - 4) & ((uint64_t{1} << bits) - 1);
    state->accumulator = static_cast<uint32_t>(static_cast<uint64_t>(origin_->accumulator) << bits | fresh);
    state->count = static_cast<int32_t>(count());
    *origin_->from.position = static_cast<int>(position);
  }

  [[gnu::always_inline]] Symbol Decode(const DecodeSpec* spec) {
    const FoundCode found = Look(spec);
    if (found.found()) [[likely]]
      return {zmcStatusOk, TakeSymbol(found)};
    return DecodeOther(spec);
  }

  // Where eight bytes without 0xFF follow, 56 or more bits, of which the last may be there twice, as it is read again.
  // That is enough for two found codes with their bits and for Next, and BitReader can not have read beyond the eight
  // bytes by then.
  [[gnu::always_inline]] bool Refill() {
    if (next_ >= refill_end_) [[unlikely]]
      return false;
    const uint64_t word = LoadBigEndian64(next_);
    if (HasByteFF(word)) [[unlikely]]
      return false;
    window_ |= word >> held_;
    next_ += (63 - held_) >> 3;
    held_ |= 56;
    return true;
  }

  // Right behind the constructor: whether the window is as Refill leaves it.
  bool Refilled() const { return held_ >= 56; }

  // The next code where it is short and the window holds kLookahead bits, as it does wherever Refill succeeds. It is
  // not used yet: TakeSymbol or TakeValue follow, or DecodeOther if none is found.
  [[gnu::always_inline]] FoundCode Next(const DecodeSpec* spec) const {
    const uint64_t bits = window_ >> (64 - kLookahead);
    return {Computed(&spec->total[0])[bits], spec->symbol[bits]};
  }

  // Next, with what it needs.
  [[gnu::always_inline]] FoundCode Look(const DecodeSpec* spec) {
    if (!Refill() && held_ < kAhead && !OutOfLine([](WindowReader& reader) { return reader.Reach(kAhead); })) return {};
    return Next(spec);
  }

  [[gnu::always_inline]] uint32_t TakeSymbol(FoundCode found) {
    CountCode(found.length());
    window_ <<= found.length();
    held_ -= found.length();
    return found.symbol();
  }

  // The symbol and the bits behind it at once, kLeast or more: the value that these stand for.
  template <int kLeast>
  [[gnu::always_inline]] int32_t TakeValue(FoundCode found) {
    const uint32_t size = found.size(), total = found.total();
    const uint64_t behind = window_ << found.length();
    window_ <<= total & 63;
    held_ -= total;
    // As CountCode and CountFill(size) and the use of both.
    CountFill(8);
    free_ += total;
    if (free_ > 32) [[unlikely]]
      free_ = FreeWithin(found);
    // As Extend, at the window's top.
    const auto bits = static_cast<uint32_t>(kLeast > 0 ? behind >> (64 - size) : behind >> 1 >> (63 - size));
    const uint32_t negative = static_cast<uint32_t>(behind >> 63) - 1;
    return static_cast<int32_t>(bits - (negative & ((uint32_t{1} << size) - 1)));
  }

  // Where Look finds nothing.
  [[gnu::always_inline]] Symbol DecodeOther(const DecodeSpec* spec) {
    if (Refill() || held_ >= kAhead) [[likely]]
      return DecodeLong(spec);
    return OutOfLine([&](WindowReader& reader) { return DecodeByBytes(reader, spec); });
  }

  // As the function Receive.
  [[gnu::always_inline]] uint32_t Receive(int n, ZmcStatus* status) {
    if (held_ < 32) [[unlikely]] {
      if (!OutOfLine([](WindowReader& reader) { return reader.Reach(32); }) && count() < static_cast<uint32_t>(n)) {
        const Received received = OutOfLine([&](WindowReader& reader) { return ReceiveByBytes(reader, n); });
        *status = received.status;
        return received.bits;
      }
    }
    CountFill(static_cast<uint32_t>(n));
    const auto bits = static_cast<uint32_t>(window_ >> (64 - n));
    Use(static_cast<uint32_t>(n));
    return bits;
  }

  // Whether TakeSingles can be called.
  [[gnu::always_inline]] bool Ready() {
    return held_ >= kAhead || OutOfLine([](WindowReader& reader) { return reader.Reach(kAhead); });
  }
  // n bits, up to 16, that BitReader takes one by one.
  uint32_t TakeSingles(int n) {
    const auto bits = static_cast<uint32_t>(window_ >> (64 - n));
    UseSingles(static_cast<uint32_t>(n));
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
    UseSingles(static_cast<uint32_t>(length));
    if (found > kMaxCodeLength) [[unlikely]]
      return {zmcStatusBadHuffmanData, 0};
    return SymbolAt(spec, length, static_cast<int32_t>(next16 >> (16 - length)));
  }

  // `value`, computed in any case: the choice between two such is no branch, which would often be mispredicted; and an
  // address without offset is used a cycle sooner.
  template <class Value>
  static Value Computed(Value value) {
#if defined(__GNUC__)
    __asm__("" : "+r"(value));
#endif
    return value;
  }

  // Bits that BitReader would hold.
  size_t count() const { return 32 - free_; }
  // Bytes that the window holds and BitReader would not. Below 0 where it would have read more.
  ptrdiff_t Ahead() const { return static_cast<ptrdiff_t>(held_ - count()) >> 3; }

  // BitReader fills where it holds fewer than `need` bits: whole bytes, until fewer than eight bits are free.
  [[gnu::always_inline]] void CountFill(uint32_t need) {
    const uint32_t filled = Computed(free_ & 7);
    if (free_ > 32 - need) free_ = filled;
  }

  // BitReader uses a code found: it fills where it holds fewer than 8 bits or than the code's.
  [[gnu::always_inline]] void CountCode(uint32_t length) {
    CountFill(8);
    free_ += length;
    if (free_ > 32) [[unlikely]]
      free_ = length;  // nine bits where eight are held
  }

  // Where BitReader fills before the code's ninth bit or before the bits behind the code; all have been counted.
  uint32_t FreeWithin(FoundCode found) const {
    const uint32_t behind_code = free_ - found.size();
    return behind_code > 32 ? found.total() : (behind_code & 7) + found.size();
  }

  [[gnu::always_inline]] void Use(uint32_t n) {
    window_ <<= n;
    held_ -= n;
    free_ += n;
  }

  // Bits of which the last 8 or more are used one by one: where they run out on the way, four bytes are read.
  [[gnu::always_inline]] void UseSingles(uint32_t n) {
    Use(n);
    free_ -= free_ > 32 ? 32 : 0;
  }

  // Whether `bits` can be held without meeting a marker or the end; looks further for 0xFF and, where one is near,
  // reads byte by byte.
  [[gnu::noinline]] bool Reach(size_t bits) {
    if (origin_->marker != 0) return held_ >= bits;
    const uint8_t* const end = origin_->from.bytes + origin_->from.length;
    if (Refill()) return true;
    // All that fits, so that this is seldom called.
    while (held_ < 56 && next_ < end) {
      if (*next_ == 0xFF) {
        if (end - next_ < 2 || next_[1] != 0) break;
        ++next_;
        origin_->special = true;
        window_ |= uint64_t{0xFF} << (56 - held_);
      } else {
        window_ |= static_cast<uint64_t>(*next_) << (56 - held_);
      }
      ++next_;
      held_ += 8;
    }
    return held_ >= bits;
  }

  [[gnu::always_inline]] void Load(const BitReader& bits) {
    held_ = static_cast<size_t>(bits.count());
    free_ = static_cast<uint32_t>(32 - bits.count());
    window_ = static_cast<uint64_t>(bits.accumulator()) << 32 << free_;
    next_ = refill_end_ = origin_->from.bytes + bits.position();
    origin_->marker = bits.marker();
    origin_->start = next_;
    origin_->accumulator = bits.accumulator();
    origin_->special = bits.marker() != 0;
    if (bits.marker() != 0 || origin_->from.length - bits.position() < 8) return;
    refill_end_ = origin_->from.bytes + origin_->from.length - 7;
    Refill();
  }

  // The data byte that ends at `at`, which moves before it and its stuffing.
  uint8_t StepBack(const uint8_t** at) const {
    --*at;
    if (origin_->special && **at == 0 && *at > origin_->start && (*at)[-1] == 0xFF) --*at;
    return **at;
  }

  // What BitReader would be by now.
  BitReader Bits() const {
    const uint8_t* at = next_;
    ptrdiff_t ahead = Ahead();
    if (ahead < 0) at -= ahead;  // Refill has seen that none of these is 0xFF
    for (; ahead > 0; --ahead) StepBack(&at);
    const uint8_t* before = at;
    uint32_t accumulator = 0;
    int bits = 0;
    for (; bits < 32 && before > origin_->start; bits += 8) {
      accumulator |= static_cast<uint32_t>(StepBack(&before)) << bits;
    }
    if (bits < 32) accumulator |= origin_->accumulator << bits;
    return BitReader(origin_->from, static_cast<int>(at - origin_->from.bytes), origin_->marker,
                     HeldBits(accumulator, static_cast<int>(count())));
  }

  // What Look and TakeSingles need: 16 bits, and the 32 that BitReader may read behind any of them.
  static constexpr size_t kAhead = 48;

  Origin* origin_;
  uint64_t window_;            // the next bits at its top
  size_t held_;                // valid bits in it
  uint32_t free_;              // bits that BitReader's accumulator would have free, of 32
  const uint8_t* next_;        // the first byte that is not in the window
  const uint8_t* refill_end_;  // where next_ is before this, eight bytes follow
};

}  // namespace zmcj
