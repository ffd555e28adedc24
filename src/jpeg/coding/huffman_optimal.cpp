// Huffman tables from symbol counts (ISO/IEC 10918-1, K.2): lengths up to 16 and no code of all ones.
#include <algorithm>
#include <utility>

#include "core/check.h"
#include "jpeg/coding/huffman_records.h"

namespace zmcj {
namespace {

constexpr int kReserved = 256;  // one symbol more, which takes the code of all ones
constexpr int kLeaves = 257;
constexpr int kMaxBuiltLength = 32;
// A count above this is never merged, so that sums stay within 31 bits.
constexpr uint32_t kMostCounted = 1000000000;

// The annex merges, again and again, the two smallest counts, the highest symbol first among equals, into the place of
// the first of them. Here every leaf is sorted once, and sums go behind a second queue. That queue is in order as well:
// sums do not decrease, and two equal sums come from four equal counts, whose symbols were taken downwards.
class CodeLengths {
 public:
  explicit CodeLengths(const int* counts) {
    SortLeaves(counts);
    Merge();
    // Parents stand behind their children.
    for (int i = nodes_ - 1; i >= 0; --i) {
      depth_[i] = static_cast<uint16_t>(parent_[i] == kRoot ? 0 : depth_[parent_[i]] + 1);
    }
    for (int i = 0; i < leaves_; ++i) of[node_[i].symbol] = depth_[i];
  }

  uint16_t of[kLeaves] = {};

 private:
  static constexpr uint16_t kRoot = 0xFFFF;
  struct Node {
    uint32_t count;
    uint32_t symbol;
    // Smaller counts first, then higher symbols.
    uint64_t Order() const { return static_cast<uint64_t>(count) << 32 | (kReserved - symbol); }
  };

  // By count, stable from the highest symbol down: a radix sort over the bytes that the counts have.
  void SortLeaves(const int* counts) {
    Node other[kLeaves];
    uint32_t places[4][256] = {};
    uint32_t all = 1;
    node_[leaves_++] = {1, kReserved};
    for (uint32_t symbol = 256; symbol-- > 0;) {
      const auto count = static_cast<uint32_t>(counts[symbol]);
      node_[leaves_] = {count, symbol};
      leaves_ += count != 0 && count <= kMostCounted;
    }
    for (int i = 0; i < leaves_; ++i) {
      const uint32_t count = node_[i].count;
      all |= count;
      for (int digit = 0; digit < 4; ++digit) ++places[digit][count >> (8 * digit) & 0xFF];
    }
    Node* from = node_;
    Node* to = other;
    for (int digit = 0; digit < 4 && all >> (8 * digit) != 0; ++digit, std::swap(from, to)) {
      uint32_t next = 0;
      for (uint32_t& place : places[digit]) next += std::exchange(place, next);
      for (int i = 0; i < leaves_; ++i) to[places[digit][from[i].count >> (8 * digit) & 0xFF]++] = from[i];
    }
    if (from != node_) std::copy(from, from + leaves_, node_);
  }

  // Sums follow the leaves in node_; those too large to be merged again stay roots.
  void Merge() {
    int leaf = 0, sum = leaves_, sums_end = leaves_;
    nodes_ = leaves_;
    const auto take = [&] {
      const bool from_leaves = leaf < leaves_ && (sum == sums_end || node_[leaf].Order() < node_[sum].Order());
      return from_leaves ? leaf++ : sum++;
    };
    while (leaves_ - leaf + sums_end - sum >= 2) {
      const int first = take(), second = take();
      node_[nodes_] = {node_[first].count + node_[second].count, node_[first].symbol};
      parent_[first] = parent_[second] = static_cast<uint16_t>(nodes_);
      sums_end += node_[nodes_].count <= kMostCounted;
      parent_[nodes_++] = kRoot;
    }
    for (; leaf < leaves_; ++leaf) parent_[leaf] = kRoot;
  }

  int leaves_ = 0, nodes_ = 0;
  Node node_[2 * kLeaves];
  uint16_t parent_[2 * kLeaves];
  uint16_t depth_[2 * kLeaves];
};

// Shortens codes of more than 16 bits (K.3): two of them become one a bit shorter, and a shorter code makes room.
void LimitLengths(int* codes) {
  for (int i = kMaxBuiltLength; i > kMaxCodeLength; --i) {
    while (codes[i] > 0) {
      int j = i - 2;
      while (j > 1 && codes[j] == 0) --j;
      codes[i] -= 2;
      codes[i - 1] += 1;
      codes[j + 1] += 2;
      codes[j] -= 1;
    }
  }
}

ZmcStatus BuildOptimal(const int* counts, uint8_t* bits, uint8_t* values) {
  if (std::any_of(counts, counts + 256, [](int n) { return n < 0; })) return zmcStatusBadArgument;
  const CodeLengths lengths(counts);
  // Wider than the bytes they end in: 256 codes of nine bits are possible as long as the reserved one is among them.
  int codes[kMaxBuiltLength + 1] = {};
  for (const uint16_t length : lengths.of) {
    if (length > kMaxBuiltLength) return zmcStatusBadHuffmanTable;
    ++codes[length];
  }
  codes[0] = 0;
  // Where each length's symbols begin in the list, by the lengths as built: limiting keeps their order.
  int next[kMaxBuiltLength + 2] = {};
  for (int length = 1; length <= kMaxBuiltLength; ++length) {
    next[length + 1] = next[length] + codes[length] - (length == lengths.of[kReserved]);
  }
  LimitLengths(codes);
  int longest = kMaxCodeLength;
  while (longest > 0 && codes[longest] == 0) --longest;
  if (longest == 0) return zmcStatusBadHuffmanTable;
  --codes[longest];
  for (int length = 1; length <= kMaxCodeLength; ++length) bits[length - 1] = static_cast<uint8_t>(codes[length]);
  for (int symbol = 0; symbol < 256; ++symbol) {
    if (lengths.of[symbol] != 0) values[next[lengths.of[symbol]]++] = static_cast<uint8_t>(symbol);
  }
  return zmcStatusOk;
}

}  // namespace
}  // namespace zmcj

using namespace zmcj;

ZmcStatus zmciEncodeHuffmanRawTableInit_JPEG_8u(const int pStatistics[256], uint8_t* pListBits, uint8_t* pListVals) {
  if (ZmcStatus s = NotNull(pStatistics, pListBits, pListVals)) return s;
  return BuildOptimal(pStatistics, pListBits, pListVals);
}
