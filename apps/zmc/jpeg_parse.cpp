#include "jpeg_parse.h"

#include <algorithm>
#include <cstring>

#include "failure.h"
#include "jpeg_intervals.h"
#include "jpeg_tables.h"

namespace zmc::jpeg {
namespace {

// What a picture may ask of memory. A file that codes all of its blocks spends at least a bit on each (a DC code; the
// AC coefficients go in runs of blocks), so above a fixed size it holds at most 8 blocks to a byte. Ordinary files
// spend thirty times that, so cut ones pass as well.
constexpr int64_t kFreeBlocks = int64_t{1} << 20;
constexpr int64_t kBlocksPerByte = 8;

// 64 coefficients of 4 components, each refined bit by bit, make more scans, but nobody's encoder does. Each scan may
// walk the whole picture for a few bytes of data.
constexpr size_t kMaxScans = 1000;

// A segment's payload, read from its start.
class Cursor {
 public:
  explicit Cursor(Bytes bytes) : bytes_(bytes) {}
  bool AtEnd() const { return bytes_.empty(); }
  int Byte() { return Take(1)[0]; }
  int Word() {
    const Bytes two = Take(2);
    return two[0] << 8 | two[1];
  }
  Bytes Take(size_t n) {
    if (n > bytes_.size()) throw Failure("a segment is too short");
    const Bytes taken = bytes_.first(n);
    bytes_ = bytes_.subspan(n);
    return taken;
  }

 private:
  Bytes bytes_;
};

void ParseQuantTables(Cursor payload, Tables& tables) {
  while (!payload.AtEnd()) {
    const int precision_and_number = payload.Byte();
    if (precision_and_number > 0x1F || (precision_and_number & 15) > 3) throw Failure("a bad quantisation table");
    QuantTable& table = tables.quant[static_cast<size_t>(precision_and_number & 15)].emplace();
    for (uint16_t& value : table.values) {
      value = static_cast<uint16_t>(precision_and_number >= 0x10 ? payload.Word() : payload.Byte());
    }
  }
}

void ParseHuffmanTables(Cursor payload, Tables& tables) {
  while (!payload.AtEnd()) {
    const int class_and_number = payload.Byte();
    if (class_and_number > 0x1F || (class_and_number & 15) > 3) throw Failure("a bad Huffman table");
    HuffmanTable table;
    std::ranges::copy(payload.Take(16), table.bits.begin());
    if (table.Count() > 256) throw Failure("a bad Huffman table");
    std::ranges::copy(payload.Take(static_cast<size_t>(table.Count())), table.values.begin());
    (class_and_number >= 0x10 ? tables.ac : tables.dc)[static_cast<size_t>(class_and_number & 15)] = table;
  }
}

Frame ParseFrame(uint8_t marker, Cursor payload) {
  if (marker != kSof0 && marker != kSof1 && marker != kSof2) {
    throw Failure("a JPEG process that is not supported (lossless, hierarchical or arithmetic coding)");
  }
  Frame frame;
  frame.process = marker;
  const int precision = payload.Byte();
  if (precision != 8) throw Failure("samples of " + std::to_string(precision) + " bits are not supported");
  frame.height = payload.Word();
  frame.width = payload.Word();
  const int count = payload.Byte();
  if (frame.width == 0) throw Failure("a picture without width");
  if (count != 1 && count != 3 && count != 4) {
    throw Failure("a picture of " + std::to_string(count) + " components is not supported");
  }
  for (int i = 0; i < count; ++i) {
    Component c;
    c.id = payload.Byte();
    const int factors = payload.Byte();
    c.h = factors >> 4;
    c.v = factors & 15;
    c.quant = payload.Byte();
    if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4 || c.quant > 3) throw Failure("a bad component description");
    frame.components.push_back(c);
  }
  return frame;
}

Scan ParseScan(Cursor payload, const Frame& frame) {
  Scan scan;
  const int count = payload.Byte();
  int blocks = 0;
  for (int i = 0; i < count; ++i) {
    const int id = payload.Byte(), tables = payload.Byte();
    const auto found = std::ranges::find(frame.components, id, &Component::id);
    if (found == frame.components.end() || tables > 0x3F || (tables & 15) > 3) throw Failure("a bad scan header");
    const int index = static_cast<int>(found - frame.components.begin());
    if (std::ranges::count(scan.components, index, &ScanComponent::index) != 0) throw Failure("a bad scan header");
    scan.components.push_back({index, tables >> 4, tables & 15});
    blocks += found->h * found->v;
  }
  scan.ss = payload.Byte();
  scan.se = payload.Byte();
  const int approximation = payload.Byte();
  scan.ah = approximation >> 4;
  scan.al = approximation & 15;
  const bool ordered = scan.ss == 0 ? scan.se == 0 : scan.ss <= scan.se && scan.se <= 63 && count == 1;
  if (count < 1 || (count > 1 && blocks > kMaxMcuBlocks) || (frame.Progressive() && (!ordered || scan.al > 13))) {
    throw Failure("a bad scan header");
  }
  return scan;
}

class Parser {
 public:
  explicit Parser(Bytes bytes) : bytes_(bytes) {
    // The frames of a motion JPEG leave the standard's Huffman tables out.
    for (size_t i = 0; i < 2; ++i) {
      tables_.dc[i] = kStandardDc[i];
      tables_.ac[i] = kStandardAc[i];
    }
  }

  JpegFile Run() {
    if (bytes_.size() < 4 || bytes_[0] != 0xFF || bytes_[1] != kSoi) throw Failure("not a JPEG file");
    position_ = 2;
    try {
      while (ReadSegment()) {
      }
    } catch (const Failure& failure) {
      if (file_.scans.empty()) throw;
      file_.damage = failure.what();
    }
    if (file_.scans.empty()) throw Failure("no picture in the file");
    return std::move(file_);
  }

