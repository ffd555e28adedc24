// The table of wavelet kernels.
#include "jpeg2k/transform/lifting.h"

namespace zmcj {

constinit Family<WaveletKernels> wavelet_family("wavelet", kWaveletReference, {});
static const Enrolment enrolment(wavelet_family);

}  // namespace zmcj
