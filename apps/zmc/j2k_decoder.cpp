#include "j2k_decoder.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "failure.h"
#include "j2k_block_decoder.h"
#include "j2k_packet_reader.h"
#include "j2k_parallel.h"

namespace zmc::j2k {
namespace {

constexpr int64_t kStepsPerTile = 256;
constexpr int64_t kSamplesPerByte = 4096;

TileLimits LimitsFor(size_t bytes) {
  const int64_t n = (int64_t{1} << 18) + 16 * static_cast<int64_t>(bytes);
  return {n, n};
}

void CheckSize(const ImageSize& size, const PictureFormat& format, size_t bytes, int64_t free_samples) {
  const int64_t limit = free_samples + kSamplesPerByte * static_cast<int64_t>(bytes);
  // In floating point: the product may pass 64 bits.
  double samples = static_cast<double>(format.width) * static_cast<double>(format.height) * format.channels;
  for (const ComponentSize& c : size.components) {
    samples += static_cast<double>(CeilDiv(size.image.width(), c.dx)) *
               static_cast<double>(CeilDiv(size.image.height(), c.dy));
  }
  if (samples > static_cast<double>(limit)) throw Failure("JPEG 2000: the picture is too large for so few bytes");
}

// Whether pixels of a window need this block. A band's sample reaches two samples of its own grid to either side at
// every level: less than four in all, and one more for rounding.
bool Reaches(const BlockInput& block, int reduce, const Rect& window) {
  constexpr int64_t kReach = 5;
  const int level = block.band->level - reduce;
  const Rect needed = {(window.x0 >> level) - kReach, (window.y0 >> level) - kReach, (window.x1 >> level) + kReach,
                       (window.y1 >> level) + kReach};
  return !Intersect(block.rect, needed).empty();
}

}  // namespace

Decoder::Decoder(Bytes file, const DecodeOptions& options)
    : options_(options),
      container_(ReadContainer(file)),
      codestream_(ReadCodestream(container_.codestream)),
      output_(codestream_.size, container_, options.reduce, options.region),
      report_(codestream_.report) {
  CheckSize(codestream_.size, output_.format(), file.size(), options.free_samples);
  for (const ComponentParameters& c : codestream_.defaults.components) {
    if (options.reduce > c.coding.levels) throw Failure("JPEG 2000: the picture has fewer resolutions");
  }
}

int64_t Decoder::ProgressSteps() const {
  return codestream_.size.TilesWide() * codestream_.size.TilesHigh() * kStepsPerTile;
}

void Decoder::DecodeTile(int64_t column, int64_t row, const Rect& band, uint8_t* pixels,
                         const std::function<void(int64_t)>& advance, std::string* report) const {
  const ImageSize& size = codestream_.size;
  DecodedTile out;
  out.rect = size.TileRect(column, row);
  const Rect area = output_.TileArea(out.rect);
  if (area.empty()) return;
  const auto& parts = codestream_.tiles[static_cast<size_t>(row * size.TilesWide() + column)];
  if (parts.empty()) {
    *report = "it is missing";
    return;
  }
  std::vector<uint8_t> packet_headers;
  out.parameters = ReadTileHeaders(codestream_, parts, &packet_headers);
  size_t bytes = packet_headers.size();
  for (const TilePart& part : parts) bytes += part.body.size();
  Tile tile(size, out.parameters, out.rect, LimitsFor(bytes));

  const PacketLimits limits = {options_.layers, options_.reduce};
  const std::vector<BlockInput> blocks = ReadPackets(tile, out.parameters, parts, packet_headers, limits, report);

  for (TileComponent& component : tile.components) {
    const int resolution = component.levels() - options_.reduce;
    if (resolution < 0) throw Failure("it has fewer resolutions");
    const Rect& rect = component.resolutions[static_cast<size_t>(resolution)].rect;
    out.rects.push_back(rect);
    const bool shown = output_.Shows(static_cast<int>(out.planes.size())) && !rect.empty();
    out.planes.push_back(shown ? Plane(rect.width(), rect.height()) : Plane());
  }
  const auto block_count = static_cast<int64_t>(blocks.size());
  std::atomic<bool> damaged = false;
  ParallelFor(block_count, [&](int64_t i) {
    thread_local BlockDecoder decoder;
    const BlockInput& block = blocks[static_cast<size_t>(i)];
    const int c = block.band->component;
    Plane& plane = out.planes[static_cast<size_t>(c)];
    if (block.passes > 0 && !plane.samples.empty() && Reaches(block, options_.reduce, output_.Samples(c, area))) {
      const int fraction_bits = FractionBits(size.components[static_cast<size_t>(c)].bits);
      const auto& parameters = out.parameters.components[static_cast<size_t>(c)];
      if (!decoder.Decode(block, parameters, fraction_bits, plane)) damaged = true;
    }
    if (advance) advance((i + 1) * kStepsPerTile / block_count - i * kStepsPerTile / block_count);
  });
  if (damaged && report->empty()) *report = "code-blocks are damaged";
  if (advance && block_count == 0) advance(kStepsPerTile);

  ParallelFor(static_cast<int64_t>(out.planes.size()), [&](int64_t c) {
    Plane& plane = out.planes[static_cast<size_t>(c)];
    const TileComponent& component = tile.components[static_cast<size_t>(c)];
    if (!plane.samples.empty() && !blocks.empty()) {
      InverseWavelet(component, component.levels() - options_.reduce, plane);
    }
  });
  const int64_t pixel_bytes = format().RowBytes() / format().width;
  ParallelFor(area.height(), [&](int64_t y) {
    thread_local Output::Scratch scratch;
    uint8_t* to = pixels + (area.y0 + y - band.y0) * format().RowBytes() + (area.x0 - band.x0) * pixel_bytes;
    output_.WriteRow(out, area.y0 + y, to, scratch);
  });
}

void Decoder::Decode(const std::function<void(const void*)>& write_row, const std::function<void(int64_t)>& advance) {
  const ImageSize& size = codestream_.size;
  std::vector<uint8_t> pixels;
  std::mutex mutex;  // of the report
  for (int64_t row = 0; row < size.TilesHigh(); ++row) {
    // The pixels of a whole row of tiles, as far as they are asked for.
    Rect band = output_.area();
    const Rect tile_area =
        output_.TileArea({size.image.x0, size.TileRect(0, row).y0, size.image.x1, size.TileRect(0, row).y1});
    if (tile_area.empty()) continue;
    band.y0 = tile_area.y0;
    band.y1 = tile_area.y1;
    pixels.assign(static_cast<size_t>(band.height() * format().RowBytes()), 0);
    // On all cores: the tiles side by side, or the blocks of a single one.
    ParallelFor(size.TilesWide(), [&](int64_t column) {
      std::string report;
      try {
        DecodeTile(column, row, band, pixels.data(), advance, &report);
      } catch (const Failure& failure) {
        report = failure.what();
      }
      if (report.empty()) return;
      const std::lock_guard lock(mutex);
      if (report_.empty()) report_ = "tile " + std::to_string(row * size.TilesWide() + column) + ": " + report;
    });
    for (int64_t y = 0; y < band.height(); ++y) write_row(pixels.data() + y * format().RowBytes());
  }
}

}  // namespace zmc::j2k
