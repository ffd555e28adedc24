#include "j2k_tag_tree.h"

#include <algorithm>

namespace zmc::j2k {
namespace {
constexpr int kMaxDepth = 32;
}

TagTree::TagTree(int width, int height) {
  if (width < 1 || height < 1) return;
  size_t base = 0;
  for (;;) {
    const int parents_wide = (width + 1) / 2;
    const size_t above = base + static_cast<size_t>(width) * static_cast<size_t>(height);
    nodes_.resize(above);
    if (width == 1 && height == 1) return;  // the root keeps parent -1
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        nodes_[base++].parent = static_cast<int>(above) + y / 2 * parents_wide + x / 2;
      }
    }
    width = parents_wide;
    height = (height + 1) / 2;
  }
}

int TagTree::Path(size_t leaf, Node** path) {
  int depth = 0;
  for (int i = static_cast<int>(leaf); i >= 0; i = path[depth - 1]->parent) {
    path[depth++] = &nodes_[static_cast<size_t>(i)];
  }
  std::reverse(path, path + depth);
  return depth;
}

bool TagTree::Decode(BitReader& bits, size_t leaf, int limit) {
  Node* path[kMaxDepth];
  const int depth = Path(leaf, path);
  int low = 0;
  for (int i = 0; i < depth; ++i) {
    Node& node = *path[i];
    low = std::max(low, node.low);
    while (low < limit && low < node.value) {
      if (bits.Bit() != 0) {
        node.value = low;
      } else {
        ++low;
      }
    }
    node.low = low;
  }
  return path[depth - 1]->value < limit;
}

void TagTree::Build() {
  for (Node& node : nodes_) {
    node.low = 0;
    node.known = false;
    // Children come before their parent: a parent is reset when its first child is seen, and complete at its own turn.
    if (node.parent >= 0) nodes_[static_cast<size_t>(node.parent)].value = kUnknown;
  }
  for (const Node& node : nodes_) {
    if (node.parent < 0) continue;
    int& above = nodes_[static_cast<size_t>(node.parent)].value;
    above = std::min(above, node.value);
  }
}

void TagTree::Encode(BitWriter& bits, size_t leaf, int limit) {
  Node* path[kMaxDepth];
  const int depth = Path(leaf, path);
  int low = 0;
  for (int i = 0; i < depth; ++i) {
    Node& node = *path[i];
    low = std::max(low, node.low);
    for (; low < limit; ++low) {
      if (low >= node.value) {
        if (!node.known) bits.Bit(1);
        node.known = true;
        break;
      }
      bits.Bit(0);
    }
    node.low = low;
  }
}

}  // namespace zmc::j2k
