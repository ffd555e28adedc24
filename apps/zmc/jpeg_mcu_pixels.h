// The short road from blocks to pixels: for files of one sequential scan whose sampling the library's conversions of
// whole MCUs know. Chroma is replicated, and no more than one row of MCUs is held.
#pragma once

#include "jpeg_entropy_decode.h"
#include "jpeg_tables.h"
#include "picture.h"

namespace zmc::jpeg {

class McuPixelSink : public McuSink {
 public:
  // Whether this road is open: grey, or YCbCr sampled 4:4:4, 4:2:2 or 4:2:0.
  static bool Knows(const JpegFile& file);
  // Whether it replicates chroma, rather than finding it at full resolution.
  static bool Replicates(const JpegFile& file) { return file.frame.h_max > 1; }

  McuPixelSink(const JpegFile& file, PictureWriter& writer);
  void StartScan(const ScanShape&) override {}
  void Take(int mcu_x, int mcu_y, Block* blocks) override;
  // Writes what is left; what was never taken is mid-grey.
  void Finish();

 private:
  using Convert = ZmcStatus (*)(const int16_t* const* blocks, uint8_t* dst, int step);
  void FlushRow();
  void FillGrey(int from_mcu, int to_mcu);

  PictureWriter& writer_;
  const Frame& frame_;
  std::vector<WorkingTable> tables_;
  const bool grey_;
  const int luma_blocks_;  // in an MCU
  const int mcu_width_, mcu_height_, mcus_wide_;
  Convert convert_ = nullptr;
  int step_;
  std::vector<uint8_t> strip_;  // the pixels of one row of MCUs
  int row_ = 0, next_mcu_ = 0;
};

}  // namespace zmc::jpeg
