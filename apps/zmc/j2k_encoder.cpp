#include "j2k_encoder.h"

#include <algorithm>
#include <cstring>

#include "failure.h"
#include "j2k_boxes.h"
#include "j2k_parallel.h"
#include "j2k_tile_encoder.h"

namespace zmc::j2k {
namespace {

constexpr int64_t kTilePartHeader = 14;  // SOT and SOD
constexpr size_t kMaxSegment = 65535;

// The lengths of a tile-part's packets: 7 bits a byte, the highest first, in numbered segments (A.7.3).
void WritePacketLengths(const std::vector<uint32_t>& lengths, HeaderWriter& out) {
  size_t next = 0;
  for (int segment = 0; next < lengths.size(); ++segment) {
    if (segment == 256) throw Failure("too many packets for PLT");
    out.Begin(kPLT);
    out.U8(segment);
    for (size_t used = 3; next < lengths.size() && used + 5 <= kMaxSegment; ++next) {
      for (int shift = 28; shift >= 0; shift -= 7) {
        const uint32_t rest = lengths[next] >> shift;
        if (rest == 0 && shift > 0) continue;
        out.U8((rest & 0x7F) | (shift > 0 ? 0x80 : 0));
        ++used;
      }
    }
    out.End();
  }
}

// Room for the lengths of all tile-parts, filled in at the end (A.7.1). Each entry: tile in 16 bits, length in 32.
class TileLengths {
 public:
  explicit TileLengths(size_t tiles) : lengths_(tiles) {}
  size_t size() const { return Segments().size(); }
  void Set(size_t tile, int64_t length) { lengths_[tile] = length; }
  std::vector<uint8_t> Segments() const {
    constexpr size_t kPerSegment = (kMaxSegment - 4) / 6;
    HeaderWriter out;
    for (size_t i = 0; i < lengths_.size(); ++i) {
      if (i % kPerSegment == 0) {
        out.Begin(kTLM);
        out.U8(static_cast<int64_t>(i / kPerSegment));
        out.U8(0x60);
      }
      out.U16(static_cast<int64_t>(i));
      out.U32(lengths_[i]);
      if (i + 1 == lengths_.size() || (i + 1) % kPerSegment == 0) out.End();
    }
    return out.bytes();
  }

 private:
  std::vector<int64_t> lengths_;
};

ImageSize MakeSize(const PictureFormat& format, const EncodeOptions& options) {
  ImageSize size;
  size.image = {0, 0, format.width, format.height};
  size.tile_width = options.tile_width > 0 ? options.tile_width : format.width;
  size.tile_height = options.tile_height > 0 ? options.tile_height : format.height;
  ComponentSize component;
  component.bits = format.bits;
  size.components.assign(static_cast<size_t>(format.channels), component);
  if (size.TilesWide() > 65535 || size.TilesWide() * size.TilesHigh() > 65535) throw Failure("more than 65535 tiles");
  return size;
}

void WriteTilePart(size_t tile, const Packets& packets, bool with_lengths, ByteSink& sink, TileLengths& lengths) {
  HeaderWriter segments;
  if (with_lengths) WritePacketLengths(packets.lengths, segments);
  const auto length = kTilePartHeader + static_cast<int64_t>(segments.bytes().size() + packets.bytes.size());
  if (length > UINT32_MAX) throw Failure("a tile of more than 4 GB");
  HeaderWriter header;
  header.Begin(kSOT);
  header.U16(static_cast<int64_t>(tile)), header.U32(length), header.U8(0), header.U8(1);
  header.End();
  sink.Write(header.bytes().data(), header.bytes().size());
  sink.Write(segments.bytes().data(), segments.bytes().size());
  const uint8_t start_of_data[2] = {0xFF, kSOD & 0xFF};
  sink.Write(start_of_data, 2);
  sink.Write(packets.bytes.data(), packets.bytes.size());
  lengths.Set(tile, length);
}

// The length of the box of the codestream, where 32 bits hold it.
void PatchBoxLength(int64_t box, ByteSink& sink) {
  const int64_t length = sink.position() - box;
  if (length > UINT32_MAX) return;
  HeaderWriter out;
  out.U32(length);
  sink.Patch(box, out.bytes().data(), out.bytes().size());
}

}  // namespace

void MemorySink::Write(const void* data, size_t size) {
  const auto* from = static_cast<const uint8_t*>(data);
  bytes.insert(bytes.end(), from, from + size);
}

void MemorySink::Patch(int64_t position, const void* data, size_t size) {
  std::memcpy(bytes.data() + position, data, size);
}

void Encode(const PictureFormat& format, const std::function<void(void*)>& read_row, const EncodeOptions& options,
            ByteSink& sink, const std::function<void(int64_t)>& advance) {
  const ImageSize size = MakeSize(format, options);
  const TileParameters parameters = MakeParameters(format, options);
  const auto tiles = static_cast<size_t>(size.TilesWide() * size.TilesHigh());
  int64_t box = -1;
  if (options.jp2) {
    const std::vector<uint8_t> boxes = WriteBoxes(format);
    sink.Write(boxes.data(), boxes.size());
    box = sink.position() - 8;
  }
  HeaderWriter header;
  WriteMainHeader(size, parameters, header);
  sink.Write(header.bytes().data(), header.bytes().size());
  TileLengths lengths(tiles);
  const int64_t lengths_at = sink.position();
  if (options.tlm) sink.Write(lengths.Segments().data(), lengths.size());
  // Every tile bears its share of what is not packets.
  const int64_t header_bytes = kTilePartHeader + CeilDiv(sink.position() + 2, static_cast<int64_t>(tiles));

  const int64_t row_bytes = format.RowBytes();
  const int64_t pixel_bytes = row_bytes / format.width;
  std::vector<uint8_t> pixels;
  for (int64_t row = 0; row < size.TilesHigh(); ++row) {
    const Rect band = size.TileRect(0, row);
    pixels.resize(static_cast<size_t>(band.height() * row_bytes));
    for (int64_t y = 0; y < band.height(); ++y) read_row(pixels.data() + y * row_bytes);
    std::vector<Packets> packets(static_cast<size_t>(size.TilesWide()));
    ParallelFor(size.TilesWide(), [&](int64_t column) {
      const Rect rect = size.TileRect(column, row);
      packets[static_cast<size_t>(column)] =
          EncodeTile(format, size, parameters, options, rect, pixels.data() + rect.x0 * pixel_bytes, row_bytes,
                     header_bytes, advance);
    });
    for (size_t column = 0; column < packets.size(); ++column) {
      const size_t tile = static_cast<size_t>(row * size.TilesWide()) + column;
      WriteTilePart(tile, packets[column], options.plt, sink, lengths);
    }
  }
  const uint8_t end[2] = {0xFF, kEOC & 0xFF};
  sink.Write(end, 2);
  if (options.tlm) sink.Patch(lengths_at, lengths.Segments().data(), lengths.size());
  if (box >= 0) PatchBoxLength(box, sink);
}

}  // namespace zmc::j2k
