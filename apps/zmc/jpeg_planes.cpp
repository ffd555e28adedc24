#include "jpeg_planes.h"

#include <algorithm>

namespace zmc::jpeg {
namespace {

constexpr uint8_t kMidGrey = 128;

// Blocks that only pad to whole MCUs show nothing.
bool Visible(const Component& c, int x, int y) { return x < c.blocks_wide && y < c.blocks_high; }

void Transform(const Block& block, const WorkingTable& table, Planes& planes, size_t component, int x, int y) {
  zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), planes.Touch(component, x, y), planes.step(), table.data());
}

}  // namespace

Planes::Planes(const Frame& frame) : step_(frame.mcus_wide * frame.h_max * 8) {
  for (const Component& c : frame.components) {
    const size_t samples = static_cast<size_t>(step_) * static_cast<size_t>(c.blocks_high) * 8;
    planes_.push_back({std::make_unique_for_overwrite<uint8_t[]>(samples), c.blocks_high});
  }
}

void Planes::Fill(Plane& plane, int rows) const {
  const int64_t row_of_blocks = int64_t{8} * step_;
  std::fill(plane.samples.get() + plane.touched * row_of_blocks, plane.samples.get() + rows * row_of_blocks, kMidGrey);
  plane.touched = rows;
}

std::vector<WorkingTable> InverseTables(const JpegFile& file) {
  std::vector<WorkingTable> tables;
  for (const QuantTable& table : QuantTablesOf(file)) tables.push_back(InverseTable(table));
  return tables;
}

void PlaneSink::Take(int mcu_x, int mcu_y, Block* blocks) {
  for (const ScanShape::Place& place : shape_.places) {
    const auto component = static_cast<size_t>(place.component);
    const int x = mcu_x * place.step_x + place.dx, y = mcu_y * place.step_y + place.dy;
    if (Visible(frame_.components[component], x, y)) {
      Transform(*blocks, tables_[component], planes_, component, x, y);
    }
    ++blocks;
  }
}

void TransformAll(const JpegFile& file, const Coefficients& coefficients, Planes& planes) {
  const std::vector<WorkingTable> tables = InverseTables(file);
  for (size_t i = 0; i < tables.size(); ++i) {
    const Component& c = file.frame.components[i];
    for (int y = 0; y < c.blocks_high; ++y) {
      for (int x = 0; x < c.blocks_wide; ++x) Transform(coefficients.planes[i].at(x, y), tables[i], planes, i, x, y);
    }
  }
}

}  // namespace zmc::jpeg
