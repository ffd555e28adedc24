#include "jpeg_entropy_encode.h"

#include <algorithm>

#include "failure.h"

namespace zmc::jpeg {
namespace {

// 64 codes of 16 bits with 16 bits appended, every byte stuffed.
constexpr int kMostBlockBytes = 512;
// What a refinement scan may hold back: a run's code, and 1023 correction bits, every byte stuffed.
constexpr int kMostHeldBytes = 300;
constexpr int kBufferBytes = 1 << 16;
constexpr int kMostDcCategory = 11;  // of 8-bit samples (F.1.2.1)
// How far ahead a scan's blocks are asked for: a scan of DC coefficients has less to do for a block than memory has.
constexpr int kMcusAhead = 8;

bool UsesDcTable(ScanKind kind) { return kind == ScanKind::kSequential || kind == ScanKind::kDcFirst; }
bool UsesAcTable(ScanKind kind) { return kind != ScanKind::kDcFirst && kind != ScanKind::kDcRefine; }

// Without any symbol there is no table, and none is needed.
HuffmanTable BestTable(const std::array<int, 256>& counts) {
  HuffmanTable table;
  if (std::ranges::all_of(counts, [](int count) { return count == 0; })) return table;
  Require(zmciEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), table.bits.data(), table.values.data()),
          "no Huffman table for these symbols");
  return table;
}

}  // namespace

ScanKind KindOf(const Frame& frame, const Scan& scan) {
  if (!frame.Progressive()) return ScanKind::kSequential;
  if (scan.ss == 0) return scan.ah == 0 ? ScanKind::kDcFirst : ScanKind::kDcRefine;
  return scan.ah == 0 ? ScanKind::kAcFirst : ScanKind::kAcRefine;
}

McuCoder::McuCoder(const Frame& frame, const Scan& scan, int restart_interval)
    : scan_(scan), shape_(ShapeOf(frame, scan)), kind_(KindOf(frame, scan)), restart_interval_(restart_interval) {}

void McuCoder::Take(const int16_t* const* blocks) {
  if (restart_interval_ > 0 && mcus_ > 0 && mcus_ % restart_interval_ == 0) {
    Restart(static_cast<int>((mcus_ / restart_interval_ - 1) & 7));
    last_dc_.fill(0);
  }
  ++mcus_;
  Code(blocks);
}

ScanCounter::ScanCounter(const Frame& frame, const Scan& scan, int restart_interval)
    : McuCoder(frame, scan, restart_interval), state_(MakeEncodeState()) {}

void ScanCounter::Code(const int16_t* const* blocks) {
  for (size_t i = 0; i < shape_.places.size(); ++i) {
    const auto index = static_cast<size_t>(shape_.places[i].scan_component);
    const ScanComponent& component = scan_.components[index];
    int* dc = dc_[static_cast<size_t>(component.dc)].data();
    int* ac = ac_[static_cast<size_t>(component.ac)].data();
    ZmcStatus status = zmcStatusOk;
    switch (kind_) {
      case ScanKind::kSequential:
        status = zmciGetHuffmanStatistics8x8_JPEG_16s_C1(blocks[i], dc, ac, &last_dc_[index]);
        break;
      case ScanKind::kDcFirst:
        status = zmciGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(blocks[i], dc, &last_dc_[index], scan_.al);
        break;
      case ScanKind::kDcRefine:
        break;
      case ScanKind::kAcFirst:
        status = zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(blocks[i], reinterpret_cast<uint32_t*>(ac), scan_.ss,
                                                                 scan_.se, scan_.al, state_.get(), 0);
        break;
      case ScanKind::kAcRefine:
        status = zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(blocks[i], reinterpret_cast<uint32_t*>(ac), scan_.ss,
                                                                  scan_.se, scan_.al, state_.get(), 0);
        break;
    }
    Require(status, "a coefficient that JPEG cannot code");
  }
}

// What a pending run of empty bands will be written as.
void ScanCounter::EndRun() {
  auto* counts = reinterpret_cast<uint32_t*>(ac_[static_cast<size_t>(scan_.components[0].ac)].data());
  const auto count = kind_ == ScanKind::kAcFirst ? zmciGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1
                                                 : zmciGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;
  if (kind_ == ScanKind::kAcFirst || kind_ == ScanKind::kAcRefine) {
    count(nullptr, counts, scan_.ss, scan_.se, scan_.al, state_.get(), 1);
  }
}

void ScanCounter::Restart(int) { EndRun(); }

void ScanCounter::Finish() {
  EndRun();
  for (const Counts& counts : dc_) {
    const bool codable = std::all_of(counts.begin() + kMostDcCategory + 1, counts.end(), [](int n) { return n == 0; });
    if (!codable) throw Failure("DC coefficients too far apart for JPEG");
  }
  for (size_t i = 0; i < 2; ++i) {
    tables_.dc[i] = BestTable(dc_[i]);
    tables_.ac[i] = BestTable(ac_[i]);
  }
}

ScanEncoder::ScanEncoder(const Frame& frame, const Scan& scan, int restart_interval, const ScanTables& tables,
                         ByteSink& sink)
    : McuCoder(frame, scan, restart_interval), sink_(sink), state_(MakeEncodeState()) {
  for (size_t i = 0; i < 2; ++i) {
    if (UsesDcTable(kind_)) dc_[i] = MakeEncodeSpec(tables.dc[i]);
    if (UsesAcTable(kind_)) ac_[i] = MakeEncodeSpec(tables.ac[i]);
  }
  margin_ = static_cast<int>(shape_.places.size()) * kMostBlockBytes + kMostHeldBytes;
  capacity_ = kBufferBytes;
  buffer_.resize(static_cast<size_t>(capacity_));
}

