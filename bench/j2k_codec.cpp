// Whole pictures through the JPEG 2000 codec of zmc and through the peer's, memory to memory, one thread each.
#include <cstring>

#include "j2k_decoder.h"
#include "j2k_encoder.h"
#include "j2k_peer.h"
#include "photo.h"
#include "ratio.h"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace zmcj::bench {
namespace {

constexpr int kWidth = 1024, kHeight = 768;
constexpr double kPixels = kWidth * kHeight;

// The peer gets one thread as well.
class OneThread {
 public:
#ifdef _OPENMP
  OneThread() : threads_(omp_get_max_threads()) { omp_set_num_threads(1); }
  ~OneThread() { omp_set_num_threads(threads_); }

 private:
  int threads_;
#endif
};

std::vector<uint8_t> Encode(const std::vector<uint8_t>& rgb, double rate) {
  const OneThread one_thread;
  zmc::j2k::EncodeOptions options;
  if (rate > 0) options.rates = {rate};
  zmc::j2k::MemorySink sink;
  const uint8_t* next = rgb.data();
  const zmc::PictureFormat format = {kWidth, kHeight, 3, 8};
  zmc::j2k::Encode(
      format,
      [&](void* row) {
        std::memcpy(row, next, kWidth * 3);
        next += kWidth * 3;
      },
      options, sink);
  return std::move(sink.bytes);
}

void Decode(const std::vector<uint8_t>& file, std::vector<uint8_t>& rgb) {
  const OneThread one_thread;
  zmc::j2k::Decoder decoder(file, {});
  rgb.clear();
  decoder.Decode([&](const void* row) {
    const auto* from = static_cast<const uint8_t*>(row);
    rgb.insert(rgb.end(), from, from + kWidth * 3);
  });
}

const Suite suite("jpeg 2000 codec", [](std::vector<Row>& rows) {
  static const std::vector<uint8_t> rgb = MakePhoto(kWidth, kHeight).rgb;
  static std::vector<uint8_t> lossless = J2kPeer::Encode(rgb, kWidth, kHeight, 0, 1);
  static std::vector<uint8_t> lossy = J2kPeer::Encode(rgb, kWidth, kHeight, 1, 1);
  static std::vector<uint8_t> out, peer_out;
  rows.push_back({"decode RGB, lossless", "px", kPixels, 1.6, [] { Decode(lossless, out); }, "openjp2",
                  [] { J2kPeer::Decode(lossless, peer_out, 1); }});
  rows.push_back({"decode RGB, 1 bit/px", "px", kPixels, 1.6, [] { Decode(lossy, out); }, "openjp2",
                  [] { J2kPeer::Decode(lossy, peer_out, 1); }});
  rows.push_back({"encode RGB, lossless", "px", kPixels, 1.6, [] { Keep(Encode(rgb, 0).data()); }, "openjp2",
                  [] { Keep(J2kPeer::Encode(rgb, kWidth, kHeight, 0, 1).data()); }});
  rows.push_back({"encode RGB, 1 bit/px", "px", kPixels, 2.0, [] { Keep(Encode(rgb, 1).data()); }, "openjp2",
                  [] { Keep(J2kPeer::Encode(rgb, kWidth, kHeight, 1, 1).data()); }});
});

}  // namespace
}  // namespace zmcj::bench
