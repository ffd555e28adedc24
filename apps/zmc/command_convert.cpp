// zmc convert: a picture from one picture format to another.
#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "commands.h"
#include "picture.h"
#include "progress.h"

namespace zmc {
namespace {

void Convert(const std::string& in, const std::string& out) {
  const std::unique_ptr<PictureReader> reader = OpenPicture(in);
  const PictureFormat& format = reader->format();
  const std::unique_ptr<PictureWriter> writer = CreatePicture(out, format);
  std::vector<uint8_t> row(static_cast<size_t>(format.RowBytes()));
  Progress progress("converting", format.height);
  for (int64_t y = 0; y < format.height; ++y) {
    reader->ReadRow(row.data());
    writer->WriteRow(row.data());
    progress.Advance();
  }
  writer->Commit();
}

}  // namespace

void AddConvert(CLI::App& command) {
  struct Arguments {
    std::string in, out;
  };
  const auto arguments = std::make_shared<Arguments>();
  command.add_option("IN", arguments->in, "a PNG, PPM or PGM file")->required();
  command.add_option("OUT", arguments->out, "a name that ends in .png, .ppm or .pgm")->required();
  command.callback([arguments] { Convert(arguments->in, arguments->out); });
}

}  // namespace zmc
