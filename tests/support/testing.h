// Shared by all tests: levels to run at, reproducible random data, memory with guard pages, padded planes.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/level.h"
#include "zmcj.h"

namespace zmcj::testing {

// The levels that this machine runs, the scalar reference first.
std::vector<Level> Levels();

// Runs the library at one level for the life of this object.
class AtLevel {
 public:
  explicit AtLevel(Level level) { UseLevel(level); }
  ~AtLevel() { UseLevel(BestLevel()); }
  AtLevel(const AtLevel&) = delete;
  AtLevel& operator=(const AtLevel&) = delete;
};

// The seed of this run: ZMCJ_TEST_SEED in the environment, else a fixed one. Failures print it.
uint64_t Seed();

// xoshiro-like small generator: reproducible on every platform.
class Random {
 public:
  explicit Random(uint64_t stream = 0) : state_(Seed() * 0x9E3779B97F4A7C15u + stream) {}
  uint32_t Next() {
    state_ += 0x9E3779B97F4A7C15u;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return static_cast<uint32_t>((z ^ (z >> 31)) >> 16);
  }
  // Uniform in low..high, both included.
  int In(int low, int high) {
    const auto range = static_cast<uint64_t>(static_cast<int64_t>(high) - low + 1);
    return static_cast<int>(low + static_cast<int64_t>(Next() % range));
  }
  // Fills with runs of kinds: zero, the extremes, near the extremes, alternating, uniform.
  template <class T>
  void FillInRuns(T* data, size_t n, int64_t low, int64_t high) {
    for (size_t i = 0; i < n;) {
      const int kind = In(0, 5);
      const size_t run = std::min<size_t>(n - i, static_cast<size_t>(In(1, 40)));
      for (size_t j = 0; j < run; ++j, ++i) {
        int64_t v = low + static_cast<int64_t>(Next() % static_cast<uint64_t>(high - low + 1));
        if (kind == 0) v = low <= 0 && high >= 0 ? 0 : low;
        if (kind == 1) v = high;
        if (kind == 2) v = low;
        if (kind == 3) v = (Next() & 1) ? high - static_cast<int>(Next() % 4) : low + static_cast<int>(Next() % 4);
        if (kind == 4) v = (j & 1) ? high : low;
        data[i] = static_cast<T>(std::min(std::max(v, low), high));
      }
    }
  }

 private:
  uint64_t state_;
};

// n bytes that end (or begin) exactly at an inaccessible page.
class Guarded {
 public:
  enum class Side { kEnd, kStart };
  explicit Guarded(size_t n, Side side = Side::kEnd);
  ~Guarded();
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;
  unsigned char* data() const { return data_; }
  size_t size() const { return size_; }
  template <class T>
  T* as() const {
    return reinterpret_cast<T*>(data_);
  }

 private:
  unsigned char* map_;
  size_t map_size_;
  unsigned char* data_;
  size_t size_;
};

// A rectangle of samples inside padding of a known pattern. CheckPadding reports what was overwritten, and on which
// side. `step` is in bytes and may be odd; rows may overlap in a source (step below the row's bytes).
class Padded {
 public:
  Padded(size_t row_bytes, int rows, int step, size_t offset = 0);
  unsigned char* at(int row) { return memory_.data() + kPad + offset_ + static_cast<ptrdiff_t>(row) * step_; }
  template <class T>
  T* as() {
    return reinterpret_cast<T*>(at(0));
  }
  int step() const { return step_; }
  ::testing::AssertionResult CheckPadding();
  // Byte comparison of the rectangle; a failure shows the first difference in hex with its row and byte.
  ::testing::AssertionResult Equals(Padded& expected);

 private:
  static constexpr size_t kPad = 256;
  unsigned char Pattern(size_t i) const { return static_cast<unsigned char>(0xA5 ^ (i * 29)); }
  size_t row_bytes_;
  int rows_;
  int step_;
  size_t offset_;
  std::vector<unsigned char> memory_;
};

// First difference of two arrays, in hex, for failure messages.
template <class T>
::testing::AssertionResult SameArray(const T* expected, const T* actual, size_t n) {
  if (std::memcmp(expected, actual, n * sizeof(T)) == 0) return ::testing::AssertionSuccess();
  for (size_t i = 0; i < n; ++i) {
    if (std::memcmp(expected + i, actual + i, sizeof(T)) != 0) {
      auto failure = ::testing::AssertionFailure()
                     << "seed " << Seed() << ", first difference at " << i << ": expected";
      char hex[8];
      for (const T* side : {expected, actual}) {
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, side + i, sizeof(T));
        failure << (side == expected ? " " : ", got ");
        for (size_t b = sizeof(T); b-- > 0;) {
          std::snprintf(hex, sizeof hex, "%02x", bytes[b]);
          failure << hex;
        }
      }
      return failure;
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace zmcj::testing
