#include "j2k_tile_encoder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <functional>

#include "j2k_block_decoder.h"
#include "j2k_parallel.h"
#include "j2k_rate.h"
#include "j2k_wavelet.h"

namespace zmc::j2k {
namespace {

// What one unit of Y, Cb and Cr is in the L2 norm of R, G and B: the columns of the inverse irreversible transform.
constexpr std::array<double, 3> kColourNorms = {1.7320508, 1.8051, 1.5734};

// Error of a pixel that the finest quantiser leaves: about a seventh of a grey level.
constexpr double kBaseStep = 0.5;

// Steps that cost every band the same error in the picture (equation E-3 solved for exponent and mantissa).
void SetSteps(int bits, int levels, double base_step, Quantisation& q) {
  q.style = Quantisation::kExpounded;
  for (int r = 0; r <= levels; ++r) {
    for (const Orientation o : {kHL, kLH, kHH}) {
      const int level = r == 0 ? levels : levels - r + 1;
      const Orientation orientation = r == 0 ? kLL : o;
      const int gain = orientation == kLL ? 0 : orientation == kHH ? 2 : 1;
      const size_t band = r == 0 ? 0 : 3 * static_cast<size_t>(r) - (o == kHL ? 2 : o == kLH ? 1 : 0);
      const double step = base_step / SynthesisNorm(level, orientation);
      const int exponent = std::clamp(bits + gain - std::ilogb(step), 0, 31);
      const double mantissa = (std::ldexp(step, exponent - bits - gain) - 1) * 2048;
      q.steps[band] = {exponent, static_cast<int>(std::clamp(std::lround(mantissa), 0L, 2047L))};
    }
  }
}

class TileEncoder {
 public:
  TileEncoder(const PictureFormat& format, const ImageSize& size, const TileParameters& parameters,
              const EncodeOptions& options, const Rect& rect, const std::function<void(int64_t)>& advance)
      : format_(format), parameters_(parameters), options_(options), advance_(advance), tile_(size, parameters, rect) {
    if (!Reversible()) fraction_bits_ = FractionBits(format.bits);
  }

  void LoadPixels(const uint8_t* pixels, int64_t step);
  void Transform();
  void MakeBlocks();
  Packets Finish(int64_t header_bytes);

 private:
  bool Reversible() const { return parameters_.components[0].coding.reversible; }
  // What one unit in a band is in the picture.
  double Norm(const Band& band) const {
    const bool coloured = parameters_.colour_transform && band.component < 3;
    const double colour = coloured ? kColourNorms[static_cast<size_t>(band.component)] : 1;
    return colour * SynthesisNorm(band.level, band.orientation);
  }
  void LoadRow(const uint8_t* from, int64_t y);
  double ThresholdForRate(int64_t bytes) const;
  double ThresholdForError(double error) const;
  void EncodeBlocks(double threshold);
  Packets FillLayers(RateControl& control, const std::vector<int64_t>& targets);
  Packets ForRates(int64_t header_bytes);
  BlockInput Truncated(const EncodedBlock& block) const;
  double RemainingError() const;
  Packets ForQuality();

