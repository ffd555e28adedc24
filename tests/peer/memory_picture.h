// Pictures and files in memory, for the tests of zmc's codecs.
#pragma once

#include <cstring>
#include <vector>

#include "jpeg_write.h"
#include "picture.h"

namespace zmc::testing {

class MemoryReader : public PictureReader {
 public:
  MemoryReader(const PictureFormat& format, const uint8_t* samples) : next_(samples) { format_ = format; }
  void ReadRow(void* row) override {
    std::memcpy(row, next_, static_cast<size_t>(format_.RowBytes()));
    next_ += format_.RowBytes();
  }

 private:
  const uint8_t* next_;
};

class MemoryWriter : public PictureWriter {
 public:
  explicit MemoryWriter(const PictureFormat& format) : row_bytes_(static_cast<size_t>(format.RowBytes())) {}
  void WriteRow(const void* row) override {
    const auto* bytes = static_cast<const uint8_t*>(row);
    samples.insert(samples.end(), bytes, bytes + row_bytes_);
  }
  void Commit() override {}
  std::vector<uint8_t> samples;

 private:
  size_t row_bytes_;
};

struct MemorySink : jpeg::ByteSink {
  void Write(const void* data, size_t size) override {
    const auto* more = static_cast<const uint8_t*>(data);
    bytes.insert(bytes.end(), more, more + size);
  }
  std::vector<uint8_t> bytes;
};

}  // namespace zmc::testing
