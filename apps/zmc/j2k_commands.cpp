#include "j2k_commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <bit>
#include <charconv>
#include <map>

#include "failure.h"
#include "file.h"
#include "progress.h"

namespace zmc {
namespace {

class FileSink : public j2k::ByteSink {
 public:
  explicit FileSink(OutputFile& file) : file_(file) {}
  int64_t position() const override { return file_.position(); }
  void Write(const void* data, size_t size) override { file_.Write(data, size); }
  void Patch(int64_t position, const void* data, size_t size) override { file_.Patch(position, data, size); }

 private:
  OutputFile& file_;
};

const std::map<std::string, int> kStyles = {{"bypass", j2k::kBypass},   {"reset", j2k::kReset},
                                            {"termall", j2k::kTermall}, {"causal", j2k::kCausal},
                                            {"segsym", j2k::kSegsym},   {"predictable", j2k::kPredictable}};

// Numbers with one character between them; the option's value as a whole.
std::vector<int64_t> Numbers(const std::string& text, char separator, size_t count) {
  std::vector<int64_t> numbers;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (numbers.size() < count) {
    int64_t value = -1;
    const auto [next, error] = std::from_chars(at, end, value);
    const bool last = numbers.size() + 1 == count;
    if (error != std::errc() || value < 0 || value > INT32_MAX ||
        (last ? next != end : next == end || *next != separator)) {
      throw CLI::ValidationError(text,
                                 "not " + std::to_string(count) + " numbers with '" + separator + "' between them");
    }
    numbers.push_back(value);
    at = next + 1;
  }
  return numbers;
}

// 2^result = n, or an error that quotes `text`.
int BlockSizeLog2(int64_t n, const std::string& text) {
  if (n < 4 || n > 1024 || !std::has_single_bit(static_cast<uint64_t>(n))) {
    throw CLI::ValidationError(text, "the sides of code-blocks are powers of two from 4 to 1024");
  }
  return std::countr_zero(static_cast<uint64_t>(n));
}

void SetBlockSize(const std::string& text, j2k::EncodeOptions& options) {
  const std::vector<int64_t> sides = Numbers(text, 'x', 2);
  options.block_width_log2 = BlockSizeLog2(sides[0], text);
  options.block_height_log2 = BlockSizeLog2(sides[1], text);
  if (sides[0] * sides[1] > 4096) throw CLI::ValidationError(text, "a code-block has at most 4096 samples");
}

void SetTileSize(const std::string& text, j2k::EncodeOptions& options) {
  const std::vector<int64_t> sides = Numbers(text, 'x', 2);
  if (sides[0] < 1 || sides[1] < 1) throw CLI::ValidationError(text, "tiles have a size");
  options.tile_width = sides[0];
  options.tile_height = sides[1];
}

// Whatever is wrong inside a file, the message begins with its name.
template <class Work>
auto Naming(const std::string& path, const Work& work) {
  try {
    return work();
  } catch (const Failure& failure) {
    throw Failure(path + ": " + failure.what());
  }
}

std::string StyleNames(int style) {
  std::string names;
  for (const auto& [name, bit] : kStyles) {
    if ((style & bit) != 0) names += (names.empty() ? ", " : "+") + name;
  }
  return names;
}

}  // namespace

void AddJ2kEncodeOptions(CLI::App& command, J2kEncodeOptions& options) {
  static const std::map<std::string, j2k::Progression> kProgressions = [] {
    std::map<std::string, j2k::Progression> names;
    for (size_t i = 0; i < j2k::kProgressionNames.size(); ++i) {
      names[j2k::kProgressionNames[i]] = static_cast<j2k::Progression>(i);
    }
    return names;
  }();
  j2k::EncodeOptions& encode = options.encode;
  command.add_option("--rate", encode.rates, "bits a pixel, a quality layer each (without: lossless)")
      ->delimiter(',')
      ->check(CLI::PositiveNumber)
      ->group("JPEG 2000");
  command.add_option("--levels", encode.levels, "of the wavelet (5)")->check(CLI::Range(0, 32))->group("JPEG 2000");
  command
      .add_option_function<std::string>(
          "--block", [&encode](const std::string& text) { SetBlockSize(text, encode); }, "size of code-blocks (64x64)")
      ->group("JPEG 2000");
  command
      .add_option_function<std::string>(
          "--tiles", [&encode](const std::string& text) { SetTileSize(text, encode); }, "size of tiles (one tile)")
      ->group("JPEG 2000");
  command.add_option("--progression", encode.order, "LRCP (the default), RLCP, RPCL, PCRL or CPRL")
      ->transform(CLI::CheckedTransformer(kProgressions))
      ->group("JPEG 2000");
  command
      .add_option_function<std::vector<int>>(
          "--style",
          [&encode](const std::vector<int>& bits) {
            for (const int bit : bits) encode.style |= bit;
          },
          "of code-blocks: any of bypass,reset,termall,causal,segsym,predictable")
      ->delimiter(',')
      ->transform(CLI::CheckedTransformer(kStyles))
      ->group("JPEG 2000");
  command.add_flag("--plt", encode.plt, "write the lengths of packets")->group("JPEG 2000");
  command.add_flag("--tlm", encode.tlm, "write the lengths of tiles")->group("JPEG 2000");
}

void EncodeJ2k(PictureReader& picture, const std::string& out, const J2kEncodeOptions& options) {
  j2k::EncodeOptions encode = options.encode;
  if (!encode.rates.empty() && encode.quality > 0) throw Misuse("--rate and --quality exclude each other");
  std::sort(encode.rates.begin(), encode.rates.end());
  encode.jp2 = out.ends_with(".jp2");
  const PictureFormat& format = picture.format();
  OutputFile file(out);
  FileSink sink(file);
  Progress progress("encoding", format.width * format.height * format.channels);
  j2k::Encode(
      format, [&](void* row) { picture.ReadRow(row); }, encode, sink, [&](int64_t n) { progress.Advance(n); });
  file.Commit();
}

void AddJ2kDecodeOptions(CLI::App& command, J2kDecodeOptions& options) {
  j2k::DecodeOptions& decode = options.decode;
  command.add_option("--reduce", decode.reduce, "leave out so many of the highest resolutions")
      ->check(CLI::Range(0, 32))
      ->group("JPEG 2000");
  command.add_option("--layers", decode.layers, "decode only so many quality layers")
      ->check(CLI::Range(1, 65535))
      ->group("JPEG 2000");
  command
      .add_option_function<std::string>(
          "--region",
          [&decode](const std::string& text) {
            const std::vector<int64_t> n = Numbers(text, ',', 4);
            decode.region = j2k::Rect{n[0], n[1], n[0] + n[2], n[1] + n[3]};
          },
          "decode only X,Y,W,H: a part, in pixels of the whole picture")
      ->group("JPEG 2000");
}

void DecodeJ2k(const std::string& in, const std::string& out, const J2kDecodeOptions& options) {
  const std::vector<uint8_t> bytes = ReadFile(in);
  Naming(in, [&] {
    j2k::Decoder decoder(bytes, options.decode);
    const std::unique_ptr<PictureWriter> writer = CreatePicture(out, decoder.format());
    {
      Progress progress("decoding", decoder.ProgressSteps());
      decoder.Decode([&](const void* row) { writer->WriteRow(row); }, [&](int64_t n) { progress.Advance(n); });
    }
    writer->Commit();
    if (!decoder.report().empty()) throw Failure("damaged: " + decoder.report());
  });
}

void PrintJ2kInfo(const std::string& in) {
  const std::vector<uint8_t> bytes = ReadFile(in);
  Naming(in, [&] {
    const j2k::Container container = j2k::ReadContainer(bytes);
    const j2k::Codestream stream = j2k::ReadCodestream(container.codestream);
    const j2k::ImageSize& size = stream.size;
    const j2k::TileParameters& p = stream.defaults;
    std::printf("JPEG 2000, %s\n", container.is_jp2 ? "JP2 file" : "codestream");
    std::printf("size:        %lld x %lld\n", static_cast<long long>(size.image.width()),
                static_cast<long long>(size.image.height()));
    std::printf("tiles:       %lld x %lld of %lld x %lld\n", static_cast<long long>(size.TilesWide()),
                static_cast<long long>(size.TilesHigh()), static_cast<long long>(size.tile_width),
                static_cast<long long>(size.tile_height));
    std::printf("progression: %s, %d layers%s%s%s\n", j2k::kProgressionNames[static_cast<size_t>(p.order)], p.layers,
                p.changes.empty() ? "" : ", changes", p.sop ? ", SOP" : "", p.eph ? ", EPH" : "");
    std::printf("colour:      %s\n", p.colour_transform ? "component transform" : "components as they are");
    for (size_t c = 0; c < size.components.size(); ++c) {
      const j2k::ComponentSize& component = size.components[c];
      const j2k::ComponentParameters& own = p.components[c];
      std::printf("component %zu: %d bits%s, sampling %dx%d, %s, %d levels, blocks %dx%d%s", c, component.bits,
                  component.is_signed ? " signed" : "", component.dx, component.dy,
                  own.coding.reversible ? "5/3" : "9/7", own.coding.levels, 1 << own.coding.block_width_log2,
                  1 << own.coding.block_height_log2, StyleNames(own.coding.style).c_str());
      if (own.roi_shift > 0) std::printf(", region of interest up by %d planes", own.roi_shift);
      std::printf("\n");
    }
    if (!stream.report.empty()) throw Failure("damaged: " + stream.report);
  });
}

}  // namespace zmc
