// The lifting engine on registers of one lane, compiled for the plain machine: what every other level's bits must
// equal.
#include "jpeg2k/transform/lifting.h"
#include "jpeg2k/transform/lifting_single.h"

namespace zmcj::reference {
namespace {
constexpr const WaveletKernels& kNarrower = kWaveletReference;
}  // namespace
}  // namespace zmcj::reference

#define ZMCJ_LIFTING_NAMESPACE reference
#include "jpeg2k/transform/lifting-inl.h"

namespace zmcj {

const WaveletKernels kWaveletReference = reference::WaveletKernelsOf<Single>();

}  // namespace zmcj
