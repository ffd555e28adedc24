#include "codecs.h"

#include <cstring>

#include "../failure.h"
#include "../jpeg_decode.h"

namespace zmc::demo {
namespace {

class Reader : public PictureReader {
 public:
  explicit Reader(const Picture& picture) : next_(picture.rgb.data()) {
    format_ = {.width = picture.width, .height = picture.height, .channels = 3, .bits = 8};
  }
  void ReadRow(void* row) override {
    std::memcpy(row, next_, static_cast<size_t>(format_.RowBytes()));
    next_ += format_.RowBytes();
  }

 private:
  const uint8_t* next_;
};

class Writer : public PictureWriter {
 public:
  explicit Writer(Picture& picture) : next_(picture.rgb.data()), row_bytes_(static_cast<size_t>(picture.width) * 3) {}
  void WriteRow(const void* row) override {
    std::memcpy(next_, row, row_bytes_);
    next_ += row_bytes_;
  }
  void Commit() override {}

 private:
  uint8_t* next_;
  size_t row_bytes_;
};

struct Sink : jpeg::ByteSink {
  void Write(const void* data, size_t size) override {
    const auto* bytes = static_cast<const uint8_t*>(data);
    file.insert(file.end(), bytes, bytes + size);
  }
  File file;
};

}  // namespace

File Encode(const Picture& picture, const jpeg::EncodeOptions& options) {
  Reader reader(picture);
  Sink sink;
  jpeg::EncodePicture(reader, options, sink);
  return std::move(sink.file);
}

Picture Decode(const File& file) {
  const File bytes = jpeg::WithEnd(file);
  const jpeg::JpegFile parsed = jpeg::Parse(bytes);
  Picture picture(parsed.frame.width, parsed.frame.height);
  Writer writer(picture);
  const std::string damage = jpeg::DecodePicture(parsed, jpeg::Upsampling::kTriangle, writer);
  if (!damage.empty()) throw Failure("the demonstration's own file is damaged: " + damage);
  return picture;
}

}  // namespace zmc::demo
