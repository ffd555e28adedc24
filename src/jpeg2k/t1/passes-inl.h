// The coding passes over a BlockState, for both directions. Included once per level: no ordinary include guard.
//
// Io supplies or takes the decisions; b is a sample's bit in its group:
//   Enter(stripe, group)       before the group's first decision in a pass
//   Zero(context, b)           the sample's bit of the plane
//   Sign(entry of kSignCodingByIndex, b)    1 when negative
//   SkipRuns(todo, runs)       todo without the runs at its start that stay insignificant, or without some of them
//   Run(b)                     0 to 3, the first significant row of the column at b, or 4
//   Became(b, negative)        the sample has become significant
//   Refine(context, b)

#if defined(ZMCJ_T1_PASSES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef ZMCJ_T1_PASSES_INL_H_
#undef ZMCJ_T1_PASSES_INL_H_
#else
#define ZMCJ_T1_PASSES_INL_H_
#endif

#include <bit>

#include "jpeg2k/t1/block_state.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::t1::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {

// One stripe during a pass.
struct StripeView {
  StripeView(const BlockState& s, int stripe, bool causal)
      : groups(s.GroupsOf(stripe)),
        above(stripe > 0 ? s.GroupsOf(stripe - 1) : nullptr),
        // In causal formation the next stripe is not looked at, and this one does not report to the one before.
        below(stripe + 1 < s.stripes() && !causal ? s.GroupsOf(stripe + 1) : nullptr),
        count(s.groups()),
        words(s.Words(stripe)),
        signs(s.Signs(stripe)) {
    if (stripe > 0 && !causal) beyond[0] = {-s.pitch(), 1u << 15, 5, 1};
    if (stripe + 1 < s.stripes()) beyond[3] = {s.pitch(), 1u, 0, 1};
  }

  // What a sample reports beyond its stripe: row 0 to the stripe above, where it is row 5, row 3 to the stripe below,
  // where it is row 0. The others report nothing to their own columns, which is faster than to ask for the row.
  struct Beyond {
    ptrdiff_t columns;
    uint32_t mark;  // of the column to the right; the others follow
    uint32_t sign_bit;
    uint32_t sign_mask;
  };

  Group* groups;
  const Group* above;
  const Group* below;
  int count;
  uint32_t* words;
  uint8_t* signs;
  Beyond beyond[kStripe] = {};
};

// The vertical neighbours of group g's significant samples.
HWY_INLINE uint64_t VerticalNeighbours(const StripeView& s, int g) {
  const uint64_t own = s.groups[g].significant;
  uint64_t near = (own << 1 & ~kTopRow) | (own >> 1 & ~kBottomRow);
  if (s.above != nullptr) near |= s.above[g].significant >> 3 & kTopRow;
  if (s.below != nullptr) near |= s.below[g].significant << 3 & kBottomRow;
  return near;
}

// All samples of group g with a significant neighbour.
HWY_INLINE uint64_t Neighbours(const StripeView& s, int g) {
  const uint64_t vertical = VerticalNeighbours(s, g);
  const uint64_t columns = vertical | s.groups[g].significant;
  uint64_t near = vertical | columns << 4 | columns >> 4;
  if (g > 0) near |= (VerticalNeighbours(s, g - 1) | s.groups[g - 1].significant) >> 60;
  if (g + 1 < s.count) near |= (VerticalNeighbours(s, g + 1) | s.groups[g + 1].significant) << 60;
  return near;
}

// The items at the start of todo that are runs.
HWY_INLINE uint64_t LeadingRuns(uint64_t todo, uint64_t runs) {
  const uint64_t others = todo & ~runs;
  return todo & ~(others | (0 - others));
}

// The neighbours of bit b that follow it in scan order, within its group.
HWY_INLINE uint64_t LaterNeighbours(unsigned b) {
  // Rows 0 to 3: the row below in this column; the rows beside in the next.
  static constexpr uint8_t kOfRow[4] = {0x32, 0x74, 0xE8, 0xC0};
  return uint64_t{kOfRow[b & 3]} << (b & ~3u);
}

// The sample at bit b has become significant: its neighbours are told, its sign is coded.
template <class Io>
HWY_INLINE void BecomeSignificant(Io& io, const StripeView& s, ptrdiff_t column, unsigned b) {
  const uint32_t row = b & 3;
  const StripeView::Beyond& beyond = s.beyond[row];
  uint32_t* const words = s.words + column;
  const uint32_t word = *words;
  words[-1] |= 0x20u << 3 * row;
  words[0] |= 0x10u << 3 * row;
  words[1] |= 0x08u << 3 * row;
  words[beyond.columns - 1] |= 4 * beyond.mark;
  words[beyond.columns] |= 2 * beyond.mark;
  words[beyond.columns + 1] |= beyond.mark;
  uint8_t* const signs = s.signs + column;
  const uint32_t negative = io.Sign(kSignCodingByIndex[SignIndex(word, signs, row)], b);
  signs[0] = static_cast<uint8_t>(signs[0] | negative << (row + 1));
  signs[beyond.columns] =
      static_cast<uint8_t>(signs[beyond.columns] | (negative & beyond.sign_mask) << beyond.sign_bit);
  io.Became(b, negative);
}

