// Rows of the benchmark table. A row runs our code and a peer's over the same data in the same process, in alternating
// batches: what the machine does meanwhile hits both sides alike. Reported are the ratio of the two best batches, which
// other load disturbs least, and beside it the median of the ratios of neighbouring batches.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zmcj::bench {

struct Row {
  std::string name;
  std::string unit;  // what `work` counts: "block", "px", "byte", "coefficient"
  double work;       // units done by one call
  double goal;       // the ratio peer time / our time to reach; 0: none stated
  std::function<void()> ours;
  std::string peer_name;
  std::function<void()> peer;  // empty: our time alone is printed
};

// Each file of bench/ adds a function that builds its rows; it is called only when the rows are wanted.
struct Suite {
  Suite(const char* name, std::function<void(std::vector<Row>&)> build);
};

// Keeps the compiler from removing work whose result nobody reads.
inline void Keep(const void* p) { __asm__ volatile("" : : "g"(p) : "memory"); }

}  // namespace zmcj::bench
