// The picture formats, one source file each.
#pragma once

#include <cstdio>
#include <memory>

#include "picture.h"

namespace zmc {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using InputFile = std::unique_ptr<std::FILE, CloseFile>;

// Both take over a file that stands at its first byte.
std::unique_ptr<PictureReader> OpenPng(const std::string& path, InputFile file);
std::unique_ptr<PictureReader> OpenPnm(const std::string& path, InputFile file);

std::unique_ptr<PictureWriter> CreatePng(const std::string& path, const PictureFormat& format);
// `channels` is what the ending of the name promises: 1 for .pgm, 3 for .ppm.
std::unique_ptr<PictureWriter> CreatePnm(const std::string& path, const PictureFormat& format, int channels);

// Of a sample: what a file format with a maximum that is not 2^n - 1, or with fewer depths, needs.
inline uint32_t Rescale(uint32_t value, uint32_t from_maximum, uint32_t to_maximum) {
  return static_cast<uint32_t>((uint64_t{value} * to_maximum + from_maximum / 2) / from_maximum);
}

}  // namespace zmc
