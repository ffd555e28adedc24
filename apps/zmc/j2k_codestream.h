// What the marker segments of a JPEG 2000 codestream say (ISO/IEC 15444-1, Annex A), and reading and writing them.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zmc::j2k {

using Bytes = std::span<const uint8_t>;

constexpr int kMaxLevels = 32;
constexpr int kMaxComponents = 256;

constexpr int64_t CeilDiv(int64_t a, int64_t b) { return (a + b - 1) / b; }
// Right for negative values too: the shift is arithmetic.
constexpr int64_t CeilShift(int64_t a, int n) { return (a + (int64_t{1} << n) - 1) >> n; }

// Half open, on whichever grid its owner names.
struct Rect {
  int64_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  int64_t width() const { return x1 - x0; }
  int64_t height() const { return y1 - y0; }
  bool empty() const { return x1 <= x0 || y1 <= y0; }
  int64_t area() const { return empty() ? 0 : width() * height(); }
};
Rect Intersect(const Rect& a, const Rect& b);

enum Marker : int {
  kSOC = 0xFF4F,
  kSIZ = 0xFF51,
  kCOD = 0xFF52,
  kCOC = 0xFF53,
  kTLM = 0xFF55,
  kPLT = 0xFF58,
  kQCD = 0xFF5C,
  kQCC = 0xFF5D,
  kRGN = 0xFF5E,
  kPOC = 0xFF5F,
  kPPM = 0xFF60,
  kPPT = 0xFF61,
  kCOM = 0xFF64,
  kSOT = 0xFF90,
  kSOP = 0xFF91,
  kEPH = 0xFF92,
  kSOD = 0xFF93,
  kEOC = 0xFFD9
};

// Code-block style bits of COD and COC (Table A.19).
enum BlockStyle : int { kBypass = 1, kReset = 2, kTermall = 4, kCausal = 8, kPredictable = 16, kSegsym = 32 };

// Values as in COD and POC: the letters stand for layer, resolution, component, position (Table A.16).
enum class Progression : int { kLRCP = 0, kRLCP = 1, kRPCL = 2, kPCRL = 3, kCPRL = 4 };
constexpr std::array<const char*, 5> kProgressionNames = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};

struct ComponentSize {
  int bits = 8;
  bool is_signed = false;
  int dx = 1, dy = 1;  // distance of its samples on the reference grid
};

// SIZ. All on the reference grid.
struct ImageSize {
  Rect image;
  int64_t tile_x0 = 0, tile_y0 = 0, tile_width = 0, tile_height = 0;
  std::vector<ComponentSize> components;

  int64_t TilesWide() const { return CeilDiv(image.x1 - tile_x0, tile_width); }
  int64_t TilesHigh() const { return CeilDiv(image.y1 - tile_y0, tile_height); }
  Rect TileRect(int64_t column, int64_t row) const;
};

// The part of COD that COC may give anew for a component.
struct CodingStyle {
  int levels = 5;
  int block_width_log2 = 6, block_height_log2 = 6;
  int style = 0;  // sum of BlockStyle
  bool reversible = true;
  std::array<uint8_t, kMaxLevels + 1> precinct_width_log2, precinct_height_log2;  // by resolution
  CodingStyle() {
    precinct_width_log2.fill(15);
    precinct_height_log2.fill(15);
  }
};

// QCD or QCC.
struct Quantisation {
  enum Style { kNone = 0, kDerived = 1, kExpounded = 2 };
  struct Step {
    int exponent = 0;
    int mantissa = 0;
  };
  Style style = kNone;
  int guard_bits = 2;
  std::array<Step, 3 * kMaxLevels + 1> steps{};  // by band: LL, then HL, LH, HH from the smallest resolution up
};

// One volume of packets, from COD (everything) or an entry of POC.
struct ProgressionVolume {
  Progression order = Progression::kLRCP;
  int first_resolution = 0, end_resolution = kMaxLevels + 1;
  int first_component = 0, end_component = kMaxComponents;
  int end_layer = 65535;
};

struct ComponentParameters {
  CodingStyle coding;
  Quantisation quantisation;
  int roi_shift = 0;
  int coding_rank = 0, quantisation_rank = 0;  // which header they came from: a later, lower one does not override
};

struct TileParameters {
  bool sop = false, eph = false;
  bool colour_transform = false;
  Progression order = Progression::kLRCP;
  int layers = 1;
  std::vector<ComponentParameters> components;
  std::vector<ProgressionVolume> changes;  // POC; empty: one volume of everything in `order`

  std::vector<ProgressionVolume> Volumes() const;
};

struct TilePart {
  Bytes header;          // marker segments between SOT and SOD
  Bytes body;            // packets
  Bytes packet_headers;  // this tile-part's share of PPM
};

// A codestream's main header, and where the tile-parts lie.
struct Codestream {
  ImageSize size;
  TileParameters defaults;
  std::vector<uint8_t> packed_headers;  // all of PPM
  std::vector<std::vector<TilePart>> tiles;
  std::string report;  // what is damaged or missing; empty: nothing
};

// Throws Failure when the main header cannot be used. Damage behind it goes to the report.
Codestream ReadCodestream(Bytes data);

// The parameters of one tile after all its tile-part headers, and its packed packet headers (PPT or its share of PPM).
TileParameters ReadTileHeaders(const Codestream& codestream, const std::vector<TilePart>& parts,
                               std::vector<uint8_t>* packet_headers);

// Big-endian output for headers.
class HeaderWriter {
 public:
  void U8(int64_t v) { bytes_.push_back(static_cast<uint8_t>(v)); }
  void U16(int64_t v) { U8(v >> 8), U8(v); }
  void U32(int64_t v) { U16(v >> 16), U16(v); }
  // A marker segment: its length field is filled in by End.
  void Begin(Marker marker) { U16(marker), start_ = bytes_.size(), U16(0); }
  void End();
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  size_t start_ = 0;
};

// SOC, SIZ, COD, QCD of a codestream whose components all have the first one's coding style.
void WriteMainHeader(const ImageSize& size, const TileParameters& parameters, HeaderWriter& out);

}  // namespace zmc::j2k
