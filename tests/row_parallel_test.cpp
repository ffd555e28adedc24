#include "core/row_parallel.h"

#include <set>

#include "support/testing.h"
#ifdef _OPENMP
#include <omp.h>
#endif

namespace zmcj::testing {
namespace {

TEST(RowParallel, TheProductWrapsAsASigned32BitRegister) {
  EXPECT_FALSE(WorthThreads({128, 64}));
  EXPECT_TRUE(WorthThreads({8193, 1}));
  EXPECT_TRUE(WorthThreads({1, 8193}));
  EXPECT_TRUE(WorthThreads({46340, 46340}));           // 2147395600
  EXPECT_FALSE(WorthThreads({46341, 46341}));          // above 2^31 - 1: negative
  EXPECT_FALSE(WorthThreads({65536, 65536}));          // 2^32: zero
  EXPECT_TRUE(WorthThreads({65536, 65537}));           // 2^32 + 65536
  EXPECT_FALSE(WorthThreads({INT32_MAX, INT32_MAX}));  // 1
}

#ifdef _OPENMP
// What each row saw of the runtime.
struct Trace {
  std::vector<int> level, thread, order;
  int calls = 0;
};

Trace TraceRows(ZmciSize size) {
  Trace trace;
  const auto rows = static_cast<size_t>(size.height);
  trace.level.resize(rows), trace.thread.resize(rows), trace.order.resize(rows);
  std::vector<int> done(256);
  RunRowsParallel(size, [&](int begin, int end) {
    for (int y = begin; y < end; ++y) {
      const auto row = static_cast<size_t>(y);
      trace.level[row] = omp_get_level();
      trace.thread[row] = omp_get_thread_num();
      trace.order[row] = done[static_cast<size_t>(omp_get_thread_num())]++;
    }
#pragma omp atomic
    ++trace.calls;
  });
  return trace;
}

TEST(RowParallel, OnlyMoreThan8192PixelsEnterAParallelRegion) {
  EXPECT_EQ(TraceRows({128, 64}).level, std::vector<int>(64, 0));
  EXPECT_EQ(TraceRows({8192, 1}).level, std::vector<int>(1, 0));
  EXPECT_EQ(TraceRows({8193, 1}).level, std::vector<int>(1, 1));
  EXPECT_EQ(TraceRows({2731, 3}).level, std::vector<int>(3, 1));
}

TEST(RowParallel, EachThreadDoesOneBlockOfRowsInOrder) {
  const int before = omp_get_max_threads();
  for (const int threads : {1, 2, 3, 16}) {
    for (const int height : {1, 2, 7, 100}) {
      omp_set_num_threads(threads);
      const Trace trace = TraceRows({9000, height});
      const std::set<int> team(trace.thread.begin(), trace.thread.end());
      EXPECT_EQ(static_cast<int>(team.size()), std::min(threads, height));
      EXPECT_EQ(trace.calls, threads);
      for (size_t y = 1; y < trace.thread.size(); ++y) {
        const bool same_block = trace.thread[y] == trace.thread[y - 1];
        EXPECT_GE(trace.thread[y], trace.thread[y - 1]);
        EXPECT_EQ(trace.order[y], same_block ? trace.order[y - 1] + 1 : 0);
        EXPECT_LE(trace.order[y], height / threads);
      }
    }
  }
  omp_set_num_threads(before);
}

TEST(RowParallel, InsideARegionWithoutNestingTheCallerDoesAllRows) {
  const int before = omp_get_max_active_levels();
  for (const int levels : {1, 2}) {
    omp_set_max_active_levels(levels);
    bool alone[2] = {};
#pragma omp parallel num_threads(2)
    {
      const Trace trace = TraceRows({9000, 10});
      alone[omp_get_thread_num()] = trace.calls == 1 && trace.level == std::vector<int>(10, 2);
    }
    const bool serial = levels == 1 || omp_get_max_threads() == 1;
    EXPECT_EQ(alone[0], serial);
    EXPECT_EQ(alone[1], serial);
  }
  omp_set_max_active_levels(before);
}
#endif

}  // namespace
}  // namespace zmcj::testing
