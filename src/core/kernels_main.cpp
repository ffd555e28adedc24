// zmcj-kernels: prints, for each family of kernels, the instruction-set level that it uses on this machine.
#include <cstdio>

#include "core/level.h"

int main() {
  using namespace zmcj;
  std::printf("%-40s %s\n", "this machine", LevelName(BestLevel()));
  for (const FamilyBase* family = FamilyBase::First(); family != nullptr; family = family->next()) {
    std::printf("%-40s %s\n", family->name(), LevelName(family->active_level()));
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
