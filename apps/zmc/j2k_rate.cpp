#include "j2k_rate.h"

#include <algorithm>
#include <cmath>

namespace zmc::j2k {

RateControl::RateControl(std::span<EncodedBlock> blocks) : blocks_(blocks) {
  for (const EncodedBlock& block : blocks) hulls_.push_back(Hull(block));
}

std::vector<RateControl::Cut> RateControl::Hull(const EncodedBlock& block) {
  std::vector<Cut> hull;
  for (size_t i = 0; i < block.passes.size(); ++i) {
    Cut cut = {static_cast<int>(i) + 1, block.passes[i].length, block.passes[i].distortion, 0};
    for (;;) {
      const uint32_t length = hull.empty() ? 0 : hull.back().length;
      const double distortion = hull.empty() ? 0 : hull.back().distortion;
      if (cut.distortion <= distortion) break;                                // removes nothing
      const double bytes = cut.length > length ? cut.length - length : 0.01;  // as good as free
      cut.slope = (cut.distortion - distortion) / bytes;
      if (hull.empty() || cut.slope < hull.back().slope) {
        hull.push_back(cut);
        break;
      }
      hull.pop_back();  // lies below the line from the cut before it to this one
    }
  }
  return hull;
}

const RateControl::Cut* RateControl::Choose(const std::vector<Cut>& hull, double slope) {
  const auto end =
      std::partition_point(hull.begin(), hull.end(), [slope](const Cut& cut) { return cut.slope >= slope; });
  return end == hull.begin() ? nullptr : &*(end - 1);
}

template <typename Fits>
double RateControl::Search(const Fits& fits) const {
  double low = 1e30, high = 0;
  for (const auto& hull : hulls_) {
    if (hull.empty()) continue;
    low = std::min(low, hull.back().slope);
    high = std::max(high, hull.front().slope);
  }
  if (high == 0 || fits(low)) return low;
  high *= 2;  // takes nothing, and nothing fits always
  for (int i = 0; i < 40 && high / low > 1 + 1e-6; ++i) {
    const double middle = std::sqrt(low * high);
    (fits(middle) ? high : low) = middle;
  }
  return high;
}

void RateControl::Assign(size_t layer, double slope) {
  for (size_t i = 0; i < blocks_.size(); ++i) {
    const Cut* cut = Choose(hulls_[i], slope);
    auto& ends = blocks_[i].layer_ends;
    const int before = layer == 0 ? 0 : ends[layer - 1];
    ends.resize(layer + 1);
    ends[layer] = std::max(before, cut == nullptr ? 0 : cut->passes);
  }
}

void RateControl::FillToLength(size_t layer, int64_t bytes) {
  Assign(layer, Search([&](double slope) {
           int64_t sum = 0;
           for (const auto& hull : hulls_) {
             if (const Cut* cut = Choose(hull, slope)) sum += cut->length;
           }
           return sum <= bytes;
         }));
}

void RateControl::FillToDistortion(size_t layer, double distortion) {
  // The steepest slope that is enough: the search runs on its complement.
  double low = 1e-30, high = 1e30;
  const auto enough = [&](double slope) {
    double sum = 0;
    for (const auto& hull : hulls_) {
      if (const Cut* cut = Choose(hull, slope)) sum += cut->distortion;
    }
    return sum >= distortion;
  };
  for (int i = 0; i < 200 && high / low > 1 + 1e-6; ++i) {
    const double middle = std::sqrt(low * high);
    (enough(middle) ? low : high) = middle;
  }
  Assign(layer, low);
}

int64_t RateControl::TotalLength() const {
  int64_t sum = 0;
  for (const EncodedBlock& block : blocks_) sum += static_cast<int64_t>(block.bytes.size());
  return sum;
}

double RateControl::TotalDistortion() const {
  double sum = 0;
  for (const EncodedBlock& block : blocks_) sum += block.passes.empty() ? 0 : block.passes.back().distortion;
  return sum;
}

}  // namespace zmc::j2k
