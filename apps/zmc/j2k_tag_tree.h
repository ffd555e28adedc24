// Tag trees: a coded map of small numbers in which every node holds the smallest number below it, so that large empty
// areas cost few bits (ISO/IEC 15444-1, B.10.2).
#pragma once

#include <cstdint>
#include <vector>

#include "j2k_bits.h"

namespace zmc::j2k {

class TagTree {
 public:
  TagTree() = default;
  TagTree(int width, int height);

  // Reads until it is known whether the leaf's number is below `limit`, and says so.
  bool Decode(BitReader& bits, size_t leaf, int limit);

  // For encoding: all leaves are set, then Build fills the nodes above and forgets what has been sent.
  void Set(size_t leaf, int value) { nodes_[leaf].value = value; }
  void Build();
  // Writes what a decoder still needs to know whether the leaf's number is below `limit`.
  void Encode(BitWriter& bits, size_t leaf, int limit);

 private:
  static constexpr int kUnknown = INT32_MAX;
  struct Node {
    int parent = -1;
    int value = kUnknown;
    int low = 0;         // the number is known to be at least this
    bool known = false;  // encoder: the number has been sent
  };
  // The nodes from the root to the leaf.
  int Path(size_t leaf, Node** path);
  std::vector<Node> nodes_;  // leaves first, row by row; the root last
};

}  // namespace zmc::j2k
