// From planes to pixels, a band of rows at a time.
#include <algorithm>
#include <cstring>

#include "jpeg_pieces.h"
#include "jpeg_planes.h"
#include "zmcj.h"

namespace zmc::jpeg {
namespace {

// Few enough for a band to stay in the cache.
constexpr int kBandRows = 16;

// How a component comes to full resolution.
enum class Road { kAsItIs, kTriangleH2V1, kTriangleH2V2, kReplicate };

Road RoadOf(const Frame& frame, const Component& c, Upsampling upsampling) {
  if (c.h == frame.h_max && c.v == frame.v_max) return Road::kAsItIs;
  if (upsampling == Upsampling::kReplicate || c.h * 2 != frame.h_max) return Road::kReplicate;
  if (c.v == frame.v_max) return Road::kTriangleH2V1;
  return c.v * 2 == frame.v_max ? Road::kTriangleH2V2 : Road::kReplicate;
}

void ReplicateRow(const uint8_t* src, int factor, int of, int width, uint8_t* dst) {
  if (factor * 2 == of) {
    for (int x = 0; x < width; ++x) dst[x] = src[x >> 1];
  } else {
    for (int x = 0; x < width; ++x) dst[x] = src[x * factor / of];
  }
}

// Inks as they are stored (the Adobe way is inverted: 255 is no ink) to light reflected from white paper.
void InkToRgb(const uint8_t* inks, bool inverted, size_t pixels, uint8_t* rgb) {
  const uint8_t flip = inverted ? 0 : 255;
  for (size_t i = 0; i < pixels; ++i) {
    const int black = inks[4 * i + 3] ^ flip;
    for (size_t j = 0; j < 3; ++j)
      rgb[3 * i + j] = static_cast<uint8_t>(((inks[4 * i + j] ^ flip) * black + 127) / 255);
  }
}

class PixelMaker {
 public:
  PixelMaker(const JpegFile& file, const Planes& planes, Upsampling upsampling)
      : frame_(file.frame), colour_(file.ColourModel()), inverted_(file.adobe_transform >= 0), planes_(planes) {
    const size_t band = static_cast<size_t>(planes.step()) * kBandRows;
    for (const Component& c : frame_.components) {
      roads_.push_back(RoadOf(frame_, c, upsampling));
      bands_.emplace_back(roads_.back() == Road::kAsItIs ? 0 : band);
    }
    const size_t channels = frame_.components.size();
    pixels_.resize(static_cast<size_t>(frame_.width) * kBandRows * (channels == 1 ? 0 : 3));
    if (channels == 4) inks_.resize(static_cast<size_t>(frame_.width) * kBandRows * 4);
  }

  void Write(PictureWriter& writer) {
    for (int top = 0; top < frame_.height; top += kBandRows) {
      const int rows = std::min(kBandRows, frame_.height - top);
      for (size_t i = 0; i < roads_.size(); ++i) full_[i] = FullResolution(i, top, rows);
      const size_t row_bytes = static_cast<size_t>(frame_.width) * 3;
      if (colour_ != Colour::kGrey) Convert({frame_.width, rows});
      for (int y = 0; y < rows; ++y) {
        const uint8_t* grey = full_[0] + static_cast<ptrdiff_t>(y) * planes_.step();
        writer.WriteRow(colour_ == Colour::kGrey ? grey : pixels_.data() + static_cast<size_t>(y) * row_bytes);
      }
    }
  }

 private:
  // Rows `top` and following of a component, with the planes' step.
  const uint8_t* FullResolution(size_t index, int top, int rows) {
    const Component& c = frame_.components[index];
    if (roads_[index] == Road::kAsItIs) return planes_.Row(index, top);
    for (int y = 0; y < rows; ++y) {
      uint8_t* dst = bands_[index].data() + static_cast<ptrdiff_t>(y) * planes_.step();
      UpsampleRow(index, c, top + y, dst);
    }
    return bands_[index].data();
  }

  void UpsampleRow(size_t index, const Component& c, int y, uint8_t* dst) {
    const int source = y * c.v / frame_.v_max;
    const uint8_t* near = planes_.Row(index, source);
    switch (roads_[index]) {
      case Road::kTriangleH2V1:
        zmciSampleUpRowH2V1_Triangle_JPEG_8u_C1(near, c.width, dst);
        break;
      case Road::kTriangleH2V2: {
        const int beside = std::clamp(source + (y % 2 == 0 ? -1 : 1), 0, c.height - 1);
        zmciSampleUpRowH2V2_Triangle_JPEG_8u_C1(near, planes_.Row(index, beside), c.width, dst);
        break;
      }
      default:
        ReplicateRow(near, c.h, frame_.h_max, frame_.width, dst);
    }
  }

  void Convert(ZmciSize size) {
    const int rgb_step = size.width * 3, ink_step = size.width * 4;
    const size_t count = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
    switch (colour_) {
      case Colour::kYCbCr:
        InPieces(size, [&](int x, int y, ZmciSize piece) {
          const auto planes = Shifted(x, y);
          uint8_t* dst = pixels_.data() + static_cast<ptrdiff_t>(y) * rgb_step + x * 3;
          zmciYCbCrToRGB_JPEG_8u_P3C3R(planes.data(), planes_.step(), dst, rgb_step, piece);
        });
        break;
      case Colour::kYcck:
        InPieces(size, [&](int x, int y, ZmciSize piece) {
          const auto planes = Shifted(x, y);
          uint8_t* dst = inks_.data() + static_cast<ptrdiff_t>(y) * ink_step + x * 4;
          zmciYCCKToCMYK_JPEG_8u_P4C4R(planes.data(), planes_.step(), dst, ink_step, piece);
        });
        InkToRgb(inks_.data(), inverted_, count, pixels_.data());
        break;
      case Colour::kCmyk:
        Interleave(size, 4, inks_.data());
        InkToRgb(inks_.data(), inverted_, count, pixels_.data());
        break;
      default:
        Interleave(size, 3, pixels_.data());
    }
  }

  // The planes at full resolution from a place on.
  std::array<const uint8_t*, 4> Shifted(int x, int y) const {
    std::array<const uint8_t*, 4> planes = full_;
    for (size_t i = 0; i < roads_.size(); ++i) planes[i] += static_cast<ptrdiff_t>(y) * planes_.step() + x;
    return planes;
  }

  void Interleave(ZmciSize size, size_t channels, uint8_t* dst) {
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(y) * planes_.step() + x;
        for (size_t i = 0; i < channels; ++i) *dst++ = full_[i][at];
      }
    }
  }

  const Frame& frame_;
  const Colour colour_;
  const bool inverted_;
  const Planes& planes_;
  std::vector<Road> roads_;
  std::vector<std::vector<uint8_t>> bands_;
  std::array<const uint8_t*, 4> full_{};
  std::vector<uint8_t> pixels_, inks_;
};

}  // namespace

void WritePixels(const JpegFile& file, const Planes& planes, Upsampling upsampling, PictureWriter& writer) {
  PixelMaker(file, planes, upsampling).Write(writer);
}

}  // namespace zmc::jpeg
