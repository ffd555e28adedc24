// A context's state as one word that holds all a decision needs: no look-up stands between a context and its Qe.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg2k/t1/mq_states.h"

namespace zmcj::t1 {

// Qe in the top 16 bits. Below, a byte each, the numbers of this word, of its successor after a renormalisation on the
// more probable symbol, and of its successor after the less probable one. Bit 0 of a number is its more probable
// symbol.
using MqWord = uint64_t;

inline constexpr auto kMqWords = [] {
  std::array<MqWord, 2 * kMqStates.size()> words{};
  for (size_t i = 0; i < words.size(); ++i) {
    const MqState& s = kMqStates[i / 2];
    const auto number = [mps = i & 1](int32_t state, int32_t flip) {
      return MqWord{2 * static_cast<size_t>(state) + (mps ^ static_cast<size_t>(flip))};
    };
    words[i] = MqWord{static_cast<uint32_t>(s.qe)} << 48 | number(s.next_lps, s.switch_mps) << 16 |
               number(s.next_mps, 0) << 8 | i;
  }
  return words;
}();

// What a context's word becomes: the successor after the less probable symbol; else itself when `part`, the interval's
// new width, has its top bit set and needs no renormalisation; else the successor after the more probable symbol.
// Conditional moves, spelt out: compilers make branches of this, and the condition is a coin's toss.
template <class Width>
inline __attribute__((always_inline)) MqWord Successor(MqWord word, Width part, Width less_probable) {
  const MqWord after_mps = kMqWords[static_cast<size_t>(word >> 8 & 0xFF)];
  const MqWord after_lps = kMqWords[static_cast<size_t>(word >> 16 & 0xFF)];
#if defined(__x86_64__)
  MqWord next = after_mps;
  __asm__("test %[part], %[part]\n\tcmovs %[word], %[next]\n\ttest %[less], %[less]\n\tcmovnz %[lps], %[next]"
          : [next] "+&r"(next)
          : [part] "r"(part), [word] "r"(word), [less] "r"(less_probable), [lps] "r"(after_lps)
          : "cc");
  return next;
#else
  const MqWord settled = MqWord{0} - static_cast<MqWord>(part >> (8 * sizeof part - 1));
  const MqWord unless_lps = after_mps ^ ((after_mps ^ word) & settled);
  return unless_lps ^ ((unless_lps ^ after_lps) & (MqWord{0} - less_probable));
#endif
}

// `yes` where the condition, 0 or 1, holds. A conditional move for the same reason.
template <class T>
inline __attribute__((always_inline)) T Select(uint32_t condition, T yes, T no) {
#if defined(__x86_64__)
  __asm__("test %[condition], %[condition]\n\tcmovnz %[yes], %[no]"
          : [no] "+r"(no)
          : [condition] "r"(condition), [yes] "r"(yes)
          : "cc");
  return no;
#else
  return no ^ ((no ^ yes) & (T{0} - condition));
#endif
}

struct MqContexts {
  MqWord word[kContexts];
  void Reset() {
    for (int i = 0; i < kContexts; ++i) word[i] = kMqWords[static_cast<size_t>(2 * InitialState(i))];
  }
};

}  // namespace zmcj::t1
