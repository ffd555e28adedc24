// Instruction-set levels, and the tables of kernels chosen once by level.
#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>

namespace zmcj {

// Weakest to strongest within one architecture. kScalar is the reference that defines every other level's bits.
// kAvx512 asks for VBMI2 too: processors that have it do not slow down under wide registers. Not every family has a row
// for it.
enum class Level { kScalar, kSse4, kAvx2, kAvx512, kNeon };
inline constexpr int kLevels = 5;

const char* LevelName(Level level);

// Whether this processor and operating system run everything that a level's kernels are compiled with.
bool Supported(Level level);

// What all families have in common: the rows by level, and the one in use.
class FamilyBase {
 public:
  const char* name() const { return name_; }
  Level active_level() const { return active_level_; }

  // Takes the strongest compiled row at or below `level` that runs here.
  void Use(Level level);

  static FamilyBase* First() { return first_; }
  FamilyBase* next() const { return next_; }

 protected:
  constexpr FamilyBase(const char* name, const void* reference) : active_(reference), name_(name) {
    rows_[0] = reference;
  }
  void Enrol();

  const void* active_;
  std::array<const void*, kLevels> rows_{};

 private:
  friend class Enrolment;
  const char* name_;
  Level active_level_ = Level::kScalar;
  FamilyBase* next_ = nullptr;
  static FamilyBase* first_;
};

// A kernel family: `Kernels` is a struct of function pointers, one constant of it per level. Constant-initialised with
// the scalar reference, so a call from somebody's static constructor finds a working table; enrolment then takes the
// best row. After that nothing writes here in production.
template <class Kernels>
class Family : public FamilyBase {
 public:
  struct Row {
    Level level;
    const Kernels* kernels;
  };
  constexpr Family(const char* name, const Kernels& reference, std::initializer_list<Row> vector_rows)
      : FamilyBase(name, &reference) {
    for (const Row& row : vector_rows) rows_[static_cast<size_t>(row.level)] = row.kernels;
  }
  const Kernels* operator->() const { return static_cast<const Kernels*>(active_); }
  const Kernels& operator*() const { return *static_cast<const Kernels*>(active_); }
};

// A static object beside each family: chooses the family's row when the library is loaded.
class Enrolment {
 public:
  explicit Enrolment(FamilyBase& family) { family.Enrol(); }
};

// For tests and benchmarks: every family takes its strongest row at or below `level`. Not for use while another thread
// is inside the library.
void UseLevel(Level level);
Level BestLevel();

}  // namespace zmcj
