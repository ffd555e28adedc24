// A picture as rows of MCUs: 8-bit grey or RGB, padded to whole MCUs by repeating the last column and the last row.
#pragma once

#include <vector>

#include "picture.h"

namespace zmc::jpeg {

class PictureStrips {
 public:
  // MCUs of mcu_width x mcu_height pixels.
  PictureStrips(PictureReader& reader, int mcu_width, int mcu_height);
  int channels() const { return channels_; }  // 1 or 3
  int step() const { return step_; }          // in bytes
  int width() const { return padded_width_; }
  // Reads the next strip and returns its first row. Transparency is dropped, deep samples are reduced to 8 bits.
  const uint8_t* Next();

 private:
  void ReadRow(uint8_t* dst);

  PictureReader& reader_;
  const PictureFormat format_;
  const int channels_, mcu_height_, padded_width_, step_;
  int64_t rows_read_ = 0;
  std::vector<uint8_t> row_;
  std::vector<uint8_t> strip_;
};

}  // namespace zmc::jpeg
