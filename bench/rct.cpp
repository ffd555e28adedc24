// The best open codec's transform in place takes 0.27 ns a pixel at 512 x 512 and 0.7 at 2048 x 2048 on such a core.
#include <cstring>

#include "ratio.h"
#include "zmcj.h"

namespace zmcj::bench {
namespace {

constexpr int kLargest = 2048;

int32_t* const* Planes() {
  static std::vector<int32_t> samples(3 * kLargest * kLargest, 77);
  static int32_t* const planes[3] = {samples.data(), samples.data() + kLargest * kLargest,
                                     samples.data() + 2 * kLargest * kLargest};
  return planes;
}

int32_t* Pixels() {
  static std::vector<int32_t> pixels(3 * kLargest * kLargest, 55);
  return pixels.data();
}

const Suite suite("rct", [](std::vector<Row>& rows) {
  for (const int size : {512, 2048}) {
    const std::string side = std::to_string(size), peer = size == 512 ? " (peer 0.27)" : " (peer 0.70)";
    const ZmciSize region = {size, size};
    const int step = 4 * size;
    const double pixels = static_cast<double>(size) * size;
    const auto copy = [=] {
      for (int i = 0; i < 3; ++i) std::memcpy(Pixels() + i * size * size, Planes()[i], 4 * static_cast<size_t>(pixels));
      Keep(Pixels());
    };
    rows.push_back({"forward in place " + side + peer, "px", pixels, 0,
                    [=] { zmciRCTFwd_JPEG2K_32s_P3IR(Planes(), step, region); }, "memcpy", copy});
    rows.push_back({"inverse in place " + side + peer, "px", pixels, 0,
                    [=] { zmciRCTInv_JPEG2K_32s_P3IR(Planes(), step, region); }, "memcpy", copy});
    rows.push_back({"forward from pixels " + side, "px", pixels, 0,
                    [=] { zmciRCTFwd_JPEG2K_32s_C3P3R(Pixels(), 3 * step, Planes(), step, region); }, "memcpy", copy});
    rows.push_back({"inverse to pixels " + side, "px", pixels, 0,
                    [=] { zmciRCTInv_JPEG2K_32s_P3C3R(Planes(), step, Pixels(), 3 * step, region); }, "memcpy", copy});
  }
});

}  // namespace
}  // namespace zmcj::bench
