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
  bool avx512 = false;
};

bool HasAll(unsigned word, unsigned bits) { return (word & bits) == bits; }

// XCR0, whose bits tell which registers the operating system saves.
constexpr unsigned kYmm = 0x06;  // XMM and YMM
constexpr unsigned kZmm = 0xE6;  // also the mask registers, the upper halves of ZMM0 to 15, and ZMM16 to 31
bool SystemSaves(unsigned registers) {
  unsigned low = 0, high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return HasAll(low, registers);
}

CpuFeatures Detect() {
  CpuFeatures features;
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return features;
  features.sse4 = HasAll(c, bit_SSSE3 | bit_SSE4_1 | bit_SSE4_2 | bit_POPCNT);
  const bool avx = HasAll(c, bit_OSXSAVE | bit_AVX) && SystemSaves(kYmm);
  const bool fma = HasAll(c, bit_FMA);
  unsigned b7 = 0, c7 = 0, c81 = 0;
  if (!__get_cpuid_count(7, 0, &a, &b7, &c7, &d)) return features;
  if (!__get_cpuid(0x80000001, &a, &b, &c81, &d)) return features;
  // The bit coders of this level also use BMI1, BMI2 and LZCNT.
  features.avx2 = features.sse4 && avx && HasAll(b7, bit_AVX2 | bit_BMI | bit_BMI2) && HasAll(c81, bit_LZCNT);
  // FMA is never asked for, but compilers take AVX-512 to include it.
  constexpr unsigned kAvx512 = bit_AVX512F | bit_AVX512VL | bit_AVX512DQ | bit_AVX512BW | bit_AVX512CD;
  features.avx512 =
      features.avx2 && fma && SystemSaves(kZmm) && HasAll(b7, kAvx512) && HasAll(c7, bit_AVX512VBMI | bit_AVX512VBMI2);
  return features;
}

#endif

}  // namespace

constinit FamilyBase* FamilyBase::first_ = nullptr;

const char* LevelName(Level level) {
  static constexpr const char* kNames[kLevels] = {"scalar", "SSE4", "AVX2", "AVX512", "NEON"};
  return kNames[static_cast<int>(level)];
}

bool Supported(Level level) {
  if (level == Level::kScalar) return true;
#if defined(__x86_64__) || defined(__i386__)
  static const CpuFeatures features = Detect();
  return (level == Level::kSse4 && features.sse4) || (level == Level::kAvx2 && features.avx2) ||
         (level == Level::kAvx512 && features.avx512);
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
