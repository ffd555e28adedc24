// The table of the code-block coder's kernels.
#include "jpeg2k/t1/mq_encoder.h"
#include "jpeg2k/t1/t1.h"

namespace zmcj::t1 {
namespace {

uint8_t* EncodeReference(MqEncoder& encoder, MqContexts& contexts, const uint8_t* decisions, int64_t n, uint8_t* out) {
  return EncodeDecisions(encoder, contexts, decisions, n, out);
}

constexpr Kernels kReference = {DecodeReference, ModelReference, EncodeReference};

}  // namespace

constinit Family<Kernels> kernels("code-block coder", kReference, {});

namespace {
const Enrolment enrolment(kernels);
}

}  // namespace zmcj::t1
