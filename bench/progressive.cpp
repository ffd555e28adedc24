// Whole scans from and to coefficients, against the peer's coefficient roads: 4:2:0, the usual ten scans.
#include <memory>

#include "../tests/support/jpeg_scan.h"
#include "jpeg_parse.h"
#include "jpeg_peer.h"
#include "jpeg_transcode.h"
#include "photo.h"
#include "ratio.h"
#include "zmcj.h"

namespace zmcj::bench {
namespace {

using zmcj::testing::CodecRecords;
using zmcj::testing::JpegFile;
using zmcj::testing::JpegScan;

constexpr int kWidth = 768, kHeight = 512;

struct Fixture {
  explicit Fixture(bool progressive)
      : bytes(PeerCompress(PhotographLike(kWidth, kHeight), kWidth, kHeight, {75, false, progressive, true})),
        file(bytes),
        peer(bytes),
        out(8 << 20) {
    Decode();
  }
  void Decode() {
    for (auto& c : file.components) std::memset(c.coefficients.data(), 0, c.coefficients.size() * 2);
    for (const JpegScan& scan : file.scans) DecodeScan(file, scan, records, scan.data, scan.length + 2);
  }
  void Encode() {
    int position = 0;
    for (JpegScan& scan : file.scans) {
      OptimiseTables(file, scan, records);
      EncodeScan(file, scan, records, out.data(), static_cast<int>(out.size()), &position);
    }
    Keep(out.data());
  }
  std::vector<uint8_t> bytes;
  JpegFile file;
  PeerCoefficients peer;
  CodecRecords records;
  std::vector<uint8_t> out;
};

// The codec of zmc, from one file in memory to another.
void Transcode(const std::vector<uint8_t>& file, std::vector<uint8_t>& out) {
  struct Sink : zmc::jpeg::ByteSink {
    void Write(const void* data, size_t size) override {
      std::memcpy(next, data, size);
      next += size;
    }
    uint8_t* next;
  } sink;
  sink.next = out.data();
  zmc::jpeg::TranscodeOptions options;
  options.progressive = true;
  zmc::jpeg::Transcode(zmc::jpeg::Parse(file), options, sink);
}

const Suite suite("progressive", [](std::vector<Row>& rows) {
  const auto progressive = std::make_shared<Fixture>(true), baseline = std::make_shared<Fixture>(false);
  const double px = kWidth * kHeight;
  rows.push_back({"progressive encode, ten scans, optimal", "px", px, 1.5, [progressive] { progressive->Encode(); },
                  "jpeg_write_coefficients", [progressive] { progressive->peer.Write(true, true, progressive->out); }});
  rows.push_back({"progressive decode, ten scans", "px", px, 1.4, [progressive] { progressive->Decode(); },
                  "jpeg_read_coefficients", [progressive] { PeerCoefficients read(progressive->bytes); }});
  rows.push_back({"baseline encode, optimal", "px", px, 1.5, [baseline] { baseline->Encode(); },
                  "jpeg_write_coefficients", [baseline] { baseline->peer.Write(false, true, baseline->out); }});
  rows.push_back({"baseline decode", "px", px, 0, [baseline] { baseline->Decode(); }, "jpeg_read_coefficients",
                  [baseline] { PeerCoefficients read(baseline->bytes); }});

  // A larger picture, whose coefficients no cache of a core holds.
  constexpr int kWide = 2048, kHigh = 1536;
  static const auto larger =
      zmc::jpeg::WithEnd(PeerCompress(MakePhoto(kWide, kHigh).rgb, kWide, kHigh, {75, false, false, false}));
  static std::vector<uint8_t> ours(8 << 20), peers(8 << 20);
  Transcode(larger, ours);
  PeerCoefficients(larger).Write(true, true, peers);
  if (ours != peers) {
    std::fprintf(stderr, "progressive: the transcoded files differ\n");
    std::exit(1);
  }
  rows.push_back({"lossless transcode baseline to progressive", "px", double{kWide} * kHigh, 1.5,
                  [] { Transcode(larger, ours); }, "jpegtran's road",
                  [] { PeerCoefficients(larger).Write(true, true, peers); }});
});

}  // namespace
}  // namespace zmcj::bench
