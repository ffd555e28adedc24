// The components of a decoded picture as planes of samples, each at its own resolution, and the way from them to
// pixels.
#pragma once

#include "jpeg_coefficients.h"
#include "jpeg_decode.h"
#include "jpeg_entropy_decode.h"
#include "jpeg_tables.h"
#include "picture.h"

namespace zmc::jpeg {

struct Planes {
  // All mid-grey. Every plane has the step of a plane of full resolution, as the colour conversions want it.
  explicit Planes(const Frame& frame);
  int step = 0;  // in samples, a multiple of 8
  std::vector<std::vector<uint8_t>> samples;
  uint8_t* Row(size_t component, int64_t y) { return samples[component].data() + y * step; }
  const uint8_t* Row(size_t component, int64_t y) const { return samples[component].data() + y * step; }
};

// The inverse tables of each component: the quantisation tables in force at its first scan.
std::vector<WorkingTable> InverseTables(const JpegFile& file);

// Transforms the blocks of sequential scans into their places.
class PlaneSink : public McuSink {
 public:
  PlaneSink(const JpegFile& file, Planes& planes) : frame_(file.frame), tables_(InverseTables(file)), planes_(planes) {}
  void StartScan(const ScanShape& shape) override { shape_ = shape; }
  void Take(int mcu_x, int mcu_y, Block* blocks) override;

 private:
  const Frame& frame_;
  std::vector<WorkingTable> tables_;
  Planes& planes_;
  ScanShape shape_;
};

void TransformAll(const JpegFile& file, const Coefficients& coefficients, Planes& planes);

// Brings chroma up to full resolution, converts to grey or RGB, and writes all rows.
void WritePixels(const JpegFile& file, const Planes& planes, Upsampling upsampling, PictureWriter& writer);

}  // namespace zmc::jpeg
