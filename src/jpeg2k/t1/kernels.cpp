// The code-block coder's kernels at every vector level, and their table.
#include "jpeg2k/t1/t1.h"

#include <bit>
#include <cstring>

#include "core/memory.h"
#include "jpeg2k/t1/block_state.h"
#include "jpeg2k/t1/distortion.h"
#include "jpeg2k/t1/mq_encoder.h"
#include "jpeg2k/t1/pass_order.h"
#include "jpeg2k/t1/raw_reader.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg2k/t1/kernels.cpp"
#include "core/foreach_level.h"
// After foreach_level.h, which includes this file once per level.
#include "jpeg2k/t1/model-inl.h"
#include "jpeg2k/t1/mq_window-inl.h"
#include "jpeg2k/t1/passes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zmcj::t1::HWY_NAMESPACE {
#if ZMCJ_VECTOR_LEVEL
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Writes decoded samples of one plane.
class Samples {
 public:
  Samples(const DecodeJob& job, int plane)
      : dst_(reinterpret_cast<unsigned char*>(job.dst)), step_(job.dst_step), plane_(static_cast<unsigned>(plane)) {}

  HWY_INLINE void Enter(int stripe, int group) {
    origin_ = dst_ + static_cast<ptrdiff_t>(int64_t{stripe} * kStripe * step_) + ptrdiff_t{group} * kGroup * 4;
  }
  HWY_INLINE void Became(unsigned b, uint32_t negative) {
    StoreSample(At(b), negative << 31 | 1u << plane_ | (1u << plane_) >> 1);
  }
  HWY_INLINE void Refined(unsigned b, uint32_t bit) {
    const uint32_t above = LoadSample<uint32_t>(At(b)) & ~uint32_t{0} << plane_ << 1;
    StoreSample(At(b), above | bit << plane_ | (1u << plane_) >> 1);
  }

 private:
  HWY_INLINE unsigned char* At(unsigned b) const {
    return origin_ + static_cast<ptrdiff_t>(b & 3) * step_ + static_cast<ptrdiff_t>(b & ~3u);
  }

  unsigned char* dst_;
  ptrdiff_t step_;
  unsigned plane_;
  unsigned char* origin_ = nullptr;
};

// The Io of decoding MQ-coded passes. Its registers are a local object's: they stay in the machine's during a pass.
struct MqInput {
  MqRegisters registers;
  MqSource& source;
  MqWord* contexts;
  Samples samples;

  HWY_INLINE uint32_t Decode(unsigned context) { return DecodeDecision(registers, source, contexts[context]); }
  HWY_INLINE void Enter(int stripe, int group) { samples.Enter(stripe, group); }
  HWY_INLINE uint32_t Zero(unsigned context, unsigned) { return Decode(context); }
  HWY_INLINE uint32_t Sign(unsigned entry, unsigned) { return Decode(entry & 127) ^ entry >> 7; }
  HWY_INLINE uint64_t SkipRuns(uint64_t todo, uint64_t runs) {
    const MqWord word = contexts[kRunLength];
    if (word & 1) return todo;
    const uint64_t leading = LeadingRuns(todo, runs);
    return todo ^ leading ^ SkipLikelyZeros(registers, word, leading);
  }
  HWY_INLINE unsigned Run(unsigned) {
    if (Decode(kRunLength) == 0) return kStripe;
    const unsigned high = Decode(kUniform);
    return 2 * high + Decode(kUniform);
  }
  HWY_INLINE void Became(unsigned b, uint32_t negative) { samples.Became(b, negative); }
  HWY_INLINE void Refine(unsigned context, unsigned b) { samples.Refined(b, Decode(context)); }
};

struct RawInput {
  RawReader reader;
  Samples samples;

  HWY_INLINE uint32_t Bit() { return static_cast<uint32_t>(reader.Bit()); }
  HWY_INLINE void Enter(int stripe, int group) { samples.Enter(stripe, group); }
  HWY_INLINE uint32_t Zero(unsigned, unsigned) { return Bit(); }
  HWY_INLINE uint32_t Sign(unsigned, unsigned) { return Bit(); }
  HWY_INLINE void Became(unsigned b, uint32_t negative) { samples.Became(b, negative); }
  HWY_INLINE void Refine(unsigned, unsigned b) { samples.Refined(b, Bit()); }
};

