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

// Of the two parts of an interval, the larger is the more probable symbol's.
inline __attribute__((always_inline)) uint32_t SymbolsPart(uint32_t less_probable, uint32_t a, uint32_t b) {
#if defined(__x86_64__)
  uint32_t larger = a, smaller = b;
  __asm__(
      "cmp %[b], %[a]\n\tcmovb %[b], %[larger]\n\tcmovb %[a], %[smaller]\n\t"
      "test %[less], %[less]\n\tcmovnz %[smaller], %[larger]"
      : [larger] "+&r"(larger), [smaller] "+&r"(smaller)
      : [a] "r"(a), [b] "r"(b), [less] "r"(less_probable)
      : "cc");
  return larger;
#else
  const uint32_t take_b = 0 - (less_probable ^ static_cast<uint32_t>(a < b));
  return a ^ ((a ^ b) & take_b);
#endif
}

// `yes` where two contexts are the same.
inline __attribute__((always_inline)) MqWord SelectIfSame(size_t a, size_t b, MqWord yes, MqWord no) {
#if defined(__x86_64__)
  __asm__("cmp %[a], %[b]\n\tcmovz %[yes], %[no]" : [no] "+r"(no) : [a] "r"(a), [b] "r"(b), [yes] "r"(yes) : "cc");
  return no;
#else
  return no ^ ((no ^ yes) & (MqWord{0} - static_cast<MqWord>(a == b)));
#endif
}

struct MqContexts {
  MqWord word[kContexts];
  void Reset() {
    for (int i = 0; i < kContexts; ++i) word[i] = kMqWords[2 * static_cast<size_t>(InitialState(i))];
  }
};

}  // namespace zmcj::t1
