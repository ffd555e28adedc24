// The transforms of a picture's blocks, against the peer's AVX2 routines one after another.
#include <array>
#include <bit>

#include "photo.h"
#include "ratio.h"
#include "zmcj.h"

// Declared as the peer's library uses them; they stand in its static archive.
extern "C" {
void jsimd_convsamp_avx2(const uint8_t* const* rows, unsigned first_column, int16_t* workspace);
void jsimd_fdct_islow_avx2(int16_t* data);
void jsimd_quantize_avx2(int16_t* coefficients, const uint16_t* divisors, const int16_t* workspace);
void jsimd_idct_islow_avx2(const int16_t* table, const int16_t* coefficients, uint8_t* const* rows, unsigned column);
}

namespace zmcj::bench {
namespace {

constexpr int kSide = 512;
constexpr int kBlocks = kSide * kSide / 64;

// ISO/IEC 10918-1, table K.1, in zigzag order.
constexpr std::array<uint8_t, 64> kLuminance = {
    16, 11,  12, 14, 12, 10, 16,  14,  13,  14, 18, 17,  16,  19,  24,  40,  26, 24,  22,  22, 24, 49,
    35, 37,  29, 40, 58, 51, 61,  60,  57,  51, 56, 55,  64,  72,  92,  78,  64, 68,  87,  69, 55, 56,
    80, 109, 81, 87, 95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99};

struct Quality {
  int factor;
  uint16_t forward[64], inverse[64];
  int16_t peer_inverse[64];
  uint16_t peer_divisors[4][64];  // reciprocal, correction, scale, shift
  std::vector<int16_t> coefficients;
};

// The picture's luminance, where the peer finds its rows, and what both sides write to.
struct Work {
  std::vector<uint8_t> luminance, samples;
  std::vector<int16_t> coefficients;
  std::vector<const uint8_t*> source_rows;
  std::vector<uint8_t*> sample_rows;
  std::vector<Quality> qualities;
};

template <class Block>
void ForEachBlock(Block block) {
  for (int y = 0, n = 0; y < kSide; y += 8) {
    for (int x = 0; x < kSide; x += 8, ++n) block(x, y, n);
  }
}

Quality MakeQuality(int factor, const Work& work) {
  Quality q = {};
  q.factor = factor;
  uint8_t raw[64];
  std::copy(kLuminance.begin(), kLuminance.end(), raw);
  zmciQuantFwdRawTableInit_JPEG_8u(raw, factor);
  zmciQuantFwdTableInit_JPEG_8u16u(raw, q.forward);
  zmciQuantInvTableInit_JPEG_8u16u(raw, q.inverse);
  for (int i = 0; i < 64; ++i) {
    q.peer_inverse[i] = static_cast<int16_t>(q.inverse[i]);
    // Its transform's coefficients are eightfold: (x + correction) * reciprocal / 2^16 * scale / 2^16.
    const unsigned divisor = 8u * q.inverse[i];
    const int bits = std::bit_width(divisor) - 1;
    q.peer_divisors[0][i] = static_cast<uint16_t>(std::min(65535u, ((65536u << bits) + divisor / 2) / divisor));
    q.peer_divisors[1][i] = static_cast<uint16_t>(divisor / 2);
    q.peer_divisors[2][i] = static_cast<uint16_t>(65536 >> bits);
    q.peer_divisors[3][i] = static_cast<uint16_t>(bits);
  }
  q.coefficients.resize(kSide * kSide);
  ForEachBlock([&](int x, int y, int n) {
    zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(work.source_rows[y] + x, kSide, &q.coefficients[64 * n], q.forward);
  });
  return q;
}

Work& TheWork() {
  static Work work = [] {
    const Photo photo = MakePhoto(kSide, kSide);
    Work w;
    for (size_t i = 0; i < kSide * kSide; ++i) {
      const uint8_t* p = &photo.rgb[3 * i];
      w.luminance.push_back(static_cast<uint8_t>((77 * p[0] + 150 * p[1] + 29 * p[2]) >> 8));
    }
    w.samples.resize(kSide * kSide);
    w.coefficients.resize(kSide * kSide);
    for (int y = 0; y < kSide; ++y) {
      w.source_rows.push_back(w.luminance.data() + kSide * y);
      w.sample_rows.push_back(w.samples.data() + kSide * y);
    }
    for (const int factor : {50, 75, 95}) w.qualities.push_back(MakeQuality(factor, w));
    return w;
  }();
  return work;
}

void AddForward(std::vector<Row>& rows, const Quality& q) {
  Work& w = TheWork();
  rows.push_back({"forward DCT + quantisation, LS form, q" + std::to_string(q.factor), "block", kBlocks, 2.0,
                  [&] {
                    ForEachBlock([&](int x, int y, int n) {
                      zmciDCTQuantFwd8x8LS_JPEG_8u16s_C1R(w.source_rows[y] + x, kSide, &w.coefficients[64 * n],
                                                          q.forward);
                    });
                  },
                  "convsamp, fdct, quantize",
                  [&] {
                    alignas(32) int16_t workspace[64];
                    ForEachBlock([&](int x, int y, int n) {
                      jsimd_convsamp_avx2(&w.source_rows[y], x, workspace);
                      jsimd_fdct_islow_avx2(workspace);
                      jsimd_quantize_avx2(&w.coefficients[64 * n], q.peer_divisors[0], workspace);
                    });
                  }});
}

void AddInverse(std::vector<Row>& rows, const Quality& q) {
  Work& w = TheWork();
  rows.push_back({"dequantisation + inverse DCT, LS form, q" + std::to_string(q.factor), "block", kBlocks, 1.7,
                  [&] {
                    ForEachBlock([&](int x, int y, int n) {
                      zmciDCTQuantInv8x8LS_JPEG_16s8u_C1R(&q.coefficients[64 * n], w.sample_rows[y] + x, kSide,
                                                          q.inverse);
                    });
                  },
                  "idct_islow",
                  [&] {
                    ForEachBlock([&](int x, int y, int n) {
                      jsimd_idct_islow_avx2(q.peer_inverse, &q.coefficients[64 * n], &w.sample_rows[y], x);
                    });
                  }});
}

const Suite suite("dct", [](std::vector<Row>& rows) {
  Work& w = TheWork();
  for (const Quality& q : w.qualities) AddForward(rows, q);
  for (const Quality& q : w.qualities) AddInverse(rows, q);

  // The word forms, as they follow and precede the conversion of MCUs. Neither side's forward time depends on the data.
  const Quality& q = w.qualities[1];
  rows.push_back({"forward DCT + quantisation in place, q75", "block", kBlocks, 0,
                  [&] {
                    ForEachBlock(
                        [&](int, int, int n) { zmciDCTQuantFwd8x8_JPEG_16s_C1I(&w.coefficients[64 * n], q.forward); });
                  },
                  "fdct, quantize",
                  [&] {
                    ForEachBlock([&](int, int, int n) {
                      jsimd_fdct_islow_avx2(&w.coefficients[64 * n]);
                      jsimd_quantize_avx2(&w.coefficients[64 * n], q.peer_divisors[0], &w.coefficients[64 * n]);
                    });
                  }});
  rows.push_back({"dequantisation + inverse DCT, words, q75", "block", kBlocks, 0,
                  [&] {
                    ForEachBlock([&](int, int, int n) {
                      zmciDCTQuantInv8x8_JPEG_16s_C1(&q.coefficients[64 * n], &w.coefficients[64 * n], q.inverse);
                    });
                  },
                  "idct_islow (to bytes)",
                  [&] {
                    ForEachBlock([&](int x, int y, int n) {
                      jsimd_idct_islow_avx2(q.peer_inverse, &q.coefficients[64 * n], &w.sample_rows[y], x);
                    });
                  }});
});

}  // namespace
}  // namespace zmcj::bench
