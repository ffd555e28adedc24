#include "support/testing.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace zmcj::testing {

std::vector<Level> Levels() {
  std::vector<Level> levels;
  for (int i = 0; i < kLevels; ++i) {
    if (Supported(static_cast<Level>(i))) levels.push_back(static_cast<Level>(i));
  }
  return levels;
}

uint64_t Seed() {
  static const uint64_t seed = [] {
    const char* text = std::getenv("ZMCJ_TEST_SEED");
    return text != nullptr ? std::strtoull(text, nullptr, 0) : 20040u;
  }();
  return seed;
}

Guarded::Guarded(size_t n, Side side) : size_(n) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t body = (n + page - 1) / page * page;
  map_size_ = body + 2 * page;
  void* map = mmap(nullptr, map_size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (map == MAP_FAILED) std::abort();
  map_ = static_cast<unsigned char*>(map);
  mprotect(map_, page, PROT_NONE);
  mprotect(map_ + page + body, page, PROT_NONE);
  data_ = side == Side::kStart ? map_ + page : map_ + page + body - n;
}

Guarded::~Guarded() { munmap(map_, map_size_); }

Padded::Padded(size_t row_bytes, int rows, int step, size_t offset)
    : row_bytes_(row_bytes), rows_(rows), step_(step), offset_(offset) {
  memory_.resize(2 * kPad + offset + row_bytes + static_cast<size_t>(rows - 1) * static_cast<size_t>(step));
  for (size_t i = 0; i < memory_.size(); ++i) memory_[i] = Pattern(i);
}

::testing::AssertionResult Padded::CheckPadding() {
  std::vector<bool> inside(memory_.size());
  for (int y = 0; y < rows_; ++y) {
    const auto start = static_cast<size_t>(at(y) - memory_.data());
    std::fill_n(inside.begin() + static_cast<ptrdiff_t>(start), row_bytes_, true);
  }
  for (size_t i = 0; i < memory_.size(); ++i) {
    if (inside[i] || memory_[i] == Pattern(i)) continue;
    const auto offset = static_cast<ptrdiff_t>(i) - static_cast<ptrdiff_t>(kPad + offset_);
    auto failure = ::testing::AssertionFailure() << "seed " << Seed() << ", overwritten ";
    if (offset < 0) return failure << -offset << " bytes above or left of the first row";
    const ptrdiff_t row = std::min<ptrdiff_t>(offset / step_, rows_ - 1);
    return failure << offset - row * step_ - static_cast<ptrdiff_t>(row_bytes_) << " bytes right of row " << row;
  }
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult Padded::Equals(Padded& expected) {
  for (int y = 0; y < rows_; ++y) {
    const auto same = SameArray(expected.at(y), at(y), row_bytes_);
    if (!same) return ::testing::AssertionFailure() << "row " << y << ": " << same.message();
  }
  return ::testing::AssertionSuccess();
}

}  // namespace zmcj::testing

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
