#include "jpeg_intervals.h"

#include <cstring>

namespace zmc::jpeg {
namespace {

// The next 0xFF from `position` that is neither data (0x00 follows) nor a fill byte (0xFF follows). There must be one.
size_t NextMarkerIn(Bytes data, size_t position) {
  for (;; ++position) {
    const void* found = std::memchr(data.data() + position, 0xFF, data.size() - position);
    position = static_cast<size_t>(static_cast<const uint8_t*>(found) - data.data());
    if (data[position + 1] != 0 && data[position + 1] != 0xFF) return position;
  }
}

bool IsRestart(uint8_t marker) { return marker >= kRst0 && marker <= kRst7; }

}  // namespace

size_t FindScanEnd(Bytes file, size_t begin) {
  size_t position = NextMarkerIn(file, begin);
  // Codes below 0xC0 are reserved and stand in no file: in a scan's data they are damage, not its end.
  while (file[position + 1] < kSof0 || IsRestart(file[position + 1])) position = NextMarkerIn(file, position + 1);
  return position;
}

std::vector<Interval> SplitIntervals(Bytes data) {
  std::vector<Interval> intervals;
  size_t begin = 0;
  int64_t index = 0;
  bool lost = false;
  for (size_t marker = NextMarkerIn(data, 0);; marker = NextMarkerIn(data, marker + 1)) {
    const bool last = marker + 2 == data.size();
    if (!last && !IsRestart(data[marker + 1])) continue;
    if (!lost) intervals.push_back({data.subspan(begin, marker + 2 - begin), index});
    if (last) return intervals;
    const int64_t ahead = (data[marker + 1] - index) & 7;
    lost = ahead > 2;
    if (!lost) index += 1 + ahead;
    begin = marker + 2;
  }
}

}  // namespace zmc::jpeg
