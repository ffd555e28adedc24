// zmc encode, decode and info: each finds the codec by the output's name or the input's first bytes, and hands over.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "j2k_commands.h"
#include "jpeg_commands.h"
#include "picture.h"
#include "picture_formats.h"

namespace zmc {
namespace {

enum class Codec { kJpeg, kJ2k };

Codec CodecByName(const std::string& path) {
  struct Ending {
    const char* text;
    Codec codec;
  };
  static constexpr Ending kEndings[] = {{".jpg", Codec::kJpeg},
                                        {".jpeg", Codec::kJpeg},
                                        {".j2k", Codec::kJ2k},
                                        {".j2c", Codec::kJ2k},
                                        {".jp2", Codec::kJ2k}};
  for (const Ending& ending : kEndings) {
    if (path.ends_with(ending.text)) return ending.codec;
  }
  throw Misuse(path + ": the name of an encoded picture ends in .jpg, .j2k or .jp2");
}

Codec CodecByContent(const std::string& path) {
  struct Signature {
    std::string_view bytes;
    Codec codec;
  };
  static constexpr Signature kSignatures[] = {
      {"\xFF\xD8", Codec::kJpeg}, {"\xFF\x4F\xFF\x51", Codec::kJ2k}, {{"\0\0\0\x0CjP  ", 8}, Codec::kJ2k}};
  const InputFile file(std::fopen(path.c_str(), "rb"));
  if (!file) throw Failure(path + ": " + std::strerror(errno));
  char begin[16];
  const std::string_view read(begin, std::fread(begin, 1, sizeof begin, file.get()));
  if (std::ferror(file.get())) throw Failure(path + ": " + std::strerror(errno));
  for (const Signature& signature : kSignatures) {
    if (read.starts_with(signature.bytes)) return signature.codec;
  }
  throw Failure(path + ": neither a JPEG nor a JPEG 2000 file");
}

}  // namespace

void AddEncode(CLI::App& command) {
  struct Arguments {
    std::string in, out;
    double quality = 0;
    JpegEncodeOptions jpeg;
    J2kEncodeOptions j2k;
  };
  const auto arguments = std::make_shared<Arguments>();
  command.add_option("IN", arguments->in, "a PNG, PPM or PGM file")->required();
  command.add_option("OUT", arguments->out, "a name that ends in .jpg, .j2k or .jp2")->required();
  command.add_option("-q,--quality", arguments->quality, "JPEG: 1 to 100 (75); JPEG 2000: the PSNR in dB to reach")
      ->check(CLI::Range(1, 100));
  AddJpegEncodeOptions(command, arguments->jpeg);
  AddJ2kEncodeOptions(command, arguments->j2k);
  command.callback([arguments] {
    const Codec codec = CodecByName(arguments->out);
    const std::unique_ptr<PictureReader> picture = OpenPicture(arguments->in);
    switch (codec) {
      case Codec::kJpeg:
        if (arguments->quality > 0) arguments->jpeg.encode.quality = static_cast<int>(std::lround(arguments->quality));
        return EncodeJpeg(*picture, arguments->out, arguments->jpeg);
      case Codec::kJ2k:
        arguments->j2k.encode.quality = arguments->quality;
        return EncodeJ2k(*picture, arguments->out, arguments->j2k);
    }
  });
}

void AddDecode(CLI::App& command) {
  struct Arguments {
    std::string in, out;
    JpegDecodeOptions jpeg;
    J2kDecodeOptions j2k;
  };
  const auto arguments = std::make_shared<Arguments>();
  command.add_option("IN", arguments->in, "a JPEG or JPEG 2000 file")->required();
  command.add_option("OUT", arguments->out, "a name that ends in .png, .ppm or .pgm")->required();
  AddJpegDecodeOptions(command, arguments->jpeg);
  AddJ2kDecodeOptions(command, arguments->j2k);
  command.callback([arguments] {
    switch (CodecByContent(arguments->in)) {
      case Codec::kJpeg:
        return DecodeJpeg(arguments->in, arguments->out, arguments->jpeg);
      case Codec::kJ2k:
        return DecodeJ2k(arguments->in, arguments->out, arguments->j2k);
    }
  });
}

void AddTranscode(CLI::App& command) {
  struct Arguments {
    std::string in, out;
    JpegTranscodeOptions jpeg;
  };
  const auto arguments = std::make_shared<Arguments>();
  command.add_option("IN", arguments->in, "a JPEG file")->required();
  command.add_option("OUT", arguments->out, "a name that ends in .jpg")->required();
  AddJpegTranscodeOptions(command, arguments->jpeg);
  command.callback([arguments] {
    if (CodecByName(arguments->out) != Codec::kJpeg || CodecByContent(arguments->in) != Codec::kJpeg) {
      throw Misuse("only JPEG files are transcoded, to JPEG files");
    }
    TranscodeJpeg(arguments->in, arguments->out, arguments->jpeg);
  });
}

void AddInfo(CLI::App& command) {
  const auto in = std::make_shared<std::string>();
  command.add_option("FILE", *in, "a JPEG or JPEG 2000 file")->required();
  command.callback([in] {
    switch (CodecByContent(*in)) {
      case Codec::kJpeg:
        return PrintJpegInfo(*in);
      case Codec::kJ2k:
        return PrintJ2kInfo(*in);
    }
  });
}

}  // namespace zmc
