#include "jpeg_encode.h"

#include <algorithm>

#include "failure.h"
#include "jpeg_entropy_encode.h"
#include "jpeg_scan_script.h"
#include "progress.h"

namespace zmc::jpeg {
namespace {

constexpr int kMaxSide = 65500;  // leaves decoders room to round up to whole MCUs in 16 bits

Frame FrameFor(const PictureFormat& format, Sampling sampling, bool ycck) {
  if (format.width > kMaxSide || format.height > kMaxSide) {
    throw Failure("a picture of " + std::to_string(format.width) + " x " + std::to_string(format.height) +
                  " is too large for JPEG");
  }
  Frame frame;
  frame.width = static_cast<int>(format.width);
  frame.height = static_cast<int>(format.height);
  const bool grey = !ycck && (format.channels < 3 || sampling == Sampling::kGrey);
  const int count = grey ? 1 : ycck ? 4 : 3;
  for (int i = 0; i < count; ++i) {
    // Chroma is what comes at less than full resolution: neither luminance nor black.
    const bool chroma = i == 1 || i == 2;
    const bool fine = !grey && !chroma;
    frame.components.push_back({.id = i + 1,
                                .h = fine && sampling != Sampling::k444 ? 2 : 1,
                                .v = fine && sampling == Sampling::k420 ? 2 : 1,
                                .quant = chroma ? 1 : 0});
  }
  frame.Layout();
  return frame;
}

// Blocks that only pad to whole MCUs are made flat: they cost next to nothing, and nobody sees them.
void FlattenPadding(const Frame& frame, const ScanShape& shape, int mcu_x, int mcu_y, Block* blocks) {
  if (mcu_x + 1 < shape.mcus_wide && mcu_y + 1 < shape.mcus_high) return;
  for (size_t i = 1; i < shape.places.size(); ++i) {
    const ScanShape::Place& place = shape.places[i];
    const Component& c = frame.components[static_cast<size_t>(place.component)];
    const int x = mcu_x * place.step_x + place.dx, y = mcu_y * place.step_y + place.dy;
    if (x < c.blocks_wide && y < c.blocks_high) continue;
    blocks[i].values.fill(0);
    blocks[i].values[0] = blocks[i - 1].values[0];
  }
}

// take(mcu_x, mcu_y, blocks) gets every MCU of the picture in order.
template <class Take>
void TransformPicture(PictureReader& reader, const FilePlan& plan, Subsampling subsampling, Take take) {
  const Frame& frame = plan.frame;
  const ScanShape shape = ShapeOf(frame, WholeScan(frame, Colour::kYCbCr));
  PictureStrips strips(reader, frame.h_max * 8, frame.v_max * 8);
  const std::unique_ptr<BlockMaker> maker = MakeBlockMaker(frame, strips, subsampling, plan.quant);
  std::array<Block, kMaxMcuBlocks> blocks;
  Progress progress("encoding", shape.mcus_high);
  for (int y = 0; y < shape.mcus_high; ++y) {
    maker->StartStrip(strips.Next());
    for (int x = 0; x < shape.mcus_wide; ++x) {
      maker->Make(x, blocks.data());
      FlattenPadding(frame, shape, x, y, blocks.data());
      take(x, y, blocks.data());
    }
    progress.Advance();
  }
}

Coefficients TransformToCoefficients(PictureReader& reader, const FilePlan& plan, Subsampling subsampling) {
  Coefficients coefficients(plan.frame);
  const ScanShape shape = ShapeOf(plan.frame, WholeScan(plan.frame, Colour::kYCbCr));
  TransformPicture(reader, plan, subsampling, [&](int mcu_x, int mcu_y, const Block* blocks) {
    for (const ScanShape::Place& place : shape.places) {
      coefficients.planes[static_cast<size_t>(place.component)].at(mcu_x * place.step_x + place.dx,
                                                                   mcu_y * place.step_y + place.dy) = *blocks++;
    }
  });
  return coefficients;
}

// The tables that a scan uses and that are not in force already.
class TableWriter {
 public:
  explicit TableWriter(SegmentWriter& writer) : writer_(writer) {}
  void Write(const Frame& frame, const Scan& scan, const ScanTables& tables) {
    const ScanKind kind = KindOf(frame, scan);
    const bool dc = kind == ScanKind::kSequential || kind == ScanKind::kDcFirst;
    const bool ac = kind != ScanKind::kDcFirst && kind != ScanKind::kDcRefine;
    for (const ScanComponent& c : scan.components) {
      if (dc) Update(TableClass::kDc, c.dc, tables.dc[static_cast<size_t>(c.dc)]);
      if (ac) Update(TableClass::kAc, c.ac, tables.ac[static_cast<size_t>(c.ac)]);
    }
  }

