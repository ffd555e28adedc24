#include "jpeg_mcu_pixels.h"

#include <algorithm>
#include <cstring>

#include "jpeg_planes.h"
#include "zmcj.h"

namespace zmc::jpeg {
namespace {

bool Is(const Component& c, int h, int v) { return c.h == h && c.v == v; }

}  // namespace

bool McuPixelSink::Knows(const JpegFile& file) {
  const Frame& frame = file.frame;
  const std::vector<Component>& c = frame.components;
  if (frame.Progressive() || file.scans.size() != 1 || file.scans[0].scan.components.size() != c.size()) return false;
  if (c.size() == 1) return true;
  for (size_t i = 0; i < c.size(); ++i) {
    if (file.scans[0].scan.components[i].index != static_cast<int>(i)) return false;
  }
  return file.ColourModel() == Colour::kYCbCr && Is(c[1], 1, 1) && Is(c[2], 1, 1) &&
         (Is(c[0], 1, 1) || Is(c[0], 2, 1) || Is(c[0], 2, 2));
}

McuPixelSink::McuPixelSink(const JpegFile& file, PictureWriter& writer)
    : writer_(writer),
      frame_(file.frame),
      tables_(InverseTables(file)),
      grey_(frame_.components.size() == 1),
      luma_blocks_(grey_ ? 1 : frame_.components[0].h * frame_.components[0].v),
      mcu_width_(grey_ ? 8 : 8 * frame_.h_max),
      mcu_height_(grey_ ? 8 : 8 * frame_.v_max),
      mcus_wide_((frame_.width + mcu_width_ - 1) / mcu_width_),
      step_(mcus_wide_ * mcu_width_ * (grey_ ? 1 : 3)),
      strip_(static_cast<size_t>(step_) * static_cast<size_t>(mcu_height_)) {
  if (luma_blocks_ == 1) convert_ = zmciYCbCr444ToRGBLS_MCU_16s8u_P3C3R;
  if (luma_blocks_ == 2) convert_ = zmciYCbCr422ToRGBLS_MCU_16s8u_P3C3R;
  if (luma_blocks_ == 4) convert_ = zmciYCbCr411ToRGBLS_MCU_16s8u_P3C3R;
}

void McuPixelSink::Take(int mcu_x, int mcu_y, Block* blocks) {
  while (row_ < mcu_y) FlushRow();
  if (next_mcu_ < mcu_x) FillGrey(next_mcu_, mcu_x);
  next_mcu_ = mcu_x + 1;
  uint8_t* dst = strip_.data() + static_cast<ptrdiff_t>(mcu_x) * mcu_width_ * (grey_ ? 1 : 3);
  if (grey_) {
    zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(blocks[0].data(), dst, step_, tables_[0].data());
    return;
  }
  for (int i = 0; i < luma_blocks_; ++i) zmciDCTQuantInv8x8_JPEG_16s_C1I(blocks[i].data(), tables_[0].data());
  Block &cb = blocks[luma_blocks_], &cr = blocks[luma_blocks_ + 1];
  zmciDCTQuantInv8x8_JPEG_16s_C1I(cb.data(), tables_[1].data());
  zmciDCTQuantInv8x8_JPEG_16s_C1I(cr.data(), tables_[2].data());
  const int16_t* const mcu[3] = {blocks[0].data(), cb.data(), cr.data()};
  convert_(mcu, dst, step_);
}

void McuPixelSink::Finish() {
  while (row_ * mcu_height_ < frame_.height) FlushRow();
}

void McuPixelSink::FlushRow() {
  if (next_mcu_ < mcus_wide_) FillGrey(next_mcu_, mcus_wide_);
  const int top = row_ * mcu_height_;
  const int rows = std::min(mcu_height_, frame_.height - top);
  for (int y = 0; y < rows; ++y) writer_.WriteRow(strip_.data() + static_cast<ptrdiff_t>(y) * step_);
  ++row_;
  next_mcu_ = 0;
}

void McuPixelSink::FillGrey(int from_mcu, int to_mcu) {
  const ptrdiff_t mcu_bytes = mcu_width_ * (grey_ ? 1 : 3);
  for (int y = 0; y < mcu_height_; ++y) {
    uint8_t* row = strip_.data() + static_cast<ptrdiff_t>(y) * step_;
    std::fill(row + from_mcu * mcu_bytes, row + to_mcu * mcu_bytes, uint8_t{128});
  }
}

}  // namespace zmc::jpeg
