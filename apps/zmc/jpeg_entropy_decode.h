// Entropy decoding of one scan, interval by interval: damage in one does not reach the next.
#pragma once

#include "jpeg_coefficients.h"
#include "jpeg_parse.h"

namespace zmc::jpeg {

// Takes the MCUs of sequential scans, in order; those that were lost are left out.
class McuSink {
 public:
  virtual ~McuSink() = default;
  virtual void StartScan(const ScanShape& shape) = 0;
  // The quantised blocks in coding order. They are the sink's to overwrite.
  virtual void Take(int mcu_x, int mcu_y, Block* blocks) = 0;
};

// Both return the number of MCUs that damage has left undecoded.
int64_t DecodeSequential(const Frame& frame, const ScanEntry& entry, McuSink& sink);
int64_t DecodeProgressive(const Frame& frame, const ScanEntry& entry, Coefficients& coefficients);

// Adds what was lost in a scan (counted from 0) to a description of damage.
void ReportLost(std::string& damage, size_t scan, int64_t lost, int64_t mcus);

}  // namespace zmc::jpeg
