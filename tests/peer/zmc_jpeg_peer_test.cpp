// zmc's JPEG codec beside libjpeg-turbo: the same coefficients both ways, nearly the same pixels, and no harm from
// damaged files.
#include "failure.h"
#include "jpeg_coefficients.h"
#include "jpeg_decode.h"
#include "jpeg_encode.h"
#include "jpeg_transcode.h"
#include "peer/memory_picture.h"
#include "peer/peer_jpeg.h"
#include "support/testing.h"

namespace zmcj::testing {
namespace {

using zmc::testing::MemoryReader;
using zmc::testing::MemorySink;
using zmc::testing::MemoryWriter;
using namespace zmc::jpeg;

// Waves, edges and noise, all channels different.
std::vector<uint8_t> Picture(int width, int height, int channels) {
  Random random(static_cast<uint64_t>(width * 1000 + height));
  std::vector<uint8_t> samples;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        const int wave = (x * (c + 2) + y * (5 - c)) % 256;
        const int edge = ((x / 16 + y / 16) & 1) * 40;
        samples.push_back(static_cast<uint8_t>(std::clamp(std::abs(wave - 128) + edge + random.In(-9, 9), 0, 255)));
      }
    }
  }
  return samples;
}

// The same as what the peer reads from the file, block by block.
::testing::AssertionResult SameCoefficients(const std::vector<uint8_t>& file, const Coefficients& ours) {
  const std::vector<PeerComponent> theirs = PeerDecoder(file).Coefficients();
  if (theirs.size() != ours.planes.size()) return ::testing::AssertionFailure() << "component count";
  for (size_t i = 0; i < theirs.size(); ++i) {
    for (int y = 0; y < theirs[i].high; ++y) {
      for (int x = 0; x < theirs[i].wide; ++x) {
        const auto& block = theirs[i].blocks[static_cast<size_t>(y * theirs[i].wide + x)];
        auto same = SameArray(block.data(), ours.planes[i].at(x, y).data(), 64);
        if (!same) return same << " in component " << i << " block " << x << ", " << y;
      }
    }
  }
  return ::testing::AssertionSuccess();
}

struct Case {
  const char* name;
  int width, height, channels;
  J_COLOR_SPACE colour;
  std::function<void(jpeg_compress_struct&)> setup;
  int roads = 2;  // to pixels that the peer shares with us: none, replicating chroma, triangle as well
};

void Factors(jpeg_compress_struct& c, int h, int v) {
  c.comp_info[0].h_samp_factor = h;
  c.comp_info[0].v_samp_factor = v;
}

void NonInterleaved(jpeg_compress_struct& c) {
  static jpeg_scan_info scans[4];
  for (int i = 0; i < c.num_components; ++i) scans[i] = {1, {i, 0, 0, 0}, 0, 63, 0, 0};
  c.scan_info = scans;
  c.num_scans = c.num_components;
}

// Everything that a progression may do: DC cut and refined twice, bands refined from a high bit, and out of order.
void DeepProgression(jpeg_compress_struct& c) {
  static const jpeg_scan_info scans[] = {
      {3, {0, 1, 2, 0}, 0, 0, 0, 2},  {1, {2, 0, 0, 0}, 1, 63, 0, 3},  {1, {0, 0, 0, 0}, 6, 63, 0, 4},
      {1, {0, 0, 0, 0}, 1, 5, 0, 3},  {1, {0, 0, 0, 0}, 6, 63, 4, 3},  {3, {0, 1, 2, 0}, 0, 0, 2, 1},
      {1, {0, 0, 0, 0}, 1, 63, 3, 2}, {1, {2, 0, 0, 0}, 1, 63, 3, 2},  {1, {1, 0, 0, 0}, 1, 63, 0, 0},
      {1, {0, 0, 0, 0}, 1, 20, 2, 1}, {1, {0, 0, 0, 0}, 21, 63, 2, 1}, {1, {2, 0, 0, 0}, 1, 63, 2, 1},
      {1, {0, 0, 0, 0}, 1, 63, 1, 0}, {1, {2, 0, 0, 0}, 1, 63, 1, 0},  {1, {1, 0, 0, 0}, 0, 0, 1, 0},
      {2, {0, 2, 0, 0}, 0, 0, 1, 0},
  };
  c.scan_info = scans;
  c.num_scans = static_cast<int>(std::size(scans));
}

