#include "jpeg_write.h"

#include <algorithm>

namespace zmc::jpeg {
namespace {

class Payload {
 public:
  Payload& Byte(int value) {
    bytes_.push_back(static_cast<uint8_t>(value));
    return *this;
  }
  Payload& Word(int value) { return Byte(value >> 8).Byte(value); }
  Payload& Put(Bytes bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  operator Bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
};

}  // namespace

void SegmentWriter::Marker(uint8_t marker) {
  const uint8_t bytes[] = {0xFF, marker};
  sink_.Write(bytes, 2);
}

void SegmentWriter::Segment(uint8_t marker, Bytes payload) {
  Marker(marker);
  const size_t length = payload.size() + 2;
  const uint8_t bytes[] = {static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
  sink_.Write(bytes, 2);
  sink_.Write(payload.data(), payload.size());
}

void SegmentWriter::Jfif() {
  static constexpr uint8_t kPayload[] = {'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0};
  Segment(kApp0, kPayload);
}

void SegmentWriter::AdobeYcck() {
  static constexpr uint8_t kPayload[] = {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 2};
  Segment(kApp14, kPayload);
}

void SegmentWriter::Quant(int number, const QuantTable& table) {
  const bool wide = std::ranges::any_of(table.values, [](uint16_t value) { return value > 255; });
  Payload payload;
  payload.Byte((wide ? 0x10 : 0) | number);
  for (const uint16_t value : table.values) wide ? payload.Word(value) : payload.Byte(value);
  Segment(kDqt, payload);
}

void SegmentWriter::Huffman(TableClass table_class, int number, const HuffmanTable& table) {
  Payload payload;
  payload.Byte((table_class == TableClass::kAc ? 0x10 : 0) | number);
  payload.Put(table.bits).Put(Bytes(table.values).first(static_cast<size_t>(table.Count())));
  Segment(kDht, payload);
}

void SegmentWriter::RestartInterval(int mcus) { Segment(kDri, Payload().Word(mcus)); }

void SegmentWriter::FrameHeader(const Frame& frame) {
  Payload payload;
  payload.Byte(8).Word(frame.height).Word(frame.width).Byte(static_cast<int>(frame.components.size()));
  for (const Component& c : frame.components) payload.Byte(c.id).Byte(c.h << 4 | c.v).Byte(c.quant);
  Segment(frame.process, payload);
}

void SegmentWriter::ScanHeader(const Frame& frame, const Scan& scan) {
  Payload payload;
  payload.Byte(static_cast<int>(scan.components.size()));
  for (const ScanComponent& c : scan.components) {
    // A number that the scan does not use is 0 (G.1.1.1.1 leaves it open, decoders that check want it small).
    const bool dc = scan.ss == 0 && scan.ah == 0, ac = scan.se > 0;
    payload.Byte(frame.components[static_cast<size_t>(c.index)].id).Byte((dc ? c.dc << 4 : 0) | (ac ? c.ac : 0));
  }
  payload.Byte(scan.ss).Byte(scan.se).Byte(scan.ah << 4 | scan.al);
  Segment(kSos, payload);
}

}  // namespace zmc::jpeg
