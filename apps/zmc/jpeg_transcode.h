// Lossless re-coding: other scans and Huffman tables for the same coefficients.
#pragma once

#include <string>

#include "jpeg_parse.h"
#include "jpeg_write.h"

namespace zmc::jpeg {

struct TranscodeOptions {
  bool progressive = false;  // else sequential
  bool optimize = false;     // implied by progressive
  std::string script;        // as for encoding
};

// Keeps the coefficients, quantisation tables, sampling, component numbers, restart interval, and all application and
// comment segments. Returns the damage of the source in words: what it has lost is flat in the result.
std::string Transcode(const JpegFile& file, const TranscodeOptions& options, ByteSink& sink);

}  // namespace zmc::jpeg
