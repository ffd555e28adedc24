#include "j2k_codestream.h"

#include <algorithm>
#include <map>

#include "failure.h"
#include "j2k_bits.h"

namespace zmc::j2k {
namespace {

// Ranks of headers: what a higher one says stands, whatever the order in the file (A.6.1, A.6.2).
enum Rank { kMainDefault, kMainComponent, kTileDefault, kTileComponent };

// Far above what one change per resolution and component of a picture needs; bounds the time on hostile data.
constexpr size_t kMaxProgressionChanges = 1024;

int ReadComponentIndex(ByteReader& in, size_t components) {
  const int index = components < 257 ? in.U8() : in.U16();
  if (index >= static_cast<int>(components)) throw Failure("JPEG 2000: a component that the picture does not have");
  return index;
}

ImageSize ReadSize(ByteReader in) {
  ImageSize s;
  in.Skip(2);  // capabilities
  s.image.x1 = in.U32();
  s.image.y1 = in.U32();
  s.image.x0 = in.U32();
  s.image.y0 = in.U32();
  s.tile_width = in.U32();
  s.tile_height = in.U32();
  s.tile_x0 = in.U32();
  s.tile_y0 = in.U32();
  const int count = in.U16();
  if (s.image.empty() || s.tile_width < 1 || s.tile_height < 1 || s.tile_x0 > s.image.x0 || s.tile_y0 > s.image.y0 ||
      s.tile_x0 + s.tile_width <= s.image.x0 || s.tile_y0 + s.tile_height <= s.image.y0) {
    throw Failure("JPEG 2000: impossible picture or tile size");
  }
  if (count < 1 || count > kMaxComponents) throw Failure("JPEG 2000: number of components not supported");
  // Tiles are numbered in 16 bits.
  if (s.TilesWide() > 65535 || s.TilesHigh() > 65535 || s.TilesWide() * s.TilesHigh() > 65535) {
    throw Failure("JPEG 2000: more than 65535 tiles");
  }
  for (int i = 0; i < count; ++i) {
    const int depth = in.U8();
    ComponentSize c;
    c.bits = (depth & 0x7F) + 1;
    c.is_signed = (depth & 0x80) != 0;
    c.dx = in.U8();
    c.dy = in.U8();
    if (c.bits > 38 || c.dx < 1 || c.dy < 1) throw Failure("JPEG 2000: impossible component");
    s.components.push_back(c);
  }
  return s;
}

CodingStyle ReadCodingStyle(ByteReader& in, bool own_precincts) {
  CodingStyle c;
  c.levels = in.U8();
  c.block_width_log2 = (in.U8() & 15) + 2;
  c.block_height_log2 = (in.U8() & 15) + 2;
  c.style = in.U8();
  c.reversible = in.U8() == 1;
  if (c.levels > kMaxLevels) throw Failure("JPEG 2000: more than 32 decomposition levels");
  if (c.block_width_log2 > 10 || c.block_height_log2 > 10 || c.block_width_log2 + c.block_height_log2 > 12) {
    throw Failure("JPEG 2000: code-blocks of more than 4096 samples");
  }
  for (size_t r = 0; own_precincts && r <= static_cast<size_t>(c.levels); ++r) {
    const int size = in.U8();
    c.precinct_width_log2[r] = static_cast<uint8_t>(size & 15);
    c.precinct_height_log2[r] = static_cast<uint8_t>(size >> 4);
    if (r > 0 && ((size & 15) == 0 || (size >> 4) == 0)) throw Failure("JPEG 2000: impossible precinct size");
  }
  return c;
}

void ApplyCoding(const CodingStyle& coding, int rank, ComponentParameters& c) {
  if (rank < c.coding_rank) return;
  c.coding = coding;
  c.coding_rank = rank;
}

void ReadCOD(ByteReader in, int rank, TileParameters& p) {
  const int style = in.U8();
  p.sop = (style & 2) != 0;
  p.eph = (style & 4) != 0;
  const int order = in.U8();
  if (order > 4) throw Failure("JPEG 2000: unknown progression order");
  p.order = static_cast<Progression>(order);
  p.layers = in.U16();
  if (p.layers < 1) throw Failure("JPEG 2000: no layers");
  p.colour_transform = in.U8() == 1;
  const CodingStyle coding = ReadCodingStyle(in, (style & 1) != 0);
  for (auto& c : p.components) ApplyCoding(coding, rank, c);
}

void ReadCOC(ByteReader in, int rank, TileParameters& p) {
  auto& c = p.components[static_cast<size_t>(ReadComponentIndex(in, p.components.size()))];
  const bool own_precincts = (in.U8() & 1) != 0;
  ApplyCoding(ReadCodingStyle(in, own_precincts), rank, c);
}

Quantisation ReadQuantisation(ByteReader& in) {
  Quantisation q;
  const int style = in.U8();
  if ((style & 31) > 2) throw Failure("JPEG 2000: unknown quantisation");
  q.style = static_cast<Quantisation::Style>(style & 31);
  q.guard_bits = style >> 5;
  for (size_t b = 0; b < q.steps.size(); ++b) {
    auto& step = q.steps[b];
    if (q.style == Quantisation::kDerived && b > 0) {
      // One exponent less for every level away from the smallest band (equation E-5).
      step = {std::max(0, q.steps[0].exponent - static_cast<int>((b - 1) / 3)), q.steps[0].mantissa};
    } else if (q.style == Quantisation::kNone && in.left() >= 1) {
      step = {in.U8() >> 3, 0};
    } else if (q.style != Quantisation::kNone && in.left() >= 2) {
      const int word = in.U16();
      step = {word >> 11, word & 0x7FF};
    }
  }
  return q;
}

void ApplyQuantisation(const Quantisation& q, int rank, ComponentParameters& c) {
  if (rank < c.quantisation_rank) return;
  c.quantisation = q;
  c.quantisation_rank = rank;
}

void ReadPOC(ByteReader in, TileParameters& p) {
  const bool wide = p.components.size() >= 257;
  while (in.left() >= (wide ? 9u : 7u)) {
    ProgressionVolume v;
    v.first_resolution = in.U8();
    v.first_component = wide ? in.U16() : in.U8();
    v.end_layer = in.U16();
    v.end_resolution = in.U8();
    v.end_component = wide ? in.U16() : in.U8();
    if (v.end_component == 0) v.end_component = kMaxComponents;  // 0 stands for 256
    const int order = in.U8();
    if (order > 4) throw Failure("JPEG 2000: unknown progression order");
    v.order = static_cast<Progression>(order);
    p.changes.push_back(v);
    if (p.changes.size() > kMaxProgressionChanges) throw Failure("JPEG 2000: too many progression changes");
  }
}

void ReadParameterSegment(int marker, ByteReader in, int rank, TileParameters& p) {
  switch (marker) {
    case kCOD:
      return ReadCOD(in, rank, p);
    case kCOC:
      return ReadCOC(in, rank + 1, p);
    case kQCD: {
      const Quantisation q = ReadQuantisation(in);
      for (auto& c : p.components) ApplyQuantisation(q, rank, c);
      return;
    }
    case kQCC: {
      auto& c = p.components[static_cast<size_t>(ReadComponentIndex(in, p.components.size()))];
      return ApplyQuantisation(ReadQuantisation(in), rank + 1, c);
    }
    case kRGN: {
      auto& c = p.components[static_cast<size_t>(ReadComponentIndex(in, p.components.size()))];
      if (in.U8() != 0) throw Failure("JPEG 2000: unknown region-of-interest style");
      c.roi_shift = in.U8();
      return;
    }
    case kPOC:
      return ReadPOC(in, p);
    default:
      return;  // TLM, PLM, PLT, CRG, COM and what later editions added: not needed to decode
  }
}

// Packed packet headers: segments are numbered and may come in any order; their contents are one stream.
using NumberedSegments = std::map<int, Bytes>;

std::vector<uint8_t> Join(const NumberedSegments& segments) {
  std::vector<uint8_t> all;
  for (const auto& [index, bytes] : segments) all.insert(all.end(), bytes.begin(), bytes.end());
  return all;
}

// Walks the tile-parts from `position` on. Whatever ends the walk early is put into the report.
void IndexTileParts(Bytes data, size_t position, Codestream& c) {
  ByteReader packed_headers(c.packed_headers);
  c.tiles.resize(static_cast<size_t>(c.size.TilesWide() * c.size.TilesHigh()));
  for (;;) {
    ByteReader in(data.subspan(position));
    if (in.left() < 2) {
      c.report = "the codestream ends early";
      return;
    }
    const int marker = in.U16();
    if (marker == kEOC) return;
    if (marker != kSOT || in.left() < 10) {
      c.report = "the codestream is damaged between tile-parts";
      return;
    }
    in.Skip(2);
    const size_t tile = static_cast<size_t>(in.U16());
    const size_t length = static_cast<size_t>(in.U32());
    const size_t left = data.size() - position;
    if (tile >= c.tiles.size() || (length != 0 && length < 14)) {
      c.report = "the codestream is damaged: impossible tile-part";
      return;
    }
    const size_t size = length == 0 ? left : std::min(length, left);
    if (length > left) c.report = "the codestream ends early";
    // The header ends at SOD; markers in it carry lengths.
    size_t at = 12;
    for (;;) {
      ByteReader segment(data.subspan(position + at, size - std::min(size, at)));
      if (segment.left() < 2) {
        c.report = "the codestream is damaged: a tile-part without data";
        return;
      }
      if (segment.U16() == kSOD) break;
      at = segment.left() < 2 ? size : std::min(size, at + 2 + static_cast<size_t>(std::max(2, segment.U16())));
    }
    TilePart part;
    part.header = data.subspan(position + 12, at - 12);
    part.body = data.subspan(position + at + 2, size - at - 2);
    if (length == 0 && part.body.size() >= 2 && part.body[part.body.size() - 2] == 0xFF && part.body.back() == 0xD9) {
      part.body = part.body.first(part.body.size() - 2);
    }
    if (packed_headers.left() >= 4) {
      const size_t share = static_cast<size_t>(packed_headers.U32());
      part.packet_headers = packed_headers.Take(std::min(share, packed_headers.left())).rest();
    }
    c.tiles[tile].push_back(part);
    position += size;
    if (length == 0 || length > left) return;
  }
}

}  // namespace

Rect Intersect(const Rect& a, const Rect& b) {
  return {std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
}

Rect ImageSize::TileRect(int64_t column, int64_t row) const {
  const int64_t x = tile_x0 + column * tile_width;
  const int64_t y = tile_y0 + row * tile_height;
  return Intersect({x, y, x + tile_width, y + tile_height}, image);
}

std::vector<ProgressionVolume> TileParameters::Volumes() const {
  if (!changes.empty()) return changes;
  ProgressionVolume all;
  all.order = order;
  return {all};
}

Codestream ReadCodestream(Bytes data) {
  Codestream c;
  ByteReader in(data);
  if (in.left() < 2 || in.U16() != kSOC) throw Failure("JPEG 2000: not a codestream");
  bool coded = false, quantised = false;
  NumberedSegments packed;
  size_t position = 0;
  for (;;) {
    position = data.size() - in.left();
    const int marker = in.U16();
    if (marker == kSOT) break;
    ByteReader segment = in.Take(static_cast<size_t>(std::max(2, in.U16())) - 2);
    if (marker == kSIZ) {
      c.size = ReadSize(segment);
      c.defaults.components.resize(c.size.components.size());
      continue;
    }
    if (c.size.components.empty()) throw Failure("JPEG 2000: the picture size does not come first");
    if (marker == kPPM && segment.left() >= 1) {
      const int index = segment.U8();
      packed[index] = segment.rest();
      continue;
    }
    ReadParameterSegment(marker, segment, kMainDefault, c.defaults);
    coded |= marker == kCOD;
    quantised |= marker == kQCD;
  }
  if (!coded || !quantised) throw Failure("JPEG 2000: the main header lacks COD or QCD");
  c.packed_headers = Join(packed);
  IndexTileParts(data, position, c);
  return c;
}

TileParameters ReadTileHeaders(const Codestream& codestream, const std::vector<TilePart>& parts,
                               std::vector<uint8_t>* packet_headers) {
  TileParameters p = codestream.defaults;
  NumberedSegments packed;
  bool own_changes = false;
  for (const TilePart& part : parts) {
    ByteReader in(part.header);
    while (in.left() >= 4) {
      const int marker = in.U16();
      ByteReader segment = in.Take(static_cast<size_t>(std::max(2, in.U16())) - 2);
      if (marker == kPPT && segment.left() >= 1) {
        const int index = segment.U8();
        packed[index] = segment.rest();
        continue;
      }
      // A tile's own progression changes replace those of the main header.
      if (marker == kPOC && !own_changes) p.changes.clear();
      own_changes |= marker == kPOC;
      ReadParameterSegment(marker, segment, kTileDefault, p);
    }
  }
  *packet_headers = Join(packed);
  for (const TilePart& part : parts) {
    packet_headers->insert(packet_headers->end(), part.packet_headers.begin(), part.packet_headers.end());
  }
  return p;
}

}  // namespace zmc::j2k
