// The bits of one block, gathered on the stack and then copied to the destination at once. Read once per level.
//
// What is put is spilled every few symbols whether bytes are full or not, and bytes are looked at for 0xFF in the copy:
// so nothing is branched on that depends on the lengths of the codes, which no processor predicts.
#if defined(ZMCJ_BLOCK_BITS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_BLOCK_BITS_INL_H
#undef ZMCJ_BLOCK_BITS_INL_H
#else
#define ZMCJ_BLOCK_BITS_INL_H
#endif

#include <bit>
#include <cstdint>
#include <cstring>

#include "jpeg/coding/bit_writer.h"
#include "jpeg/coding/zigzag_mask-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// For the last 16 of n bytes, n up to 16: at [n + i] which of the 16 bytes before them becomes byte i, 0xFF where one
// of the n does.
struct MergeShuffles {
  constexpr MergeShuffles() {
    for (int i = 0; i < 32; ++i) index[i] = static_cast<uint8_t>(i < 16 ? i : 0xFF);
  }
  uint8_t index[32] = {};
};
inline constexpr MergeShuffles kMergeShuffles;
alignas(16) inline constexpr uint8_t kReversed[16] = {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};

// A code as the tables hold it. Length 0: none.
struct Code {
  explicit HWY_INLINE Code(const uint8_t* entry) : bits(LoadSample<uint16_t>(entry)), length(entry[2]) {}
  uint32_t bits;
  uint64_t length;
};

class BlockBits {
 public:
  // The first byte is the highest in memory, so that pending bits are stored as they stand. As records are the caller's
  // memory, there is room for whatever length they name. Behind it is room to load as many bytes as a register holds.
  struct Memory {
    alignas(16) uint8_t bytes[(7 + 68 * 255 + 64 * 11) / 8 / 16 * 16 + 32 + 16];
  };

  HWY_INLINE BlockBits(Memory& memory, const EncodeState* state)
      : end_(memory.bytes + sizeof memory.bytes - 16),
        pending_(state->accumulator << state->count >> 24),
        position_(-state->count) {
    hn::Store(hn::Zero(Bytes()), Bytes(), end_);
  }

  // A code without bits behind it. False where the table has none.
  HWY_INLINE bool PutAlone(const Code& code) {
    Put(code.bits, code.length);
    return code.length != 0;
  }
  // A code and the bits behind it.
  HWY_INLINE void Put(const Code& code, uint32_t appended, uint64_t category) {
    Put(code.bits << category | appended, code.length + category);
  }
  HWY_INLINE void Put(uint64_t bits, uint64_t length) {
    pending_ = pending_ << (length & 63) | bits;
    position_ -= static_cast<int64_t>(length);
  }

  // At most 57 bits are put between two calls. Eight bytes are stored, whichever are full.
  HWY_INLINE void Spill() {
    static_assert(std::endian::native == std::endian::little);
    const uint64_t word = pending_ << (position_ & 7);
    std::memcpy(end_ + (position_ >> 3), &word, sizeof word);
  }

  // Whether the lengths are those of codes: 7 bits were pending, a DC code has up to 16 + 11 bits, 63 AC codes have up to
  // 16 + 7, and three zero runs and the end of the block up to 16.
  HWY_INLINE bool plausible() const {
    constexpr int kMostBits = 7 + 27 + 63 * 23 + 4 * 16;
    static_assert(2 * (kMostBits / 8 + 1) <= PackedWriter::kRoomPerBlock);
    return -position_ <= kMostBits;
  }

  // After Spill. Writes the full bytes behind *to.position.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE void Save(const Destination& to, EncodeState* state) const {
    const auto bits = static_cast<unsigned>(-position_);
    const unsigned left = bits & 7;
    state->accumulator = (static_cast<uint32_t>(pending_) & ((1u << left) - 1)) << (24 - left);
    state->reserved = 0;
    state->count = static_cast<int>(left);
    *to.position += static_cast<int>(Copy(to.bytes + *to.position, *to.position, bits >> 3));
  }

 private:
  // `written` bytes stand before `out`. Returns how many have been added.
  ZMCJ_BIT_INSTRUCTIONS HWY_INLINE size_t Copy(uint8_t* out, int written, unsigned count) const {
    const VBytes reversed = hn::Load(Bytes(), kReversed);
    const VBytes ff = hn::Set(Bytes(), 0xFF);
    const VBytes last = hn::LoadU(Bytes(), end_ - count);
    if (count <= 16) [[likely]] {
      const bool stuffed = (static_cast<uint32_t>(MaskEqual(last, ff)) & ((1u << count) - 1)) != 0;
      if (stuffed || written < 16) [[unlikely]]
        return CopyStuffed(out, end_, count);
      // Stored together with the bytes before them, so that nothing behind them changes and nothing is branched on.
      const VBytes merge = hn::LoadU(Bytes(), kMergeShuffles.index + count);
      const VBytes before = hn::TableLookupBytesOr0(hn::LoadU(Bytes(), out - 16), merge);
      const VBytes fresh = hn::And(hn::TableLookupBytes(last, reversed), hn::VecFromMask(Bytes(), hn::Eq(merge, ff)));
      hn::StoreU(hn::Or(before, fresh), Bytes(), out + count - 16);
      return count;
    }
    VBytes stuffed = hn::VecFromMask(Bytes(), hn::Eq(last, ff));
    for (size_t i = 0; i < count - 16; i += 16) {
      const VBytes some = hn::LoadU(Bytes(), end_ - 16 - i);
      stuffed = hn::Or(stuffed, hn::VecFromMask(Bytes(), hn::Eq(some, ff)));
      hn::StoreU(hn::TableLookupBytes(some, reversed), Bytes(), out + i);
    }
    if (MaskEqual(stuffed, ff) != 0) [[unlikely]]
      return CopyStuffed(out, end_, count);
    hn::StoreU(hn::TableLookupBytes(last, reversed), Bytes(), out + count - 16);
    return count;
  }

  [[gnu::noinline]] static size_t CopyStuffed(uint8_t* const start, const uint8_t* end, size_t count) {
    uint8_t* out = start;
    uint64_t word;
    for (; count >= sizeof word; count -= sizeof word) {
      end -= sizeof word;
      std::memcpy(&word, end, sizeof word);
      if (HasByteFF(word)) {
        out = PutStuffed(out, word, sizeof word);
      } else {
        StoreBigEndian64(out, word);
        out += sizeof word;
      }
    }
    std::memcpy(&word, end - sizeof word, sizeof word);
    return static_cast<size_t>(PutStuffed(out, word >> 8 >> (56 - 8 * count), static_cast<int>(count)) - start);
  }

  uint8_t* end_;
  uint64_t pending_;
  int64_t position_;  // of the next bit, seen from the end: 0 or less
};

}  // namespace
#endif
}  // namespace zmcj::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
