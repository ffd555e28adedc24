// The JPEG 2000 peer through its public interface, memory to memory, on as many threads as asked for.
#pragma once

#include <openjpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zmcj::bench {

class J2kPeer {
 public:
  // An interleaved 8-bit RGB picture to a codestream; bits_per_pixel 0: lossless.
  static std::vector<uint8_t> Encode(const std::vector<uint8_t>& rgb, uint32_t width, uint32_t height,
                                     double bits_per_pixel, int threads) {
    opj_image_cmptparm_t components[3] = {};
    for (auto& c : components) c.dx = c.dy = 1, c.w = width, c.h = height, c.prec = 8;
    opj_image_t* image = opj_image_create(3, components, OPJ_CLRSPC_SRGB);
    image->x1 = width;
    image->y1 = height;
    for (size_t i = 0; i < size_t{width} * height; ++i) {
      for (size_t c = 0; c < 3; ++c) image->comps[c].data[i] = rgb[3 * i + c];
    }
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_mct = 1;
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    if (bits_per_pixel > 0) {
      parameters.irreversible = 1;
      parameters.tcp_rates[0] = static_cast<float>(24 / bits_per_pixel);
    }
    Memory memory;
    opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
    opj_setup_encoder(codec, &parameters, image);
    opj_codec_set_threads(codec, threads);
    opj_stream_t* stream = memory.Open(false);
    opj_start_compress(codec, image, stream);
    opj_encode(codec, stream);
    opj_end_compress(codec, stream);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    return std::move(memory.bytes);
  }

  static void Decode(const std::vector<uint8_t>& file, std::vector<uint8_t>& rgb, int threads) {
    Memory memory{file};
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_J2K);
    opj_setup_decoder(codec, &parameters);
    opj_codec_set_threads(codec, threads);
    opj_stream_t* stream = memory.Open(true);
    opj_image_t* image = nullptr;
    opj_read_header(stream, codec, &image);
    opj_decode(codec, stream, image);
    opj_end_decompress(codec, stream);
    const size_t pixels = size_t{image->comps[0].w} * image->comps[0].h;
    rgb.resize(pixels * 3);
    for (size_t i = 0; i < pixels; ++i) {
      for (size_t c = 0; c < 3; ++c) rgb[3 * i + c] = static_cast<uint8_t>(image->comps[c].data[i]);
    }
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
  }

  // A file in memory, and the peer's stream over it.
  struct Memory {
    std::vector<uint8_t> bytes;
    size_t position = 0;

    opj_stream_t* Open(bool input) {
      opj_stream_t* stream = opj_stream_create(1 << 20, input ? OPJ_TRUE : OPJ_FALSE);
      opj_stream_set_user_data(stream, this, nullptr);
      opj_stream_set_user_data_length(stream, bytes.size());
      opj_stream_set_read_function(stream, [](void* to, OPJ_SIZE_T n, void* data) -> OPJ_SIZE_T {
        auto* m = static_cast<Memory*>(data);
        n = std::min<OPJ_SIZE_T>(n, m->bytes.size() - m->position);
        if (n == 0) return static_cast<OPJ_SIZE_T>(-1);
        std::memcpy(to, m->bytes.data() + m->position, n);
        m->position += n;
        return n;
      });
      opj_stream_set_write_function(stream, [](void* from, OPJ_SIZE_T n, void* data) -> OPJ_SIZE_T {
        auto* m = static_cast<Memory*>(data);
        if (m->bytes.size() < m->position + n) m->bytes.resize(m->position + n);
        std::memcpy(m->bytes.data() + m->position, from, n);
        m->position += n;
        return n;
      });
      opj_stream_set_skip_function(stream, [](OPJ_OFF_T n, void* data) -> OPJ_OFF_T {
        static_cast<Memory*>(data)->position += static_cast<size_t>(n);
        return n;
      });
      opj_stream_set_seek_function(stream, [](OPJ_OFF_T n, void* data) -> OPJ_BOOL {
        static_cast<Memory*>(data)->position = static_cast<size_t>(n);
        return OPJ_TRUE;
      });
      return stream;
    }
  };
};

}  // namespace zmcj::bench
