// zmc-demo [--out DIR] [PICTURE]: encodes a picture at several settings and decodes it again, prints sizes, PSNR and
// speed beside the peer's, and writes a contact sheet to look at.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ctime>

#include "../failure.h"
#include "codecs.h"
#include "j2k.h"
#include "measure.h"

namespace zmc::demo {
namespace {

using jpeg::EncodeOptions, jpeg::Sampling;

struct Setting {
  const char* name;
  Sampling sampling;
  int quality;
  bool optimize = false, progressive = false;
};
constexpr Setting kSettings[] = {
    {"444 q95", Sampling::k444, 95},
    {"444 q75", Sampling::k444, 75},
    {"422 q90", Sampling::k422, 90},
    {"422 q75", Sampling::k422, 75},
    {"420 q90", Sampling::k420, 90},
    {"420 q75", Sampling::k420, 75},
    {"420 q75 optimized", Sampling::k420, 75, true},
    {"420 q75 progressive", Sampling::k420, 75, true, true},
    {"420 q50", Sampling::k420, 50},
    {"420 q20", Sampling::k420, 20},
};

constexpr int kRuns = 7;

Picture Load(const std::string& path) {
  const std::unique_ptr<PictureReader> reader = OpenPicture(path);
  // The codec's own reduction to 8-bit RGB; grey is spread.
  jpeg::PictureStrips strips(*reader, 1, 1);
  Picture picture(static_cast<int>(reader->format().width), static_cast<int>(reader->format().height));
  for (int y = 0; y < picture.height; ++y) {
    const uint8_t* row = strips.Next();
    const int channels = strips.channels();
    for (int x = 0; x < picture.width; ++x) {
      for (int c = 0; c < 3; ++c) picture.at(x, y)[c] = row[x * channels + c % channels];
    }
  }
  return picture;
}

void PrintSpeeds(const Speeds& speeds) {
  std::printf(" %8.0f", speeds.ours);
  if (HavePeer()) std::printf(" %8.0f %6.2f", speeds.peer, speeds.ours / speeds.peer);
}

// Each setting's look at the same two parts of the picture, at twice the size.
class Sheet {
 public:
  Sheet(const Picture& original, int tiles)
      : tile_w_(std::min(360, original.width)),
        tile_h_(std::min(240, original.height)),
        sheet_(kColumns * (tile_w_ + kGap) + kGap,
               (tiles + kColumns - 1) / kColumns * (tile_h_ + kGap + kCaption) + kGap) {
    std::ranges::fill(sheet_.rgb, uint8_t{32});
  }

  void Add(const Picture& picture, const std::string& caption) {
    const int x0 = kGap + count_ % kColumns * (tile_w_ + kGap);
    const int y0 = kGap + count_ / kColumns * (tile_h_ + kGap + kCaption);
    for (int y = 0; y < tile_h_; ++y) {
      for (int x = 0; x < tile_w_; ++x) {
        // Where the generated picture has an eye, and where its sign begins.
        const bool right = x >= tile_w_ / 2;
        const uint8_t* pixel = right ? At(picture, 0.82f, 0.55f, x - tile_w_ / 2, y) : At(picture, 0.43f, 0.44f, x, y);
        std::copy_n(pixel, 3, sheet_.at(x0 + x, y0 + y));
      }
    }
    DrawText(sheet_, x0, y0 + tile_h_ + 4, 1, caption, {235, 235, 235});
    ++count_;
  }

  void Write(const std::string& path) const {
    const auto writer = CreatePicture(path, {.width = sheet_.width, .height = sheet_.height, .channels = 3, .bits = 8});
    for (int y = 0; y < sheet_.height; ++y) writer->WriteRow(sheet_.at(0, y));
    writer->Commit();
  }

 private:
  // A pixel at twice its size, counted from a place told in shares of the height.
  static const uint8_t* At(const Picture& picture, float left, float top, int x, int y) {
    const auto height = static_cast<float>(picture.height);
    return picture.at(std::min(picture.width - 1, static_cast<int>(left * height) + x / 2),
                      std::min(picture.height - 1, static_cast<int>(top * height) + y / 2));
  }

  static constexpr int kColumns = 3, kGap = 8, kCaption = 12;
  int tile_w_, tile_h_;
  Picture sheet_;
  int count_ = 0;
};

void Run(const std::string& out, const std::string& path) {
  const Picture picture = path.empty() ? Generate(1536, 1024) : Load(path);
  std::printf("%s, %d x %d pixels\n\n", path.empty() ? "a generated picture" : path.c_str(), picture.width,
              picture.height);
  std::printf("%-22s %9s %6s %6s  %s\n", "", "", "bits a", "PSNR",
              HavePeer() ? "encode Mpixel/s          decode Mpixel/s" : "Mpixel/s");
  std::printf("%-22s %9s %6s %6s ", "setting", "bytes", "pixel", "dB");
  for (int i = 0; i < 2; ++i)
    std::printf(HavePeer() ? " %8s %8s %6s" : " %8s", HavePeer() ? "zmc" : i ? "decode" : "encode", "peer", "ratio");
  std::printf("\n");
  Sheet sheet(picture, 1 + static_cast<int>(std::size(kSettings)) + kJ2kRows);
  sheet.Add(picture, "original");
  for (const Setting& setting : kSettings) {
    EncodeOptions options;
    options.quality = setting.quality;
    options.sampling = setting.sampling;
    options.optimize = setting.optimize;
    options.progressive = setting.progressive;
    const File file = Encode(picture, options);
    const Picture back = Decode(file);
    const double bits = 8.0 * static_cast<double>(file.size()) / picture.width / picture.height;
    std::printf("%-22s %9zu %6.3f %6.2f ", setting.name, file.size(), bits, Psnr(picture, back));
    PrintSpeeds(Measure(
        picture, kRuns, HavePeer(), [&] { Encode(picture, options); }, [&] { PeerEncode(picture, options); }));
    PrintSpeeds(Measure(
        picture, kRuns, HavePeer(), [&] { Decode(file); }, [&] { PeerDecode(file); }));
    std::printf("\n");
    std::fflush(stdout);
    char caption[80];
    std::snprintf(caption, sizeof caption, "%s: %.2f bits a pixel, %.1f dB", setting.name, bits, Psnr(picture, back));
    sheet.Add(back, caption);
  }
  PrintJ2kRows(picture, [&](const Picture& back, const std::string& caption) { sheet.Add(back, caption); });
  sheet.Write(out + "/sheet.png");
}

}  // namespace
}  // namespace zmc::demo

int main(int argc, char** argv) {
  CLI::App app("encodes and decodes a picture at several settings, beside the peer codec");
  std::string out = ".", picture;
  app.add_option("--out", out, "the directory for the contact sheet sheet.png")->check(CLI::ExistingDirectory);
  app.add_option("PICTURE", picture, "a PNG, PPM or PGM file; a generated picture if not given");
  CLI11_PARSE(app, argc, argv);
  try {
    zmc::demo::Run(out, picture);
  } catch (const std::runtime_error& error) {
    std::fprintf(stderr, "zmc-demo: %s\n", error.what());
    return 1;
  }
  return 0;
}
