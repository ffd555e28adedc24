// Reads a JPEG file's segments, without decoding: what the file holds, and where its entropy-coded data is.
#pragma once

#include <string>
#include <vector>

#include "jpeg_format.h"

namespace zmc::jpeg {

// The entropy-coded data between two restart markers, with the two bytes of the marker that ends it.
struct Interval {
  Bytes data;
  int64_t index = 0;  // counted from the scan's start; those that were lost are missing
};

struct ScanEntry {
  Scan scan;
  Tables tables;
  std::vector<Interval> intervals;
};

struct Segment {
  uint8_t marker;
  Bytes payload;
};

struct JpegFile {
  Frame frame;
  std::vector<ScanEntry> scans;
  std::vector<Segment> extras;  // APPn and COM, in order
  bool jfif = false;
  int adobe_transform = -1;  // of the Adobe segment; -1 without one
  std::string damage;        // what is wrong with the file, in words; empty if nothing is

  Colour ColourModel() const;
};

// Of each component: the quantisation table in force at its first scan. Throws Failure if there is none.
std::vector<QuantTable> QuantTablesOf(const JpegFile& file);

// A file's bytes, with an end-of-image marker appended: whatever the file lacks, its data is ended by a marker.
std::vector<uint8_t> WithEnd(std::vector<uint8_t> bytes);

// The result refers into `bytes`, which come from WithEnd. Throws Failure if there is no picture to decode: not a JPEG
// file, a process that is not supported, a size out of proportion to the file, or damage before the first scan.
JpegFile Parse(Bytes bytes);

}  // namespace zmc::jpeg