class Decoder {
 public:
  explicit Decoder(const DecodeJob& job)
      : job_(job),
        state_(job.work, job.size),
        causal_((job.options & kCausal) != 0),
        zero_coding_(kZeroCodingByColumn[static_cast<size_t>(BandOf(job.orientation))].data()) {
    contexts_.Reset();
  }

  void OpenMq(const uint8_t* data, int64_t length) { registers_ = source_.Open(data, length); }
  void OpenRaw(const uint8_t* data, int64_t length) { raw_ = RawReader(data, length); }
  void ResetContexts() { contexts_.Reset(); }
  bool MqEndFault() const { return source_.EndFault(registers_); }
  bool RawEndFault() const { return raw_.EndFault(); }
  void Significance(int plane, bool raw) { raw ? SignificanceRaw(plane) : SignificanceMq(plane); }
  void Refinement(int plane, bool raw) { raw ? RefinementRaw(plane) : RefinementMq(plane); }

  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void Cleanup(int plane) {
    MqInput in = Input(plane);
    CleanupPass(in, state_, causal_, zero_coding_);
    registers_ = in.registers;
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE int SegmentationSymbol() {
    uint32_t symbol = 0;
    for (int i = 0; i < 4; ++i) symbol = 2 * symbol + DecodeDecision(registers_, source_, contexts_.word[kUniform]);
    return static_cast<int>(symbol);
  }

 private:
  HWY_INLINE MqInput Input(int plane) { return {registers_, source_, contexts_.word, Samples(job_, plane)}; }

  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void SignificanceMq(int plane) {
    MqInput in = Input(plane);
    SignificancePass(in, state_, causal_, zero_coding_);
    registers_ = in.registers;
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void RefinementMq(int plane) {
    MqInput in = Input(plane);
    RefinementPass(in, state_, causal_);
    registers_ = in.registers;
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void SignificanceRaw(int plane) {
    RawInput in = {raw_, Samples(job_, plane)};
    SignificancePass(in, state_, causal_, zero_coding_);
    raw_ = in.reader;
  }
  ZMCJ_BIT_INSTRUCTIONS HWY_NOINLINE void RefinementRaw(int plane) {
    RawInput in = {raw_, Samples(job_, plane)};
    RefinementPass(in, state_, causal_);
    raw_ = in.reader;
  }

  const DecodeJob& job_;
  BlockState state_;
  bool causal_;
  const uint8_t* zero_coding_;
  MqRegisters registers_{};
  MqSource source_;
  MqContexts contexts_;
  RawReader raw_;
};

ZMCJ_BIT_INSTRUCTIONS uint8_t* Encode(MqEncoder& encoder, MqContexts& contexts, const uint8_t* decisions, int64_t n,
                                      uint8_t* out) {
  return EncodeDecisions(encoder, contexts, decisions, n, out);
}

DecodeEnd Decode(const DecodeJob& job) {
  Decoder decoder(job);
  return DecodePasses(decoder, job);
}

void ModelBlock(const ModelJob& job, Recording& recording) { Model(job, recording).Run(); }

}  // namespace

extern constexpr Kernels kKernels = {Decode, ModelBlock, Encode};
#endif
}  // namespace zmcj::t1::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zmcj::t1 {
namespace {

uint8_t* EncodeReference(MqEncoder& encoder, MqContexts& contexts, const uint8_t* decisions, int64_t n, uint8_t* out) {
  return EncodeDecisions(encoder, contexts, decisions, n, out);
}

constexpr Kernels kReference = {DecodeReference, ModelReference, EncodeReference};

}  // namespace

constinit Family<Kernels> kernels("code-block coder", kReference, {ZMCJ_LEVELS(kKernels)});

namespace {
const Enrolment enrolment(kernels);
}

}  // namespace zmcj::t1
#endif
