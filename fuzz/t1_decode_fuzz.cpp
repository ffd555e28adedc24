// Decodes any bytes as a code-block. The first bytes choose size, options, planes, passes and segment lengths, the rest
// is the segments' data. Every buffer has its exact size; all levels must agree.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/level.h"
#include "zmcj.h"

namespace {

using zmcj::Level;

struct Input {
  const uint8_t* data;
  size_t left;
  int Byte() {
    if (left == 0) return 0;
    --left;
    return *data++;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t n) {
  Input in = {data, n};
  const ZmciSize size = {1 + in.Byte() % 80, 1 + in.Byte() % 70};
  const int orientation = in.Byte() % 5;
  const int flags = in.Byte() | (in.Byte() & 0x15) << 16;
  const int planes = in.Byte() % 34 - 1, passes = in.Byte() % 95;
  std::vector<uint32_t> lengths(static_cast<size_t>(in.Byte() % 95));
  for (auto& length : lengths) length = static_cast<uint32_t>(in.Byte());
  // What is left over is the last segment's; what is missing shortens the segments.
  size_t left = in.left;
  for (auto& length : lengths) left -= length = static_cast<uint32_t>(std::min<size_t>(length, left));
  if (!lengths.empty()) lengths.back() += static_cast<uint32_t>(left);
  const std::vector<uint8_t> src(in.data, in.data + in.left);
  uint32_t work_size = 0;
  zmciDecodeGetBufSize_JPEG2K(size.width, size.height, &work_size);
  const uint8_t none = 0;
  const uint32_t no_length = 0;

  std::vector<int32_t> first;
  ZmcStatus first_status = zmcStatusOk;
  for (const Level level : {Level::kScalar, Level::kSse4, Level::kAvx2, Level::kAvx512, Level::kNeon}) {
    if (!zmcj::Supported(level)) continue;
    zmcj::UseLevel(level);
    std::vector<int32_t> dst(static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
    std::vector<uint8_t> work(work_size);
    int32_t plane = -1;
    const ZmcStatus status =
        zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(src.empty() ? &none : src.data(), dst.data(), 4 * size.width, size,
                                             orientation, planes, passes, lengths.empty() ? &no_length : lengths.data(),
                                             static_cast<uint32_t>(lengths.size()), flags, &plane, work.data());
    if (level == Level::kScalar) {
      first = dst;
      first_status = status;
    } else if (dst != first || status != first_status) {
      std::abort();
    }
  }
  return 0;
}
