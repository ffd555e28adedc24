// zmc info on a JPEG file.
#include <cinttypes>
#include <cstdio>

#include "failure.h"
#include "file.h"
#include "jpeg_commands.h"
#include "jpeg_tables.h"

namespace zmc {
namespace {

using namespace jpeg;

const char* ProcessName(const Frame& frame) {
  if (frame.Progressive()) return "progressive";
  return frame.process == kSof0 ? "baseline" : "extended sequential";
}

const char* ColourName(Colour colour) {
  switch (colour) {
    case Colour::kGrey:
      return "grey";
    case Colour::kYCbCr:
      return "YCbCr";
    case Colour::kRgb:
      return "RGB";
    case Colour::kCmyk:
      return "CMYK";
    case Colour::kYcck:
      return "YCCK";
  }
  return "";
}

void PrintComponents(const JpegFile& file) {
  for (const Component& c : file.frame.components) {
    std::printf("  component %d: %d x %d samples, factors %d x %d, quantisation table %d\n", c.id, c.width, c.height,
                c.h, c.v, c.quant);
  }
}

void PrintQuant(const JpegFile& file) {
  const std::vector<QuantTable> tables = QuantTablesOf(file);
  for (size_t i = 0; i < tables.size(); ++i) {
    const int number = file.frame.components[i].quant;
    bool again = false;
    for (size_t j = 0; j < i; ++j) again |= file.frame.components[j].quant == number;
    if (again) continue;
    const int quality = QualityOf(tables[i], i == 0 ? 0 : 1);
    std::printf("  quantisation table %d: DC %d", number, tables[i].values[0]);
    std::printf(quality > 0 ? ", the standard's at quality %d\n" : ", of its own\n", quality);
  }
}

void PrintScans(const JpegFile& file) {
  for (size_t i = 0; i < file.scans.size(); ++i) {
    const Scan& scan = file.scans[i].scan;
    std::printf("  scan %zu: components", i + 1);
    for (const ScanComponent& c : scan.components) {
      std::printf(" %d", file.frame.components[static_cast<size_t>(c.index)].id);
    }
    size_t bytes = 0;
    for (const Interval& interval : file.scans[i].intervals) bytes += interval.data.size();
    if (file.frame.Progressive()) std::printf(", coefficients %d-%d, bits %d-%d", scan.ss, scan.se, scan.ah, scan.al);
    std::printf(", %zu bytes", bytes);
    const int restart = file.scans[i].tables.restart_interval;
    if (restart > 0) std::printf(", a restart every %d MCUs", restart);
    std::printf("\n");
  }
}

// The text that most kinds of application segment begin with.
std::string KindOf(const Segment& extra) {
  std::string kind;
  for (const uint8_t c : extra.payload.first(std::min<size_t>(extra.payload.size(), 32))) {
    if (c < ' ' || c > '~') break;
    kind += static_cast<char>(c);
  }
  return kind;
}

}  // namespace

void PrintJpegInfo(const std::string& in) {
  const std::vector<uint8_t> bytes = WithEnd(ReadFile(in));
  try {
    const JpegFile file = Parse(bytes);
    std::printf("%s: JPEG, %s, %d x %d pixels, %s\n", in.c_str(), ProcessName(file.frame), file.frame.width,
                file.frame.height, ColourName(file.ColourModel()));
    PrintComponents(file);
    PrintQuant(file);
    PrintScans(file);
    for (const Segment& extra : file.extras) {
      if (extra.marker == kCom) std::printf("  comment, %zu bytes\n", extra.payload.size());
      if (extra.marker == kCom) continue;
      std::printf("  APP%d %s, %zu bytes\n", extra.marker - kApp0, KindOf(extra).c_str(), extra.payload.size());
    }
    if (!file.damage.empty()) throw Failure("damaged: " + file.damage);
  } catch (const Failure& failure) {
    throw Failure(in + ": " + failure.what());
  }
}

}  // namespace zmc
