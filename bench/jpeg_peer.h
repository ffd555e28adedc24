// The JPEG peer's coefficient roads, and a picture to send along them.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>
// The peer's header needs <cstdio>.
#include <jpeglib.h>

namespace zmcj::bench {

// Like a photograph: noise of all scales with amplitudes as their sizes, edges, and a little grain.
inline std::vector<uint8_t> PhotographLike(int width, int height) {
  uint64_t state = 1;
  const auto random = [&] {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<double>(state >> 33) / 2147483648.0 - 0.5;
  };
  std::vector<double> plane(static_cast<size_t>(width) * height);
  for (int size = 256; size >= 4; size /= 2) {
    const int columns = width / size + 2;
    std::vector<double> knots(static_cast<size_t>(columns) * (height / size + 2));
    for (double& knot : knots) knot = random() * std::pow(size, 0.6) * 8;
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const double* k = &knots[static_cast<size_t>(y / size) * columns + x / size];
        const double u = x % size / static_cast<double>(size), v = y % size / static_cast<double>(size);
        plane[static_cast<size_t>(y) * width + x] +=
            (k[0] * (1 - u) + k[1] * u) * (1 - v) + (k[columns] * (1 - u) + k[columns + 1] * u) * v;
      }
    }
  }
  std::vector<uint8_t> rgb(plane.size() * 3);
  for (size_t i = 0; i < plane.size(); ++i) {
    const double x = static_cast<double>(i % width), y = static_cast<double>(i / width);
    const double edge = std::sin(x / 37 + std::sin(y / 91) * 3) > 0.8 ? 40 : 0;
    for (int c = 0; c < 3; ++c) {
      const double v = 128 + edge + plane[i] * (1 - 0.15 * c) + 8 * std::sin(x / 60 + c) + random() * 16;
      rgb[3 * i + static_cast<size_t>(c)] = static_cast<uint8_t>(std::min(255.0, std::max(0.0, v)));
    }
  }
  return rgb;
}

struct PeerSettings {
  int quality = 75;
  bool grey = false;
  bool progressive = false;
  bool optimise = false;
};

inline std::vector<uint8_t> PeerCompress(const std::vector<uint8_t>& rgb, int width, int height,
                                         const PeerSettings& settings) {
  jpeg_compress_struct c;
  jpeg_error_mgr error;
  c.err = jpeg_std_error(&error);
  jpeg_create_compress(&c);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &bytes, &size);
  c.image_width = static_cast<JDIMENSION>(width);
  c.image_height = static_cast<JDIMENSION>(height);
  c.input_components = 3;
  c.in_color_space = JCS_RGB;
  jpeg_set_defaults(&c);
  if (settings.grey) jpeg_set_colorspace(&c, JCS_GRAYSCALE);
  jpeg_set_quality(&c, settings.quality, TRUE);
  if (settings.progressive) jpeg_simple_progression(&c);
  c.optimize_coding = settings.optimise;
  jpeg_start_compress(&c, TRUE);
  for (int y = 0; y < height; ++y) {
    JSAMPROW row = const_cast<JSAMPROW>(rgb.data() + static_cast<size_t>(y) * width * 3);
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  std::vector<uint8_t> file(bytes, bytes + size);
  std::free(bytes);
  return file;
}

// A file's coefficients inside the peer, to be written any number of times.
class PeerCoefficients {
 public:
  explicit PeerCoefficients(const std::vector<uint8_t>& file) {
    d_.err = jpeg_std_error(&error_);
    jpeg_create_decompress(&d_);
    jpeg_mem_src(&d_, file.data(), file.size());
    jpeg_read_header(&d_, TRUE);
    arrays_ = jpeg_read_coefficients(&d_);
  }
  ~PeerCoefficients() { jpeg_destroy_decompress(&d_); }
  PeerCoefficients(const PeerCoefficients&) = delete;
  PeerCoefficients& operator=(const PeerCoefficients&) = delete;

  void Write(bool progressive, bool optimise, std::vector<uint8_t>& out) {
    jpeg_compress_struct c;
    c.err = &error_;
    jpeg_create_compress(&c);
    unsigned long size = out.size();
    unsigned char* bytes = out.data();
    jpeg_mem_dest(&c, &bytes, &size);
    jpeg_copy_critical_parameters(&d_, &c);
    if (progressive) jpeg_simple_progression(&c);
    c.optimize_coding = optimise;
    jpeg_write_coefficients(&c, arrays_);
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
  }

 private:
  jpeg_decompress_struct d_;
  jpeg_error_mgr error_;
  jvirt_barray_ptr* arrays_;
};

}  // namespace zmcj::bench
