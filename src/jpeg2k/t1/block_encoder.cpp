// The exported code-block encoder: its handle, the storing of recorded passes piece by piece, and the queries.
#include <algorithm>
#include <cmath>
#include <new>

#include "core/check.h"
#include "core/memory.h"
#include "jpeg2k/t1/mq_encoder.h"
#include "jpeg2k/t1/pass_order.h"
#include "jpeg2k/t1/t1.h"

namespace zmcj::t1 {
namespace {

constexpr char kTag[4] = {'D', 'S', 'M', 'L'};

// A pass's distortion is mantissa * 2^exponent.
struct Distortion {
  int32_t mantissa;
  int32_t exponent;
};

// 31 significant bits.
Distortion Normalise(double value) {
  int exponent = 0;
  const double fraction = std::frexp(value, &exponent);
  if (fraction == 0) return {0, 0};
  // A value that rounds up to 2^31 does so exactly: the next power of two takes one bit more in the exponent.
  const double mantissa = std::nearbyint(std::ldexp(fraction, 31));
  if (std::abs(mantissa) >= 0x1p31) return {static_cast<int32_t>(mantissa / 2), exponent - 30};
  return {static_cast<int32_t>(mantissa), exponent - 31};
}

// Storing goes through here when the caller's room may not hold what one step writes.
constexpr int kStaging = 512;
constexpr int kBytesPerDecision = 3;  // a renormalisation shifts by 15 at most
constexpr int kTerminationBytes = 4;

}  // namespace
}  // namespace zmcj::t1

using namespace zmcj;
using namespace zmcj::t1;

struct ZmciEncodeState_JPEG2K {
  char tag[4];
  ZmciSize limit;  // the largest block
  unsigned char* work;
  uint32_t* magnitudes;

  // The loaded block.
  Recording recording;
  bool raw[kMaxPasses];
  bool terminated[kMaxPasses];
  uint32_t options;
  Termination termination;

  // What has been stored of it.
  int pass;          // being stored
  int64_t position;  // of the next decision
  uint32_t stored;   // bytes of the codeword written so far
  uint32_t rate[kMaxPasses];
  Distortion distortion[kMaxPasses];
  MqEncoder mq;
  MqContexts contexts;
  RawPacker packer;
  int staged_begin, staged_end;
  uint8_t staging[kStaging];

  bool Finished() const { return pass >= recording.passes; }
  int StoreSome(uint8_t* out, int room);
  void RecordRate();
};

namespace zmcj::t1 {
namespace {

ZmcStatus Tagged(const ZmciEncodeState_JPEG2K* state) {
  return Require(std::memcmp(state->tag, kTag, sizeof kTag) == 0, zmcStatusBadContext);
}

void Release(ZmciEncodeState_JPEG2K* state) {
  AlignedFree(state->work);
  AlignedFree(state->magnitudes);
  AlignedFree(state->recording.decisions);
  AlignedFree(state);
}

bool Allocate(ZmciEncodeState_JPEG2K* state) {
  const int width = state->limit.width, height = state->limit.height;
  const int64_t work_bytes = WorkBytes(width, height);
  int64_t magnitude_bytes = 0, decision_bytes = 0;
  const int64_t columns = int64_t{width} * ((int64_t{height} + kStripe - 1) / kStripe);
  if (__builtin_mul_overflow(MagnitudeWords(width, height), int64_t{4}, &magnitude_bytes) ||
      __builtin_mul_overflow(columns, kDecisionsPerColumn, &decision_bytes) ||
      __builtin_add_overflow(decision_bytes, kDecisionsOfSymbols + kDecisionsSlack, &decision_bytes)) {
    return false;
  }
  state->work = static_cast<unsigned char*>(AlignedAllocate(work_bytes));
  state->magnitudes = static_cast<uint32_t*>(AlignedAllocate(magnitude_bytes));
  state->recording.decisions = static_cast<uint8_t*>(AlignedAllocate(decision_bytes));
  return state->work != nullptr && state->magnitudes != nullptr && state->recording.decisions != nullptr;
}

Termination TerminationOf(int parameter, uint32_t options) {
  if (parameter == 2 || (options & kPredictableTermination) != 0) return Termination::kPredictable;
  return parameter == 1 ? Termination::kShortest : Termination::kFlush;
}

// Passes form segments: a new one begins where the coding changes between MQ and raw, or with every pass.
uint32_t LayOutSegments(ZmciEncodeState_JPEG2K* state) {
  const Recording& recording = state->recording;
  ForEachPass(recording.planes, [&](int i, Pass pass, int plane) {
    state->raw[i] = IsRaw(state->options, pass, plane, recording.planes);
  });
  uint32_t segments = 0;
  for (int i = 0; i < recording.passes; ++i) {
    state->terminated[i] =
        i + 1 == recording.passes || state->raw[i] != state->raw[i + 1] || (state->options & kTerminateEachPass) != 0;
    segments += state->terminated[i];
  }
  return segments;
}

}  // namespace
}  // namespace zmcj::t1

