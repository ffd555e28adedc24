// Whole-image colour conversion: against libjpeg-turbo's routines where they have the same form, against memcpy of as
// many bytes (half read and written bytes) where they have not. Rows in the second-level cache and in memory.
#ifdef _OPENMP
#include <omp.h>
#endif

#include <array>
#include <cstring>

#include "ratio.h"
#include "zmcj.h"

using Rows = unsigned char**;
extern "C" {
void jsimd_extrgb_ycc_convert_avx2(unsigned width, Rows in, unsigned char*** out, unsigned out_row, int rows);
void jsimd_ycc_extrgb_convert_avx2(unsigned width, unsigned char*** in, unsigned in_row, Rows out, int rows);
void jsimd_extrgb_gray_convert_avx2(unsigned width, Rows in, unsigned char*** out, unsigned out_row, int rows);
}

namespace zmcj::bench {
namespace {

// Both sides' buffers, each with room for four components, and the rows' addresses in the peer's form.
struct Image {
  Image(int w, int h) : width(w), height(h), source(Bytes()), destination(Bytes()) {
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
    for (int side = 0; side < 2; ++side) {
      unsigned char* base = (side == 0 ? source : destination).data();
      for (int y = 0; y < h; ++y) interleaved[side].push_back(base + size_t{3} * w * y);
      for (int p = 0; p < 4; ++p) {
        planes[side][p] = base + size_t(w) * h * p;
        for (int y = 0; y < h; ++y) plane_rows[side][p].push_back(planes[side][p] + size_t(w) * y);
        row_arrays[side][p] = plane_rows[side][p].data();
      }
    }
  }
  size_t Bytes() const { return size_t(width) * height * 4; }
  ZmciSize size() const { return {width, height}; }
  int width, height;
  std::vector<unsigned char> source, destination;
  std::vector<unsigned char*> interleaved[2], plane_rows[2][4];
  unsigned char* planes[2][4];
  Rows row_arrays[2][4];
};

void Serially(const std::function<void()>& call) {
#ifdef _OPENMP
  const int before = omp_get_max_threads();
  omp_set_num_threads(1);
  call();
  omp_set_num_threads(before);
#else
  call();
#endif
}

const Suite suite("colour", [](std::vector<Row>& rows) {
  // 256 KiB and 64 MiB on each side.
  static Image small(512, 128), large(4096, 4096);
  for (Image* image : {&small, &large}) {
    Image& m = *image;
    const std::string where = image == &small ? ", in L2" : ", in memory";
    const double pixels = double(m.width) * m.height;
    const int w = m.width;
    const auto add = [&](const char* name, double goal, std::function<void()> ours, const char* peer_name,
                         std::function<void()> peer) {
      rows.push_back({name + where, "px", pixels, goal, [=] { Serially(ours); }, peer_name, peer});
    };
    const auto peer = [&](const char* name, double goal, std::function<void()> ours, std::function<void()> theirs) {
      add(name, goal, ours, "libjpeg-turbo AVX2", theirs);
    };
    peer(
        "RGB to YCbCr, interleaved in", 1.9,
        [&m, w] { zmciRGBToYCbCr_JPEG_8u_C3P3R(m.source.data(), 3 * w, m.planes[1], w, m.size()); },
        [&m, w] { jsimd_extrgb_ycc_convert_avx2(w, m.interleaved[0].data(), m.row_arrays[1], 0, m.height); });
    peer(
        "YCbCr to RGB, interleaved out", 1.5,
        [&m, w] { zmciYCbCrToRGB_JPEG_8u_P3C3R(m.planes[0], w, m.destination.data(), 3 * w, m.size()); },
        [&m, w] { jsimd_ycc_extrgb_convert_avx2(w, m.row_arrays[0], 0, m.interleaved[1].data(), m.height); });
    peer(
        "RGB to Y, interleaved in", 2.0,
        [&m, w] { zmciRGBToY_JPEG_8u_C3C1R(m.source.data(), 3 * w, m.planes[1][0], w, m.size()); },
        [&m, w] { jsimd_extrgb_gray_convert_avx2(w, m.interleaved[0].data(), m.row_arrays[1], 0, m.height); });

    // memcpy of `bytes` per pixel, read and written together.
    const auto copy = [&](const char* name, int bytes, std::function<void()> ours) {
      add(name, image == &large ? 0.6 : 0, ours, "memcpy, as many bytes", [&m, pixels, bytes] {
        std::memcpy(m.destination.data(), m.source.data(), size_t(pixels * bytes / 2));
        Keep(m.destination.data());
      });
    };
    copy("RGB to YCbCr, interleaved in", 6,
         [&m, w] { zmciRGBToYCbCr_JPEG_8u_C3P3R(m.source.data(), 3 * w, m.planes[1], w, m.size()); });
    copy("YCbCr to RGB, interleaved out", 6,
         [&m, w] { zmciYCbCrToRGB_JPEG_8u_P3C3R(m.planes[0], w, m.destination.data(), 3 * w, m.size()); });
    copy("RGB to Y, interleaved in", 4,
         [&m, w] { zmciRGBToY_JPEG_8u_C3C1R(m.source.data(), 3 * w, m.planes[1][0], w, m.size()); });
    copy("RGB to YCbCr, planes", 6, [&m, w] { zmciRGBToYCbCr_JPEG_8u_P3R(m.planes[0], w, m.planes[1], w, m.size()); });
    copy("RGB to Y, planes", 4, [&m, w] { zmciRGBToY_JPEG_8u_P3C1R(m.planes[0], w, m.planes[1][0], w, m.size()); });
    copy("YCbCr to RGB, planes", 6, [&m, w] { zmciYCbCrToRGB_JPEG_8u_P3R(m.planes[0], w, m.planes[1], w, m.size()); });
    copy("CMYK to YCCK, planes", 8, [&m, w] { zmciCMYKToYCCK_JPEG_8u_P4R(m.planes[0], w, m.planes[1], w, m.size()); });
    copy("CMYK to YCCK, interleaved in", 8,
         [&m, w] { zmciCMYKToYCCK_JPEG_8u_C4P4R(m.source.data(), 4 * w, m.planes[1], w, m.size()); });
    copy("YCCK to CMYK, planes", 8, [&m, w] { zmciYCCKToCMYK_JPEG_8u_P4R(m.planes[0], w, m.planes[1], w, m.size()); });
    copy("YCCK to CMYK, interleaved out", 8,
         [&m, w] { zmciYCCKToCMYK_JPEG_8u_P4C4R(m.planes[0], w, m.destination.data(), 4 * w, m.size()); });
    copy("RGB565 to YCbCr", 5, [&m, w] {
      zmciRGB565ToYCbCr_JPEG_16u8u_C3P3R(reinterpret_cast<uint16_t*>(m.source.data()), 2 * w, m.planes[1], w, m.size());
    });
    copy("YCbCr to RGB565", 5, [&m, w] {
      zmciYCbCrToRGB565_JPEG_8u16u_P3C3R(m.planes[0], w, reinterpret_cast<uint16_t*>(m.destination.data()), 2 * w,
                                         m.size());
    });
    copy("YCbCr to RGB555", 5, [&m, w] {
      zmciYCbCrToRGB555_JPEG_8u16u_P3C3R(m.planes[0], w, reinterpret_cast<uint16_t*>(m.destination.data()), 2 * w,
                                         m.size());
    });
  }
#ifdef _OPENMP
  // 16 Mpixels. The memcpy row by two threads shows how much more the memory has to give.
  static const auto two = [](const std::function<void()>& call) {
    omp_set_num_threads(2);
    call();
  };
  const auto threads = [&](const char* name, double goal, std::function<void()> call) {
    rows.push_back({name, "px", 4096.0 * 4096, goal, [=] { two(call); }, "one thread", [=] { Serially(call); }});
  };
  threads("RGB to YCbCr, two threads", 1.7,
          [=] { zmciRGBToYCbCr_JPEG_8u_C3P3R(large.source.data(), 3 * 4096, large.planes[1], 4096, large.size()); });
  threads("YCbCr to RGB, two threads", 1.7, [=] {
    zmciYCbCrToRGB_JPEG_8u_P3C3R(large.planes[0], 4096, large.destination.data(), 3 * 4096, large.size());
  });
  threads("memcpy of 48 MiB, two threads", 0, [] {
    constexpr size_t kHalf = size_t{24} << 20;
#pragma omp parallel for schedule(static)
    for (int i = 0; i < 2; ++i)
      std::memcpy(large.destination.data() + i * kHalf, large.source.data() + i * kHalf, kHalf);
    Keep(large.destination.data());
  });
#endif
});

}  // namespace
}  // namespace zmcj::bench
