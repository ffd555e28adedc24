// From a picture to a JPEG file.
#pragma once

#include <string>

#include "jpeg_coefficients.h"
#include "jpeg_forward.h"
#include "jpeg_write.h"
#include "picture.h"

namespace zmc::jpeg {

enum class Sampling { k444, k422, k420, kGrey };

struct EncodeOptions {
  int quality = 75;                    // 1 to 100
  Sampling sampling = Sampling::k420;  // of a colour picture; a grey one is always coded grey
  Subsampling subsampling = Subsampling::kMcu;
  bool ycck = false;         // four components for print, instead of YCbCr
  int restart_interval = 0;  // in MCUs; 0 is none
  bool optimize = false;     // Huffman tables made for the picture
  bool progressive = false;  // which implies tables made for the picture
  std::string script;        // of scans, as ParseScript reads it; empty: the usual ones
};

void EncodePicture(PictureReader& reader, const EncodeOptions& options, ByteSink& sink);

// What a file is to be written as.
struct FilePlan {
  Frame frame;
  std::vector<QuantTable> quant;  // by number
  std::vector<Scan> scans;
  std::vector<Segment> extras;
  enum class Heading { kNone, kJfif, kAdobeYcck } heading = Heading::kNone;  // a first segment of our own
  int restart_interval = 0;
  bool optimize = false;
};
// Sets the scans, from a script unless it is empty, and with them the frame's process.
void PlanScans(FilePlan& plan, Colour colour, bool progressive, const std::string& script);
void WriteFile(const FilePlan& plan, const Coefficients& coefficients, ByteSink& sink);

}  // namespace zmc::jpeg