std::vector<Case> SequentialCases() {
  const auto colour = [](const char* name, int width, int height, std::function<void(jpeg_compress_struct&)> setup,
                         int roads = 2) { return Case{name, width, height, 3, JCS_RGB, std::move(setup), roads}; };
  return {
      colour("444", 67, 45, [](auto& c) { Factors(c, 1, 1); }),
      colour("422", 67, 45, [](auto& c) { Factors(c, 2, 1); }),
      colour("420", 67, 45, [](auto& c) { Factors(c, 2, 2); }),
      colour(
          "440", 67, 45, [](auto& c) { Factors(c, 1, 2); }, 1),
      colour("411", 67, 45, [](auto& c) { Factors(c, 4, 1); }),
      colour("410", 67, 45, [](auto& c) { Factors(c, 4, 2); }),
      colour(
          "odd factors", 67, 45,
          [](auto& c) {
            Factors(c, 2, 2);
            c.comp_info[1].h_samp_factor = 2;
          },
          1),
      colour("one pixel", 1, 1, [](auto&) {}),
      colour("restarts", 99, 50, [](auto& c) { c.restart_interval = 2; }),
      colour("restarts by rows, optimized", 99, 50,
             [](auto& c) {
               c.restart_in_rows = 1;
               c.optimize_coding = TRUE;
             }),
      colour("non-interleaved", 67, 45, NonInterleaved),
      colour("non-interleaved, restarts", 67, 45,
             [](auto& c) {
               NonInterleaved(c);
               c.restart_interval = 5;
             }),
      colour("16-bit quantisation", 67, 45, [](auto& c) { jpeg_set_quality(&c, 3, FALSE); }),
      colour("RGB", 67, 45, [](auto& c) { jpeg_set_colorspace(&c, JCS_RGB); }),
      {"grey", 67, 45, 1, JCS_GRAYSCALE, [](auto&) {}},
      {"grey with factors", 67, 45, 1, JCS_GRAYSCALE, [](auto& c) { Factors(c, 2, 2); }},
      {"CMYK", 67, 45, 4, JCS_CMYK, [](auto&) {}, 0},
      {"YCCK, chroma halved", 67, 45, 4, JCS_CMYK,
       [](auto& c) {
         jpeg_set_colorspace(&c, JCS_YCCK);
         Factors(c, 2, 2);
         c.comp_info[3].h_samp_factor = c.comp_info[3].v_samp_factor = 2;
       },
       0},
  };
}

std::vector<Case> ProgressiveCases() {
  const auto progressive = [](jpeg_compress_struct& c) { jpeg_simple_progression(&c); };
  const auto with = [=](auto more) {
    return [=](jpeg_compress_struct& c) {
      more(c);
      progressive(c);
    };
  };
  return {
      {"420", 67, 45, 3, JCS_RGB, progressive},
      {"444", 67, 45, 3, JCS_RGB, with([](auto& c) { Factors(c, 1, 1); })},
      {"422", 67, 45, 3, JCS_RGB, with([](auto& c) { Factors(c, 2, 1); })},
      {"long runs of empty bands", 1500, 1500, 3, JCS_RGB, with([](auto& c) { jpeg_set_quality(&c, 1, TRUE); })},
      {"restarts", 99, 50, 3, JCS_RGB, with([](auto& c) { c.restart_interval = 3; })},
      {"restarts by rows", 99, 50, 3, JCS_RGB, with([](auto& c) { c.restart_in_rows = 1; })},
      {"deep", 67, 45, 3, JCS_RGB, DeepProgression},
      {"grey", 67, 45, 1, JCS_GRAYSCALE, progressive},
      {"CMYK", 67, 45, 4, JCS_CMYK, progressive, 0},
  };
}

