// libjpeg-turbo's public interface on memory. What it refuses ends the test program with its message.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include <jpeglib.h>

namespace zmcj::testing {

struct PeerComponent {
  int wide = 0, high = 0;  // in blocks
  std::vector<std::array<int16_t, 64>> blocks;
};

inline jpeg_error_mgr* PeerErrors() {
  static jpeg_error_mgr errors;
  jpeg_std_error(&errors);
  errors.output_message = [](j_common_ptr) {};
  return &errors;
}

// Encodes 8-bit samples; `setup` runs after the defaults and the quality are set.
inline std::vector<uint8_t> PeerEncode(const uint8_t* samples, int width, int height, int channels,
                                       J_COLOR_SPACE colour, int quality,
                                       const std::function<void(jpeg_compress_struct&)>& setup) {
  jpeg_compress_struct c;
  c.err = PeerErrors();
  jpeg_create_compress(&c);
  unsigned char* data = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &data, &size);
  c.image_width = static_cast<JDIMENSION>(width);
  c.image_height = static_cast<JDIMENSION>(height);
  c.input_components = channels;
  c.in_color_space = colour;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, quality, TRUE);
  setup(c);
  jpeg_start_compress(&c, TRUE);
  while (c.next_scanline < c.image_height) {
    auto* row = const_cast<JSAMPROW>(samples + size_t{c.next_scanline} * static_cast<size_t>(width * channels));
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  std::vector<uint8_t> file(data, data + size);
  std::free(data);
  return file;
}

class PeerDecoder {
 public:
  explicit PeerDecoder(const std::vector<uint8_t>& file) {
    d_.err = PeerErrors();
    jpeg_create_decompress(&d_);
    jpeg_mem_src(&d_, file.data(), file.size());
    jpeg_read_header(&d_, TRUE);
  }
  ~PeerDecoder() { jpeg_destroy_decompress(&d_); }
  PeerDecoder(const PeerDecoder&) = delete;
  PeerDecoder& operator=(const PeerDecoder&) = delete;
  jpeg_decompress_struct& info() { return d_; }

  // The coefficients that hold samples, without those that pad to whole MCUs.
  std::vector<PeerComponent> Coefficients() {
    jvirt_barray_ptr* arrays = jpeg_read_coefficients(&d_);
    std::vector<PeerComponent> components;
    for (int i = 0; i < d_.num_components; ++i) {
      const jpeg_component_info& info = d_.comp_info[i];
      PeerComponent component = {static_cast<int>(info.width_in_blocks), static_cast<int>(info.height_in_blocks), {}};
      for (JDIMENSION y = 0; y < info.height_in_blocks; ++y) {
        JBLOCKARRAY row = d_.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&d_), arrays[i], y, 1, FALSE);
        for (JDIMENSION x = 0; x < info.width_in_blocks; ++x) {
          std::array<int16_t, 64>& block = component.blocks.emplace_back();
          for (size_t k = 0; k < 64; ++k) block[k] = row[0][x][k];
        }
      }
      components.push_back(std::move(component));
    }
    return components;
  }

  std::vector<uint8_t> Pixels(bool smooth) {
    d_.do_fancy_upsampling = smooth ? TRUE : FALSE;
    d_.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&d_);
    const size_t row_bytes = d_.output_width * static_cast<size_t>(d_.output_components);
    std::vector<uint8_t> pixels(row_bytes * d_.output_height);
    while (d_.output_scanline < d_.output_height) {
      JSAMPROW row = pixels.data() + d_.output_scanline * row_bytes;
      jpeg_read_scanlines(&d_, &row, 1);
    }
    jpeg_finish_decompress(&d_);
    return pixels;
  }

 private:
  jpeg_decompress_struct d_;
};

}  // namespace zmcj::testing
