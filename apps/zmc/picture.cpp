#include "picture.h"

#include <cerrno>
#include <cstring>

#include "failure.h"
#include "picture_formats.h"

namespace zmc {

std::unique_ptr<PictureReader> OpenPicture(const std::string& path) {
  InputFile file(std::fopen(path.c_str(), "rb"));
  if (!file) throw Failure(path + ": " + std::strerror(errno));
  // One byte decides: it can be put back, also on a pipe.
  const int first = std::fgetc(file.get());
  if (first == EOF) throw Failure(path + ": " + (std::ferror(file.get()) ? std::strerror(errno) : "is empty"));
  std::ungetc(first, file.get());
  if (first == 0x89) return OpenPng(path, std::move(file));
  if (first == 'P') return OpenPnm(path, std::move(file));
  throw Failure(path + ": neither PNG nor PPM nor PGM");
}

std::unique_ptr<PictureWriter> CreatePicture(const std::string& path, const PictureFormat& format) {
  if (path.ends_with(".png")) return CreatePng(path, format);
  if (path.ends_with(".ppm")) return CreatePnm(path, format, 3);
  if (path.ends_with(".pgm")) return CreatePnm(path, format, 1);
  throw Misuse(path + ": the name of a picture ends in .png, .ppm or .pgm");
}

}  // namespace zmc
