#include "jpeg_commands.h"

#include <CLI/CLI.hpp>

#include "choice.h"
#include "failure.h"
#include "file.h"

namespace zmc {
namespace {

class FileSink : public jpeg::ByteSink {
 public:
  explicit FileSink(OutputFile& file) : file_(file) {}
  void Write(const void* data, size_t size) override { file_.Write(data, size); }

 private:
  OutputFile& file_;
};

// Whatever is wrong inside a file, the message begins with its name.
template <class Work>
auto Naming(const std::string& path, Work work) {
  try {
    return work();
  } catch (const Failure& failure) {
    throw Failure(path + ": " + failure.what());
  }
}

}  // namespace

void AddJpegEncodeOptions(CLI::App& command, JpegEncodeOptions& options) {
  using jpeg::Sampling, jpeg::Subsampling;
  jpeg::EncodeOptions& encode = options.encode;
  AddChoice<Sampling>(
      command, "--sampling", encode.sampling,
      {{"444", Sampling::k444}, {"422", Sampling::k422}, {"420", Sampling::k420}, {"grey", Sampling::kGrey}},
      "JPEG: of chroma, 420 if not given");
  AddChoice<Subsampling>(command, "--subsample", encode.subsampling,
                         {{"mcu", Subsampling::kMcu}, {"box", Subsampling::kBox}},
                         "JPEG: chroma with the colour conversion (mcu), or after it on whole planes (box)");
  command.add_option("--restart", encode.restart_interval, "JPEG: a restart marker after every so many MCUs")
      ->check(CLI::Range(0, 65535));
}

void EncodeJpeg(PictureReader& picture, const std::string& out, const JpegEncodeOptions& options) {
  OutputFile file(out);
  FileSink sink(file);
  jpeg::EncodePicture(picture, options.encode, sink);
  file.Commit();
}

void AddJpegDecodeOptions(CLI::App& command, JpegDecodeOptions& options) {
  using jpeg::Upsampling;
  AddChoice<Upsampling>(command, "--upsample", options.upsampling,
                        {{"triangle", Upsampling::kTriangle}, {"replicate", Upsampling::kReplicate}},
                        "JPEG: of chroma, triangle if not given");
}

void DecodeJpeg(const std::string& in, const std::string& out, const JpegDecodeOptions& options) {
  const std::vector<uint8_t> bytes = jpeg::WithEnd(ReadFile(in));
  const jpeg::JpegFile file = Naming(in, [&] { return jpeg::Parse(bytes); });
  const std::unique_ptr<PictureWriter> writer = CreatePicture(out, jpeg::FormatOf(file));
  const std::string damage = jpeg::DecodePicture(file, options.upsampling, *writer);
  writer->Commit();
  if (!damage.empty()) throw Failure(in + ": damaged: " + damage);
}

}  // namespace zmc
