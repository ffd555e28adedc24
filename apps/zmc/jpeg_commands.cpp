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

std::string ReadScript(const std::string& path) {
  if (path.empty()) return {};
  const std::vector<uint8_t> bytes = ReadFile(path);
  // A file without any scan is not the same as no file.
  return bytes.empty() ? std::string("\n") : std::string(bytes.begin(), bytes.end());
}

// Both commands that write JPEG files have these.
void AddCodingOptions(CLI::App& command, bool& optimize, bool& progressive, std::string& scans) {
  command.add_flag("--optimize", optimize, "JPEG: Huffman tables made for this picture");
  command.add_flag("--progressive", progressive, "JPEG: progressive, in the usual scans");
  command.add_option("--scans", scans, "JPEG: a file that lists the scans, as \"components: Ss-Se, Ah, Al;\"")
      ->excludes("--progressive");
}

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
  command.add_flag("--ycck", encode.ycck, "JPEG: four components, for print, with an Adobe segment");
  command.add_option("--restart", encode.restart_interval, "JPEG: a restart marker after every so many MCUs")
      ->check(CLI::Range(0, 65535));
  AddCodingOptions(command, encode.optimize, encode.progressive, options.scans);
}

void EncodeJpeg(PictureReader& picture, const std::string& out, const JpegEncodeOptions& options) {
  jpeg::EncodeOptions encode = options.encode;
  encode.script = ReadScript(options.scans);
  if (encode.ycck && encode.sampling == jpeg::Sampling::kGrey) throw Misuse("--ycck: there is no grey form of it");
  OutputFile file(out);
  FileSink sink(file);
  jpeg::EncodePicture(picture, encode, sink);
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

void AddJpegTranscodeOptions(CLI::App& command, JpegTranscodeOptions& options) {
  jpeg::TranscodeOptions& transcode = options.transcode;
  AddCodingOptions(command, transcode.optimize, transcode.progressive, options.scans);
  command.add_flag("--baseline", options.baseline, "JPEG: sequential, which is the default")
      ->excludes("--progressive")
      ->excludes("--scans");
}

void TranscodeJpeg(const std::string& in, const std::string& out, const JpegTranscodeOptions& options) {
  jpeg::TranscodeOptions transcode = options.transcode;
  transcode.script = ReadScript(options.scans);
  const std::vector<uint8_t> bytes = jpeg::WithEnd(ReadFile(in));
  const jpeg::JpegFile parsed = Naming(in, [&] { return jpeg::Parse(bytes); });
  OutputFile file(out);
  FileSink sink(file);
  const std::string damage = Naming(in, [&] { return jpeg::Transcode(parsed, transcode, sink); });
  file.Commit();
  if (!damage.empty()) throw Failure(in + ": damaged: " + damage);
}

}  // namespace zmc
