// Sampling by twos against libjpeg-turbo's routines over the same rows, in the second-level cache and in memory.
#ifdef _OPENMP
#include <omp.h>
#endif

#include <string>

#include "ratio.h"
#include "zmcj.h"

using Rows = unsigned char**;
extern "C" {
void jsimd_h2v1_downsample_avx2(unsigned width, int max_v, unsigned v, unsigned width_in_blocks, Rows in, Rows out);
void jsimd_h2v2_downsample_avx2(unsigned width, int max_v, unsigned v, unsigned width_in_blocks, Rows in, Rows out);
void jsimd_h2v1_fancy_upsample_avx2(int max_v, unsigned width, Rows in, Rows* out);
void jsimd_h2v2_fancy_upsample_avx2(int max_v, unsigned width, Rows in, Rows* out);
}

namespace zmcj::bench {
namespace {

// A plane of full resolution and one of half, with room for the samples and rows around them.
struct Planes {
  Planes(int w, int h) : width(w), height(h), full(Room(w, h)), half(Room(w, h)) {
    for (size_t i = 0; i < full.size(); ++i) half[i] = full[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
    for (int y = 0; y < h + 4; ++y) {
      full_rows.push_back(full.data() + 64 + size_t(w) * y);
      half_rows.push_back(half.data() + 64 + size_t(w / 2 + 64) * y);
    }
  }
  static size_t Room(int w, int h) { return size_t(w + 64) * (h + 4) + 256; }
  int half_step() const { return width / 2 + 64; }
  int width, height;  // of full resolution
  std::vector<unsigned char> full, half;
  std::vector<unsigned char*> full_rows, half_rows;
};

const Suite suite("sampling", [](std::vector<Row>& rows) {
#ifdef _OPENMP
  omp_set_num_threads(1);
#endif
  static Planes small(1024, 256), large(8192, 8192);
  for (Planes* planes : {&small, &large}) {
    Planes& p = *planes;
    const std::string where = planes == &small ? ", in L2" : ", in memory";
    const int w = p.width, h = p.height;
    const double samples = double(w) * h;  // of full resolution
    const auto add = [&](const char* name, double goal, double work, std::function<void()> ours,
                         std::function<void()> peer) {
      rows.push_back({name + where, "sample", work, goal, ours, "libjpeg-turbo AVX2", peer});
    };
    add(
        "box down H2V1", 1.1, samples,
        [&p, w, h] {
          zmciSampleDownH2V1_JPEG_8u_C1R(p.full_rows[0], w, {w, h}, p.half_rows[0], p.half_step(), {w / 2, h});
        },
        [&p, w, h] {
          // One row group of the peer is one row.
          for (int y = 0; y < h; ++y) jsimd_h2v1_downsample_avx2(w, 1, 1, w / 16, &p.full_rows[y], &p.half_rows[y]);
        });
    add(
        "box down H2V2", 1.1, samples,
        [&p, w, h] {
          zmciSampleDownH2V2_JPEG_8u_C1R(p.full_rows[0], w, {w, h}, p.half_rows[0], p.half_step(), {w / 2, h / 2});
        },
        [&p, w, h] {
          for (int y = 0; y < h / 2; ++y)
            jsimd_h2v2_downsample_avx2(w, 2, 1, w / 16, &p.full_rows[2 * y], &p.half_rows[y]);
        });
    add(
        "triangle up H2V1", 1.4, samples,
        [&p, w, h] {
          zmciSampleUpH2V1_JPEG_8u_C1R(p.half_rows[0], p.half_step(), {w / 2, h}, p.full_rows[0], w, {w, h});
        },
        [&p, w, h] {
          for (int y = 0; y < h; ++y) {
            Rows out = &p.full_rows[y];
            jsimd_h2v1_fancy_upsample_avx2(1, w / 2, &p.half_rows[y], &out);
          }
        });
    add(
        "triangle up H2V2", 1.4, samples,
        [&p, w, h] {
          zmciSampleUpH2V2_JPEG_8u_C1R(p.half_rows[1], p.half_step(), {w / 2, h / 2}, p.full_rows[0], w, {w, h});
        },
        [&p, w, h] {
          // The peer reads the rows around the one given.
          for (int y = 0; y < h / 2; ++y) {
            Rows out = &p.full_rows[2 * y];
            jsimd_h2v2_fancy_upsample_avx2(2, w / 2, &p.half_rows[y + 1], &out);
          }
        });
  }
});

}  // namespace
}  // namespace zmcj::bench
