// The table of wavelet kernels: the lifting engine at every level.
#include "jpeg2k/transform/lifting.h"

#include "jpeg2k/transform/lifting_single.h"

#define ZMCJ_WANT_AVX512
#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg2k/transform/lifting.cpp"
#include "core/foreach_level.h"

#if ZMCJ_VECTOR_LEVEL
HWY_BEFORE_NAMESPACE();
#include "jpeg2k/transform/lifting_lanes-inl.h"
#undef ZMCJ_LIFTING_NAMESPACE
#define ZMCJ_LIFTING_NAMESPACE HWY_NAMESPACE
#include "jpeg2k/transform/lifting-inl.h"
namespace zmcj::HWY_NAMESPACE {
extern constexpr WaveletKernels kWavelet = WaveletKernelsOf<Lanes>();
}
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zmcj {

constinit Family<WaveletKernels> wavelet_family("wavelet", kWaveletReference, {ZMCJ_LEVELS(kWavelet)});
static const Enrolment enrolment(wavelet_family);

}  // namespace zmcj
#endif
