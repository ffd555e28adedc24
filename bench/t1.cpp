// Code-blocks of 64 x 64 wavelet coefficients. The peer's block coder has no public call: it codes the same
// coefficients as the samples of a picture without decomposition levels, so that nearly all its time is block coding.
// What is not (opening a codestream, packets, copying) is shown by the rows with a picture of zeros, and may be
// subtracted.
#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "j2k_peer.h"
#include "photo.h"
#include "ratio.h"
#include "zmcj.h"

namespace zmcj::bench {
namespace {

constexpr int kSide = 512, kBlock = 64, kPrecision = 12;
constexpr ZmciSize kBlockSize = {kBlock, kBlock};
using Plane = std::vector<int32_t>;

// One level of the reversible 5/3 transform of n values, low band first.
void Split(int32_t* v, int n, int stride) {
  std::vector<int32_t> line(n);
  for (int i = 0; i < n; ++i) line[i] = v[i * stride];
  const auto at = [&](int i) { return line[i < 0 ? -i : i >= n ? 2 * n - 2 - i : i]; };
  for (int i = 1; i < n; i += 2) line[i] -= (at(i - 1) + at(i + 1)) >> 1;
  for (int i = 0; i < n; i += 2) line[i] += (at(i - 1) + at(i + 1) + 2) >> 2;
  for (int i = 0; i < n; ++i) v[(i / 2 + (i & 1) * n / 2) * stride] = line[i];
}

// Of the picture's samples times `scale`: the larger, the finer the coefficients' steps.
Plane Subbands(int scale) {
  const Photo photo = MakePhoto(kSide, kSide);
  Plane c(kSide * kSide);
  for (size_t i = 0; i < c.size(); ++i) c[i] = scale * (photo.rgb[3 * i + 1] - 128);
  for (int n = kSide; n > kSide >> 5; n /= 2) {
    for (int x = 0; x < n; ++x) Split(c.data() + x, n, kSide);
    for (int y = 0; y < n; ++y) Split(c.data() + y * kSide, n, 1);
  }
  return c;
}

struct Block {
  const int32_t* src;
  uint32_t planes, passes, segments;
  std::vector<uint8_t> bytes;
  std::vector<uint32_t> lengths;
};

// What one side of a row works on.
struct Set {
  explicit Set(Plane coefficients);
  ~Set() { zmciEncodeFree_JPEG2K(state); }
  void Encode();
  void Decode();
  double BitsPerCoefficient() const {
    size_t n = 0;
    for (const Block& block : blocks) n += block.bytes.size();
    return 8.0 * n / plane.size();
  }

