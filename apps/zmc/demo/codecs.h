// zmc's JPEG codec and the peer's on memory, for timing.
#pragma once

#include <cstdint>
#include <vector>

#include "../jpeg_encode.h"
#include "picture.h"

namespace zmc::demo {

using File = std::vector<uint8_t>;

File Encode(const Picture& picture, const jpeg::EncodeOptions& options);
Picture Decode(const File& file);

// libjpeg-turbo doing the same work: the same scans, tables, sampling and up-sampling.
bool HavePeer();
File PeerEncode(const Picture& picture, const jpeg::EncodeOptions& options);
Picture PeerDecode(const File& file);

}  // namespace zmc::demo
