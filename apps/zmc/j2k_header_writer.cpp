// Writing marker segments.
#include "j2k_codestream.h"

namespace zmc::j2k {
namespace {

void WriteSize(const ImageSize& size, HeaderWriter& out) {
  out.Begin(kSIZ);
  out.U16(0);
  out.U32(size.image.x1), out.U32(size.image.y1), out.U32(size.image.x0), out.U32(size.image.y0);
  out.U32(size.tile_width), out.U32(size.tile_height), out.U32(size.tile_x0), out.U32(size.tile_y0);
  out.U16(static_cast<int64_t>(size.components.size()));
  for (const ComponentSize& c : size.components) {
    out.U8((c.is_signed ? 0x80 : 0) | (c.bits - 1)), out.U8(c.dx), out.U8(c.dy);
  }
  out.End();
}

void WriteCoding(const TileParameters& p, HeaderWriter& out) {
  const CodingStyle& coding = p.components[0].coding;
  out.Begin(kCOD);
  out.U8((p.sop ? 2 : 0) | (p.eph ? 4 : 0));  // precincts of the greatest size
  out.U8(static_cast<int>(p.order)), out.U16(p.layers), out.U8(p.colour_transform ? 1 : 0);
  out.U8(coding.levels), out.U8(coding.block_width_log2 - 2), out.U8(coding.block_height_log2 - 2);
  out.U8(coding.style), out.U8(coding.reversible ? 1 : 0);
  out.End();
}

void WriteQuantisation(const TileParameters& p, HeaderWriter& out) {
  const Quantisation& q = p.components[0].quantisation;
  out.Begin(kQCD);
  out.U8(q.guard_bits << 5 | q.style);
  const size_t bands = 3 * static_cast<size_t>(p.components[0].coding.levels) + 1;
  for (size_t b = 0; b < bands; ++b) {
    if (q.style == Quantisation::kNone) {
      out.U8(q.steps[b].exponent << 3);
    } else {
      out.U16(q.steps[b].exponent << 11 | q.steps[b].mantissa);
    }
  }
  out.End();
}

}  // namespace

void HeaderWriter::End() {
  const size_t length = bytes_.size() - start_;
  bytes_[start_] = static_cast<uint8_t>(length >> 8);
  bytes_[start_ + 1] = static_cast<uint8_t>(length);
}

void WriteMainHeader(const ImageSize& size, const TileParameters& parameters, HeaderWriter& out) {
  out.U16(kSOC);
  WriteSize(size, out);
  WriteCoding(parameters, out);
  WriteQuantisation(parameters, out);
}

}  // namespace zmc::j2k