ZmcStatus ScanEncoder::CodeBlock(const ScanComponent& component, const int16_t* block, int16_t* last_dc) {
  uint8_t* dst = buffer_.data();
  const auto* dc = dc_[static_cast<size_t>(component.dc)].get();
  const auto* ac = ac_[static_cast<size_t>(component.ac)].get();
  ZmciEncodeHuffmanState_JPEG_8u* state = state_.get();
  switch (kind_) {
    case ScanKind::kSequential:
      return zmciEncodeHuffman8x8_JPEG_16s1u_C1(block, dst, capacity_, &position_, last_dc, dc, ac, state, 0);
    case ScanKind::kDcFirst:
      return zmciEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, dst, capacity_, &position_, last_dc, scan_.al, dc, state,
                                                        0);
    case ScanKind::kDcRefine:
      return zmciEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, dst, capacity_, &position_, scan_.al, state, 0);
    case ScanKind::kAcFirst:
      return zmciEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block, dst, capacity_, &position_, scan_.ss, scan_.se, scan_.al,
                                                        ac, state, 0);
    case ScanKind::kAcRefine:
      return zmciEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block, dst, capacity_, &position_, scan_.ss, scan_.se,
                                                         scan_.al, ac, state, 0);
  }
  return zmcStatusOk;
}

void ScanEncoder::Code(const int16_t* const* blocks) {
  if (capacity_ - position_ < margin_) Drain();
  for (size_t i = 0; i < shape_.places.size(); ++i) {
    const auto index = static_cast<size_t>(shape_.places[i].scan_component);
    const ZmcStatus status = CodeBlock(scan_.components[index], blocks[i], &last_dc_[index]);
    Require(status, status == zmcStatusBadHuffmanTable ? "the standard Huffman tables lack a code; use --optimize"
                                                       : "a coefficient that JPEG cannot code");
  }
}

// Pads the last byte, after the run that an AC scan may hold back.
void ScanEncoder::Flush() {
  if (capacity_ - position_ < margin_) Drain();
  uint8_t* dst = buffer_.data();
  const auto* ac = ac_[static_cast<size_t>(scan_.components[0].ac)].get();
  ZmciEncodeHuffmanState_JPEG_8u* state = state_.get();
  ZmcStatus status = zmcStatusOk;
  if (kind_ == ScanKind::kAcFirst || kind_ == ScanKind::kAcRefine) {
    const auto encode = kind_ == ScanKind::kAcFirst ? zmciEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1
                                                    : zmciEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1;
    status = encode(nullptr, dst, capacity_, &position_, scan_.ss, scan_.se, scan_.al, ac, state, 1);
  } else {
    status =
        zmciEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, dst, capacity_, &position_, nullptr, nullptr, nullptr, state, 1);
  }
  Require(status, "the end of a scan cannot be coded");
}

void ScanEncoder::Restart(int number) {
  Flush();
  Drain();
  SegmentWriter(sink_).Marker(static_cast<uint8_t>(kRst0 + number));
}

void ScanEncoder::Finish() {
  Flush();
  Drain();
}

void ScanEncoder::Drain() {
  sink_.Write(buffer_.data(), static_cast<size_t>(position_));
  position_ = 0;
}

template <class Coder>
void WalkScan(const Frame& frame, const Scan& scan, const Coefficients& coefficients, Coder& coder) {
  const ScanShape shape = ShapeOf(frame, scan);
  // Of the places of an MCU, the blocks of its row.
  struct Row {
    const Block* first;
    int step;
    int mcus;  // up to the picture's edge
  };
  std::array<Row, kMaxMcuBlocks> rows{};
  std::array<const int16_t*, kMaxMcuBlocks> blocks{};
  std::array<Block, kMaxMcuBlocks> flat{};
  const size_t count = shape.places.size();
  for (int y = 0; y < shape.mcus_high; ++y) {
    for (size_t i = 0; i < count; ++i) {
      const ScanShape::Place& place = shape.places[i];
      const Component& c = frame.components[static_cast<size_t>(place.component)];
      const int block_y = y * place.step_y + place.dy;
      const int mcus = (c.blocks_wide - place.dx + place.step_x - 1) / place.step_x;
      rows[i] = {&coefficients.planes[static_cast<size_t>(place.component)].at(place.dx, block_y), place.step_x,
                 block_y < c.blocks_high ? mcus : 0};
    }
    for (int x = 0; x < shape.mcus_wide; ++x) {
      for (size_t i = 0; i < count; ++i) {
        if (x < rows[i].mcus) {
          const Block* const block = rows[i].first + x * rows[i].step;
          if (x + kMcusAhead < rows[i].mcus) __builtin_prefetch(block + kMcusAhead * rows[i].step);
          blocks[i] = block->data();
        } else {
          flat[i].values[0] = blocks[i - 1][0];
          blocks[i] = flat[i].data();
        }
      }
      coder.Take(blocks.data());
    }
  }
  coder.Finish();
}

template void WalkScan(const Frame&, const Scan&, const Coefficients&, ScanCounter&);
template void WalkScan(const Frame&, const Scan&, const Coefficients&, ScanEncoder&);

}  // namespace zmc::jpeg