  const PictureFormat& format_;
  const TileParameters& parameters_;
  const EncodeOptions& options_;
  const std::function<void(int64_t)>& advance_;
  bool first_round_ = true;
  Tile tile_;
  int fraction_bits_ = 0;
  std::vector<Plane> planes_;
  std::vector<EncodedBlock> blocks_;
};

template <typename Sample>
void Deinterleave(const void* from, int channels, int channel, int64_t width, int32_t offset, int32_t* to) {
  const auto* samples = static_cast<const Sample*>(from) + channel;
  for (int64_t x = 0; x < width; ++x) to[x] = samples[x * channels] - offset;
}

// The irreversible component transform (ISO/IEC 15444-1, G.3.1), to integers with fraction bits.
void ForwardIrreversibleColour(int32_t* c0, int32_t* c1, int32_t* c2, int64_t width, float scale) {
  for (int64_t x = 0; x < width; ++x) {
    const float r = static_cast<float>(c0[x]) * scale;
    const float g = static_cast<float>(c1[x]) * scale;
    const float b = static_cast<float>(c2[x]) * scale;
    c0[x] = static_cast<int32_t>(0.299f * r + 0.587f * g + 0.114f * b);
    c1[x] = static_cast<int32_t>(-0.168736f * r - 0.331264f * g + 0.5f * b);
    c2[x] = static_cast<int32_t>(0.5f * r - 0.418688f * g - 0.081312f * b);
  }
}

// Of red, green and blue, from the errors of Y, Cb and Cr: the inverse transform is linear.
double SquaredColourError(const std::vector<int32_t>& y, const std::vector<int32_t>& cb,
                          const std::vector<int32_t>& cr) {
  double sum = 0;
  for (size_t i = 0; i < y.size(); ++i) {
    const double r = y[i] + 1.402 * cr[i], g = y[i] - 0.344136 * cb[i] - 0.714136 * cr[i], b = y[i] + 1.772 * cb[i];
    sum += r * r + g * g + b * b;
  }
  return sum;
}

void TileEncoder::LoadRow(const uint8_t* from, int64_t y) {
  const int64_t width = tile_.rect.width();
  const int32_t offset = 1 << (format_.bits - 1);
  for (int c = 0; c < format_.channels; ++c) {
    int32_t* to = planes_[static_cast<size_t>(c)].Row(y);
    if (format_.bits > 8) {
      Deinterleave<uint16_t>(from, format_.channels, c, width, offset, to);
    } else {
      Deinterleave<uint8_t>(from, format_.channels, c, width, offset, to);
    }
  }
  size_t next = 0;
  if (parameters_.colour_transform) {
    int32_t* rows[3] = {planes_[0].Row(y), planes_[1].Row(y), planes_[2].Row(y)};
    next = 3;
    if (Reversible()) {
      zmciRCTFwd_JPEG2K_32s_P3IR(rows, planes_[0].Step(), {static_cast<int32_t>(width), 1});
    } else {
      ForwardIrreversibleColour(rows[0], rows[1], rows[2], width, std::ldexp(1.0f, fraction_bits_));
    }
  }
  for (; next < planes_.size() && fraction_bits_ > 0; ++next) {
    int32_t* row = planes_[next].Row(y);
    for (int64_t x = 0; x < width; ++x) row[x] *= 1 << fraction_bits_;
  }
}

void TileEncoder::LoadPixels(const uint8_t* pixels, int64_t step) {
  for (int c = 0; c < format_.channels; ++c) planes_.emplace_back(tile_.rect.width(), tile_.rect.height());
  ParallelFor(tile_.rect.height(), [&](int64_t y) { LoadRow(pixels + y * step, y); });
}

void TileEncoder::Transform() {
  ParallelFor(format_.channels, [&](int64_t c) {
    ForwardWavelet(tile_.components[static_cast<size_t>(c)], planes_[static_cast<size_t>(c)]);
  });
}

void TileEncoder::MakeBlocks() {
  for (TileComponent& component : tile_.components) {
    for (int r = 0; r <= component.levels(); ++r) {
      const auto count = static_cast<int64_t>(component.resolutions[static_cast<size_t>(r)].precincts.size());
      for (int64_t p = 0; p < count; ++p) {
        for (PrecinctBand& part : component.PrecinctAt(r, p).bands) {
          for (CodeBlock& block : part.blocks) {
            block.payload = static_cast<int>(blocks_.size());
            EncodedBlock encoded;
            encoded.band = part.band;
            encoded.rect = block.rect;
            blocks_.push_back(std::move(encoded));
          }
        }
      }
    }
  }
}

void TileEncoder::EncodeBlocks(double threshold) {
  ParallelFor(static_cast<int64_t>(blocks_.size()), [&](int64_t i) {
    thread_local BlockEncoder encoder;
    EncodedBlock& block = blocks_[static_cast<size_t>(i)];
    const Band& band = *block.band;
    BlockEncoding encoding;
    encoding.style = options_.style;
    if (!Reversible()) {
      const double error = band.step * Norm(band);
      encoding.scale = std::ldexp(1 / band.step, -fraction_bits_);
      encoding.weight = error * error;
      encoding.dropped_planes = std::max(0, static_cast<int>(std::floor(std::log2(threshold / error))));
    }
    encoder.Encode(planes_[static_cast<size_t>(band.component)], encoding, block);
    if (advance_ && first_round_) advance_(block.rect.area());
  });
  first_round_ = false;
}

// The magnitude, in the picture's error, from which on coefficients are worth coding when all together may take so many
// bytes. Only the order of size counts: what is coded beyond the rate is cut off again, what is missing is noticed.
double TileEncoder::ThresholdForRate(int64_t bytes) const {
  // How many coefficients have which magnitude, by powers of two; every fourth row stands for all.
  constexpr int kRows = 4;
  std::array<int64_t, 256> counts{};
  for (const EncodedBlock& block : blocks_) {
    const Band& band = *block.band;
    const Plane& plane = planes_[static_cast<size_t>(band.component)];
    const auto unit = static_cast<float>(std::ldexp(Norm(band), -fraction_bits_));
    const int64_t x = band.plane_x + block.rect.x0 - band.rect.x0;
    const int64_t y = band.plane_y + block.rect.y0 - band.rect.y0;
    for (int64_t i = 0; i < block.rect.height(); i += kRows) {
      const int32_t* row = plane.Row(y + i) + x;
      for (int64_t j = 0; j < block.rect.width(); ++j) {
        const float magnitude = std::abs(static_cast<float>(row[j])) * unit;
        ++counts[std::bit_cast<uint32_t>(magnitude) >> 23];
      }
    }
  }
  // A coefficient of n planes costs about n bits for its planes and four to say where it is and its sign.
  constexpr double kOverhead = 4, kMargin = 3;
  constexpr int kExponentBias = 127, kGreatest = kExponentBias + 30;
  double bits = 0, above = 0;
  int exponent = kGreatest;
  for (; exponent > 0 && bits < kMargin * 8 * static_cast<double>(bytes); --exponent) {
    const double here = kRows * static_cast<double>(counts[static_cast<size_t>(exponent)]);
    above += here;
    bits += above + here * kOverhead;
  }
  return std::ldexp(1.0, exponent + 1 - kExponentBias);
}

// Coefficients below the threshold are lost, others known to half of it; one plane more leaves a choice.
double TileEncoder::ThresholdForError(double error) const {
  const double coefficients = static_cast<double>(tile_.rect.area()) * format_.channels;
  return std::exp2(std::floor(std::log2(std::sqrt(3 * error / coefficients))) - 1);
}

// Headers of packets take from the layers' bytes what they need, which is known when they are written: so they are
// written again with codewords in proportion, a few times, and then with less and less until it fits.
Packets TileEncoder::FillLayers(RateControl& control, const std::vector<int64_t>& targets) {
  constexpr int kRefinements = 4, kAttempts = 40;
  constexpr double kLess = 0.9995;
  std::vector<double> bodies(targets.begin(), targets.end());
  for (int attempt = 0;; ++attempt) {
    for (size_t layer = 0; layer < targets.size(); ++layer) {
      control.FillToLength(layer, static_cast<int64_t>(bodies[layer]));
    }
    Packets packets = WritePackets(tile_, parameters_, blocks_);
    bool fits = true;
    int64_t total = 0;
    for (size_t layer = 0; layer < targets.size(); ++layer) {
      total += packets.layer_lengths[layer];
      fits &= total <= targets[layer];
      const double proportion = static_cast<double>(std::max<int64_t>(0, targets[layer])) / static_cast<double>(total);
      if (attempt < kRefinements) bodies[layer] *= proportion;
      if (attempt >= kRefinements && proportion < 1) bodies[layer] *= kLess * proportion;
    }
    if ((fits && attempt >= kRefinements) || attempt == kAttempts) return packets;
  }
}

Packets TileEncoder::ForRates(int64_t header_bytes) {
  std::vector<int64_t> targets;
  for (const double rate : options_.rates) {
    targets.push_back(std::llround(rate * static_cast<double>(tile_.rect.area()) / 8) - header_bytes);
  }
  constexpr double kEnough = 1.3;  // more than the rate, so that the cut has a choice
  for (double threshold = ThresholdForRate(targets.back());; threshold /= 4) {
    EncodeBlocks(threshold);
    RateControl control(blocks_);
    const bool enough = static_cast<double>(control.TotalLength()) >= kEnough * static_cast<double>(targets.back());
    if (enough || threshold < kBaseStep) return FillLayers(control, targets);
  }
}

// What a decoder gets of a block.
BlockInput TileEncoder::Truncated(const EncodedBlock& block) const {
  BlockInput input;
  input.band = block.band;
  input.rect = block.rect;
  input.planes = block.band->planes - block.zero_planes;
  input.passes = block.layer_ends.back();
  input.chunks = {Bytes(block.bytes).first(block.Length(input.passes))};
  for (int pass = 0, end; pass < input.passes; pass = end) {
    end = std::min(input.passes, SegmentEnd(options_.style, pass));
    input.segment_lengths.push_back(block.Length(end) - block.Length(pass));
  }
  return input;
}

// The squared error of the picture when the layers so far are decoded.
double TileEncoder::RemainingError() const {
  std::vector<Plane> errors;
  for (const Plane& plane : planes_) errors.emplace_back(plane.width, plane.height);
  ParallelFor(static_cast<int64_t>(blocks_.size()), [&](int64_t i) {
    thread_local BlockDecoder decoder;
    const EncodedBlock& block = blocks_[static_cast<size_t>(i)];
    const auto c = static_cast<size_t>(block.band->component);
    decoder.Decode(Truncated(block), parameters_.components[c], fraction_bits_, errors[c]);
  });
  ParallelFor(static_cast<int64_t>(errors.size()), [&](int64_t i) {
    const auto c = static_cast<size_t>(i);
    std::transform(errors[c].samples.begin(), errors[c].samples.end(), planes_[c].samples.begin(),
                   errors[c].samples.begin(), std::minus<>());
    InverseWavelet(tile_.components[c], tile_.components[c].levels(), errors[c]);
  });
  double sum = 0;
  size_t c = 0;
  if (parameters_.colour_transform) {
    sum = SquaredColourError(errors[0].samples, errors[1].samples, errors[2].samples);
    c = 3;
  }
  for (; c < errors.size(); ++c) {
    for (const int32_t e : errors[c].samples) sum += static_cast<double>(e) * e;
  }
  return std::ldexp(sum, -2 * fraction_bits_);
}

Packets TileEncoder::ForQuality() {
  const double peak = (1 << format_.bits) - 1;
  const double samples = static_cast<double>(tile_.rect.area()) * format_.channels;
  const double error = peak * peak / std::pow(10, options_.quality / 10);
  // Rounding to whole grey levels adds its own, as long as there are errors to round.
  const double allowed = samples * std::max(error - 1.0 / 12, error / 4);
  for (double threshold = ThresholdForError(allowed);; threshold /= 2) {
    EncodeBlocks(threshold);
    RateControl control(blocks_);
    // The passes' distortions do not know what the quantiser has lost: the error is measured, and the cut corrected.
    double wanted = control.TotalDistortion() - allowed, excess = 0;
    for (int round = 0; round < 4; ++round) {
      control.FillToDistortion(0, wanted);
      excess = RemainingError() - allowed;
      if (std::abs(excess) < 0.01 * allowed) break;
      wanted += excess;
    }
    if (excess <= 0.01 * allowed || threshold < kBaseStep / 64) return WritePackets(tile_, parameters_, blocks_);
  }
}

Packets TileEncoder::Finish(int64_t header_bytes) {
  MakeBlocks();
  if (options_.quality > 0) return ForQuality();
  if (!options_.rates.empty()) return ForRates(header_bytes);
  EncodeBlocks(0);
  for (EncodedBlock& block : blocks_) block.layer_ends = {static_cast<int>(block.passes.size())};
  return WritePackets(tile_, parameters_, blocks_);
}

}  // namespace

TileParameters MakeParameters(const PictureFormat& format, const EncodeOptions& options) {
  TileParameters p;
  p.order = options.order;
  p.layers = std::max(1, static_cast<int>(options.rates.size()));
  p.colour_transform = format.channels >= 3;
  ComponentParameters c;
  c.coding.levels = options.levels;
  c.coding.block_width_log2 = options.block_width_log2;
  c.coding.block_height_log2 = options.block_height_log2;
  c.coding.style = options.style;
  c.coding.reversible = !options.Lossy();
  if (options.Lossy()) {
    // A high quality needs a finer quantiser.
    const double error = options.quality > 0 ? ((1 << format.bits) - 1) / std::pow(10, options.quality / 20) : 1;
    SetSteps(format.bits, options.levels, std::min(kBaseStep, error), c.quantisation);
  } else {
    // One bit more than the bands' gain: the colour differences have it.
    for (size_t b = 0; b < c.quantisation.steps.size(); ++b) {
      const int gain = b == 0 ? 0 : b % 3 == 0 ? 2 : 1;
      c.quantisation.steps[b].exponent = format.bits + gain + (p.colour_transform ? 1 : 0);
    }
  }
  p.components.assign(static_cast<size_t>(format.channels), c);
  return p;
}

Packets EncodeTile(const PictureFormat& format, const ImageSize& size, const TileParameters& parameters,
                   const EncodeOptions& options, const Rect& rect, const uint8_t* pixels, int64_t step,
                   int64_t header_bytes, const std::function<void(int64_t)>& advance) {
  TileEncoder encoder(format, size, parameters, options, rect, advance);
  encoder.LoadPixels(pixels, step);
  encoder.Transform();
  return encoder.Finish(header_bytes);
}

}  // namespace zmc::j2k
