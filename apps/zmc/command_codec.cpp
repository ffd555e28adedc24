// zmc encode, decode and info: each finds the codec by the output's name or the input's first bytes, and hands over.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "jpeg_commands.h"
#include "picture.h"
#include "picture_formats.h"

namespace zmc {
namespace {

enum class Codec { kJpeg };

Codec CodecByName(const std::string& path) {
  struct Ending {
    const char* text;
    Codec codec;
  };
  static constexpr Ending kEndings[] = {{".jpg", Codec::kJpeg}, {".jpeg", Codec::kJpeg}};
  for (const Ending& ending : kEndings) {
    if (path.ends_with(ending.text)) return ending.codec;
  }
  throw Misuse(path + ": the name of an encoded picture ends in .jpg");
}

Codec CodecByContent(const std::string& path) {
  struct Signature {
    std::string_view bytes;
    Codec codec;
  };
  static constexpr Signature kSignatures[] = {{"\xFF\xD8", Codec::kJpeg}};
  const InputFile file(std::fopen(path.c_str(), "rb"));
  if (!file) throw Failure(path + ": " + std::strerror(errno));
  char begin[16];
  const std::string_view read(begin, std::fread(begin, 1, sizeof begin, file.get()));
  if (std::ferror(file.get())) throw Failure(path + ": " + std::strerror(errno));
  for (const Signature& signature : kSignatures) {
    if (read.starts_with(signature.bytes)) return signature.codec;
  }
  throw Failure(path + ": not a JPEG file");
}

}  // namespace

void AddEncode(CLI::App& command) {
  struct Arguments {
    std::string in, out;
    JpegEncodeOptions jpeg;
  };
  const auto arguments = std::make_shared<Arguments>();
  command.add_option("IN", arguments->in, "a PNG, PPM or PGM file")->required();
  command.add_option("OUT", arguments->out, "a name that ends in .jpg")->required();
  AddJpegEncodeOptions(command, arguments->jpeg);
  command.callback([arguments] {
    const Codec codec = CodecByName(arguments->out);
    const std::unique_ptr<PictureReader> picture = OpenPicture(arguments->in);
    switch (codec) {
      case Codec::kJpeg:
        return EncodeJpeg(*picture, arguments->out, arguments->jpeg);
    }
  });
}

void AddDecode(CLI::App& command) {
  struct Arguments {
    std::string in, out;
    JpegDecodeOptions jpeg;
  };
  const auto arguments = std::make_shared<Arguments>();
  command.add_option("IN", arguments->in, "a JPEG file")->required();
  command.add_option("OUT", arguments->out, "a name that ends in .png, .ppm or .pgm")->required();
  AddJpegDecodeOptions(command, arguments->jpeg);
  command.callback([arguments] {
    switch (CodecByContent(arguments->in)) {
      case Codec::kJpeg:
        return DecodeJpeg(arguments->in, arguments->out, arguments->jpeg);
    }
  });
}

void AddInfo(CLI::App& command) {
  const auto in = std::make_shared<std::string>();
  command.add_option("FILE", *in, "a JPEG file")->required();
  command.callback([in] {
    switch (CodecByContent(*in)) {
      case Codec::kJpeg:
        return PrintJpegInfo(*in);
    }
  });
}

}  // namespace zmc
