// The squared error that a coding pass removes, when the decoder takes the midpoint of what it knows. In plane p a
// sample of magnitude m that becomes significant goes from 0 to r = 1.5 * 2^p: m^2 - (m - r)^2 = 2rm - r^2. A refined
// sample at distance u from its old midpoint goes to a new one 2^(p-1) away on u's side: 2^p |u| - 4^(p-1). Both are
// linear, so that a pass needs two sums and two counts. Plane 0 leaves no error behind: r = m = 1, and u^2 = |u| goes
// to 0.
#pragma once

#include <cstdint>

namespace zmcj::t1 {

struct DistortionSums {
  int64_t became = 0;
  int64_t became_magnitude = 0;
  int64_t refined = 0;
  int64_t refined_distance = 0;

  void Became(uint32_t magnitude) {
    ++became;
    became_magnitude += magnitude;
  }
  void Refined(uint32_t magnitude, int plane) {
    const auto t = static_cast<int64_t>(magnitude & ((uint64_t{2} << plane) - 1));
    const int64_t u = t - (int64_t{1} << plane);
    ++refined;
    refined_distance += u < 0 ? -u : u;
  }

  double Reduction(int plane) const {
    if (plane == 0) return static_cast<double>(became + refined_distance);
    const auto unit = static_cast<double>(uint32_t{1} << plane);
    return unit * (3.0 * static_cast<double>(became_magnitude) + static_cast<double>(refined_distance)) -
           unit * unit * (2.25 * static_cast<double>(became) + 0.25 * static_cast<double>(refined));
  }
};

}  // namespace zmcj::t1
