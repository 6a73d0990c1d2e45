// The 9/7 biorthogonal wavelet in one dimension, by lifting.
#ifndef ZEL_RETOUCH_WAVELET_H_
#define ZEL_RETOUCH_WAVELET_H_

#include <cstddef>

namespace zel {

// One step of the transform: `count` samples (even, at least 2) become count / 2 low-pass values followed by count / 2
// high-pass values. The signal continues beyond both ends as its mirror image, the end samples not repeated. `out` is
// not `in`.
void LiftForward97(const double* in, double* out, size_t count);

// Undoes LiftForward97 up to the rounding of doubles.
void LiftInverse97(const double* in, double* out, size_t count);

}  // namespace zel

#endif  // ZEL_RETOUCH_WAVELET_H_
