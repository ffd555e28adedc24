// A progress bar on stderr for work of more than a second, when stderr is a terminal.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace zmc {

class Progress {
 public:
  Progress(const char* what, int64_t total);
  ~Progress();
  // May be called from several threads.
  void Advance(int64_t steps = 1);

 private:
  const char* what_;
  int64_t total_;
  std::atomic<int64_t> done_{0};
  std::atomic<int64_t> shown_{-1};
  bool terminal_;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace zmc
