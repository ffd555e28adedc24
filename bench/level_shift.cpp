#include <cstring>

#include "ratio.h"
#include "zmcj.h"

namespace zmcj::bench {
namespace {

const Suite suite("level shift", [](std::vector<Row>& rows) {
  static std::vector<uint8_t> bytes(512 * 512, 77), copy(512 * 512 * 2);
  static std::vector<int16_t> words(512 * 512);
  rows.push_back({"level shift, 8 to 16 bits, 512x512", "px", 512 * 512, 0,
                  [] {
                    zmciSub128_JPEG_8u16s_C1R(bytes.data(), 512, words.data(), 1024, {512, 512});
                  },
                  "memcpy, as many bytes",
                  [] {
                    std::memcpy(copy.data(), words.data(), 512 * 512 * 3 / 2);
                    Keep(copy.data());
                  }});
  rows.push_back({"level shift, 16 to 8 bits, 512x512", "px", 512 * 512, 0,
                  [] {
                    zmciAdd128_JPEG_16s8u_C1R(words.data(), 1024, bytes.data(), 512, {512, 512});
                  },
                  "memcpy, as many bytes",
                  [] {
                    std::memcpy(copy.data(), words.data(), 512 * 512 * 3 / 2);
                    Keep(copy.data());
                  }});
});

}  // namespace
}  // namespace zmcj::bench