  Plane plane, decoded;
  std::vector<Block> blocks;
  std::vector<uint8_t> work, room;
  ZmciEncodeState_JPEG2K* state = nullptr;
};

Set::Set(Plane coefficients) : plane(std::move(coefficients)), decoded(plane.size()), room(1 << 16) {
  uint32_t size = 0;
  zmciDecodeGetBufSize_JPEG2K(kBlock, kBlock, &size);
  work.resize(size);
  zmciEncodeInitAlloc_JPEG2K(&state, kBlock, kBlock);
  for (int y = 0; y < kSide; y += kBlock) {
    for (int x = 0; x < kSide; x += kBlock) blocks.push_back({plane.data() + y * kSide + x, 0, 0, 0, {}, {}});
  }
  Encode();
}

void Set::Encode() {
  for (Block& block : blocks) {
    zmciEncodeLoadCodeBlock_JPEG2K_32s_C1R(block.src, 4 * kSide, kBlockSize, state, 0, 31, 0, 0, 0, &block.planes,
                                           &block.passes, &block.segments);
    int32_t length = int32_t(room.size()), more = 0;
    zmciEncodeStoreBits_JPEG2K_1u(room.data(), &length, state, &more);
    block.bytes.assign(room.data(), room.data() + length);
    block.lengths.assign(1, uint32_t(length));
  }
}

void Set::Decode() {
  for (const Block& block : blocks) {
    zmciDecodeCodeBlock_JPEG2K_1u32s_C1R(block.bytes.data(), decoded.data() + (block.src - plane.data()), 4 * kSide,
                                         kBlockSize, 0, int(block.planes), int(block.passes), block.lengths.data(), 1,
                                         0, nullptr, work.data());
  }
}

using Memory = J2kPeer::Memory;
using Stream = std::unique_ptr<opj_stream_t, decltype(&opj_stream_destroy)>;
using Codec = std::unique_ptr<opj_codec_t, decltype(&opj_destroy_codec)>;
using Image = std::unique_ptr<opj_image_t, decltype(&opj_image_destroy)>;

void PeerEncode(const Plane& plane, Memory& memory) {
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.numresolution = 1;
  parameters.tcp_numlayers = 1;
  parameters.cp_disto_alloc = 1;
  opj_image_cmptparm_t component{};
  component.dx = component.dy = 1;
  component.w = component.h = kSide;
  component.prec = kPrecision;
  component.sgnd = 1;
  const Image image(opj_image_create(1, &component, OPJ_CLRSPC_GRAY), opj_image_destroy);
  image->x1 = image->y1 = kSide;
  std::copy(plane.begin(), plane.end(), image->comps[0].data);
  const Codec codec(opj_create_compress(OPJ_CODEC_J2K), opj_destroy_codec);
  memory = Memory();
  const Stream stream(memory.Open(false), opj_stream_destroy);
  const bool ok = opj_setup_encoder(codec.get(), &parameters, image.get()) &&
                  opj_start_compress(codec.get(), image.get(), stream.get()) && opj_encode(codec.get(), stream.get()) &&
                  opj_end_compress(codec.get(), stream.get());
  if (!ok) std::fprintf(stderr, "the peer failed to encode\n");
}

// Keeps what was decoded in `plane` when it is given.
void PeerDecode(Memory& memory, Plane* plane = nullptr) {
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  const Codec codec(opj_create_decompress(OPJ_CODEC_J2K), opj_destroy_codec);
  memory.position = 0;
  const Stream stream(memory.Open(true), opj_stream_destroy);
  opj_image_t* raw = nullptr;
  const bool ok = opj_setup_decoder(codec.get(), &parameters) && opj_read_header(stream.get(), codec.get(), &raw) &&
                  opj_decode(codec.get(), stream.get(), raw) && opj_end_decompress(codec.get(), stream.get());
  const Image image(raw, opj_image_destroy);
  if (!ok) std::fprintf(stderr, "the peer failed to decode\n");
  if (ok && plane != nullptr) plane->assign(image->comps[0].data, image->comps[0].data + kSide * kSide);
}

const Suite suite("code-blocks", [](std::vector<Row>& rows) {
  const Plane fine = Subbands(16);
  const auto quantised = [&](double step) {
    Plane q = fine;
    for (auto& v : q) v = int32_t(v / step);
    return q;
  };
  // The step that leaves 1 bit a coefficient.
  double low = 8, high = 1024;
  for (int i = 0; i < 12; ++i) {
    const double step = std::sqrt(low * high);
    (Set(quantised(step)).BitsPerCoefficient() > 1 ? low : high) = step;
  }
  const std::pair<const char*, Plane> sets[] = {
      {"lossless", Subbands(1)}, {"1 bpp", quantised(high)}, {"zeros", Plane(kSide * kSide)}};
  for (const auto& [name, plane] : sets) {
    auto ours = std::make_shared<Set>(plane);
    auto memory = std::make_shared<Memory>();
    PeerEncode(plane, *memory);
    Plane peer_plane;
    PeerDecode(*memory, &peer_plane);
    if (peer_plane != plane) std::fprintf(stderr, "the peer's picture differs\n");
    char title[64];
    const bool zeros = ours->BitsPerCoefficient() == 0;
    const double goal = zeros ? 0 : 1.6;
    const char* peer = zeros ? "overhead of libopenjp2" : "libopenjp2, whole codec";
    std::snprintf(title, sizeof title, "decode 64x64 blocks, %s (%.2f bpp)", name, ours->BitsPerCoefficient());
    rows.push_back({title, "coefficient", kSide * kSide, goal, [ours] { ours->Decode(); }, peer,
                    [memory] { PeerDecode(*memory); }});
    std::snprintf(title, sizeof title, "encode 64x64 blocks, %s (%.2f bpp)", name, ours->BitsPerCoefficient());
    auto output = std::make_shared<Memory>();
    rows.push_back({title, "coefficient", kSide * kSide, goal, [ours] { ours->Encode(); }, peer,
                    [ours, output] { PeerEncode(ours->plane, *output); }});
  }
});

}  // namespace
}  // namespace zmcj::bench
