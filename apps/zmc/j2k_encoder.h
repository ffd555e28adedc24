// Encodes a picture to a JPEG 2000 codestream, tile row by tile row: memory grows with a row of tiles.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "j2k_codestream.h"
#include "picture.h"

namespace zmc::j2k {

struct EncodeOptions {
  bool jp2 = false;           // with the boxes of a JP2 file
  std::vector<double> rates;  // bits a pixel, a quality layer each, ascending; empty: lossless
  double quality = 0;         // PSNR in dB to reach, instead of a rate; 0: not asked for
  int levels = 5;
  int block_width_log2 = 6, block_height_log2 = 6;
  int64_t tile_width = 0, tile_height = 0;  // 0: the picture's
  Progression order = Progression::kLRCP;
  int style = 0;                  // sum of BlockStyle
  bool plt = false, tlm = false;  // packet lengths in tile-part headers, tile-part lengths in the main header
  bool Lossy() const { return !rates.empty() || quality > 0; }
};

// Where the file goes.
class ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual int64_t position() const = 0;
  virtual void Write(const void* data, size_t size) = 0;
  virtual void Patch(int64_t position, const void* data, size_t size) = 0;
};

class MemorySink : public ByteSink {
 public:
  int64_t position() const override { return static_cast<int64_t>(bytes.size()); }
  void Write(const void* data, size_t size) override;
  void Patch(int64_t position, const void* data, size_t size) override;
  std::vector<uint8_t> bytes;
};

// Rows come from `read_row` from top to bottom, once each. `advance` hears of progress, from any thread, one step a
// sample. Throws Failure.
void Encode(const PictureFormat& format, const std::function<void(void*)>& read_row, const EncodeOptions& options,
            ByteSink& sink, const std::function<void(int64_t)>& advance = {});

}  // namespace zmc::j2k
