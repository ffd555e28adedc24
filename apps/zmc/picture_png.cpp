// PNG through libspng: row by row both ways, except that an interlaced file is decoded whole.
#include <spng.h>

#include <cstring>
#include <vector>

#include "failure.h"
#include "file.h"
#include "picture_formats.h"

namespace zmc {
namespace {

struct FreeContext {
  void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};
using Context = std::unique_ptr<spng_ctx, FreeContext>;

Context NewContext(int flags) {
  Context context(spng_ctx_new(flags));
  if (!context) throw std::bad_alloc();
  return context;
}

// A progressive call answers SPNG_EOI with the last row.
void Check(const std::string& path, int status) {
  if (status != 0 && status != SPNG_EOI) throw Failure(path + ": " + spng_strerror(status));
}

class PngReader : public PictureReader {
 public:
  PngReader(const std::string& path, InputFile file) : path_(path), file_(std::move(file)), context_(NewContext(0)) {
    Check(path_, spng_set_png_file(context_.get(), file_.get()));
    spng_ihdr header;
    Check(path_, spng_get_ihdr(context_.get(), &header));
    spng_trns transparency;
    const bool transparent = spng_get_trns(context_.get(), &transparency) == 0;
    const bool grey = header.color_type == SPNG_COLOR_TYPE_GRAYSCALE;
    const bool alpha = transparent || header.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA ||
                       header.color_type == SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
    format_.width = header.width;
    format_.height = header.height;
    format_.bits = header.bit_depth == 16 ? 16 : 8;
    format_.channels = (grey || header.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA ? 1 : 3) + (alpha ? 1 : 0);

    // What the file holds needs no conversion unless it has a palette, less than a byte, or a transparent colour.
    int layout = SPNG_FMT_PNG;
    if (header.color_type == SPNG_COLOR_TYPE_INDEXED) layout = alpha ? SPNG_FMT_RGBA8 : SPNG_FMT_RGB8;
    if (grey && header.bit_depth < 8) layout = SPNG_FMT_G8;
    if (transparent && grey) layout = format_.bits == 16 ? SPNG_FMT_GA16 : SPNG_FMT_GA8;
    if (transparent && header.color_type == SPNG_COLOR_TYPE_TRUECOLOR) {
      layout = format_.bits == 16 ? SPNG_FMT_RGBA16 : SPNG_FMT_RGBA8;
    }
    const int flags = transparent ? SPNG_DECODE_TRNS : 0;
    if (header.interlace_method == SPNG_INTERLACE_NONE) {
      Check(path_, spng_decode_image(context_.get(), nullptr, 0, layout, flags | SPNG_DECODE_PROGRESSIVE));
      return;
    }
    whole_.resize(static_cast<size_t>(format_.RowBytes() * format_.height));
    Check(path_, spng_decode_image(context_.get(), whole_.data(), whole_.size(), layout, flags));
  }

  void ReadRow(void* row) override {
    const size_t size = static_cast<size_t>(format_.RowBytes());
    if (whole_.empty()) {
      Check(path_, spng_decode_row(context_.get(), row, size));
    } else {
      std::memcpy(row, whole_.data() + next_, size);
      next_ += size;
    }
  }

 private:
  std::string path_;
  InputFile file_;
  Context context_;
  std::vector<uint8_t> whole_;  // of an interlaced file
  size_t next_ = 0;
};

class PngWriter : public PictureWriter {
 public:
  PngWriter(const std::string& path, const PictureFormat& format)
      : path_(path), file_(path), format_(format), context_(NewContext(SPNG_CTX_ENCODER)) {
    static constexpr uint8_t kColourTypes[] = {SPNG_COLOR_TYPE_GRAYSCALE, SPNG_COLOR_TYPE_GRAYSCALE_ALPHA,
                                               SPNG_COLOR_TYPE_TRUECOLOR, SPNG_COLOR_TYPE_TRUECOLOR_ALPHA};
    spng_ihdr header = {};
    header.width = static_cast<uint32_t>(format.width);
    header.height = static_cast<uint32_t>(format.height);
    header.bit_depth = format.bits > 8 ? 16 : 8;
    header.color_type = kColourTypes[format.channels - 1];
    Check(path_, spng_set_png_file(context_.get(), file_.stream()));
    // Level 3 takes a third of the default's time for a few percent more bytes.
    Check(path_, spng_set_option(context_.get(), SPNG_IMG_COMPRESSION_LEVEL, 3));
    Check(path_, spng_set_ihdr(context_.get(), &header));
    const int flags = SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE;
    Check(path_, spng_encode_image(context_.get(), nullptr, 0, SPNG_FMT_PNG, flags));
    if (format.bits != 8 && format.bits != 16) scaled_.resize(static_cast<size_t>(format.RowBytes()));
  }

  void WriteRow(const void* row) override {
    const void* samples = scaled_.empty() ? row : Scaled(row);
    Check(path_, spng_encode_row(context_.get(), samples, static_cast<size_t>(format_.RowBytes())));
  }

  void Commit() override { file_.Commit(); }

 private:
  // PNG samples of any depth use the whole range of their 8 or 16 bits.
  const void* Scaled(const void* row) {
    const uint32_t maximum = (1u << format_.bits) - 1;
    const size_t samples = static_cast<size_t>(format_.width * format_.channels);
    for (size_t i = 0; i < samples; ++i) {
      if (format_.bits > 8) {
        const uint32_t value = Rescale(static_cast<const uint16_t*>(row)[i], maximum, 65535);
        reinterpret_cast<uint16_t*>(scaled_.data())[i] = static_cast<uint16_t>(value);
      } else {
        scaled_[i] = static_cast<uint8_t>(Rescale(static_cast<const uint8_t*>(row)[i], maximum, 255));
      }
    }
    return scaled_.data();
  }

  std::string path_;
  OutputFile file_;
  PictureFormat format_;
  Context context_;
  std::vector<uint8_t> scaled_;
};

}  // namespace

std::unique_ptr<PictureReader> OpenPng(const std::string& path, InputFile file) {
  return std::make_unique<PngReader>(path, std::move(file));
}

std::unique_ptr<PictureWriter> CreatePng(const std::string& path, const PictureFormat& format) {
  return std::make_unique<PngWriter>(path, format);
}

}  // namespace zmc
