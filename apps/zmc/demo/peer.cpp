// libjpeg-turbo, where the build found it.
#include "codecs.h"

#if ZMC_DEMO_PEER

#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace zmc::demo {

bool HavePeer() { return true; }

File PeerEncode(const Picture& picture, const jpeg::EncodeOptions& options) {
  jpeg_compress_struct c;
  jpeg_error_mgr errors;
  c.err = jpeg_std_error(&errors);
  jpeg_create_compress(&c);
  unsigned char* data = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &data, &size);
  c.image_width = static_cast<JDIMENSION>(picture.width);
  c.image_height = static_cast<JDIMENSION>(picture.height);
  c.input_components = 3;
  c.in_color_space = JCS_RGB;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, options.quality, TRUE);
  c.comp_info[0].h_samp_factor = options.sampling == jpeg::Sampling::k444 ? 1 : 2;
  c.comp_info[0].v_samp_factor = options.sampling == jpeg::Sampling::k420 ? 2 : 1;
  c.optimize_coding = options.optimize ? TRUE : FALSE;
  if (options.progressive) jpeg_simple_progression(&c);
  jpeg_start_compress(&c, TRUE);
  while (c.next_scanline < c.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(picture.at(0, static_cast<int>(c.next_scanline)));
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  File file(data, data + size);
  std::free(data);
  return file;
}

Picture PeerDecode(const File& file) {
  jpeg_decompress_struct d;
  jpeg_error_mgr errors;
  d.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&d);
  jpeg_mem_src(&d, file.data(), file.size());
  jpeg_read_header(&d, TRUE);
  jpeg_start_decompress(&d);
  Picture picture(static_cast<int>(d.output_width), static_cast<int>(d.output_height));
  while (d.output_scanline < d.output_height) {
    JSAMPROW row = picture.at(0, static_cast<int>(d.output_scanline));
    jpeg_read_scanlines(&d, &row, 1);
  }
  jpeg_finish_decompress(&d);
  jpeg_destroy_decompress(&d);
  return picture;
}

}  // namespace zmc::demo

#else

namespace zmc::demo {

bool HavePeer() { return false; }
File PeerEncode(const Picture&, const jpeg::EncodeOptions&) { return {}; }
Picture PeerDecode(const File&) { return {}; }

}  // namespace zmc::demo

#endif
