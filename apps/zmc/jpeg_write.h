// Writes a JPEG file's markers and segments (ISO/IEC 10918-1, Annex B).
#pragma once

#include <string_view>

#include "jpeg_format.h"

namespace zmc::jpeg {

class ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual void Write(const void* data, size_t size) = 0;
};

enum class TableClass { kDc, kAc };

class SegmentWriter {
 public:
  explicit SegmentWriter(ByteSink& sink) : sink_(sink) {}
  void Marker(uint8_t marker);
  void Segment(uint8_t marker, Bytes payload);
  // JFIF 1.01, with a pixel as high as it is wide and no thumbnail.
  void Jfif();
  // What tells YCCK from CMYK, and that inks are stored inverted.
  void AdobeYcck();
  void Quant(int number, const QuantTable& table);
  void Huffman(TableClass table_class, int number, const HuffmanTable& table);
  void RestartInterval(int mcus);
  void FrameHeader(const Frame& frame);
  void ScanHeader(const Frame& frame, const Scan& scan);

 private:
  ByteSink& sink_;
};

}  // namespace zmc::jpeg
