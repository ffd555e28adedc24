// From a parsed file to a picture.
#pragma once

#include <string>

#include "jpeg_parse.h"
#include "picture.h"

namespace zmc::jpeg {

enum class Upsampling {
  kTriangle,  // for chroma halved horizontally, or both ways; other factors are replicated
  kReplicate,
};

// Grey, or RGB for all others: four components as print shows them on white paper.
PictureFormat FormatOf(const JpegFile& file);

// Writes all rows, those that damage has lost in mid-grey. Returns the damage in words, empty if there is none.
std::string DecodePicture(const JpegFile& file, Upsampling upsampling, PictureWriter& writer);

}  // namespace zmc::jpeg
