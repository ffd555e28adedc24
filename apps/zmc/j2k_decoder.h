// Decodes a JPEG 2000 file in memory, tile row by tile row: memory grows with a row of tiles, not with the picture.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "j2k_boxes.h"
#include "j2k_output.h"

namespace zmc::j2k {

struct DecodeOptions {
  int reduce = 0;              // resolutions to leave out
  int layers = 65535;          // quality layers to decode
  std::optional<Rect> region;  // in pixels of the whole picture at full resolution
  // A picture of more samples than this needs a file of at least a byte for every 4096 further ones. Likewise a tile
  // divides into at most 2^18 precincts, and its components into as many code-blocks, and 16 more for every byte. This
  // bounds memory and time on files that claim the impossible.
  int64_t free_samples = int64_t{1} << 27;
};

class Decoder {
 public:
  // The file's bytes outlive the decoder. Throws Failure when nothing can be decoded.
  Decoder(Bytes file, const DecodeOptions& options);
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  const PictureFormat& format() const { return output_.format(); }
  const Container& container() const { return container_; }
  const Codestream& codestream() const { return codestream_; }

  // Rows of format(), from top to bottom. `advance` hears of progress, from any thread, ProgressSteps() in all.
  void Decode(const std::function<void(const void*)>& write_row, const std::function<void(int64_t)>& advance = {});
  int64_t ProgressSteps() const;
  // What was damaged or missing; empty when the picture is whole.
  const std::string& report() const { return report_; }

 private:
  void DecodeTile(int64_t column, int64_t row, const Rect& band, uint8_t* pixels,
                  const std::function<void(int64_t)>& advance, std::string* report) const;

  DecodeOptions options_;
  Container container_;
  Codestream codestream_;
  Output output_;
  std::string report_;
};

}  // namespace zmc::j2k
