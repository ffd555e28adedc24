// PPM (P6) and PGM (P5): a header in text, then samples, of two bytes with the high one first when the maximum is
// above 255.
#include <algorithm>
#include <bit>
#include <vector>

#include "failure.h"
#include "file.h"
#include "picture_formats.h"

namespace zmc {
namespace {

class PnmReader : public PictureReader {
 public:
  PnmReader(const std::string& path, InputFile file) : path_(path), file_(std::move(file)) {
    std::fgetc(file_.get());
    const int kind = std::fgetc(file_.get());
    if (kind != '5' && kind != '6') throw Failure(path_ + ": only the binary forms P5 and P6 are read");
    format_.channels = kind == '5' ? 1 : 3;
    format_.width = ReadNumber(INT32_MAX);
    format_.height = ReadNumber(INT32_MAX);
    maximum_ = ReadNumber(65535);
    // Exactly one byte of white space: the next may be a sample.
    if (!IsSpace(std::fgetc(file_.get()))) Bad();
    format_.bits = static_cast<int>(std::bit_width(maximum_));
    file_row_.resize(static_cast<size_t>(format_.width * format_.channels * (maximum_ > 255 ? 2 : 1)));
  }

  void ReadRow(void* row) override {
    if (std::fread(file_row_.data(), 1, file_row_.size(), file_.get()) != file_row_.size()) {
      throw Failure(path_ + ": the file ends too early");
    }
    const bool full = maximum_ == (1u << format_.bits) - 1;
    if (maximum_ > 255) {
      auto* samples = static_cast<uint16_t*>(row);
      for (size_t i = 0; i < file_row_.size() / 2; ++i) {
        const auto value = static_cast<uint16_t>(file_row_[2 * i] << 8 | file_row_[2 * i + 1]);
        samples[i] = full && value <= maximum_ ? value : static_cast<uint16_t>(Full(value));
      }
    } else if (maximum_ == 255) {
      std::copy(file_row_.begin(), file_row_.end(), static_cast<uint8_t*>(row));
    } else {
      std::transform(file_row_.begin(), file_row_.end(), static_cast<uint8_t*>(row),
                     [this](uint8_t value) { return static_cast<uint8_t>(Full(value)); });
    }
  }

 private:
  static bool IsSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  [[noreturn]] void Bad() { throw Failure(path_ + ": bad PPM or PGM header"); }

  uint32_t ReadNumber(uint32_t limit) {
    int c = std::fgetc(file_.get());
    while (IsSpace(c) || c == '#') {
      if (c == '#') {
        while (c != '\n' && c != EOF) c = std::fgetc(file_.get());
      }
      c = std::fgetc(file_.get());
    }
    uint64_t number = 0;
    for (; c >= '0' && c <= '9'; c = std::fgetc(file_.get())) {
      number = number * 10 + static_cast<uint64_t>(c - '0');
      if (number > limit) Bad();
    }
    if (number == 0) Bad();
    std::ungetc(c, file_.get());
    return static_cast<uint32_t>(number);
  }

  // A sample on the scale of 2^bits - 1.
  uint32_t Full(uint32_t value) const { return Rescale(std::min(value, maximum_), maximum_, (1u << format_.bits) - 1); }

  std::string path_;
  InputFile file_;
  uint32_t maximum_ = 0;
  std::vector<uint8_t> file_row_;
};

class PnmWriter : public PictureWriter {
 public:
  PnmWriter(const std::string& path, const PictureFormat& format, int channels)
      : file_(path), format_(format), channels_(channels) {
    const std::string header = std::string(channels == 1 ? "P5\n" : "P6\n") + std::to_string(format.width) + " " +
                               std::to_string(format.height) + "\n" + std::to_string((1u << format.bits) - 1) + "\n";
    file_.Write(header.data(), header.size());
    file_row_.resize(static_cast<size_t>(format.width * channels * (format.bits > 8 ? 2 : 1)));
  }

  void WriteRow(const void* row) override {
    // Grey goes to .ppm as three equal samples.
    const size_t copies = static_cast<size_t>(channels_ / format_.channels);
    if (format_.bits <= 8 && copies == 1) return file_.Write(row, file_row_.size());
    uint8_t* dst = file_row_.data();
    const size_t samples = static_cast<size_t>(format_.width * format_.channels);
    for (size_t i = 0; i < samples; ++i) {
      for (size_t copy = 0; copy < copies; ++copy) {
        if (format_.bits > 8) *dst++ = static_cast<uint8_t>(static_cast<const uint16_t*>(row)[i] >> 8);
        *dst++ = static_cast<uint8_t>(format_.bits > 8 ? static_cast<const uint16_t*>(row)[i]
                                                       : static_cast<const uint8_t*>(row)[i]);
      }
    }
    file_.Write(file_row_.data(), file_row_.size());
  }

  void Commit() override { file_.Commit(); }

 private:
  OutputFile file_;
  PictureFormat format_;
  int channels_;
  std::vector<uint8_t> file_row_;
};

}  // namespace

std::unique_ptr<PictureReader> OpenPnm(const std::string& path, InputFile file) {
  return std::make_unique<PnmReader>(path, std::move(file));
}

std::unique_ptr<PictureWriter> CreatePnm(const std::string& path, const PictureFormat& format, int channels) {
  if (format.channels % 2 == 0) throw Failure(path + ": PPM and PGM have no transparency; write a PNG");
  if (format.channels > channels) throw Failure(path + ": PGM has no colour; write a PPM or a PNG");
  return std::make_unique<PnmWriter>(path, format, channels);
}

}  // namespace zmc
