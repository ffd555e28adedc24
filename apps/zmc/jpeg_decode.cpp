#include "jpeg_decode.h"

#include "jpeg_entropy_decode.h"
#include "jpeg_mcu_pixels.h"
#include "jpeg_planes.h"

namespace zmc::jpeg {

PictureFormat FormatOf(const JpegFile& file) {
  const bool grey = file.ColourModel() == Colour::kGrey;
  return {.width = file.frame.width, .height = file.frame.height, .channels = grey ? 1 : 3, .bits = 8};
}

std::string DecodePicture(const JpegFile& file, Upsampling upsampling, PictureWriter& writer) {
  const Frame& frame = file.frame;
  std::string damage = file.damage;
  if (McuPixelSink::Knows(file) && (upsampling == Upsampling::kReplicate || !McuPixelSink::Replicates(file))) {
    McuPixelSink sink(file, writer);
    const int64_t lost = DecodeSequential(frame, file.scans[0], sink);
    sink.Finish();
    ReportLost(damage, 0, lost, ShapeOf(frame, file.scans[0].scan).Mcus());
    return damage;
  }
  Planes planes(frame);
  if (frame.Progressive()) {
    TransformAll(file, ReadCoefficients(file, damage), planes);
  } else {
    PlaneSink sink(file, planes);
    for (size_t i = 0; i < file.scans.size(); ++i) {
      const int64_t lost = DecodeSequential(frame, file.scans[i], sink);
      ReportLost(damage, i, lost, ShapeOf(frame, file.scans[i].scan).Mcus());
    }
  }
  planes.TouchAll();
  WritePixels(file, planes, upsampling, writer);
  return damage;
}

}  // namespace zmc::jpeg
