#include "jpeg_coefficients.h"

#include <algorithm>

#include "jpeg_entropy_decode.h"

namespace zmc::jpeg {
namespace {

class CoefficientSink : public McuSink {
 public:
  explicit CoefficientSink(Coefficients& coefficients) : coefficients_(coefficients) {}
  void StartScan(const ScanShape& shape) override { shape_ = shape; }
  void Take(int mcu_x, int mcu_y, Block* blocks) override {
    for (const ScanShape::Place& place : shape_.places) {
      coefficients_.planes[static_cast<size_t>(place.component)].at(mcu_x * place.step_x + place.dx,
                                                                    mcu_y * place.step_y + place.dy) = *blocks++;
    }
  }

 private:
  Coefficients& coefficients_;
  ScanShape shape_;
};

}  // namespace

Coefficients::Coefficients(const Frame& frame) {
  for (const Component& c : frame.components) {
    const size_t blocks = static_cast<size_t>(c.padded_wide) * static_cast<size_t>(c.padded_high);
    planes.push_back({c.padded_wide, c.padded_high, std::vector<Block>(blocks)});
  }
}

Coefficients ReadCoefficients(const JpegFile& file, std::string& damage) {
  Coefficients coefficients(file.frame);
  CoefficientSink sink(coefficients);
  for (size_t i = 0; i < file.scans.size(); ++i) {
    const ScanEntry& entry = file.scans[i];
    const int64_t lost = file.frame.Progressive() ? DecodeProgressive(file.frame, entry, coefficients)
                                                  : DecodeSequential(file.frame, entry, sink);
    ReportLost(damage, i, lost, ShapeOf(file.frame, entry.scan).Mcus());
  }
  return coefficients;
}

}  // namespace zmc::jpeg