// Decisions of the current pass as far as the room surely allows, then perhaps the pass's end; returns bytes written.
int ZmciEncodeState_JPEG2K::StoreSome(uint8_t* const out, int room) {
  uint8_t* end = out;
  const int64_t n = std::min<int64_t>(recording.end[pass] - position, (room - kTerminationBytes) / kBytesPerDecision);
  const uint8_t* const decisions = recording.decisions + position;
  if (raw[pass]) {
    for (int64_t i = 0; i < n; ++i) end = packer.Put(decisions[i] & 1, end);
  } else {
    end = kernels->encode(mq, contexts, decisions, n, end);
  }
  position += n;
  const bool pass_ends = position == recording.end[pass];
  if (pass_ends && terminated[pass]) end = raw[pass] ? packer.Terminate(end) : mq.Terminate(termination, end);
  stored += static_cast<uint32_t>(end - out);
  if (pass_ends) {
    RecordRate();
    if (!raw[pass] && (options & kResetContexts) != 0) contexts.Reset();
    ++pass;
  }
  return static_cast<int>(end - out);
}

// Within a segment a pass's length is an estimate from above. It must not exceed a later one: the segment's end is
// exact.
void ZmciEncodeState_JPEG2K::RecordRate() {
  rate[pass] = stored;
  if (!terminated[pass]) {
    rate[pass] += static_cast<uint32_t>(raw[pass] ? packer.HoldsPartOfByte() : mq.BytesAhead());
    return;
  }
  for (int i = pass; i > 0 && rate[i - 1] > rate[i]; --i) rate[i - 1] = rate[i];
}

ZmcStatus zmciEncodeInitAlloc_JPEG2K(ZmciEncodeState_JPEG2K** pState, int maxWidth, int maxHeight) {
  if (ZmcStatus s = FirstFailure(NotNull(pState), Size({maxWidth, maxHeight}))) return s;
  *pState = nullptr;
  void* const block = AlignedAllocate(sizeof(ZmciEncodeState_JPEG2K));
  if (block == nullptr) return zmcStatusNoMemory;
  auto* const state = new (block) ZmciEncodeState_JPEG2K();
  state->limit = {maxWidth, maxHeight};
  if (!Allocate(state)) {
    Release(state);
    return zmcStatusNoMemory;
  }
  std::memcpy(state->tag, kTag, sizeof kTag);
  *pState = state;
  return zmcStatusOk;
}

ZmcStatus zmciEncodeFree_JPEG2K(ZmciEncodeState_JPEG2K* pState) {
  if (ZmcStatus s = NotNull(pState)) return s;
  Release(pState);
  return zmcStatusOk;
}

ZmcStatus zmciEncodeLoadCodeBlock_JPEG2K_32s_C1R(const int32_t* pSrc, int srcStep, ZmciSize size,
                                                 ZmciEncodeState_JPEG2K* pState, int orientation, int magnitudeBits,
                                                 int passParameter, int spareParameter, int flags,
                                                 uint32_t* pNOfBitPlanes, uint32_t* pNOfPasses,
                                                 uint32_t* pNOfSegments) {
  static_cast<void>(spareParameter);
  if (ZmcStatus s = NotNull(pState)) return s;
  if (ZmcStatus s = FirstFailure(
          Tagged(pState), NotNull(pNOfBitPlanes, pNOfPasses, pNOfSegments), Size(size),
          Require(size.width <= pState->limit.width && size.height <= pState->limit.height, zmcStatusBadSize),
          NotNull(pSrc), Steps(srcStep))) {
    return s;
  }
  ZmciEncodeState_JPEG2K& state = *pState;
  std::memset(state.work, 0, static_cast<size_t>(WorkBytes(size.width, size.height)));
  state.options = static_cast<uint32_t>(flags);
  state.termination = TerminationOf(passParameter, state.options);
  const int bits = magnitudeBits >= 1 && magnitudeBits <= kMaxPlanes ? magnitudeBits : kMaxPlanes;
  kernels->model({pSrc, srcStep, size, orientation, bits, state.options, state.work, state.magnitudes},
                 state.recording);

  state.pass = 0;
  state.position = 0;
  state.stored = 0;
  state.mq = MqEncoder();
  state.packer = RawPacker();
  state.contexts.Reset();
  state.staged_begin = state.staged_end = 0;
  for (int i = 0; i < state.recording.passes; ++i) {
    state.rate[i] = 0;
    state.distortion[i] = Normalise(state.recording.distortion[i]);
  }
  *pNOfBitPlanes = static_cast<uint32_t>(state.recording.planes);
  *pNOfPasses = static_cast<uint32_t>(state.recording.passes);
  *pNOfSegments = LayOutSegments(&state);
  return zmcStatusOk;
}

