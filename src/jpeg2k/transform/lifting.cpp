// The table of wavelet kernels: the lifting engine at every level.
#include "jpeg2k/transform/lifting.h"

#include "jpeg2k/transform/lifting_single.h"

#define ZMCJ_WANT_AVX512
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jpeg2k/transform/lifting.cpp"
#include "core/foreach_level.h"

#if ZMCJ_VECTOR_LEVEL
HWY_BEFORE_NAMESPACE();
#include "jpeg2k/transform/lifting_lanes-inl.h"
namespace zmcj::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_AVX3 && (HWY_TARGETS & HWY_AVX2)
constexpr const WaveletKernels& kNarrower = N_AVX2::kWavelet;
#elif HWY_TARGET == HWY_AVX2 && (HWY_TARGETS & HWY_SSE4)
constexpr const WaveletKernels& kNarrower = N_SSE4::kWavelet;
#else
constexpr const WaveletKernels& kNarrower = kWaveletReference;
#endif
}  // namespace
}  // namespace zmcj::HWY_NAMESPACE
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
