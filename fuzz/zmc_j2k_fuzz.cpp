// A JPEG 2000 file of any bytes: decoding ends, in bounds, with a picture or a Failure. What comes out goes through our
// encoder, and lossless comes back the same. The first two bytes choose options.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "failure.h"
#include "j2k_decoder.h"
#include "j2k_encoder.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Decode(const Bytes& file, const zmc::j2k::DecodeOptions& options, zmc::PictureFormat* format) {
  zmc::j2k::Decoder decoder(file, options);
  *format = decoder.format();
  Bytes picture;
  decoder.Decode([&](const void* row) {
    const auto* from = static_cast<const uint8_t*>(row);
    picture.insert(picture.end(), from, from + format->RowBytes());
  });
  return picture;
}

void RoundTrip(const Bytes& picture, const zmc::PictureFormat& format, uint8_t choice) {
  zmc::j2k::EncodeOptions options;
  options.style = choice & 63;
  options.levels = choice % 7;
  options.order = static_cast<zmc::j2k::Progression>(choice % 5);
  options.block_width_log2 = 2 + choice % 5;
  options.jp2 = options.plt = options.tlm = (choice & 64) != 0;
  if ((choice & 32) != 0) options.tile_width = 17, options.tile_height = 29;
  if ((choice & 128) != 0) options.rates = {0.5, 2};
  zmc::j2k::MemorySink sink;
  const uint8_t* next = picture.data();
  zmc::j2k::Encode(
      format,
      [&](void* row) {
        std::memcpy(row, next, static_cast<size_t>(format.RowBytes()));
        next += format.RowBytes();
      },
      options, sink);
  zmc::PictureFormat again;
  const Bytes back = Decode(sink.bytes, {}, &again);
  if (back.size() != picture.size() || (!options.Lossy() && back != picture)) std::abort();
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
  zmc::PictureFormat format;
  Bytes picture;
  try {
    picture = Decode(Bytes(data + 2, data + size), options, &format);
  } catch (const zmc::Failure&) {
    return 0;
  }
  if (format.width * format.height <= 64 * 64) RoundTrip(picture, format, data[1]);
  return 0;
}
