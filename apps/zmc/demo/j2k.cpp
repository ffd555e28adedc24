#include "j2k.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "../j2k_decoder.h"
#include "../j2k_encoder.h"
#include "measure.h"

#ifdef _OPENMP
#include <omp.h>
#endif

#if ZMC_DEMO_J2K_PEER
#include "j2k_peer.h"
#endif

namespace zmc::demo {
namespace {

using File = std::vector<uint8_t>;

int AllThreads() {
#ifdef _OPENMP
  return omp_get_num_procs();
#else
  return 1;
#endif
}

void SetThreads([[maybe_unused]] int threads) {
#ifdef _OPENMP
  omp_set_num_threads(threads);
#endif
}

File EncodeJ2k(const Picture& picture, double rate) {
  j2k::EncodeOptions options;
  if (rate > 0) options.rates = {rate};
  const PictureFormat format = {.width = picture.width, .height = picture.height, .channels = 3, .bits = 8};
  j2k::MemorySink sink;
  const uint8_t* next = picture.rgb.data();
  const auto read_row = [&](void* row) {
    std::memcpy(row, next, static_cast<size_t>(format.RowBytes()));
    next += format.RowBytes();
  };
  j2k::Encode(format, read_row, options, sink);
  return std::move(sink.bytes);
}

Picture DecodeJ2k(const File& file, const Picture& like) {
  Picture picture(like.width, like.height);
  j2k::Decoder decoder(file, {});
  uint8_t* next = picture.rgb.data();
  decoder.Decode([&](const void* row) {
    std::memcpy(next, row, static_cast<size_t>(decoder.format().RowBytes()));
    next += decoder.format().RowBytes();
  });
  return picture;
}

#if ZMC_DEMO_J2K_PEER
constexpr bool kHavePeer = true;
File PeerEncode(const Picture& picture, double rate, int threads) {
  return zmcj::bench::J2kPeer::Encode(picture.rgb, static_cast<uint32_t>(picture.width),
                                      static_cast<uint32_t>(picture.height), rate, threads);
}
Picture PeerDecode(const File& file, const Picture& like, int threads) {
  Picture picture(like.width, like.height);
  zmcj::bench::J2kPeer::Decode(file, picture.rgb, threads);
  return picture;
}
#else
constexpr bool kHavePeer = false;
File PeerEncode(const Picture&, double, int) { return {}; }
Picture PeerDecode(const File&, const Picture& like, int) { return like; }
#endif

void PrintSpeeds(const Speeds& speeds) {
  std::printf("  %6.1f", speeds.ours);
  if (kHavePeer) std::printf(" %6.1f %5.2f", speeds.peer, speeds.ours / speeds.peer);
}

void PrintHeader() {
  const auto group = [](const char* title) { std::printf(kHavePeer ? "  %-19s" : "  %-6s", title); };
  std::printf("\n%-22s %9s %6s %6s", "JPEG 2000", "", "bits a", "PSNR");
  if (kHavePeer) std::printf("  %9s %6s", "peer's", "peer's");
  for (const char* title : {"enc 1 thread", "dec 1 thread", "enc all", "dec all"}) group(title);
  std::printf("\n%-22s %9s %6s %6s", "setting", "bytes", "pixel", "dB");
  if (kHavePeer) std::printf("  %9s %6s", "bytes", "dB");
  for (int i = 0; i < 4; ++i) std::printf(kHavePeer ? "     zmc   peer ratio" : "   Mpx/s");
  std::printf("\n");
}

}  // namespace

void PrintJ2kRows(const Picture& picture, const std::function<void(const Picture&, const std::string&)>& show) {
  constexpr int kRuns = 3;
  struct Setting {
    const char* name;
    double rate;
  };
  constexpr Setting kSettings[kJ2kRows] = {
      {"lossless", 0}, {"2 bits/px", 2}, {"1 bit/px", 1}, {"0.5 bits/px", 0.5}, {"0.25 bits/px", 0.25}};
  PrintHeader();
  for (const Setting& setting : kSettings) {
    const File file = EncodeJ2k(picture, setting.rate);
    const Picture back = DecodeJ2k(file, picture);
    const double bits = 8.0 * static_cast<double>(file.size()) / picture.width / picture.height;
    std::printf("%-22s %9zu %6.3f %6.2f", setting.name, file.size(), bits, Psnr(picture, back));
    if (kHavePeer) {
      const File peer = PeerEncode(picture, setting.rate, AllThreads());
      std::printf("  %9zu %6.2f", peer.size(), Psnr(picture, PeerDecode(peer, picture, AllThreads())));
    }
    for (const int threads : {1, AllThreads()}) {
      SetThreads(threads);
      PrintSpeeds(Measure(
          picture, kRuns, kHavePeer, [&] { EncodeJ2k(picture, setting.rate); },
          [&] { PeerEncode(picture, setting.rate, threads); }));
      PrintSpeeds(Measure(
          picture, kRuns, kHavePeer, [&] { DecodeJ2k(file, picture); }, [&] { PeerDecode(file, picture, threads); }));
    }
    std::printf("\n");
    std::fflush(stdout);
    char caption[80];
    std::snprintf(caption, sizeof caption, "JPEG 2000 %s: %.2f bits a pixel, %.1f dB", setting.name, bits,
                  Psnr(picture, back));
    show(back, caption);
  }
}

}  // namespace zmc::demo
