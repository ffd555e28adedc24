// The coding passes in their plain form, one sample after another, as the standard tells them (ISO/IEC 15444-1, D.3 and
// D.4). This defines the results of the fast kernels and runs where there is no vector level.
#include <array>

#include "core/memory.h"
#include "jpeg2k/t1/contexts.h"
#include "jpeg2k/t1/distortion.h"
#include "jpeg2k/t1/mq_decoder.h"
#include "jpeg2k/t1/pass_order.h"
#include "jpeg2k/t1/raw_reader.h"
#include "jpeg2k/t1/t1.h"

namespace zmcj::t1 {
namespace {

// A sample's state. Bits 0 to 3: diagonal neighbours significant; then the direct ones.
constexpr uint16_t kDiagonal[4] = {0x1, 0x2, 0x4, 0x8};
constexpr uint16_t kBelow = 1 << 4, kAbove = 1 << 5, kRight = 1 << 6, kLeft = 1 << 7;
constexpr uint16_t kRefined = 1 << 8;
constexpr int kNegative = 5;  // the direct neighbours' signs stand this many bits above their significance
constexpr uint16_t kAnyNeighbour = 1 << 13;
constexpr uint16_t kVisited = 1 << 14;
constexpr uint16_t kSignificant = 1 << 15;

constexpr int Has(int state, int bits) { return (state & bits) != 0; }

// Indexed by state bits 0 to 7.
constexpr auto MakeZeroCoding(Band band) {
  std::array<uint8_t, 256> table{};
  for (int s = 0; s < 256; ++s) {
    const int d = Has(s, 1) + Has(s, 2) + Has(s, 4) + Has(s, 8);
    const int h = Has(s, kLeft) + Has(s, kRight), v = Has(s, kAbove) + Has(s, kBelow);
    table[static_cast<size_t>(s)] = static_cast<uint8_t>(ZeroCodingContext(band, h, v, d));
  }
  return table;
}
constexpr std::array kZeroCodingTables = {MakeZeroCoding(Band::kLowOrVerticallyHigh),
                                          MakeZeroCoding(Band::kHorizontallyHigh),
                                          MakeZeroCoding(Band::kDiagonallyHigh)};

SignContext SignContextOf(int state) {
  const auto contribution = [state](int neighbour) {
    return Has(state, neighbour) * (Has(state, neighbour << kNegative) ? -1 : 1);
  };
  return SignCodingContext(contribution(kLeft) + contribution(kRight), contribution(kAbove) + contribution(kBelow));
}

// The passes over one block. Io supplies or takes the decisions:
//   Code(context, x, y)         the sample's bit of the plane        RawCode(x, y)
//   Sign(SignContext, x, y)     1 when negative                      RawSign(x, y)
//   Run(x, y)                   0 to 3, the row of a run's first significant sample, or 4
//   Became(x, y, negative)      the sample has become significant
//   Refined(x, y, bit)
template <class Io>
class Passes {
 public:
  Passes(Io& io, unsigned char* work, ZmciSize size, int orientation, uint32_t options)
      : io_(io),
        work_(work),
        row_bytes_(WorkRowBytes(size.width)),
        size_(size),
        causal_((options & kCausal) != 0),
        zero_coding_(kZeroCodingTables[static_cast<size_t>(BandOf(orientation))].data()) {}

  void Significance(bool raw) {
    ForEachColumn([&](int x, int top, int rows) {
      for (int y = top; y < top + rows; ++y) {
        const int state = State(x, y);
        if (Has(state, kSignificant) || !Has(state, kAnyNeighbour)) continue;
        CodeSample(x, y, raw);
        Set(x, y, kVisited);
      }
    });
  }

  void Refinement(bool raw) {
    ForEachColumn([&](int x, int top, int rows) {
      for (int y = top; y < top + rows; ++y) {
        const int state = State(x, y);
        if ((state & (kSignificant | kVisited)) != kSignificant) continue;
        const int context = RefinementContext(Has(state, kRefined), Has(state, kAnyNeighbour));
        io_.Refined(x, y, raw ? io_.RawCode(x, y) : io_.Code(context, x, y));
        Set(x, y, kRefined);
      }
    });
  }

