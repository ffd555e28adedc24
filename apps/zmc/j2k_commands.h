// JPEG 2000's part in the commands encode, decode and info.
#pragma once

#include <string>

#include "j2k_decoder.h"
#include "j2k_encoder.h"
#include "picture.h"

namespace CLI {
class App;
}

namespace zmc {

struct J2kEncodeOptions {
  j2k::EncodeOptions encode;
};
void AddJ2kEncodeOptions(CLI::App& command, J2kEncodeOptions& options);
// A JP2 file when `out` ends in .jp2, a bare codestream otherwise.
void EncodeJ2k(PictureReader& picture, const std::string& out, const J2kEncodeOptions& options);

struct J2kDecodeOptions {
  j2k::DecodeOptions decode;
};
void AddJ2kDecodeOptions(CLI::App& command, J2kDecodeOptions& options);
// Throws Failure also when the picture is written, but damaged.
void DecodeJ2k(const std::string& in, const std::string& out, const J2kDecodeOptions& options);

void PrintJ2kInfo(const std::string& in);

}  // namespace zmc
