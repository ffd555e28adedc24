// A JPEG 2000 file of any bytes: decoding ends, in bounds, with a picture or a Failure. The first byte chooses options.
#include <memory>
#include <vector>

#include "failure.h"
#include "j2k_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  // Small pictures: what they cost in time is bounded by their samples.
  zmc::j2k::DecodeOptions options;
  options.free_samples = 1 << 16;
  options.reduce = data[0] & 3;
  if ((data[0] & 4) != 0) options.layers = 1;
  if ((data[0] & 8) != 0) options.region = zmc::j2k::Rect{3, 5, 40, 30};
  const std::vector<uint8_t> file(data + 1, data + size);
  try {
    zmc::j2k::Decoder decoder(file, options);
    std::vector<uint8_t> row(static_cast<size_t>(decoder.format().RowBytes()));
    decoder.Decode([&](const void* pixels) {
      const auto* from = static_cast<const uint8_t*>(pixels);
      row.assign(from, from + row.size());
    });
  } catch (const zmc::Failure&) {
    return 0;
  }
  return 0;
}