 private:
  // Passes over fill bytes, and over rubbish between segments. There is always a marker: the appended one.
  uint8_t NextMarker() {
    while (bytes_[position_] != 0xFF || bytes_[position_ + 1] == 0xFF || bytes_[position_ + 1] == 0) ++position_;
    position_ += 2;
    return bytes_[position_ - 1];
  }

  bool ReadSegment() {
    const uint8_t marker = NextMarker();
    if (marker == kEoi) {
      if (position_ == bytes_.size()) throw Failure("the file ends too early");
      return false;
    }
    if (marker == kTem || (marker >= kRst0 && marker <= kSoi)) return true;
    if (position_ + 2 > bytes_.size()) throw Failure("the file ends too early");
    const size_t length = static_cast<size_t>(bytes_[position_] << 8 | bytes_[position_ + 1]);
    if (length < 2) throw Failure("a segment is too short");
    if (length > bytes_.size() - 2 - position_) throw Failure("the file ends too early");
    const Bytes payload = bytes_.subspan(position_ + 2, length - 2);
    position_ += length;
    Interpret(marker, payload);
    return true;
  }

  void Interpret(uint8_t marker, Bytes payload) {
    if (marker == kDqt) return ParseQuantTables(Cursor(payload), tables_);
    if (marker == kDht) return ParseHuffmanTables(Cursor(payload), tables_);
    if (marker == kDri) {
      tables_.restart_interval = Cursor(payload).Word();
    } else if (marker == kSos) {
      ReadScan(payload);
    } else if (marker >= kSof0 && marker <= kSof15) {
      if (!file_.frame.components.empty()) throw Failure("a second frame");
      file_.frame = ParseFrame(marker, Cursor(payload));
    } else if ((marker >= kApp0 && marker <= kApp15) || marker == kCom) {
      ReadExtra(marker, payload);
    }
  }

  void ReadExtra(uint8_t marker, Bytes payload) {
    file_.extras.push_back({marker, payload});
    const auto begins = [&](const char* with, size_t n) {
      return payload.size() >= n && std::memcmp(payload.data(), with, n) == 0;
    };
    if (marker == kApp0 && begins("JFIF", 5)) file_.jfif = true;
    if (marker == kApp14 && payload.size() >= 12 && begins("Adobe", 5)) file_.adobe_transform = payload[11];
  }

  void ReadScan(Bytes header) {
    if (file_.frame.components.empty()) throw Failure("a scan before its frame");
    if (file_.scans.size() == kMaxScans) throw Failure("too many scans");
    ScanEntry entry = {ParseScan(Cursor(header), file_.frame), tables_, {}};
    const size_t begin = position_;
    position_ = FindScanEnd(bytes_, begin);
    if (file_.scans.empty()) CompleteFrame();
    entry.intervals = SplitIntervals(bytes_.subspan(begin, position_ + 2 - begin));
    file_.scans.push_back(std::move(entry));
  }

  // A height of 0 is stated by a segment behind the first scan (B.2.5).
  void CompleteFrame() {
    Frame& frame = file_.frame;
    if (frame.height == 0 && bytes_[position_ + 1] == kDnl && bytes_.size() - position_ >= 6) {
      frame.height = bytes_[position_ + 4] << 8 | bytes_[position_ + 5];
    }
    if (frame.height == 0) throw Failure("a picture without height");
    frame.Layout();
    if (frame.PaddedBlocks() > kFreeBlocks + kBlocksPerByte * static_cast<int64_t>(bytes_.size())) {
      throw Failure("a picture of " + std::to_string(frame.width) + " x " + std::to_string(frame.height) +
                    " in a file of " + std::to_string(bytes_.size() - 2) + " bytes is not credible");
    }
  }

  Bytes bytes_;
  size_t position_ = 0;
  Tables tables_;
  JpegFile file_;
};

}  // namespace

Colour JpegFile::ColourModel() const {
  const std::vector<Component>& c = frame.components;
  if (c.size() == 1) return Colour::kGrey;
  if (c.size() == 4) return adobe_transform == 2 ? Colour::kYcck : Colour::kCmyk;
  if (jfif) return Colour::kYCbCr;
  if (adobe_transform >= 0) return adobe_transform == 0 ? Colour::kRgb : Colour::kYCbCr;
  return c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B' ? Colour::kRgb : Colour::kYCbCr;
}

std::vector<QuantTable> QuantTablesOf(const JpegFile& file) {
  std::vector<std::optional<QuantTable>> found(file.frame.components.size());
  for (const ScanEntry& entry : file.scans) {
    for (const ScanComponent& c : entry.scan.components) {
      const auto index = static_cast<size_t>(c.index);
      const int number = file.frame.components[index].quant;
      if (!found[index]) found[index] = entry.tables.quant[static_cast<size_t>(number)];
    }
  }
  std::vector<QuantTable> tables;
  tables.reserve(found.size());
  for (const std::optional<QuantTable>& table : found) {
    // A component none of whose scans arrived is flat: any table will do.
    tables.push_back(table ? *table : found[0] ? *found[0] : throw Failure("a quantisation table is missing"));
  }
  return tables;
}

std::vector<uint8_t> WithEnd(std::vector<uint8_t> bytes) {
  if (bytes.size() > INT32_MAX - 2) throw Failure("the file is larger than 2 GiB");
  bytes.push_back(0xFF);
  bytes.push_back(kEoi);
  return bytes;
}

JpegFile Parse(Bytes bytes) { return Parser(bytes).Run(); }

}  // namespace zmc::jpeg
