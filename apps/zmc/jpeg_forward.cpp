#include "jpeg_forward.h"

#include <algorithm>

#include "jpeg_pieces.h"
#include "zmcj.h"

namespace zmc::jpeg {
namespace {

// Straight from the strip's RGB pixels.
class McuMaker : public BlockMaker {
 public:
  McuMaker(const Frame& frame, const PictureStrips& strips, std::vector<WorkingTable> tables)
      : step_(strips.step()),
        mcu_bytes_(frame.h_max * 8 * 3),
        luma_blocks_(frame.h_max * frame.v_max),
        tables_(std::move(tables)) {
    if (luma_blocks_ == 1) convert_ = zmciRGBToYCbCr444LS_MCU_8u16s_C3P3R;
    if (luma_blocks_ == 2) convert_ = zmciRGBToYCbCr422LS_MCU_8u16s_C3P3R;
    if (luma_blocks_ == 4) convert_ = zmciRGBToYCbCr411LS_MCU_8u16s_C3P3R;
  }

  void StartStrip(const uint8_t* strip) override { strip_ = strip; }

  void Make(int mcu_x, Block* blocks) override {
    int16_t* const mcu[3] = {blocks[0].data(), blocks[luma_blocks_].data(), blocks[luma_blocks_ + 1].data()};
    convert_(strip_ + static_cast<ptrdiff_t>(mcu_x) * mcu_bytes_, step_, mcu);
    for (int i = 0; i < luma_blocks_; ++i) zmciDCTQuantFwd8x8_JPEG_16s_C1I(blocks[i].data(), tables_[0].data());
    zmciDCTQuantFwd8x8_JPEG_16s_C1I(mcu[1], tables_[1].data());
    zmciDCTQuantFwd8x8_JPEG_16s_C1I(mcu[2], tables_[2].data());
  }

 private:
  const int step_, mcu_bytes_, luma_blocks_;
  std::vector<WorkingTable> tables_;
  ZmcStatus (*convert_)(const uint8_t* src, int step, int16_t* const* blocks) = nullptr;
  const uint8_t* strip_ = nullptr;
};

// Light to inks with all that is common to them as black, inverted: 255 is no ink.
void RgbToInvertedInks(const uint8_t* rgb, size_t pixels, int channels, uint8_t* inks) {
  for (size_t i = 0; i < pixels; ++i, rgb += channels, inks += 4) {
    const uint8_t light[3] = {rgb[0], rgb[channels > 1 ? 1 : 0], rgb[channels > 1 ? 2 : 0]};
    const int black = std::max({light[0], light[1], light[2]});
    for (int j = 0; j < 3; ++j) inks[j] = static_cast<uint8_t>(black == 0 ? 255 : (light[j] * 255 + black / 2) / black);
    inks[3] = static_cast<uint8_t>(black);
  }
}

// By way of planes, which hold one strip of each component.
class PlaneMaker : public BlockMaker {
 public:
  PlaneMaker(const Frame& frame, const PictureStrips& strips, std::vector<WorkingTable> tables)
      : frame_(frame),
        channels_(strips.channels()),
        strip_step_(strips.step()),
        size_{strips.width(), frame.v_max * 8},
        tables_(std::move(tables)) {
    const size_t samples = static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height);
    for (size_t i = 0; i < frame.components.size(); ++i) {
      full_.emplace_back(samples);
      sampled_.emplace_back(samples);
    }
    if (full_.size() == 4) inks_.resize(samples * 4);
  }

  void StartStrip(const uint8_t* strip) override {
    for (size_t i = 0; i < full_.size(); ++i) planes_[i] = {full_[i].data(), size_.width};
    if (full_.size() == 1 && channels_ == 1) planes_[0] = {strip, strip_step_};
    if (full_.size() == 4) RgbToInvertedInks(strip, full_[0].size(), channels_, inks_.data());
    InPieces(size_, [&](int x, int y, ZmciSize piece) { Convert(strip, x, y, piece); });
    for (size_t i = 1; i < full_.size(); ++i) SampleDown(i);
  }

  void Make(int mcu_x, Block* blocks) override {
    for (size_t i = 0; i < full_.size(); ++i) {
      const Component& c = frame_.components[i];
      for (int y = 0; y < c.v; ++y) {
        for (int x = 0; x < c.h; ++x) {
          const auto [samples, step] = planes_[i];
          const uint8_t* src = samples + static_cast<ptrdiff_t>(y) * 8 * step + (mcu_x * c.h + x) * 8;
          zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src, step, (blocks++)->data(), tables_[i].data());
        }
      }
    }
  }

 private:
  struct Plane {
    const uint8_t* samples;
    int step;
  };

  // A piece of the strip to planes of full resolution.
  void Convert(const uint8_t* strip, int x, int y, ZmciSize piece) {
    const ptrdiff_t at = static_cast<ptrdiff_t>(y) * size_.width + x;
    std::array<uint8_t*, 4> planes{};
    for (size_t i = 0; i < full_.size(); ++i) planes[i] = full_[i].data() + at;
    if (full_.size() == 4) {
      zmciCMYKToYCCK_JPEG_8u_C4P4R(inks_.data() + at * 4, size_.width * 4, planes.data(), size_.width, piece);
    } else if (full_.size() == 3) {
      zmciRGBToYCbCr_JPEG_8u_C3P3R(strip + at * 3, strip_step_, planes.data(), size_.width, piece);
    } else if (channels_ == 3) {
      zmciRGBToY_JPEG_8u_C3C1R(strip + at * 3, strip_step_, planes[0], size_.width, piece);
    }
  }

  void SampleDown(size_t i) {
    if (frame_.components[i].h == frame_.h_max) return;
    const int half = size_.width / 2;
    for (int y = 0; y < size_.height; y += frame_.v_max) {
      const uint8_t* src = full_[i].data() + static_cast<ptrdiff_t>(y) * size_.width;
      uint8_t* dst = sampled_[i].data() + static_cast<ptrdiff_t>(y / frame_.v_max) * half;
      if (frame_.v_max == 2) {
        zmciSampleDownRowH2V2_Box_JPEG_8u_C1(src, src + size_.width, size_.width, dst);
      } else {
        zmciSampleDownRowH2V1_Box_JPEG_8u_C1(src, size_.width, dst);
      }
    }
    planes_[i] = {sampled_[i].data(), half};
  }

  const Frame& frame_;
  const int channels_, strip_step_;
  const ZmciSize size_;  // of a strip
  std::vector<WorkingTable> tables_;
  std::vector<std::vector<uint8_t>> full_, sampled_;
  std::vector<uint8_t> inks_;
  std::array<Plane, 4> planes_{};
};

}  // namespace

std::unique_ptr<BlockMaker> MakeBlockMaker(const Frame& frame, const PictureStrips& strips, Subsampling subsampling,
                                           const std::vector<QuantTable>& tables) {
  std::vector<WorkingTable> working;
  for (const Component& c : frame.components) working.push_back(ForwardTable(tables[static_cast<size_t>(c.quant)]));
  if (frame.components.size() == 3 && subsampling == Subsampling::kMcu) {
    return std::make_unique<McuMaker>(frame, strips, std::move(working));
  }
  return std::make_unique<PlaneMaker>(frame, strips, std::move(working));
}

}  // namespace zmc::jpeg
