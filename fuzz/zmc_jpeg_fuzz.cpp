// The JPEG decoder of zmc on any bytes: it refuses them, or writes every row of a picture.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "failure.h"
#include "jpeg_decode.h"

namespace {

class CountingWriter : public zmc::PictureWriter {
 public:
  void WriteRow(const void*) override { ++rows; }
  void Commit() override {}
  int64_t rows = 0;
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
  } catch (const zmc::Failure&) {
  }
  return 0;
}
