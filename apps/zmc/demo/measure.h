// What the demonstration's rows measure.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>

#include "picture.h"

namespace zmc::demo {

inline double Psnr(const Picture& a, const Picture& b) {
  double sum = 0;
  for (size_t i = 0; i < a.rgb.size(); ++i) {
    const double d = static_cast<double>(a.rgb[i]) - b.rgb[i];
    sum += d * d;
  }
  return sum == 0 ? INFINITY : 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.rgb.size()) / sum);
}

// Mpixel/s of the fastest of several runs of ours and the peer's in turn.
struct Speeds {
  double ours = 0, peer = 0;
};
template <class Ours, class Peer>
Speeds Measure(const Picture& picture, int runs, bool have_peer, Ours ours, Peer peer) {
  const auto speed = [&](const auto& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    return static_cast<double>(picture.width) * picture.height / 1e6 / time.count();
  };
  Speeds best;
  for (int run = 0; run < runs; ++run) {
    best.ours = std::max(best.ours, speed(ours));
    if (have_peer) best.peer = std::max(best.peer, speed(peer));
  }
  return best;
}

}  // namespace zmc::demo
