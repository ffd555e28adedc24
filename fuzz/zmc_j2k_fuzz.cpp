// A JPEG 2000 file of any bytes, or a sound one with bytes changed: decoding ends, in bounds, with a picture or a
// Failure. What comes out goes through our encoder, and lossless comes back the same. The first two bytes choose.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "failure.h"
#include "j2k_decoder.h"
#include "j2k_encoder.h"

namespace {

using Bytes = std::vector<uint8_t>;
using zmc::PictureFormat;

Bytes Decode(const Bytes& file, const zmc::j2k::DecodeOptions& options, PictureFormat* format) {
  zmc::j2k::Decoder decoder(file, options);
  *format = decoder.format();
  Bytes picture;
  decoder.Decode([&](const void* row) {
    const auto* from = static_cast<const uint8_t*>(row);
    picture.insert(picture.end(), from, from + format->RowBytes());
  });
  return picture;
}

zmc::j2k::EncodeOptions OptionsFor(uint8_t choice) {
  zmc::j2k::EncodeOptions options;
  options.style = choice & 63;
  options.levels = choice % 7;
  options.order = static_cast<zmc::j2k::Progression>(choice % 5);
  options.block_width_log2 = 2 + choice % 5;
  options.jp2 = options.plt = options.tlm = (choice & 64) != 0;
  if ((choice & 32) != 0) options.tile_width = 17, options.tile_height = 29;
  if ((choice & 128) != 0) options.rates = {0.5, 2};
  return options;
}

Bytes Encode(const Bytes& picture, const PictureFormat& format, const zmc::j2k::EncodeOptions& options) {
  zmc::j2k::MemorySink sink;
  const uint8_t* next = picture.data();
  const auto read_row = [&](void* row) {
    std::memcpy(row, next, static_cast<size_t>(format.RowBytes()));
    next += format.RowBytes();
  };
  zmc::j2k::Encode(format, read_row, options, sink);
  return std::move(sink.bytes);
}

// A codestream of a small picture in which every three bytes of the input change one: where, in two bytes, and how.
Bytes Damaged(const uint8_t* data, size_t size, uint8_t choice) {
  const PictureFormat format = {
      .width = 37, .height = 23, .channels = 1 + choice % 4, .bits = choice % 3 == 0 ? 12 : 8};
  Bytes picture(static_cast<size_t>(format.height * format.RowBytes()));
  for (size_t i = 0; i < picture.size(); ++i) picture[i] = static_cast<uint8_t>(format.bits > 8 ? i % 16 : i * i / 97);
  Bytes file = Encode(picture, format, OptionsFor(choice));
  for (; size >= 3; data += 3, size -= 3) {
    file[(static_cast<size_t>(data[0]) << 8 | data[1]) % file.size()] ^= data[2];
  }
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // Small pictures: what they cost in time is bounded by their samples.
  zmc::j2k::DecodeOptions options;
  options.free_samples = 1 << 16;
  options.reduce = data[0] & 3;
  if ((data[0] & 4) != 0) options.layers = 1;
  if ((data[0] & 8) != 0) options.region = zmc::j2k::Rect{3, 5, 40, 30};
  const Bytes file = (data[0] & 16) != 0 ? Damaged(data + 2, size - 2, data[1]) : Bytes(data + 2, data + size);
  PictureFormat format;
  Bytes picture;
  try {
    picture = Decode(file, options, &format);
  } catch (const zmc::Failure&) {
    return 0;
  }
  if (format.width * format.height > 64 * 64) return 0;
  const zmc::j2k::EncodeOptions encode = OptionsFor(data[1]);
  PictureFormat again;
  const Bytes back = Decode(Encode(picture, format, encode), {}, &again);
  if (back.size() != picture.size() || (!encode.Lossy() && back != picture)) std::abort();
  return 0;
}