void CheckDecoding(const Case& test) {
  SCOPED_TRACE(test.name);
  const std::vector<uint8_t> samples = Picture(test.width, test.height, test.channels);
  const std::vector<uint8_t> file =
      PeerEncode(samples.data(), test.width, test.height, test.channels, test.colour, 85, test.setup);
  const std::vector<uint8_t> bytes = WithEnd(file);
  const JpegFile parsed = Parse(bytes);
  std::string damage = parsed.damage;
  EXPECT_TRUE(SameCoefficients(file, ReadCoefficients(parsed, damage)));
  for (const Upsampling upsampling : {Upsampling::kReplicate, Upsampling::kTriangle}) {
    MemoryWriter writer(FormatOf(parsed));
    EXPECT_EQ(DecodePicture(parsed, upsampling, writer), "");
    if (test.roads < (upsampling == Upsampling::kTriangle ? 2 : 1)) continue;
    const std::vector<uint8_t> peer = PeerDecoder(file).Pixels(upsampling == Upsampling::kTriangle);
    ASSERT_EQ(peer.size(), writer.samples.size());
    int most = 0;
    for (size_t i = 0; i < peer.size(); ++i) most = std::max(most, std::abs(peer[i] - writer.samples[i]));
    // Two inverse transforms, each within one of the exact values, and two roundings of the colour conversion.
    EXPECT_LE(most, 4) << "upsampling " << static_cast<int>(upsampling);
  }
  EXPECT_EQ(damage, "");
}

TEST(ZmcJpegPeer, SequentialFilesDecodeAlike) {
  for (const Case& test : SequentialCases()) CheckDecoding(test);
}

TEST(ZmcJpegPeer, ProgressiveFilesDecodeAlike) {
  for (const Case& test : ProgressiveCases()) CheckDecoding(test);
}

// Other scans, the same coefficients, and all that stands beside the picture.
TEST(ZmcJpegPeer, TranscodingKeepsCoefficientsAndSegments) {
  const TranscodeOptions kRoads[] = {{}, {.optimize = true, .script = {}}, {.progressive = true, .script = {}}};
  std::vector<Case> cases = SequentialCases();
  for (Case& test : ProgressiveCases()) cases.push_back(std::move(test));
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    const std::vector<uint8_t> samples = Picture(test.width, test.height, test.channels);
    const std::vector<uint8_t> file =
        WithEnd(PeerEncode(samples.data(), test.width, test.height, test.channels, test.colour, 85, test.setup));
    const JpegFile parsed = Parse(file);
    std::string damage;
    const Coefficients coefficients = ReadCoefficients(parsed, damage);
    for (const TranscodeOptions& options : kRoads) {
      MemorySink sink;
      EXPECT_EQ(Transcode(parsed, options, sink), "");
      EXPECT_TRUE(SameCoefficients(sink.bytes, coefficients));
      const std::vector<uint8_t> bytes = WithEnd(sink.bytes);
      const JpegFile again = Parse(bytes);
      EXPECT_EQ(again.frame.Progressive(), options.progressive);
      EXPECT_EQ(QuantTablesOf(again), QuantTablesOf(parsed));
      EXPECT_EQ(again.ColourModel(), parsed.ColourModel());
      ASSERT_EQ(again.extras.size(), parsed.extras.size());
      for (size_t i = 0; i < again.extras.size(); ++i) {
        EXPECT_TRUE(std::ranges::equal(again.extras[i].payload, parsed.extras[i].payload));
      }
    }
  }
}

