// The entropy-coded data of a scan, cut at its restart markers.
#pragma once

#include "jpeg_parse.h"

namespace zmc::jpeg {

// The position of the marker that ends the scan whose data begins at `begin`. The bytes end with such a marker.
size_t FindScanEnd(Bytes file, size_t begin);

// `data` goes up to the two bytes of the marker that ends the scan.
//
// The markers are numbered modulo 8, which tells which intervals damage has swallowed: a number one or two ahead of
// the expected one means as many intervals lost. Any other wrong number is itself taken for damage: what follows it,
// up to the next restart marker, belongs nowhere.
std::vector<Interval> SplitIntervals(Bytes data);

}  // namespace zmc::jpeg
