// JPEG's part in the commands encode, decode and info.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "jpeg_decode.h"
#include "jpeg_encode.h"
#include "jpeg_transcode.h"
#include "picture.h"

namespace CLI {
class App;
}

namespace zmc {

struct JpegEncodeOptions {
  jpeg::EncodeOptions encode;
  std::string scans;  // the name of a script file
};
void AddJpegEncodeOptions(CLI::App& command, JpegEncodeOptions& options);
void EncodeJpeg(PictureReader& picture, const std::string& out, const JpegEncodeOptions& options);

struct JpegDecodeOptions {
  jpeg::Upsampling upsampling = jpeg::Upsampling::kTriangle;
};
void AddJpegDecodeOptions(CLI::App& command, JpegDecodeOptions& options);
// Throws Failure also when the picture is written, but damaged.
void DecodeJpeg(const std::string& in, const std::string& out, const JpegDecodeOptions& options);

struct JpegTranscodeOptions {
  jpeg::TranscodeOptions transcode;
  bool baseline = false;
  std::string scans;
};
void AddJpegTranscodeOptions(CLI::App& command, JpegTranscodeOptions& options);
void TranscodeJpeg(const std::string& in, const std::string& out, const JpegTranscodeOptions& options);

void PrintJpegInfo(const std::string& in);

}  // namespace zmc
