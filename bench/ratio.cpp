// zmcj_bench [--suite NAME] [--filter TEXT] [--rounds N]: the rows of one suite or all whose names contain TEXT.
#include "ratio.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zmcj::bench {
namespace {

struct NamedSuite {
  const char* name;
  std::function<void(std::vector<Row>&)> build;
};

std::vector<NamedSuite>& Suites() {
  static std::vector<NamedSuite> suites;
  return suites;
}

double Seconds(const std::function<void()>& call, int repeats) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < repeats; ++i) call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Calls per batch so that a batch lasts about two milliseconds: long against the clock, short against the scheduler.
int Calibrate(const std::function<void()>& call) {
  call();
  int repeats = 1;
  while (repeats < (1 << 24) && Seconds(call, repeats) < 1e-3) repeats *= 2;
  return std::max(1, repeats * 2);
}

double Median(std::vector<double> v) {
  std::nth_element(v.begin(), v.begin() + static_cast<ptrdiff_t>(v.size() / 2), v.end());
  return v[v.size() / 2];
}

void Run(const Row& row, int rounds) {
  const int our_calls = Calibrate(row.ours);
  const int peer_calls = row.peer ? Calibrate(row.peer) : 0;
  std::vector<double> ours, peer, ratios;
  for (int i = 0; i < rounds; ++i) {
    ours.push_back(Seconds(row.ours, our_calls) / our_calls / row.work);
    if (!row.peer) continue;
    peer.push_back(Seconds(row.peer, peer_calls) / peer_calls / row.work);
    ratios.push_back(peer.back() / ours.back());
  }
  std::printf("%-46s %10.3f ns/%s", row.name.c_str(), *std::min_element(ours.begin(), ours.end()) * 1e9,
              row.unit.c_str());
  if (row.peer) {
    const double best = *std::min_element(ours.begin(), ours.end());
    const double peer_best = *std::min_element(peer.begin(), peer.end());
    std::printf("   %-24s %10.3f   ratio %5.2f (median %5.2f)", row.peer_name.c_str(), peer_best * 1e9,
                peer_best / best, Median(ratios));
    if (row.goal > 0) std::printf("   goal %.2f", row.goal);
  }
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

Suite::Suite(const char* name, std::function<void(std::vector<Row>&)> build) {
  Suites().push_back({name, std::move(build)});
}

}  // namespace zmcj::bench

int main(int argc, char** argv) {
  using namespace zmcj::bench;
  const char* filter = "";
  const char* suite_filter = nullptr;
  int rounds = 41;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--filter") == 0) filter = argv[i + 1];
    if (std::strcmp(argv[i], "--suite") == 0) suite_filter = argv[i + 1];
    if (std::strcmp(argv[i], "--rounds") == 0) rounds = std::max(1, std::atoi(argv[i + 1]));
  }
  std::sort(Suites().begin(), Suites().end(), [](auto& a, auto& b) { return std::strcmp(a.name, b.name) < 0; });
  for (const auto& suite : Suites()) {
    if (suite_filter != nullptr && std::strcmp(suite_filter, suite.name) != 0) continue;
    std::vector<Row> rows;
    suite.build(rows);
    std::printf("== %s\n", suite.name);
    for (const Row& row : rows) {
      if (row.name.find(filter) != std::string::npos) Run(row, rounds);
    }
  }
}
