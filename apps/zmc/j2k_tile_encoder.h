// One tile from pixels to packets.
#pragma once

#include <vector>

#include "j2k_encoder.h"
#include "j2k_packet_writer.h"

namespace zmc::j2k {

// The parameters of every tile.
TileParameters MakeParameters(const PictureFormat& format, const EncodeOptions& options);

// `pixels`: the tile's first pixel; rows are `step` bytes apart. `header_bytes`: what of the file's rate goes to
// headers on this tile's account.
Packets EncodeTile(const PictureFormat& format, const ImageSize& size, const TileParameters& parameters,
                   const EncodeOptions& options, const Rect& rect, const uint8_t* pixels, int64_t step,
                   int64_t header_bytes, const std::function<void(int64_t)>& advance);

}  // namespace zmc::j2k
