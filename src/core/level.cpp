#include "core/level.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace zmcj {
namespace {

#if defined(__x86_64__) || defined(__i386__)

struct CpuFeatures {
  bool sse4 = false;
  bool avx2 = false;
};

bool HasAll(unsigned word, unsigned bits) { return (word & bits) == bits; }

// XCR0 bits 1 and 2: the operating system saves the XMM and YMM registers.
bool SystemSavesYmm() {
  unsigned low = 0, high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return HasAll(low, 0x6);
}

CpuFeatures Detect() {
  CpuFeatures features;
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return features;
  features.sse4 = HasAll(c, bit_SSSE3 | bit_SSE4_1 | bit_SSE4_2 | bit_POPCNT);
  const bool ymm = HasAll(c, bit_OSXSAVE | bit_AVX) && SystemSavesYmm();
  unsigned b7 = 0, c81 = 0;
  if (!__get_cpuid_count(7, 0, &a, &b7, &c, &d)) return features;
  if (!__get_cpuid(0x80000001, &a, &b, &c81, &d)) return features;
  // The bit coders of this level also use BMI1, BMI2 and LZCNT.
  features.avx2 = features.sse4 && ymm && HasAll(b7, bit_AVX2 | bit_BMI | bit_BMI2) && HasAll(c81, bit_LZCNT);
  return features;
}

#endif

}  // namespace

constinit FamilyBase* FamilyBase::first_ = nullptr;

const char* LevelName(Level level) {
  static constexpr const char* kNames[kLevels] = {"scalar", "SSE4", "AVX2", "NEON"};
  return kNames[static_cast<int>(level)];
}

bool Supported(Level level) {
  if (level == Level::kScalar) return true;
#if defined(__x86_64__) || defined(__i386__)
  static const CpuFeatures features = Detect();
  return (level == Level::kSse4 && features.sse4) || (level == Level::kAvx2 && features.avx2);
#elif defined(__aarch64__)
  return level == Level::kNeon;
#else
  return false;
#endif
}

Level BestLevel() {
  for (int i = kLevels - 1; i > 0; --i) {
    if (Supported(static_cast<Level>(i))) return static_cast<Level>(i);
  }
  return Level::kScalar;
}

void FamilyBase::Use(Level level) {
  for (int i = static_cast<int>(level); i >= 0; --i) {
    if (rows_[static_cast<size_t>(i)] == nullptr || !Supported(static_cast<Level>(i))) continue;
    active_ = rows_[static_cast<size_t>(i)];
    active_level_ = static_cast<Level>(i);
    return;
  }
}

void FamilyBase::Enrol() {
  next_ = first_;
  first_ = this;
  Use(BestLevel());
}

void UseLevel(Level level) {
  for (FamilyBase* family = FamilyBase::First(); family != nullptr; family = family->next()) family->Use(level);
}

}  // namespace zmcj