  void Cleanup() {
    ForEachColumn([&](int x, int top, int rows) {
      int y = top;
      if (rows == kStripe && ColumnIsZero(x, top)) {
        y += io_.Run(x, top);
        if (y == top + kStripe) return;
        BecomeSignificant(x, y, false);
        ++y;
      }
      for (; y < top + rows; ++y) {
        if (!Has(State(x, y), kSignificant | kVisited)) CodeSample(x, y, false);
      }
    });
    for (int y = 0; y < size_.height; ++y) {
      for (int x = 0; x < size_.width; ++x) Put(x, y, State(x, y) & ~kVisited);
    }
  }

 private:
  template <class Column>
  void ForEachColumn(Column column) {
    for (int64_t top = 0; top < size_.height; top += kStripe) {
      const int rows = static_cast<int>(std::min<int64_t>(kStripe, size_.height - top));
      for (int x = 0; x < size_.width; ++x) column(x, static_cast<int>(top), rows);
    }
  }

  // Two rows of samples share a row of words; a guard word and a guard row stand around.
  unsigned char* At(int64_t x, int64_t y) const {
    return work_ + ((y + 2) / 2) * row_bytes_ + (x + 1) * 4 + (y & 1) * 2;
  }
  int State(int64_t x, int64_t y) const { return LoadSample<uint16_t>(At(x, y)); }
  void Put(int64_t x, int64_t y, int state) { StoreSample(At(x, y), static_cast<uint16_t>(state)); }
  void Set(int64_t x, int64_t y, int bits) { Put(x, y, State(x, y) | bits); }

  bool ColumnIsZero(int x, int top) const {
    return (State(x, top) | State(x, top + 1) | State(x, top + 2) | State(x, top + 3)) == 0;
  }

  void CodeSample(int x, int y, bool raw) {
    const int bit = raw ? io_.RawCode(x, y) : io_.Code(zero_coding_[State(x, y) & 0xFF], x, y);
    if (bit != 0) BecomeSignificant(x, y, raw);
  }

  void BecomeSignificant(int64_t x, int64_t y, bool raw) {
    const int ix = static_cast<int>(x), iy = static_cast<int>(y);
    const int negative = raw ? io_.RawSign(ix, iy) : io_.Sign(SignContextOf(State(x, y)), ix, iy);
    io_.Became(ix, iy, negative);
    const auto direct = [negative](int side) { return side | kAnyNeighbour | (negative ? side << kNegative : 0); };
    Set(x, y, kSignificant | kVisited);
    Set(x - 1, y, direct(kRight));
    Set(x + 1, y, direct(kLeft));
    // In causal formation the last row of a stripe does not see the next stripe.
    if (!causal_ || y % kStripe != 0) {
      Set(x - 1, y - 1, kDiagonal[0] | kAnyNeighbour);
      Set(x, y - 1, direct(kBelow));
      Set(x + 1, y - 1, kDiagonal[1] | kAnyNeighbour);
    }
    Set(x - 1, y + 1, kDiagonal[2] | kAnyNeighbour);
    Set(x, y + 1, direct(kAbove));
    Set(x + 1, y + 1, kDiagonal[3] | kAnyNeighbour);
  }

  Io& io_;
  unsigned char* work_;
  int64_t row_bytes_;
  ZmciSize size_;
  bool causal_;
  const uint8_t* zero_coding_;
};

class Decoder {
 public:
  explicit Decoder(const DecodeJob& job)
      : job_(job), passes_(*this, job.work, job.size, job.orientation, job.options) {}

  void OpenMq(const uint8_t* data, int64_t length) { mq_.Open(data, length); }
  void OpenRaw(const uint8_t* data, int64_t length) { raw_ = RawReader(data, length); }
  void ResetContexts() { mq_.ResetContexts(); }
  void Significance(int plane, bool raw) { plane_ = plane, passes_.Significance(raw); }
  void Refinement(int plane, bool raw) { plane_ = plane, passes_.Refinement(raw); }
  void Cleanup(int plane) { plane_ = plane, passes_.Cleanup(); }
  int SegmentationSymbol() {
    int symbol = 0;
    for (int i = 0; i < 4; ++i) symbol = 2 * symbol + mq_.Decode(kUniform);
    return symbol;
  }
  bool MqEndFault() { return mq_.EndFault(); }
  bool RawEndFault() { return raw_.EndFault(); }

