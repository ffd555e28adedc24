#include "j2k_packet_reader.h"

#include <algorithm>
#include <bit>

#include "failure.h"
#include "j2k_progression.h"

namespace zmc::j2k {
namespace {

// The code of Table B.4.
int ReadPassCount(BitReader& bits) {
  if (bits.Bit() == 0) return 1;
  if (bits.Bit() == 0) return 2;
  if (const uint32_t n = bits.Bits(2); n < 3) return static_cast<int>(3 + n);
  if (const uint32_t n = bits.Bits(5); n < 31) return static_cast<int>(6 + n);
  return static_cast<int>(37 + bits.Bits(7));
}

class PacketReader {
 public:
  PacketReader(Tile& tile, const TileParameters& parameters, const std::vector<TilePart>& parts, Bytes packet_headers,
               const PacketLimits& limits)
      : tile_(tile), parameters_(parameters), parts_(parts), headers_(packet_headers), limits_(limits) {
    packed_ = !headers_.empty();
    size_t bytes = headers_.size();
    for (const TilePart& part : parts) bytes += part.body.size();
    visits_left_ = (int64_t{1} << 24) + 256 * static_cast<int64_t>(bytes);
  }

  // False when the data has ended.
  bool ReadPacket(const PacketPlace& place) {
    while (body_.empty() && next_part_ < parts_.size()) body_ = parts_[next_part_++].body;
    if (body_.empty() && (!packed_ || headers_.empty())) return false;
    SkipMarker(body_, kSOP, 6);
    ReadHeader(place);
    const TileComponent& component = tile_.components[static_cast<size_t>(place.component)];
    const bool wanted =
        place.layer < limits_.layers && place.resolution <= component.levels() - limits_.discard_resolutions;
    for (const Piece& piece : pieces_) ReadBody(piece, wanted);
    return true;
  }

  std::vector<BlockInput> TakeBlocks() { return std::move(blocks_); }

 private:
  // A run of passes of one codeword segment.
  struct Piece {
    int payload;
    int passes;
    bool new_segment;
    size_t length;
  };

  static void SkipMarker(Bytes& data, Marker marker, size_t size) {
    if (data.size() >= size && data[0] == 0xFF && data[1] == (marker & 0xFF)) data = data.subspan(size);
  }

  void ReadHeader(const PacketPlace& place) {
    Bytes& source = packed_ ? headers_ : body_;
    BitReader bits(source);
    pieces_.clear();
    if (bits.Bit() != 0) {
      TileComponent& component = tile_.components[static_cast<size_t>(place.component)];
      const int style = component.parameters().coding.style;
      for (PrecinctBand& part : component.PrecinctAt(place.resolution, place.precinct).bands) {
        visits_left_ -= static_cast<int64_t>(part.blocks.size());
        if (visits_left_ < 0) throw Failure("too many packets with nothing in them");
        for (size_t i = 0; i < part.blocks.size(); ++i) ReadBlockHeader(bits, part, i, style, place.layer);
      }
    }
    source = source.subspan(bits.Finish());
    if (parameters_.eph) SkipMarker(source, kEPH, 2);
  }

  void ReadBlockHeader(BitReader& bits, PrecinctBand& part, size_t i, int style, int layer) {
    CodeBlock& block = part.blocks[i];
    const bool first = block.passes == 0;
    if (!(first ? part.inclusion.Decode(bits, i, layer + 1) : bits.Bit() != 0)) return;
    if (first) {
      int limit = 1;
      while (!part.zero_planes.Decode(bits, i, limit)) {
        if (++limit > part.band->planes + 1) throw Failure("more empty bit-planes than there are");
      }
      block.zero_planes = limit - 1;
      block.payload = static_cast<int>(blocks_.size());
      BlockInput input;
      input.band = part.band;
      input.rect = block.rect;
      input.planes = part.band->planes - block.zero_planes;
      blocks_.push_back(std::move(input));
    }
    int passes = ReadPassCount(bits);
    while (bits.Bit() != 0) {
      if (++block.length_bits > 32) throw Failure("a code-block of more than 4 GB");
    }
    while (passes > 0) {
      const int run = std::min(passes, SegmentEnd(style, block.passes) - block.passes);
      const bool new_segment = block.passes == 0 || SegmentEnd(style, block.passes - 1) == block.passes;
      const int length_bits = block.length_bits + static_cast<int>(std::bit_width(static_cast<unsigned>(run))) - 1;
      if (length_bits > 32) throw Failure("a code-block of more than 4 GB");
      pieces_.push_back({block.payload, run, new_segment, bits.Bits(length_bits)});
      block.passes += run;
      passes -= run;
    }
  }

  void ReadBody(const Piece& piece, bool wanted) {
    if (piece.length > body_.size()) {
      body_ = {};
      throw Failure("the data ends inside a packet");
    }
    const Bytes bytes = body_.first(piece.length);
    body_ = body_.subspan(piece.length);
    if (!wanted) return;
    BlockInput& block = blocks_[static_cast<size_t>(piece.payload)];
    if (piece.new_segment) block.segment_lengths.push_back(0);
    block.segment_lengths.back() += static_cast<uint32_t>(piece.length);
    block.passes += piece.passes;
    if (bytes.empty()) return;
    // One run of bytes where packets follow each other: then the decoder needs no copy.
    if (!block.chunks.empty() && block.chunks.back().data() + block.chunks.back().size() == bytes.data()) {
      block.chunks.back() = Bytes(block.chunks.back().data(), block.chunks.back().size() + bytes.size());
    } else {
      block.chunks.push_back(bytes);
    }
  }

  Tile& tile_;
  const TileParameters& parameters_;
  const std::vector<TilePart>& parts_;
  Bytes headers_;  // packed packet headers, when there are
  Bytes body_;     // the rest of the current tile-part
  size_t next_part_ = 0;
  bool packed_ = false;
  PacketLimits limits_;
  int64_t visits_left_;  // a header of one byte may stand for any number of blocks: bounds the time
  std::vector<Piece> pieces_;
  std::vector<BlockInput> blocks_;
};

}  // namespace

std::vector<BlockInput> ReadPackets(Tile& tile, const TileParameters& parameters, const std::vector<TilePart>& parts,
                                    Bytes packet_headers, const PacketLimits& limits, std::string* report) {
  PacketReader reader(tile, parameters, parts, packet_headers, limits);
  bool complete = true;
  try {
    ForEachPacket(tile, parameters, [&](const PacketPlace& place) { return complete = reader.ReadPacket(place); });
    if (!complete) *report = "packets are missing";
  } catch (const Failure& failure) {
    *report = failure.what();
  }
  return reader.TakeBlocks();
}

}  // namespace zmc::j2k
