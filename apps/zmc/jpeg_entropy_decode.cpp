#include "jpeg_entropy_decode.h"

#include <algorithm>

#include "jpeg_tables.h"

namespace zmc::jpeg {
namespace {

// Where the block decoders stand in an interval's data.
struct Source {
  Bytes data;
  int position = 0;
  int marker = 0;
  const uint8_t* bytes() const { return data.data(); }
  int size() const { return static_cast<int>(data.size()); }
};

// decode(source, x, y) decodes the MCU at that place, or returns false if it cannot.
template <class Restart, class DecodeMcu>
int64_t WalkIntervals(const ScanEntry& entry, const ScanShape& shape, Restart restart, DecodeMcu decode) {
  const int64_t mcus = shape.Mcus();
  const int64_t step = entry.tables.restart_interval > 0 ? entry.tables.restart_interval : mcus;
  int64_t decoded = 0;
  for (const Interval& interval : entry.intervals) {
    const int64_t first = interval.index * step;
    if (first >= mcus) break;
    restart();
    Source source = {interval.data};
    int x = static_cast<int>(first % shape.mcus_wide), y = static_cast<int>(first / shape.mcus_wide);
    for (int64_t left = std::min(step, mcus - first); left > 0; --left) {
      if (!decode(source, x, y)) break;
      ++decoded;
      if (++x == shape.mcus_wide) x = 0, ++y;
    }
  }
  return mcus - decoded;
}

// The decoder records of a scan. A table that the scan does not use may be missing, one that it uses may not.
struct Decoder {
  explicit Decoder(const ScanEntry& entry) : state(MakeDecodeState()) {
    const Scan& scan = entry.scan;
    for (const ScanComponent& c : scan.components) {
      dc.push_back(Spec(entry.tables.dc[static_cast<size_t>(c.dc)], scan.ss == 0 && scan.ah == 0));
      ac.push_back(Spec(entry.tables.ac[static_cast<size_t>(c.ac)], scan.se > 0));
    }
  }

  static DecodeSpec Spec(const std::optional<HuffmanTable>& table, bool used) {
    return used ? MakeDecodeSpec(table.value_or(HuffmanTable{})) : nullptr;
  }

  void Restart() {
    zmciDecodeHuffmanStateInit_JPEG_8u(state.get());
    last_dc.fill(0);
  }

  std::vector<DecodeSpec> dc, ac;  // of each scan component
  std::array<int16_t, 4> last_dc{};
  DecodeState state;
};

ZmcStatus DecodeProgressiveBlock(const Scan& scan, Decoder& decoder, size_t component, Source& source, int16_t* block) {
  const auto* dc = decoder.dc[component].get();
  const auto* ac = decoder.ac[component].get();
  ZmciDecodeHuffmanState_JPEG_8u* state = decoder.state.get();
  if (scan.ss == 0 && scan.ah == 0) {
    return zmciDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(source.bytes(), source.size(), &source.position, block,
                                                      &decoder.last_dc[component], &source.marker, scan.al, dc, state);
  }
  if (scan.ss == 0) {
    return zmciDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(source.bytes(), source.size(), &source.position, block,
                                                       &source.marker, scan.al, state);
  }
  const auto decode =
      scan.ah == 0 ? zmciDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1 : zmciDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1;
  return decode(source.bytes(), source.size(), &source.position, block, &source.marker, scan.ss, scan.se, scan.al, ac,
                state);
}

}  // namespace

int64_t DecodeSequential(const Frame& frame, const ScanEntry& entry, McuSink& sink) {
  const ScanShape shape = ShapeOf(frame, entry.scan);
  Decoder decoder(entry);
  std::array<Block, kMaxMcuBlocks> blocks;
  sink.StartScan(shape);
  return WalkIntervals(
      entry, shape, [&] { decoder.Restart(); },
      [&](Source& source, int x, int y) {
        Block* block = blocks.data();
        for (const ScanShape::Place& place : shape.places) {
          const auto component = static_cast<size_t>(place.scan_component);
          const ZmcStatus status = zmciDecodeHuffman8x8_JPEG_1u16s_C1(
              source.bytes(), source.size(), &source.position, block->data(), &decoder.last_dc[component],
              &source.marker, decoder.dc[component].get(), decoder.ac[component].get(), decoder.state.get());
          if (status < 0) return false;
          ++block;
        }
        sink.Take(x, y, blocks.data());
        return true;
      });
}

int64_t DecodeProgressive(const Frame& frame, const ScanEntry& entry, Coefficients& coefficients) {
  const ScanShape shape = ShapeOf(frame, entry.scan);
  Decoder decoder(entry);
  return WalkIntervals(
      entry, shape, [&] { decoder.Restart(); },
      [&](Source& source, int x, int y) {
        for (const ScanShape::Place& place : shape.places) {
          Block& block = coefficients.planes[static_cast<size_t>(place.component)].at(x * place.step_x + place.dx,
                                                                                      y * place.step_y + place.dy);
          const auto component = static_cast<size_t>(place.scan_component);
          if (DecodeProgressiveBlock(entry.scan, decoder, component, source, block.data()) < 0) return false;
        }
        return true;
      });
}

void ReportLost(std::string& damage, size_t scan, int64_t lost, int64_t mcus) {
  if (lost == 0) return;
  if (!damage.empty()) damage += ", ";
  damage +=
      std::to_string(lost) + " of " + std::to_string(mcus) + " MCUs of scan " + std::to_string(scan + 1) + " lost";
}

}  // namespace zmc::jpeg
