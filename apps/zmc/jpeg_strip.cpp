#include "jpeg_strip.h"

#include <cstring>

namespace zmc::jpeg {
namespace {

int RoundUp(int64_t value, int multiple) { return static_cast<int>((value + multiple - 1) / multiple * multiple); }

}  // namespace

PictureStrips::PictureStrips(PictureReader& reader, int mcu_width, int mcu_height)
    : reader_(reader),
      format_(reader.format()),
      channels_(format_.channels < 3 ? 1 : 3),
      mcu_height_(mcu_height),
      padded_width_(RoundUp(format_.width, mcu_width)),
      step_(padded_width_ * channels_),
      row_(static_cast<size_t>(format_.RowBytes())),
      strip_(static_cast<size_t>(step_) * static_cast<size_t>(mcu_height)) {}

const uint8_t* PictureStrips::Next() {
  const size_t step = static_cast<size_t>(step_);
  for (int y = 0; y < mcu_height_; ++y) {
    uint8_t* row = strip_.data() + static_cast<size_t>(y) * step;
    if (rows_read_ < format_.height) {
      ReadRow(row);
    } else {
      std::memcpy(row, row - step, step);
    }
  }
  return strip_.data();
}

void PictureStrips::ReadRow(uint8_t* dst) {
  const size_t width = static_cast<size_t>(format_.width), channels = static_cast<size_t>(channels_);
  const size_t stored = static_cast<size_t>(format_.channels);
  ++rows_read_;
  if (format_.bits == 8 && stored == channels) {
    reader_.ReadRow(dst);
  } else {
    reader_.ReadRow(row_.data());
    const uint32_t maximum = (1u << format_.bits) - 1;
    for (size_t x = 0; x < width; ++x) {
      for (size_t c = 0; c < channels; ++c) {
        const size_t at = x * stored + c;
        const uint32_t value = format_.bits > 8 ? reinterpret_cast<const uint16_t*>(row_.data())[at] : row_[at];
        dst[x * channels + c] = static_cast<uint8_t>((value * 255 + maximum / 2) / maximum);
      }
    }
  }
  for (size_t i = width * channels; i < static_cast<size_t>(step_); ++i) dst[i] = dst[i - channels];
}

}  // namespace zmc::jpeg
