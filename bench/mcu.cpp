// Strips of MCUs, 512 pixels wide, against libjpeg-turbo's row routines over the same pixels. Forward, the peer goes
// from pixels to level-shifted blocks: colour conversion, chroma down-sampling, block by block conversion to 16 bits.
// Inverse, it goes from 8-bit planes (its inverse DCT writes these) to pixels.
#include <array>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include "core/level.h"
#include "ratio.h"
#include "zmcj.h"

// Internal routines of the static library, global there.
extern "C" {
void jsimd_extrgb_ycc_convert_avx2(JDIMENSION width, JSAMPARRAY in, JSAMPIMAGE out, JDIMENSION out_row, int rows);
void jsimd_h2v1_downsample_avx2(JDIMENSION width, int max_v_factor, JDIMENSION v_factor, JDIMENSION blocks,
                                JSAMPARRAY in, JSAMPARRAY out);
void jsimd_h2v2_downsample_avx2(JDIMENSION width, int max_v_factor, JDIMENSION v_factor, JDIMENSION blocks,
                                JSAMPARRAY in, JSAMPARRAY out);
void jsimd_convsamp_avx2(JSAMPARRAY rows, JDIMENSION column, int16_t* block);
void jsimd_ycc_extrgb_convert_avx2(JDIMENSION width, JSAMPIMAGE in, JDIMENSION in_row, JSAMPARRAY out, int rows);
void jsimd_h2v1_extrgb_merged_upsample_avx2(JDIMENSION width, JSAMPIMAGE in, JDIMENSION row_group, JSAMPARRAY out);
void jsimd_h2v2_extrgb_merged_upsample_avx2(JDIMENSION width, JSAMPIMAGE in, JDIMENSION row_group, JSAMPARRAY out);
}

