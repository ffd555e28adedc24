#include "j2k_wavelet.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "failure.h"
#include "zmcj.h"

namespace zmc::j2k {
namespace {

struct Transform {
  ZmcStatus (*size)(const ZmciRect*, int32_t*);
  ZmcStatus (*forward)(int32_t*, int, const ZmciRect*, uint8_t*);
  ZmcStatus (*inverse)(int32_t*, int, const ZmciRect*, uint8_t*);
};
constexpr Transform kReversible = {zmciWTGetBufSize_B53_JPEG2K_32s_C1IR, zmciWTFwd_B53_JPEG2K_32s_C1IR,
                                   zmciWTInv_B53_JPEG2K_32s_C1IR};
constexpr Transform kIrreversible = {zmciWTGetBufSize_D97_JPEG2K_32s_C1IR, zmciWTFwd_D97_JPEG2K_32s_C1IR,
                                     zmciWTInv_D97_JPEG2K_32s_C1IR};

// One level; of the position the filters need only the parity.
void RunLevel(const Transform& transform, bool forward, const Rect& rect, Plane& plane, std::vector<uint8_t>& buffer) {
  if (rect.empty()) return;
  const ZmciRect region = {static_cast<int32_t>(rect.x0 & 1), static_cast<int32_t>(rect.y0 & 1),
                           static_cast<int32_t>(rect.width()), static_cast<int32_t>(rect.height())};
  int32_t bytes = 0;
  transform.size(&region, &bytes);
  if (buffer.size() < static_cast<size_t>(bytes) + 1) buffer.resize(static_cast<size_t>(bytes) + 1);
  const ZmcStatus status =
      (forward ? transform.forward : transform.inverse)(plane.samples.data(), plane.Step(), &region, buffer.data());
  if (status != zmcStatusOk) throw Failure("the wavelet transform failed");
}

const Transform& TransformOf(const TileComponent& component) {
  return component.parameters().coding.reversible ? kReversible : kIrreversible;
}

// The norm along one dimension, measured: one unit goes through the inverse transform.
double MeasureLineNorm(int level, bool high) {
  constexpr int32_t kUnit = 1 << 20;
  Plane line(int64_t{32} << level, 1);
  std::vector<uint8_t> buffer;
  const int64_t band_width = line.width >> level;
  line.samples[static_cast<size_t>(band_width / 2 + (high ? band_width : 0))] = kUnit;
  for (int n = level; n > 0; --n) RunLevel(kIrreversible, false, {0, 0, line.width >> (n - 1), 1}, line, buffer);
  double sum = 0;
  for (const int32_t v : line.samples) sum += static_cast<double>(v) * v;
  return std::sqrt(sum) / kUnit;
}

double LineNorm(int level, bool high) {
  constexpr int kMeasured = 10;  // deeper levels double the energy each
  static const auto norms = [] {
    std::array<std::array<double, 2>, kMeasured + 1> table{};
    table[0] = {1, 1};
    for (int n = 1; n <= kMeasured; ++n) {
      table[static_cast<size_t>(n)] = {MeasureLineNorm(n, false), MeasureLineNorm(n, true)};
    }
    return table;
  }();
  const int deeper = std::max(0, level - kMeasured);
  return norms[static_cast<size_t>(level - deeper)][high ? 1 : 0] * std::exp2(deeper * 0.5);
}

}  // namespace

void ForwardWavelet(const TileComponent& component, Plane& plane) {
  std::vector<uint8_t> buffer;
  for (int r = component.levels(); r > 0; --r) {
    RunLevel(TransformOf(component), true, component.resolutions[static_cast<size_t>(r)].rect, plane, buffer);
  }
}

void InverseWavelet(const TileComponent& component, int last, Plane& plane) {
  std::vector<uint8_t> buffer;
  for (int r = 1; r <= last; ++r) {
    RunLevel(TransformOf(component), false, component.resolutions[static_cast<size_t>(r)].rect, plane, buffer);
  }
}

double SynthesisNorm(int level, Orientation orientation) {
  return LineNorm(level, (orientation & kHL) != 0) * LineNorm(level, (orientation & kLH) != 0);
}

}  // namespace zmc::j2k
