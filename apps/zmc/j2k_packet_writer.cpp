#include "j2k_packet_writer.h"

#include <algorithm>
#include <bit>

#include "j2k_progression.h"

namespace zmc::j2k {
namespace {

// The code of Table B.4.
void WritePassCount(BitWriter& bits, int n) {
  const auto code = static_cast<uint32_t>(n);
  if (n == 1) return bits.Bit(0);
  if (n == 2) return bits.Bits(2, 2);
  if (n <= 5) return bits.Bits(3 << 2 | (code - 3), 4);
  if (n <= 36) return bits.Bits(15 << 5 | (code - 6), 9);
  bits.Bits(511 << 7 | (code - 37), 16);
}

class PacketWriter {
 public:
  PacketWriter(Tile& tile, int layers, std::span<const EncodedBlock> blocks) : tile_(tile), blocks_(blocks) {
    packets_.layer_lengths.resize(static_cast<size_t>(layers));
  }

  void Begin() {
    for (TileComponent& component : tile_.components) {
      for (Resolution& resolution : component.resolutions) {
        std::fill(resolution.layers_done.begin(), resolution.layers_done.end(), 0);
        for (auto& precinct : resolution.precincts) {
          for (PrecinctBand& part : precinct->bands) BeginBand(part);
        }
      }
    }
  }

  void WritePacket(const PacketPlace& place) {
    const size_t start = packets_.bytes.size();
    TileComponent& component = tile_.components[static_cast<size_t>(place.component)];
    Precinct& precinct = component.PrecinctAt(place.resolution, place.precinct);
    style_ = component.parameters().coding.style;
    body_.clear();
    BitWriter bits(packets_.bytes);
    const auto layer = static_cast<size_t>(place.layer);
    const bool anything = std::any_of(precinct.bands.begin(), precinct.bands.end(), [&](const PrecinctBand& part) {
      return std::any_of(part.blocks.begin(), part.blocks.end(),
                         [&](const CodeBlock& block) { return Ends(block, layer) > block.passes; });
    });
    bits.Bit(anything ? 1 : 0);
    for (PrecinctBand& part : precinct.bands) {
      for (size_t i = 0; anything && i < part.blocks.size(); ++i) WriteBlock(bits, part, i, layer);
    }
    bits.Finish();
    for (const Bytes& bytes : body_) packets_.bytes.insert(packets_.bytes.end(), bytes.begin(), bytes.end());
    const size_t length = packets_.bytes.size() - start;
    packets_.lengths.push_back(static_cast<uint32_t>(length));
    packets_.layer_lengths[layer] += static_cast<int64_t>(length);
  }

  Packets Take() { return std::move(packets_); }

 private:
  struct Piece {
    int passes;
    uint32_t length;
  };

  const EncodedBlock& Payload(const CodeBlock& block) const { return blocks_[static_cast<size_t>(block.payload)]; }
  int Ends(const CodeBlock& block, size_t layer) const { return Payload(block).layer_ends[layer]; }

  void BeginBand(PrecinctBand& part) {
    for (size_t i = 0; i < part.blocks.size(); ++i) {
      CodeBlock& block = part.blocks[i];
      block.passes = 0;
      block.length_bits = 3;
      const EncodedBlock& payload = Payload(block);
      const auto first =
          std::find_if(payload.layer_ends.begin(), payload.layer_ends.end(), [](int n) { return n > 0; });
      part.inclusion.Set(i, static_cast<int>(first - payload.layer_ends.begin()));
      part.zero_planes.Set(i, payload.zero_planes);
    }
    part.inclusion.Build();
    part.zero_planes.Build();
  }

  void WriteBlock(BitWriter& bits, PrecinctBand& part, size_t i, size_t layer) {
    CodeBlock& block = part.blocks[i];
    const EncodedBlock& payload = Payload(block);
    const int end = payload.layer_ends[layer];
    if (block.passes == 0) {
      part.inclusion.Encode(bits, i, static_cast<int>(layer) + 1);
    } else {
      bits.Bit(end > block.passes ? 1 : 0);
    }
    if (end == block.passes) return;
    if (block.passes == 0) part.zero_planes.Encode(bits, i, payload.zero_planes + 1);
    WritePassCount(bits, end - block.passes);
    const uint32_t start = payload.Length(block.passes);
    WriteLengths(bits, block, payload, end);
    body_.push_back(Bytes(payload.bytes).subspan(start, payload.Length(end) - start));
  }

  // One length for every codeword segment that the new passes touch, in the fewest bits that all of them fit.
  void WriteLengths(BitWriter& bits, CodeBlock& block, const EncodedBlock& payload, int end) {
    pieces_.clear();
    while (block.passes < end) {
      const int next = std::min(end, SegmentEnd(style_, block.passes));
      pieces_.push_back({next - block.passes, payload.Length(next) - payload.Length(block.passes)});
      block.passes = next;
    }
    const auto run_bits = [](const Piece& p) {
      return static_cast<int>(std::bit_width(static_cast<unsigned>(p.passes))) - 1;
    };
    int needed = block.length_bits;
    for (const Piece& piece : pieces_)
      needed = std::max(needed, static_cast<int>(std::bit_width(piece.length)) - run_bits(piece));
    for (; block.length_bits < needed; ++block.length_bits) bits.Bit(1);
    bits.Bit(0);
    for (const Piece& piece : pieces_) bits.Bits(piece.length, block.length_bits + run_bits(piece));
  }

  Tile& tile_;
  std::span<const EncodedBlock> blocks_;
  int style_ = 0;
  std::vector<Piece> pieces_;
  std::vector<Bytes> body_;
  Packets packets_;
};

}  // namespace

Packets WritePackets(Tile& tile, const TileParameters& parameters, std::span<const EncodedBlock> blocks) {
  PacketWriter writer(tile, parameters.layers, blocks);
  writer.Begin();
  ForEachPacket(tile, parameters, [&](const PacketPlace& place) {
    writer.WritePacket(place);
    return true;
  });
  return writer.Take();
}

}  // namespace zmc::j2k