namespace zmcj::bench {
namespace {

constexpr int kWidth = 512, kMaxHeight = 16, kStep = 4 * kWidth;

// Rows with slack behind them: the peer reads and writes whole registers. They start 16 bytes past a multiple of 32, as
// rows of a picture do more often than not: on a multiple the peer streams past the caches and is slower here.
struct Plane {
  alignas(64) JSAMPLE samples[kMaxHeight][kStep + 96];
  std::array<JSAMPROW, kMaxHeight> rows;
  Plane() {
    for (int y = 0; y < kMaxHeight; ++y) {
      rows[y] = samples[y] + 16;
      for (int x = 0; x < kStep; ++x) rows[y][x] = static_cast<JSAMPLE>((x * 7 + y * 13) ^ (x * y >> 3));
    }
  }
};

Plane pixels, planes[3], down[2];
JSAMPARRAY plane_rows[3] = {planes[0].rows.data(), planes[1].rows.data(), planes[2].rows.data()};
JSAMPARRAY small_rows[3] = {planes[0].rows.data(), down[0].rows.data(), down[1].rows.data()};
alignas(32) int16_t block[64];
alignas(32) int16_t blocks[3][256];
alignas(32) int16_t strip[2][kMaxHeight * kWidth];  // luminance; Cb, then Cr

void ConvertBlocks(JSAMPARRAY rows, int width, int height) {
  for (int y = 0; y < height; y += 8) {
    for (int x = 0; x < width; x += 8) jsimd_convsamp_avx2(rows + y, static_cast<JDIMENSION>(x), block);
  }
  Keep(block);
}

template <int across, int vertical>
void PeerForward() {
  jsimd_extrgb_ycc_convert_avx2(kWidth, pixels.rows.data(), plane_rows, 0, 8 * vertical);
  ConvertBlocks(plane_rows[0], kWidth, 8 * vertical);
  for (int c = 0; c < 2; ++c) {
    if (across == 1) {
      ConvertBlocks(plane_rows[1 + c], kWidth, 8);
      continue;
    }
    const auto sample = vertical == 1 ? jsimd_h2v1_downsample_avx2 : jsimd_h2v2_downsample_avx2;
    sample(kWidth, vertical, 8, kWidth / 16, plane_rows[1 + c], down[c].rows.data());
    ConvertBlocks(down[c].rows.data(), kWidth / 2, 8);
  }
}

template <int across, int vertical>
void PeerInverse() {
  if (across == 1) return jsimd_ycc_extrgb_convert_avx2(kWidth, plane_rows, 0, pixels.rows.data(), 8);
  for (JDIMENSION y = 0; y < 8; ++y) {
    if (vertical == 1) jsimd_h2v1_extrgb_merged_upsample_avx2(kWidth, small_rows, y, pixels.rows.data() + y);
    if (vertical == 2) jsimd_h2v2_extrgb_merged_upsample_avx2(kWidth, small_rows, y, pixels.rows.data() + 2 * y);
  }
}

constexpr int kPixelStep = static_cast<int>(sizeof pixels.samples[0]);

template <class T>
void Convert(ZmcStatus (*f)(const T*, int, int16_t* const*), const uint8_t* src, int16_t* const* dst) {
  f(reinterpret_cast<const T*>(src), kPixelStep, dst);
}
template <class T>
void Convert(ZmcStatus (*f)(const int16_t* const*, T*, int), const int16_t* const* src, uint8_t* dst) {
  f(src, reinterpret_cast<T*>(dst), kPixelStep);
}

template <auto convert, int bytes, int across>
void OurForward() {
  int16_t* const dst[4] = {blocks[0], blocks[1], blocks[2], blocks[2] + 64};
  for (int x = 0; x < kWidth; x += 8 * across) Convert(convert, pixels.rows[0] + x * bytes, dst);
  Keep(blocks);
}

// A strip's blocks stand as a decoder keeps them: MCU after MCU.
template <auto convert, int bytes, int across, int vertical>
void OurInverse() {
  for (int x = 0, mcu = 0; x < kWidth; x += 8 * across, ++mcu) {
    const int16_t* const chroma = strip[1] + 64 * mcu;
    const int16_t* const src[4] = {strip[0] + 64 * across * vertical * mcu, chroma, chroma + 8 * kWidth, chroma};
    Convert(convert, src, pixels.rows[0] + x * bytes);
  }
  Keep(&pixels);
}

std::string Name(const char* what) { return std::string("MCU ") + what; }

const Suite suite("mcu", [](std::vector<Row>& rows) {
  for (auto& plane : strip) {
    for (int i = 0; i < kMaxHeight * kWidth; ++i) plane[i] = static_cast<int16_t>((i * 5 ^ i >> 4) % 256 - 128);
  }
  const double px = kWidth * 8.0;
  const char* down_peer = "turbo convert+down+conv";
  const char* up_peer = "turbo upsample+convert";
  rows.push_back({Name("forward RGB 444"), "px", px, 2.5, OurForward<zmciRGBToYCbCr444LS_MCU_8u16s_C3P3R, 3, 1>,
                  down_peer, PeerForward<1, 1>});
  rows.push_back({Name("forward RGB 422"), "px", px, 2.5, OurForward<zmciRGBToYCbCr422LS_MCU_8u16s_C3P3R, 3, 2>,
                  down_peer, PeerForward<2, 1>});
  rows.push_back({Name("forward RGB 411"), "px", 2 * px, 2.5, OurForward<zmciRGBToYCbCr411LS_MCU_8u16s_C3P3R, 3, 2>,
                  down_peer, PeerForward<2, 2>});
  rows.push_back({Name("inverse RGB 444"), "px", px, 1.5, OurInverse<zmciYCbCr444ToRGBLS_MCU_16s8u_P3C3R, 3, 1, 1>,
                  up_peer, PeerInverse<1, 1>});
  rows.push_back({Name("inverse RGB 422"), "px", px, 1.5, OurInverse<zmciYCbCr422ToRGBLS_MCU_16s8u_P3C3R, 3, 2, 1>,
                  up_peer, PeerInverse<2, 1>});
  rows.push_back({Name("inverse RGB 411"), "px", 2 * px, 1.5, OurInverse<zmciYCbCr411ToRGBLS_MCU_16s8u_P3C3R, 3, 2, 2>,
                  up_peer, PeerInverse<2, 2>});
  // The other formats have no counterpart: our time alone.
  const auto alone = [&rows, px](const char* name, int vertical, std::function<void()> ours) {
    rows.push_back({Name(name), "px", vertical * px, 0, std::move(ours), "", nullptr});
  };
  alone("forward BGR565 411", 2, OurForward<zmciBGR565ToYCbCr411LS_MCU_16u16s_C3P3R, 2, 2>);
  alone("forward CMYK 444", 1, OurForward<zmciCMYKToYCCK444LS_MCU_8u16s_C4P4R, 4, 1>);
  alone("forward components 411", 2, OurForward<zmciSampleDown411LS_MCU_8u16s_C3P3R, 3, 2>);
  alone("forward packed 422", 1, OurForward<zmciSplit422LS_MCU_8u16s_C2P3R, 2, 2>);
  alone("inverse BGR565 411", 2, OurInverse<zmciYCbCr411ToBGR565LS_MCU_16s16u_P3C3R, 2, 2, 2>);
  alone("inverse CMYK 444", 1, OurInverse<zmciYCCK444ToCMYKLS_MCU_16s8u_P4C4R, 4, 1, 1>);
  alone("inverse components 411", 2, OurInverse<zmciSampleUp411LS_MCU_16s8u_P3C3R, 3, 2, 2>);
  alone("inverse packed 422", 1, OurInverse<zmciJoin422LS_MCU_16s8u_P3C2R, 2, 2, 1>);
});

}  // namespace
}  // namespace zmcj::bench
