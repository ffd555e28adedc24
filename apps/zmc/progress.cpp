#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace zmc {
namespace {
constexpr int kWidth = 40;
constexpr auto kPatience = std::chrono::seconds(1);
}  // namespace

Progress::Progress(const char* what, int64_t total)
    : what_(what), total_(total), terminal_(::isatty(STDERR_FILENO) == 1), start_(std::chrono::steady_clock::now()) {}

Progress::~Progress() {
  // Wipes the bar, so that what is printed next starts on an empty line.
  if (shown_ >= 0) std::fprintf(stderr, "\r\033[K");
}

void Progress::Advance(int64_t steps) {
  const int64_t done = done_.fetch_add(steps) + steps;
  if (!terminal_ || total_ <= 0 || std::chrono::steady_clock::now() - start_ < kPatience) return;
  const int64_t percent = done * 100 / total_;
  int64_t shown = shown_.load();
  // One thread draws each new percentage; a later one that is overtaken draws nothing.
  if (percent <= shown || !shown_.compare_exchange_strong(shown, percent)) return;
  const std::string bar(static_cast<size_t>(percent * kWidth / 100), '#');
  std::fprintf(stderr, "\r%s [%-*s] %3d %%", what_, kWidth, bar.c_str(), static_cast<int>(percent));
}

}  // namespace zmc
