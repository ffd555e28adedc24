// Huffman coding against libjpeg-turbo, on files that it makes in memory.
#include <cstdio>
// The peer's header needs the line above.
#include <jpeglib.h>

#include "support/huffman.h"
#include "support/jpeg_scan.h"

namespace zmcj::testing {
namespace {

using Coefficients = std::vector<std::vector<int16_t>>;

struct Making {
  int components, h, v, width, height, quality;
  bool progressive, optimise;
  int restart;
  std::vector<jpeg_scan_info> script;  // empty: the peer's own
  int random_limit;                    // 0: the picture's coefficients; otherwise random ones up to it
};

// A picture of gradients and noise.
std::vector<uint8_t> PeerPicture(const Making& how, Random& random) {
  jpeg_compress_struct c;
  jpeg_error_mgr error;
  c.err = jpeg_std_error(&error);
  jpeg_create_compress(&c);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &bytes, &size);
  c.image_width = static_cast<JDIMENSION>(how.width);
  c.image_height = static_cast<JDIMENSION>(how.height);
  c.input_components = how.components;
  c.in_color_space = how.components == 1 ? JCS_GRAYSCALE : how.components == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, how.quality, TRUE);
  c.comp_info[0].h_samp_factor = how.h;
  c.comp_info[0].v_samp_factor = how.v;
  jpeg_start_compress(&c, TRUE);
  std::vector<uint8_t> row(static_cast<size_t>(how.width * how.components));
  for (int y = 0; y < how.height; ++y) {
    for (size_t i = 0; i < row.size(); ++i)
      row[i] = static_cast<uint8_t>(2 * y + static_cast<int>(i) + random.In(0, 60));
    JSAMPROW rows[] = {row.data()};
    jpeg_write_scanlines(&c, rows, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  std::vector<uint8_t> file(bytes, bytes + size);
  free(bytes);
  return file;
}

// The peer's coefficients of a file; with `to`, it also writes them again, as `how` says, into *to.
Coefficients PeerCoefficients(const std::vector<uint8_t>& file, const Making* how = nullptr, Random* random = nullptr,
                              std::vector<uint8_t>* to = nullptr) {
  jpeg_decompress_struct d;
  jpeg_error_mgr error;
  d.err = jpeg_std_error(&error);
  jpeg_create_decompress(&d);
  jpeg_mem_src(&d, file.data(), file.size());
  jpeg_read_header(&d, TRUE);
  jvirt_barray_ptr* arrays = jpeg_read_coefficients(&d);
  Coefficients coefficients;
  for (int i = 0; i < d.num_components; ++i) {
    const jpeg_component_info& c = d.comp_info[i];
    coefficients.emplace_back();
    for (JDIMENSION y = 0; y < c.height_in_blocks; ++y) {
      JBLOCKARRAY rows =
          d.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&d), arrays[i], y, 1, random ? TRUE : FALSE);
      for (JDIMENSION x = 0; x < c.width_in_blocks; ++x) {
        if (random && how->random_limit) RandomBlock(*random, rows[0][x], how->random_limit);
        coefficients.back().insert(coefficients.back().end(), rows[0][x], rows[0][x] + 64);
      }
    }
  }
  if (to != nullptr) {
    jpeg_compress_struct c;
    c.err = &error;
    jpeg_create_compress(&c);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&c, &bytes, &size);
    jpeg_copy_critical_parameters(&d, &c);
    if (how->progressive) jpeg_simple_progression(&c);
    if (!how->script.empty()) {
      c.scan_info = how->script.data();
      c.num_scans = static_cast<int>(how->script.size());
    }
    c.optimize_coding = how->optimise;
    c.restart_interval = static_cast<unsigned>(how->restart);
    jpeg_write_coefficients(&c, arrays);
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    to->assign(bytes, bytes + size);
    free(bytes);
  }
  jpeg_finish_decompress(&d);
  jpeg_destroy_decompress(&d);
  return coefficients;
}

const std::vector<jpeg_scan_info> kDeepGrey = {{1, {0}, 0, 0, 0, 3},  {1, {0}, 1, 20, 0, 2},  {1, {0}, 21, 63, 0, 4},
                                               {1, {0}, 0, 0, 3, 2},  {1, {0}, 1, 20, 2, 1},  {1, {0}, 21, 63, 4, 3},
                                               {1, {0}, 0, 0, 2, 1},  {1, {0}, 21, 63, 3, 2}, {1, {0}, 0, 0, 1, 0},
                                               {1, {0}, 1, 20, 1, 0}, {1, {0}, 21, 63, 2, 1}, {1, {0}, 21, 63, 1, 0}};