 private:
  void Update(TableClass table_class, int number, const HuffmanTable& table) {
    std::optional<HuffmanTable>& written = written_[table_class == TableClass::kAc][static_cast<size_t>(number)];
    if (written == table) return;
    writer_.Huffman(table_class, number, table);
    written = table;
  }
  SegmentWriter& writer_;
  std::array<std::array<std::optional<HuffmanTable>, 2>, 2> written_;
};

void WriteHeader(const FilePlan& plan, SegmentWriter& writer) {
  writer.Marker(kSoi);
  if (plan.heading == FilePlan::Heading::kJfif) writer.Jfif();
  if (plan.heading == FilePlan::Heading::kAdobeYcck) writer.AdobeYcck();
  for (const Segment& extra : plan.extras) writer.Segment(extra.marker, extra.payload);
  for (size_t i = 0; i < plan.quant.size(); ++i) writer.Quant(static_cast<int>(i), plan.quant[i]);
  writer.FrameHeader(plan.frame);
  if (plan.restart_interval > 0) writer.RestartInterval(plan.restart_interval);
}

// In one pass, with the standard tables, holding no more than a row of MCUs.
void EncodeStreaming(PictureReader& reader, const FilePlan& plan, Subsampling subsampling, ByteSink& sink) {
  SegmentWriter writer(sink);
  WriteHeader(plan, writer);
  const Scan& scan = plan.scans[0];
  TableWriter(writer).Write(plan.frame, scan, kStandardTables);
  writer.ScanHeader(plan.frame, scan);
  ScanEncoder encoder(plan.frame, scan, plan.restart_interval, kStandardTables, sink);
  const size_t count = ShapeOf(plan.frame, scan).places.size();
  std::array<const int16_t*, kMaxMcuBlocks> pointers{};
  TransformPicture(reader, plan, subsampling, [&](int, int, const Block* blocks) {
    for (size_t i = 0; i < count; ++i) pointers[i] = blocks[i].data();
    encoder.Take(pointers.data());
  });
  encoder.Finish();
  writer.Marker(kEoi);
}

}  // namespace

void WriteFile(const FilePlan& plan, const Coefficients& coefficients, ByteSink& sink) {
  SegmentWriter writer(sink);
  WriteHeader(plan, writer);
  TableWriter table_writer(writer);
  Progress progress("writing scans", static_cast<int64_t>(plan.scans.size()));
  for (const Scan& scan : plan.scans) {
    ScanTables tables = kStandardTables;
    if (plan.optimize) {
      ScanCounter counter(plan.frame, scan, plan.restart_interval);
      WalkScan(plan.frame, scan, coefficients, counter);
      tables = counter.tables();
    }
    table_writer.Write(plan.frame, scan, tables);
    writer.ScanHeader(plan.frame, scan);
    ScanEncoder encoder(plan.frame, scan, plan.restart_interval, tables, sink);
    WalkScan(plan.frame, scan, coefficients, encoder);
    progress.Advance();
  }
  writer.Marker(kEoi);
}

void PlanScans(FilePlan& plan, Colour colour, bool progressive, const std::string& script) {
  // Quantisation values of 16 bits are for the extended process.
  const bool wide = std::ranges::any_of(plan.quant, [](const QuantTable& table) {
    return std::ranges::any_of(table.values, [](uint16_t value) { return value > 255; });
  });
  if (!script.empty()) {
    Script parsed = ParseScript(script, plan.frame, colour);
    plan.scans = std::move(parsed.scans);
    progressive = parsed.progressive;
  }
  plan.frame.process = progressive ? kSof2 : wide ? kSof1 : kSof0;
  if (script.empty()) plan.scans = UsualScans(plan.frame, colour);
}

void EncodePicture(PictureReader& reader, const EncodeOptions& options, ByteSink& sink) {
  FilePlan plan;
  const Colour colour = options.ycck ? Colour::kYcck : Colour::kYCbCr;
  plan.frame = FrameFor(reader.format(), options.sampling, options.ycck);
  const int tables = plan.frame.components.size() == 1 ? 1 : 2;
  for (int i = 0; i < tables; ++i) plan.quant.push_back(ScaledQuant(i, options.quality));
  plan.heading = options.ycck ? FilePlan::Heading::kAdobeYcck : FilePlan::Heading::kJfif;
  plan.restart_interval = options.restart_interval;
  PlanScans(plan, colour, options.progressive, options.script);
  plan.optimize = options.optimize || plan.frame.Progressive();
  if (!plan.optimize && plan.scans.size() == 1) return EncodeStreaming(reader, plan, options.subsampling, sink);
  WriteFile(plan, TransformToCoefficients(reader, plan, options.subsampling), sink);
}

}  // namespace zmc::jpeg