// What a block maker gives for each MCU is what the peer finds in the file.
TEST(ZmcJpegPeer, EncodedCoefficientsArrive) {
  for (const Sampling sampling : {Sampling::k444, Sampling::k422, Sampling::k420, Sampling::kGrey}) {
    for (const int restart : {0, 3}) {
      SCOPED_TRACE(::testing::Message() << "sampling " << static_cast<int>(sampling) << " restart " << restart);
      const std::vector<uint8_t> samples = Picture(101, 59, 3);
      const zmc::PictureFormat format = {.width = 101, .height = 59, .channels = 3, .bits = 8};
      MemorySink sink;
      MemoryReader reader(format, samples.data());
      EncodeOptions options;
      options.quality = 92;
      options.sampling = sampling;
      options.restart_interval = restart;
      EncodePicture(reader, options, sink);

      const std::vector<uint8_t> bytes = WithEnd(sink.bytes);
      const JpegFile parsed = Parse(bytes);
      std::string damage = parsed.damage;
      EXPECT_TRUE(SameCoefficients(sink.bytes, ReadCoefficients(parsed, damage)));
      EXPECT_EQ(damage, "");

      MemoryReader again(format, samples.data());
      PictureStrips strips(again, parsed.frame.h_max * 8, parsed.frame.v_max * 8);
      const auto tables = QuantTablesOf(parsed);
      Frame frame = parsed.frame;
      for (size_t i = 0; i < frame.components.size(); ++i) frame.components[i].quant = static_cast<int>(i);
      const auto maker = MakeBlockMaker(frame, strips, Subsampling::kMcu, tables);
      Coefficients made(frame);
      const ScanShape shape = ShapeOf(frame, parsed.scans[0].scan);
      for (int y = 0; y < shape.mcus_high; ++y) {
        maker->StartStrip(strips.Next());
        for (int x = 0; x < shape.mcus_wide; ++x) {
          std::array<Block, kMaxMcuBlocks> blocks;
          maker->Make(x, blocks.data());
          for (size_t i = 0; i < shape.places.size(); ++i) {
            const ScanShape::Place& place = shape.places[i];
            made.planes[static_cast<size_t>(place.component)].at(x * place.step_x + place.dx,
                                                                 y * place.step_y + place.dy) = blocks[i];
          }
        }
      }
      EXPECT_TRUE(SameCoefficients(sink.bytes, made));
    }
  }
}

std::vector<uint8_t> DecodeSound(const std::vector<uint8_t>& file) {
  const std::vector<uint8_t> bytes = WithEnd(file);
  const JpegFile parsed = Parse(bytes);
  MemoryWriter writer(FormatOf(parsed));
  EXPECT_EQ(DecodePicture(parsed, Upsampling::kTriangle, writer), "");
  return writer.samples;
}

// Legal, and seen in files, but not made by the peer: the same picture comes out.
TEST(ZmcJpegPeer, UnusualFilesDecode) {
  const std::vector<uint8_t> samples = Picture(67, 45, 3);
  const std::vector<uint8_t> file = PeerEncode(samples.data(), 67, 45, 3, JCS_RGB, 85, [](auto&) {});
  const std::vector<uint8_t> expected = DecodeSound(file);
  const auto find = [&](uint8_t marker) {
    const uint8_t bytes[] = {0xFF, marker};
    return std::search(file.begin(), file.end(), bytes, bytes + 2) - file.begin();
  };
  const auto with = [&](ptrdiff_t at, ptrdiff_t erased, std::initializer_list<uint8_t> inserted) {
    std::vector<uint8_t> other = file;
    other.erase(other.begin() + at, other.begin() + at + erased);
    other.insert(other.begin() + at, inserted);
    return other;
  };
  // Fill bytes before a marker, and before the one that ends the scan; rubbish after the end; bytes between segments.
  EXPECT_EQ(DecodeSound(with(find(kDqt), 0, {0xFF, 0xFF})), expected);
  EXPECT_EQ(DecodeSound(with(find(kEoi), 0, {0xFF, 0xFF})), expected);
  EXPECT_EQ(DecodeSound(with(find(kEoi) + 2, 0, {1, 2, 0xFF, 0xD8, 3})), expected);
  EXPECT_EQ(DecodeSound(with(find(kDqt), 0, {1, 2, 3})), expected);
  // No Huffman tables: the standard's are meant. They stand in one piece before the scan.
  EXPECT_EQ(DecodeSound(with(find(kDht), find(kSos) - find(kDht), {})), expected);
  // A height that is told behind the scan.
  std::vector<uint8_t> late = with(find(kEoi), 0, {0xFF, kDnl, 0, 4, 0, 45});
  late[static_cast<size_t>(find(kSof0)) + 5] = late[static_cast<size_t>(find(kSof0)) + 6] = 0;
  EXPECT_EQ(DecodeSound(late), expected);
}

