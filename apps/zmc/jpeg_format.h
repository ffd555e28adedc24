// What a JPEG file consists of (ISO/IEC 10918-1, Annex B): the types that the reader, the writer and the coders share.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace zmc::jpeg {

using Bytes = std::span<const uint8_t>;

enum Marker : uint8_t {
  kSof0 = 0xC0,  // baseline
  kSof1 = 0xC1,  // extended sequential
  kSof2 = 0xC2,  // progressive
  kDht = 0xC4,
  kSof15 = 0xCF,
  kRst0 = 0xD0,
  kRst7 = 0xD7,
  kSoi = 0xD8,
  kEoi = 0xD9,
  kSos = 0xDA,
  kDqt = 0xDB,
  kDnl = 0xDC,
  kDri = 0xDD,
  kApp0 = 0xE0,
  kApp14 = 0xEE,
  kApp15 = 0xEF,
  kCom = 0xFE,
  kTem = 0x01,
};

// The natural (row-major) index of each zigzag position.
inline constexpr std::array<uint8_t, 64> kNatural = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                                     12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                                     35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                                     58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// 64 coefficients in natural order. The alignment is what the fastest vector loads ask for.
struct alignas(64) Block {
  std::array<int16_t, 64> values;
  int16_t* data() { return values.data(); }
  const int16_t* data() const { return values.data(); }
};

// In zigzag order, as in the file.
struct QuantTable {
  std::array<uint16_t, 64> values;
  bool operator==(const QuantTable&) const = default;
};

struct HuffmanTable {
  std::array<uint8_t, 16> bits{};
  std::array<uint8_t, 256> values{};
  int Count() const;
  bool operator==(const HuffmanTable&) const = default;
};

// The tables in force at some place of a file.
struct Tables {
  std::array<std::optional<QuantTable>, 4> quant;
  std::array<std::optional<HuffmanTable>, 4> dc, ac;
  int restart_interval = 0;  // in MCUs; 0 is none
};

struct Component {
  int id = 0;
  int h = 1, v = 1;  // sampling factors
  int quant = 0;     // its table's number
  // The rest follows from the frame: see Frame::Layout.
  int width = 0, height = 0;             // in samples
  int blocks_wide = 0, blocks_high = 0;  // that hold those samples: what a scan of this component alone codes
  int padded_wide = 0, padded_high = 0;  // in blocks, up to whole MCUs: what a scan of several components codes
};

struct Frame {
  uint8_t process = kSof0;
  int width = 0, height = 0;
  std::vector<Component> components;
  int h_max = 1, v_max = 1;
  int mcus_wide = 0, mcus_high = 0;

  // Derives everything from width, height and the sampling factors.
  void Layout();
  bool Progressive() const { return process == kSof2; }
  int64_t PaddedBlocks() const;
};

struct ScanComponent {
  int index = 0;       // into Frame::components
  int dc = 0, ac = 0;  // the Huffman tables' numbers
};

struct Scan {
  std::vector<ScanComponent> components;
  int ss = 0, se = 63, ah = 0, al = 0;  // spectral selection, successive approximation
};

// Where a scan's blocks lie: the MCUs of a scan of several components hold h x v blocks of each, those of a scan of one
// component a single block, without those that only pad to whole MCUs (A.2.2, A.2.3).
struct ScanShape {
  struct Place {
    int scan_component;  // into Scan::components
    int component;       // into Frame::components
    int dx, dy;          // of the block within the MCU, in blocks
    int step_x, step_y;  // of the MCU, in blocks
  };
  int mcus_wide = 0, mcus_high = 0;
  std::vector<Place> places;  // in coding order
  int64_t Mcus() const { return int64_t{mcus_wide} * mcus_high; }
};
ScanShape ShapeOf(const Frame& frame, const Scan& scan);

inline constexpr int kMaxMcuBlocks = 10;  // B.2.3

enum class Colour { kGrey, kYCbCr, kRgb, kCmyk, kYcck };

}  // namespace zmc::jpeg
