// Whole five-level transforms and single levels, with memcpy over the same bytes as the yardstick. The best open codec
// has no public call for its transform: its time on such a core, in nanoseconds a sample, stands in the row's name, and
// the last column of a row is the ratio to reach over that time.
#include <cstdio>
#include <cstring>

#include "ratio.h"
#include "zmcj.h"

namespace zmcj::bench {
namespace {

template <class T>
using InPlace = ZmcStatus (*)(T*, int, const ZmciRect*, uint8_t*);

constexpr int kLargest = 4096;

// Transformed over and over, an image keeps its range only if it is all zero, so that is what the rows measure. Time
// depends on the samples in one case: the 16-bit 9/7 takes a slower way where some exceed 2400, which has its own rows.
template <class T>
T* Image(bool large = false) {
  static std::vector<T> zero(static_cast<size_t>(kLargest) * kLargest);
  static std::vector<T> full = [] {
    std::vector<T> v(static_cast<size_t>(kLargest) * kLargest);
    uint32_t state = 1;
    for (T& sample : v) sample = static_cast<T>((state = state * 1664525 + 1013904223) >> 8);
    return v;
  }();
  return (large ? full : zero).data();
}

unsigned char* Copy() {
  static std::vector<unsigned char> copy(static_cast<size_t>(kLargest) * kLargest * 4);
  return copy.data();
}

// The levels shrink and grow the same corner of one image.
template <class T>
void Levels(InPlace<T> transform, int size, int levels, bool inverse, bool large) {
  static std::vector<uint8_t> work(4 * (kLargest + 8));
  for (int i = 0; i < levels; ++i) {
    const int side = size >> (inverse ? levels - 1 - i : i);
    const ZmciRect rect = {0, 0, side, side};
    transform(Image<T>(large), size * static_cast<int>(sizeof(T)), &rect, work.data());
  }
}

template <class T>
void CopyLevels(int size, int levels) {
  for (int i = 0; i < levels; ++i) {
    const size_t side = static_cast<size_t>(size >> i);
    std::memcpy(Copy(), Image<T>(), side * side * sizeof(T));
    Keep(Copy());
  }
}

template <class T>
void AddRow(std::vector<Row>& rows, const char* name, InPlace<T> transform, int size, int levels, bool inverse,
            double goal, double peer, bool large = false) {
  char text[100], against[60] = "";
  if (peer > 0) std::snprintf(against, sizeof against, " (peer %.2f)", peer);
  std::snprintf(text, sizeof text, "%s %d %s%s", name, size, levels == 1 ? "1 level" : "5 levels", against);
  rows.push_back({text, "sample", static_cast<double>(size) * size, goal,
                  [=] { Levels<T>(transform, size, levels, inverse, large); }, "memcpy",
                  [=] { CopyLevels<T>(size, levels); }});
}

const Suite suite("wavelet", [](std::vector<Row>& rows) {
  constexpr int kSizes[4] = {512, 1024, 2048, 4096};
  const struct {
    const char* name;
    InPlace<int32_t> wide;
    InPlace<int16_t> narrow;
    bool inverse;
    double peer[4];
  } transforms[] = {
      {"5/3 forward", zmciWTFwd_B53_JPEG2K_32s_C1IR, zmciWTFwd_B53_JPEG2K_16s_C1IR, false, {1.64, 2.53, 4.59, 5.60}},
      {"5/3 inverse", zmciWTInv_B53_JPEG2K_32s_C1IR, zmciWTInv_B53_JPEG2K_16s_C1IR, true, {1.49, 2.37, 4.00, 5.11}},
      {"9/7 forward", zmciWTFwd_D97_JPEG2K_32s_C1IR, zmciWTFwd_D97_JPEG2K_16s_C1IR, false, {2.62, 4.67, 6.12, 6.94}},
      {"9/7 inverse", zmciWTInv_D97_JPEG2K_32s_C1IR, zmciWTInv_D97_JPEG2K_16s_C1IR, true, {2.07, 3.09, 5.20, 5.34}},
  };
  for (const auto& t : transforms) {
    for (int i = 0; i < 4; ++i) {
      AddRow<int32_t>(rows, (std::string(t.name) + " 32s").c_str(), t.wide, kSizes[i], 5, t.inverse, 0, t.peer[i]);
      AddRow<int16_t>(rows, (std::string(t.name) + " 16s").c_str(), t.narrow, kSizes[i], 5, t.inverse, 0, 0);
    }
    if (t.name[0] == '9')
      AddRow<int16_t>(rows, (std::string(t.name) + " 16s large").c_str(), t.narrow, 1024, 5, t.inverse, 0, 0, true);
    AddRow<int32_t>(rows, (std::string(t.name) + " 32s").c_str(), t.wide, 512, 1, t.inverse, 0.35, 0);
    AddRow<int16_t>(rows, (std::string(t.name) + " 16s").c_str(), t.narrow, 512, 1, t.inverse, 0.35, 0);
  }
});

}  // namespace
}  // namespace zmcj::bench