// Transparency is dropped, depth reduced with rounding, whatever the layout.
TEST(ZmcJpegPeer, InputsAreReducedToEightBitsWithoutAlpha) {
  const int width = 35, height = 19;
  for (const int channels : {1, 3}) {
    const std::vector<uint8_t> plain = Picture(width, height, channels);
    const auto encode = [&](int stored, int bits, const void* samples) {
      const zmc::PictureFormat format = {.width = width, .height = height, .channels = stored, .bits = bits};
      MemoryReader reader(format, static_cast<const uint8_t*>(samples));
      MemorySink sink;
      EncodePicture(reader, {}, sink);
      return sink.bytes;
    };
    std::vector<uint8_t> alpha;
    std::vector<uint16_t> deep, twelve_alpha;
    for (size_t i = 0; i < plain.size(); ++i) {
      alpha.push_back(plain[i]);
      deep.push_back(static_cast<uint16_t>(plain[i] * 257 + (i % 3 == 0 ? 128 : 0) - (i % 3 == 1 && plain[i] > 0)));
      twelve_alpha.push_back(static_cast<uint16_t>((plain[i] * 4095 + 127) / 255));
      if (i % static_cast<size_t>(channels) + 1 == static_cast<size_t>(channels)) {
        alpha.push_back(static_cast<uint8_t>(i));
        twelve_alpha.push_back(7);
      }
    }
    const std::vector<uint8_t> expected = encode(channels, 8, plain.data());
    EXPECT_EQ(encode(channels + 1, 8, alpha.data()), expected);
    EXPECT_EQ(encode(channels, 16, deep.data()), expected);
    EXPECT_EQ(encode(channels + 1, 12, twelve_alpha.data()), expected);
  }
}

// Every row is written, whatever happens to the file, unless it is refused as a whole.
void DecodeDamaged(const std::vector<uint8_t>& file) {
  const std::vector<uint8_t> bytes = WithEnd(file);
  try {
    const JpegFile parsed = Parse(bytes);
    if (parsed.frame.PaddedBlocks() > 20000) return;
    for (const Upsampling upsampling : {Upsampling::kReplicate, Upsampling::kTriangle}) {
      const zmc::PictureFormat format = FormatOf(parsed);
      MemoryWriter writer(format);
      DecodePicture(parsed, upsampling, writer);
      MemorySink sink;
      Transcode(parsed, {.progressive = upsampling == Upsampling::kTriangle, .optimize = true, .script = {}}, sink);
      ASSERT_EQ(writer.samples.size(), static_cast<size_t>(format.RowBytes() * format.height));
    }
  } catch (const zmc::Failure&) {
  }
}

