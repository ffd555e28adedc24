// Pictures as rows: what the codecs read from and write to, whatever the file format behind it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace zmc {

struct PictureFormat {
  int64_t width = 0;
  int64_t height = 0;
  int channels = 3;  // 1 grey, 2 grey and alpha, 3 RGB, 4 RGB and alpha
  int bits = 8;      // of a sample, 1 to 16; samples of more than 8 bits are uint16_t in memory, others uint8_t
  int64_t RowBytes() const { return width * channels * (bits > 8 ? 2 : 1); }
};

class PictureReader {
 public:
  virtual ~PictureReader() = default;
  const PictureFormat& format() const { return format_; }
  // The next row, interleaved, into RowBytes() bytes. Rows come from top to bottom, once each. Throws Failure.
  virtual void ReadRow(void* row) = 0;

 protected:
  PictureFormat format_;
};

// Rows go to a file under a temporary name; Commit closes it and gives it its name. Without Commit nothing is left.
class PictureWriter {
 public:
  virtual ~PictureWriter() = default;
  virtual void WriteRow(const void* row) = 0;
  virtual void Commit() = 0;
};

// By content: PNG or PPM/PGM. Throws Failure with a message that names the file.
std::unique_ptr<PictureReader> OpenPicture(const std::string& path);
// By the name's ending: .png, .ppm, .pgm (colour to .pgm, and alpha to either of the last two, is a Failure).
std::unique_ptr<PictureWriter> CreatePicture(const std::string& path, const PictureFormat& format);

}  // namespace zmc
