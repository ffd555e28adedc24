#include "jpeg_transcode.h"

#include <algorithm>

#include "failure.h"
#include "jpeg_coefficients.h"
#include "jpeg_encode.h"

namespace zmc::jpeg {
namespace {

// The largest AC coefficients of 8-bit samples have ten bits (F.1.2.2). A damaged or hostile file may decode to more.
constexpr int kMostAc = 1023;

void CheckRange(const Coefficients& coefficients) {
  // By position, which compilers do many at a time.
  Block least{}, most{};
  for (const CoefficientPlane& plane : coefficients.planes) {
    for (const Block& block : plane.blocks) {
      for (size_t k = 0; k < 64; ++k) {
        least.values[k] = std::min(least.values[k], block.values[k]);
        most.values[k] = std::max(most.values[k], block.values[k]);
      }
    }
  }
  for (size_t k = 1; k < 64; ++k) {
    if (least.values[k] < -kMostAc || most.values[k] > kMostAc) {
      throw Failure("the file holds coefficients that JPEG cannot code");
    }
  }
}

}  // namespace

std::string Transcode(const JpegFile& file, const TranscodeOptions& options, ByteSink& sink) {
  std::string damage = file.damage;
  const Coefficients coefficients = ReadCoefficients(file, damage);
  CheckRange(coefficients);
  FilePlan plan;
  plan.frame = file.frame;
  // A table number may have stood for several tables in turn: each distinct table gets a number of its own.
  const std::vector<QuantTable> tables = QuantTablesOf(file);
  for (size_t i = 0; i < tables.size(); ++i) {
    const auto known = std::ranges::find(plan.quant, tables[i]);
    plan.frame.components[i].quant = static_cast<int>(known - plan.quant.begin());
    if (known == plan.quant.end()) plan.quant.push_back(tables[i]);
  }
  plan.extras = file.extras;
  plan.restart_interval = file.scans[0].tables.restart_interval;
  PlanScans(plan, file.ColourModel(), options.progressive, options.script);
  plan.optimize = options.optimize || plan.frame.Progressive();
  WriteFile(plan, coefficients, sink);
  return damage;
}

}  // namespace zmc::jpeg