void CheckDamage(const Case& test) {
  SCOPED_TRACE(test.name);
  const std::vector<uint8_t> samples = Picture(test.width, test.height, test.channels);
  const std::vector<uint8_t> file =
      PeerEncode(samples.data(), test.width, test.height, test.channels, test.colour, 70, test.setup);
  for (size_t size = 0; size < file.size(); size += 1 + size / 40) {
    DecodeDamaged(std::vector<uint8_t>(file.begin(), file.begin() + static_cast<ptrdiff_t>(size)));
  }
  Random random(file.size());
  for (int round = 0; round < 150; ++round) {
    std::vector<uint8_t> mutant = file;
    for (int i = random.In(1, 4); i > 0; --i) {
      const size_t at = static_cast<size_t>(random.In(0, static_cast<int>(mutant.size()) - 2));
      const int kind = random.In(0, 4);
      if (kind == 0) mutant[at] = static_cast<uint8_t>(random.Next());
      if (kind == 1) mutant[at] = static_cast<uint8_t>(mutant[at] ^ (1 << random.In(0, 7)));
      if (kind == 2) mutant[at] = 0xFF, mutant[at + 1] = static_cast<uint8_t>(random.In(0xC0, 0xFE));
      if (kind == 3) mutant.erase(mutant.begin() + static_cast<ptrdiff_t>(at));
      if (kind == 4) mutant.insert(mutant.begin() + static_cast<ptrdiff_t>(at), static_cast<uint8_t>(random.Next()));
    }
    DecodeDamaged(mutant);
  }
}

TEST(ZmcJpegPeer, DamagedFilesDoNoHarm) {
  for (const Case& test : SequentialCases()) CheckDamage(test);
  for (const Case& test : ProgressiveCases()) {
    if (test.width < 1000) CheckDamage(test);
  }
}

// A flipped bit in one restart interval leaves the others as they were.
TEST(ZmcJpegPeer, RestartsConfineDamage) {
  const std::vector<uint8_t> samples = Picture(128, 128, 1);
  const auto setup = [](jpeg_compress_struct& c) { c.restart_in_rows = 1; };
  const std::vector<uint8_t> file = PeerEncode(samples.data(), 128, 128, 1, JCS_GRAYSCALE, 80, setup);
  const auto decode = [](const std::vector<uint8_t>& jpeg, std::string& damage) {
    const std::vector<uint8_t> bytes = WithEnd(jpeg);
    const JpegFile parsed = Parse(bytes);
    MemoryWriter writer(FormatOf(parsed));
    damage = DecodePicture(parsed, Upsampling::kReplicate, writer);
    return writer.samples;
  };
  std::string damage;
  const std::vector<uint8_t> sound = decode(file, damage);
  ASSERT_EQ(damage, "");
  const auto marker = [&](int number) {
    size_t at = 0;
    while (file[at] != 0xFF || file[at + 1] != kRst0 + number) ++at;
    return at;
  };
  const auto rows_kept = [&](const std::vector<uint8_t>& picture) {
    std::string kept;
    for (size_t row = 0; row < 16; ++row) {
      const bool same = std::equal(sound.begin() + static_cast<ptrdiff_t>(row * 1024),
                                   sound.begin() + static_cast<ptrdiff_t>((row + 1) * 1024),
                                   picture.begin() + static_cast<ptrdiff_t>(row * 1024));
      kept += same ? '+' : '-';
    }
    return kept;
  };
  const auto erase = [&](size_t from, size_t to) {
    std::vector<uint8_t> cut = file;
    cut.erase(cut.begin() + static_cast<ptrdiff_t>(from), cut.begin() + static_cast<ptrdiff_t>(to));
    return cut;
  };
  std::vector<uint8_t> renumbered = file;
  renumbered[marker(3) + 1] = kRst0 + 7;
  EXPECT_EQ(rows_kept(decode(renumbered, damage)), "++++-+++++++++++");
  EXPECT_EQ(damage, "16 of 256 MCUs of scan 1 lost");
  // The third interval with its marker: the fourth is taken for it. Its data alone. Its marker alone.
  EXPECT_EQ(rows_kept(decode(erase(marker(1) + 2, marker(2) + 2), damage)), "++--++++++++++++");
  EXPECT_EQ(rows_kept(decode(erase(marker(1) + 2, marker(2)), damage)), "++-+++++++++++++");
  EXPECT_EQ(rows_kept(decode(erase(marker(2), marker(2) + 2), damage)), "+++-++++++++++++");
}

}  // namespace
}  // namespace zmcj::testing