ZmcStatus zmciEncodeStoreBits_JPEG2K_1u(uint8_t* pDst, int32_t* pDstLen, ZmciEncodeState_JPEG2K* pState,
                                        int32_t* pIsNotFinished) {
  if (ZmcStatus s = NotNull(pState)) return s;
  if (ZmcStatus s = FirstFailure(Tagged(pState), NotNull(pDst, pDstLen, pIsNotFinished))) return s;
  if (ZmcStatus s = Length(*pDstLen)) return s;
  ZmciEncodeState_JPEG2K& state = *pState;
  const int room = *pDstLen;
  int written = 0;
  for (;;) {
    const int staged = std::min(state.staged_end - state.staged_begin, room - written);
    std::memcpy(pDst + written, state.staging + state.staged_begin, static_cast<size_t>(staged));
    written += staged;
    state.staged_begin += staged;
    // With the room full, storing goes on until it is known whether another byte follows.
    if (state.Finished() || state.staged_begin < state.staged_end) break;
    if (room - written >= kStaging) {
      written += state.StoreSome(pDst + written, room - written);
    } else {
      state.staged_begin = 0;
      state.staged_end = state.StoreSome(state.staging, kStaging);
    }
  }
  *pDstLen = written;
  *pIsNotFinished = !state.Finished() || state.staged_begin < state.staged_end;
  return zmcStatusOk;
}

ZmcStatus zmciEncodeGetRate_JPEG2K(const ZmciEncodeState_JPEG2K* pState, int passIndex, uint32_t* pRate) {
  if (ZmcStatus s = NotNull(pState)) return s;
  if (ZmcStatus s =
          FirstFailure(Tagged(pState), NotNull(pRate),
                       Require(passIndex >= 0 && passIndex < pState->recording.passes, zmcStatusBadPassNumber))) {
    return s;
  }
  *pRate = pState->rate[passIndex];
  return zmcStatusOk;
}

ZmcStatus zmciEncodeGetDist_JPEG2K(const ZmciEncodeState_JPEG2K* pState, int passIndex, double* pDist) {
  if (ZmcStatus s = NotNull(pState)) return s;
  if (ZmcStatus s =
          FirstFailure(Tagged(pState), NotNull(pDist),
                       Require(passIndex >= 0 && passIndex < pState->recording.passes, zmcStatusBadPassNumber))) {
    return s;
  }
  double sum = 0;
  for (int i = 0; i <= passIndex; ++i) {
    const Distortion d = pState->distortion[i];
    const auto power = static_cast<double>(uint64_t{1} << std::abs(d.exponent));
    sum += d.mantissa * (d.exponent > 0 ? power : 1.0 / power);
  }
  *pDist = sum;
  return zmcStatusOk;
}

ZmcStatus zmciEncodeGetTermPassLen_JPEG2K(const ZmciEncodeState_JPEG2K* pState, int passIndex, uint32_t* pLength) {
  if (ZmcStatus s = NotNull(pState)) return s;
  if (ZmcStatus s = FirstFailure(Tagged(pState), NotNull(pLength))) return s;
  uint32_t begin = 0;
  for (int i = 0, segment = 0; i < pState->recording.passes; ++i) {
    if (!pState->terminated[i]) continue;
    if (segment++ == passIndex) {
      *pLength = std::max(pState->rate[i], begin) - begin;
      return zmcStatusOk;
    }
    begin = pState->rate[i];
  }
  return zmcStatusBadPassNumber;
}