  int Code(int context, int, int) { return mq_.Decode(context); }
  int RawCode(int, int) { return raw_.Bit(); }
  int Sign(SignContext sign, int, int) { return mq_.Decode(sign.context) ^ sign.flip; }
  int RawSign(int, int) { return raw_.Bit(); }
  int Run(int, int) {
    if (mq_.Decode(kRunLength) == 0) return kStripe;
    const int high = mq_.Decode(kUniform);
    return 2 * high + mq_.Decode(kUniform);
  }
  void Became(int x, int y, int negative) {
    StoreSample(At(x, y), (negative ? 0x80000000u : 0u) | 1u << plane_ | (1u << plane_) >> 1);
  }
  void Refined(int x, int y, int bit) {
    const uint32_t above = LoadSample<uint32_t>(At(x, y)) & ~((2u << plane_) - 1);
    StoreSample(At(x, y), above | static_cast<uint32_t>(bit) << plane_ | (1u << plane_) >> 1);
  }

 private:
  int32_t* At(int x, int y) const { return RowAt(job_.dst, y, job_.dst_step) + x; }

  const DecodeJob& job_;
  MqDecoder mq_;
  RawReader raw_;
  Passes<Decoder> passes_;
  int plane_ = 0;
};

class Model {
 public:
  Model(const ModelJob& job, Recording& recording) : job_(job), recording_(recording), out_(recording.decisions) {}

  void Run() {
    uint32_t any = 0;
    for (int y = 0; y < job_.size.height; ++y) {
      for (int x = 0; x < job_.size.width; ++x) any |= Magnitude(x, y);
    }
    int planes = 0;
    while (planes < kMaxPlanes && any >> planes != 0) ++planes;
    Passes<Model> passes(*this, job_.work, job_.size, job_.orientation, job_.options);
    recording_.planes = planes;
    recording_.passes = ForEachPass(planes, [&](int i, Pass pass, int plane) {
      plane_ = plane;
      distortion_ = DistortionSums();
      const bool raw = IsRaw(job_.options, pass, plane, planes);
      if (pass == Pass::kSignificance) passes.Significance(raw);
      if (pass == Pass::kRefinement) passes.Refinement(raw);
      if (pass == Pass::kCleanup) {
        passes.Cleanup();
        if (job_.options & kSegmentationSymbols) {
          for (const int bit : {1, 0, 1, 0}) Record(kUniform, bit);
        }
      }
      recording_.end[i] = out_ - recording_.decisions;
      recording_.distortion[i] = distortion_.Reduction(plane);
    });
    *out_ = 0;
  }

  int Code(int context, int x, int y) { return Record(context, BitOf(x, y)); }
  int RawCode(int x, int y) { return Record(0, BitOf(x, y)); }
  int Sign(SignContext sign, int x, int y) {
    Record(sign.context, Negative(x, y) ^ sign.flip);
    return Negative(x, y);
  }
  int RawSign(int x, int y) { return Record(0, Negative(x, y)); }
  int Run(int x, int top) {
    int first = 0;
    while (first < kStripe && BitOf(x, top + first) == 0) ++first;
    if (Record(kRunLength, first < kStripe) == 0) return kStripe;
    Record(kUniform, first >> 1);
    Record(kUniform, first & 1);
    return first;
  }
  void Became(int x, int y, int) { distortion_.Became(Magnitude(x, y)); }
  void Refined(int x, int y, int) { distortion_.Refined(Magnitude(x, y), plane_); }

 private:
  int32_t Value(int x, int y) const { return LoadSample<int32_t>(RowAt(job_.src, y, job_.src_step) + x); }
  int Negative(int x, int y) const { return Value(x, y) < 0; }
  uint32_t Magnitude(int x, int y) const {
    const auto bits = static_cast<uint32_t>(Value(x, y));
    return (Negative(x, y) ? 0 - bits : bits) & ((1u << job_.magnitude_bits) - 1);
  }
  int BitOf(int x, int y) const { return static_cast<int>(Magnitude(x, y) >> plane_ & 1); }
  int Record(int context, int bit) {
    *out_++ = static_cast<uint8_t>(2 * context + bit);
    return bit;
  }

  const ModelJob& job_;
  Recording& recording_;
  uint8_t* out_;
  DistortionSums distortion_;
  int plane_ = 0;
};

}  // namespace

DecodeEnd DecodeReference(const DecodeJob& job) {
  Decoder decoder(job);
  return DecodePasses(decoder, job);
}

void ModelReference(const ModelJob& job, Recording& recording) { Model(job, recording).Run(); }

}  // namespace zmcj::t1