const std::vector<jpeg_scan_info> kSeparate = {{1, {2}, 0, 63, 0, 0},
                                               {2, {0, 1}, 0, 63, 0, 0}};  // sequential, two scans

TEST(HuffmanPeer, SameCoefficientsSameBytesSameTables) {
  Random random;
  const Making cases[] = {
      {1, 1, 1, 100, 75, 90, false, false, 0, {}, 0},
      {3, 1, 1, 64, 64, 75, false, false, 0, {}, 0},
      {3, 2, 1, 99, 41, 75, false, true, 3, {}, 0},
      {3, 2, 2, 131, 67, 95, false, true, 0, {}, 0},
      {3, 2, 2, 50, 50, 100, false, true, 7, {}, 1023},
      {4, 1, 1, 40, 40, 75, false, true, 0, {}, 0},
      {3, 1, 1, 90, 30, 90, false, true, 0, kSeparate, 0},
      {1, 1, 1, 100, 75, 90, true, true, 0, {}, 0},
      {3, 1, 1, 64, 64, 75, true, true, 0, {}, 0},
      {3, 2, 1, 99, 41, 75, true, true, 3, {}, 0},
      {3, 2, 2, 131, 67, 95, true, true, 0, {}, 0},
      {3, 2, 2, 50, 50, 100, true, true, 7, {}, 1023},
      {4, 1, 1, 40, 40, 75, true, true, 0, {}, 1023},
      {1, 1, 1, 120, 90, 100, true, true, 0, kDeepGrey, 0},
      {1, 1, 1, 120, 90, 100, true, true, 11, kDeepGrey, 1023},
      {1, 1, 1, 1600, 1456, 5, true, true, 0, kDeepGrey, 0},  // runs of more than 32767 blocks
  };
  for (const Making& how : cases) {
    std::vector<uint8_t> bytes;
    PeerCoefficients(PeerPicture(how, random), &how, &random, &bytes);
    const Coefficients expected = PeerCoefficients(bytes);
    for (const Level level : Levels()) {
      SCOPED_TRACE(::testing::Message() << LevelName(level) << " case " << &how - cases << " seed " << Seed());
      const AtLevel at(level);
      JpegFile file(bytes);
      CodecRecords records;
      for (const JpegScan& scan : file.scans) {
        // The data end with their last byte, or with the marker behind them.
        Guarded data(static_cast<size_t>(scan.length + 2));
        std::memcpy(data.data(), scan.data, data.size());
        ASSERT_EQ(DecodeScan(file, scan, records, data.data(), scan.length + 2), zmcStatusOk);
      }
      for (size_t i = 0; i < expected.size(); ++i) {
        JpegComponent& c = file.components[i];
        const int16_t* block = expected[i].data();
        for (int y = 0; y < c.rows; ++y) {
          for (int x = 0; x < c.columns; ++x, block += 64) {
            ASSERT_TRUE(SameArray(block, c.block(y, x), 64)) << i << " at " << x << "," << y;
          }
        }
      }
      for (const JpegScan& scan : file.scans) {
        JpegScan own = scan;
        if (how.optimise) {
          ASSERT_EQ(OptimiseTables(file, own, records), zmcStatusOk);
          for (const JpegScan::Part& p : scan.parts) {
            ASSERT_EQ(std::memcmp(own.dc[p.dc].bits, scan.dc[p.dc].bits, 16), 0);
            ASSERT_TRUE(SameArray(scan.dc[p.dc].values, own.dc[p.dc].values, static_cast<size_t>(own.dc[p.dc].size())));
            ASSERT_EQ(std::memcmp(own.ac[p.ac].bits, scan.ac[p.ac].bits, 16), 0);
            ASSERT_TRUE(SameArray(scan.ac[p.ac].values, own.ac[p.ac].values, static_cast<size_t>(own.ac[p.ac].size())));
          }
        }
        const Guarded written(static_cast<size_t>(scan.length));
        int position = 0;
        ASSERT_EQ(EncodeScan(file, own, records, written.data(), scan.length, &position), zmcStatusOk);
        ASSERT_EQ(position, scan.length);
        ASSERT_TRUE(SameArray(scan.data, written.data(), written.size()));
      }
    }
  }
}

}  // namespace
}  // namespace zmcj::testing
