// The components of a decoded picture as planes of samples, each at its own resolution, and the way from them to
// pixels.
#pragma once

#include <memory>
#include <vector>

#include "jpeg_coefficients.h"
#include "jpeg_decode.h"
#include "jpeg_entropy_decode.h"
#include "jpeg_tables.h"
#include "picture.h"

namespace zmc::jpeg {

// Every plane has the step of a plane of full resolution, as the colour conversions want it. What nothing is written to
// is mid-grey, from the moment that a row of blocks is first touched: filled any earlier, it would have left the cache.
class Planes {
 public:
  explicit Planes(const Frame& frame);
  int step() const { return step_; }  // in samples, a multiple of 8
  const uint8_t* Row(size_t component, int64_t y) const { return planes_[component].samples.get() + y * step_; }
  uint8_t* Touch(size_t component, int block_x, int block_y) {
    Plane& plane = planes_[component];
    if (block_y >= plane.touched) Fill(plane, block_y + 1);
    return plane.samples.get() + int64_t{block_y} * 8 * step_ + block_x * 8;
  }
  void TouchAll() {
    for (Plane& plane : planes_) Fill(plane, plane.blocks_high);
  }

 private:
  struct Plane {
    std::unique_ptr<uint8_t[]> samples;
    int blocks_high;
    int touched = 0;  // rows of blocks
  };
  void Fill(Plane& plane, int rows) const;

  int step_;
  std::vector<Plane> planes_;
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
