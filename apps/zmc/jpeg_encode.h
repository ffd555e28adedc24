// From a picture to a JPEG file.
#pragma once

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
  int restart_interval = 0;  // in MCUs; 0 is none
  bool optimize = false;     // Huffman tables made for the picture
  bool progressive = false;
  std::vector<Scan> scans;  // empty: the usual ones
};

void EncodePicture(PictureReader& reader, const EncodeOptions& options, ByteSink& sink);

// A file to be written from coefficients. The frame's process follows from `progressive` and the tables.
struct FilePlan {
  Frame frame;
  std::vector<QuantTable> quant;  // by number
  std::vector<Scan> scans;
  std::vector<Segment> extras;
  bool jfif = false;  // whether to begin with a JFIF segment of our own
  int restart_interval = 0;
  bool optimize = false;
};
void WriteHeader(const FilePlan& plan, SegmentWriter& writer);
void WriteFile(const FilePlan& plan, const Coefficients& coefficients, ByteSink& sink);

}  // namespace zmc::jpeg
