// Whole scans from and to coefficients, against the peer's coefficient roads: 4:2:0, the usual ten scans.
#include <memory>

#include "../tests/support/jpeg_scan.h"
#include "jpeg_peer.h"
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

const Suite suite("progressive", [](std::vector<Row>& rows) {
  const auto progressive = std::make_shared<Fixture>(true), baseline = std::make_shared<Fixture>(false);
  const double px = kWidth * kHeight;
  rows.push_back({"progressive encode, ten scans, optimal", "px", px, 1.5, [progressive] { progressive->Encode(); },
                  "jpeg_write_coefficients", [progressive] { progressive->peer.Write(true, true); }});
  rows.push_back({"progressive decode, ten scans", "px", px, 1.4, [progressive] { progressive->Decode(); },
                  "jpeg_read_coefficients", [progressive] { PeerCoefficients read(progressive->bytes); }});
  rows.push_back({"baseline encode, optimal", "px", px, 1.5, [baseline] { baseline->Encode(); },
                  "jpeg_write_coefficients", [baseline] { baseline->peer.Write(false, true); }});
  rows.push_back({"baseline decode", "px", px, 0, [baseline] { baseline->Decode(); }, "jpeg_read_coefficients",
                  [baseline] { PeerCoefficients read(baseline->bytes); }});
});

}  // namespace
}  // namespace zmcj::bench
