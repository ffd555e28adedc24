// The JPEG decoder of zmc on any bytes: it refuses them, or writes every row of a picture. What it accepts is also sent
// through the transcoder, whose result must be a sound file.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "failure.h"
#include "jpeg_coefficients.h"
#include "jpeg_decode.h"
#include "jpeg_transcode.h"

namespace {

class CountingWriter : public zmc::PictureWriter {
 public:
  void WriteRow(const void*) override { ++rows; }
  void Commit() override {}
  int64_t rows = 0;
};

struct Sink : zmc::jpeg::ByteSink {
  void Write(const void* data, size_t size) override {
    const auto* more = static_cast<const uint8_t*>(data);
    bytes.insert(bytes.end(), more, more + size);
  }
  std::vector<uint8_t> bytes;
};

// Enough for every shape of MCU, little enough for a thousand runs a second.
constexpr int64_t kMostBlocks = 2000;
constexpr size_t kMostScans = 20;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zmc::jpeg;
  const std::vector<uint8_t> bytes = WithEnd({data, data + size});
  try {
    const JpegFile file = Parse(bytes);
    if (file.frame.PaddedBlocks() > kMostBlocks || file.scans.size() > kMostScans) return 0;
    CountingWriter writer;
    DecodePicture(file, size % 2 == 0 ? Upsampling::kTriangle : Upsampling::kReplicate, writer);
    if (writer.rows != FormatOf(file).height) std::abort();
    Sink sink;
    Transcode(file, {.progressive = size % 3 == 0, .optimize = true, .script = {}}, sink);
    const std::vector<uint8_t> again = WithEnd(std::move(sink.bytes));
    std::string damage = Parse(again).damage;
    ReadCoefficients(Parse(again), damage);
    if (!damage.empty()) std::abort();
  } catch (const zmc::Failure&) {
  }
  return 0;
}
