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
  for (uint64_t i = 0; i < words.size(); ++i) {
    const MqState& s = kMqStates[i / 2];
    const auto number = [i](int32_t state, int32_t flip) {
      return 2 * static_cast<uint64_t>(state) + ((i & 1) ^ static_cast<uint64_t>(flip));
    };
    words[i] =
        static_cast<uint64_t>(s.qe) << 48 | number(s.next_lps, s.switch_mps) << 16 | number(s.next_mps, 0) << 8 | i;
  }
  return words;
}();

struct MqContexts {
  MqWord word[kContexts];
  void Reset() {
    for (int i = 0; i < kContexts; ++i) word[i] = kMqWords[static_cast<size_t>(2 * InitialState(i))];
  }
};

}  // namespace zmcj::t1
