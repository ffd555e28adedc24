// The order of a block's coding passes, the opening of their segments, and the checks at their ends: the same for every
// implementation of the passes themselves.
#pragma once

#include "jpeg2k/t1/t1.h"

namespace zmcj::t1 {

// The caller's list of segments. Where the passes need more than it holds, the further ones are empty.
class Segments {
 public:
  explicit Segments(const DecodeJob& job) : data_(job.src), length_(job.segment_lengths), left_(job.segments) {}

  template <class Open>
  void Next(Open open) {
    const int64_t length = left_ > 0 ? *length_ : 0;
    open(data_, length);
    if (left_ == 0) return;
    data_ += length;
    ++length_;
    --left_;
  }

 private:
  const uint8_t* data_;
  const uint32_t* length_;
  uint32_t left_;
};

// Coder: OpenMq and OpenRaw (data, length); ResetContexts; the three passes, the first two (plane, raw);
// SegmentationSymbol, which decodes the four decisions; MqEndFault and RawEndFault.
template <class Coder>
DecodeEnd DecodePasses(Coder& coder, const DecodeJob& job) {
  const bool each = (job.options & kTerminateEachPass) != 0;
  const bool check = (job.options & kCheckTermination) != 0;
  Segments segments(job);
  bool last_raw = true;
  Pass pass = Pass::kCleanup;
  int plane = job.planes - 1;
  for (int left = job.passes; plane >= 0 && left > 0;) {
    const bool raw = IsRaw(job.options, pass, plane, job.planes);
    if (raw != last_raw || each) {
      if (raw) {
        segments.Next([&](const uint8_t* data, int64_t length) { coder.OpenRaw(data, length); });
      } else {
        segments.Next([&](const uint8_t* data, int64_t length) { coder.OpenMq(data, length); });
      }
      last_raw = raw;
    }
    const bool ends_before_raw = pass == Pass::kCleanup && (job.options & kBypass) != 0 && plane == job.planes - 4;
    const bool checked = check && (each || left == 1 || ends_before_raw);
    bool fault = false;
    if (pass == Pass::kSignificance) coder.Significance(plane, raw);
    if (pass == Pass::kRefinement) coder.Refinement(plane, raw);
    if (pass == Pass::kCleanup) {
      coder.Cleanup(plane);
      if (job.options & kSegmentationSymbols) fault = coder.SegmentationSymbol() != 0b1010;
    }
    if (raw) {
      // The padding is checked wherever a raw segment is known to end.
      if (checked || pass == Pass::kRefinement) fault = coder.RawEndFault();
    } else {
      if (checked) fault = coder.MqEndFault();
      if (job.options & kResetContexts) coder.ResetContexts();
    }
    if (fault) return {plane, true};
    if (--left < 1) break;
    if (pass == Pass::kCleanup) {
      pass = Pass::kSignificance;
      --plane;
    } else {
      pass = pass == Pass::kSignificance ? Pass::kRefinement : Pass::kCleanup;
    }
  }
  return {plane, false};
}

// The same order for the encoder: calls code(pass, plane) for all passes of the planes and returns their number.
template <class Code>
int ForEachPass(int planes, Code code) {
  int passes = 0;
  for (int plane = planes - 1; plane >= 0; --plane) {
    for (const Pass pass : {Pass::kSignificance, Pass::kRefinement, Pass::kCleanup}) {
      if (plane == planes - 1 && pass != Pass::kCleanup) continue;
      code(passes++, pass, plane);
    }
  }
  return passes;
}

}  // namespace zmcj::t1