template <class Io>
HWY_INLINE void SignificancePass(Io& io, const BlockState& state, bool causal, const uint8_t* zero_coding) {
  for (int stripe = 0; stripe < state.stripes(); ++stripe) {
    const StripeView s(state, stripe, causal);
    for (int g = 0; g < s.count; ++g) {
      Group& group = s.groups[g];
      const uint64_t insignificant = ~group.significant & state.Samples(stripe, g);
      uint64_t todo = Neighbours(s, g) & insignificant;
      group.visited = todo;
      if (todo == 0) continue;
      io.Enter(stripe, g);
      for (; todo != 0;) {
        const auto b = static_cast<unsigned>(std::countr_zero(todo));
        const ptrdiff_t column = ptrdiff_t{g} * kGroup + (b >> 2);
        const uint64_t bit = todo & (0 - todo);
        todo ^= bit;
        if (io.Zero(zero_coding[s.words[column] >> 3 * (b & 3) & 0x1FF], b) == 0) continue;
        BecomeSignificant(io, s, column, b);
        group.significant |= bit;
        todo |= LaterNeighbours(b) & insignificant;
        group.visited |= todo;
      }
    }
  }
}

template <class Io>
HWY_INLINE void RefinementPass(Io& io, const BlockState& state, bool causal) {
  for (int stripe = 0; stripe < state.stripes(); ++stripe) {
    const StripeView s(state, stripe, causal);
    for (int g = 0; g < s.count; ++g) {
      Group& group = s.groups[g];
      uint64_t todo = group.significant & ~group.visited;
      if (todo == 0) continue;
      io.Enter(stripe, g);
      const uint64_t near = Neighbours(s, g), refined = group.refined;
      group.refined |= todo;
      for (; todo != 0; todo &= todo - 1) {
        const auto b = static_cast<unsigned>(std::countr_zero(todo));
        const auto first = static_cast<unsigned>(near >> b & ~(refined >> b) & 1);
        io.Refine(static_cast<unsigned>(kMagnitudeRefinement) + first + 2 * static_cast<unsigned>(refined >> b & 1), b);
      }
    }
  }
}

template <class Io>
HWY_INLINE void CleanupPass(Io& io, const BlockState& state, bool causal, const uint8_t* zero_coding) {
  for (int stripe = 0; stripe < state.stripes(); ++stripe) {
    const StripeView s(state, stripe, causal);
    const bool full = state.Full(stripe);
    for (int g = 0; g < s.count; ++g) {
      Group& group = s.groups[g];
      const uint64_t open = ~(group.significant | group.visited) & state.Samples(stripe, g);
      group.visited = 0;
      if (open == 0) continue;
      io.Enter(stripe, g);
      // The columns, by their top bit, that are one run: all four samples open, and nothing significant near.
      uint64_t runs = 0;
      if (full) {
        runs = open & ~Neighbours(s, g);
        runs &= runs >> 1;
        runs &= runs >> 2 & kTopRow;
      }
      // One bit for each run, one for each sample outside runs.
      uint64_t todo = open & ~(runs << 1 | runs << 2 | runs << 3);
      while (todo != 0) {
        if (runs & todo & (0 - todo)) {
          todo = io.SkipRuns(todo, runs);
          if (todo == 0) break;
        }
        auto b = static_cast<unsigned>(std::countr_zero(todo));
        const uint64_t bit = todo & (0 - todo);
        todo ^= bit;
        const ptrdiff_t column = ptrdiff_t{g} * kGroup + (b >> 2);
        if (runs & bit) {
          const unsigned row = io.Run(b);
          if (row == 4) continue;
          todo |= (bit << 4) - (bit << 1 << row);
          b += row;
        } else if (io.Zero(zero_coding[s.words[column] >> 3 * (b & 3) & 0x1FF], b) == 0) {
          continue;
        }
        BecomeSignificant(io, s, column, b);
        group.significant |= uint64_t{1} << b;
        // The next column is no run any more.
        const uint64_t next = runs & uint64_t{16} << (b & ~3u);
        runs ^= next;
        todo |= next * 15;
      }
    }
  }
}

}  // namespace
#endif
}  // namespace zmcj::t1::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // ZMCJ_T1_PASSES_INL_H_
