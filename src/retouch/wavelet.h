// The 9/7 biorthogonal wavelet by lifting: along a row, and down the columns of a strip of rows that streams by.
#ifndef ZEL_RETOUCH_WAVELET_H_
#define ZEL_RETOUCH_WAVELET_H_

#include <cstddef>

#include "simd/kernels.h"

namespace zel {

// Pairs of samples that lifting needs on either side of those it is right for.
constexpr size_t kLiftMargin = 2;

constexpr double kForwardSteps[4] = {-1.586134342, -0.05298011854, 0.8829110762, 0.4435068522};
constexpr double kInverseSteps[4] = {-0.4435068522, -0.8829110762, 0.05298011854, 1.586134342};
// Of low-pass and high-pass values, at the end of the forward and at the start of the inverse transform.
constexpr double kForwardScales[2] = {1.149604398, 0.869864452};
constexpr double kInverseScales[2] = {0.869864452275695, 1.1496043983643558};

// Index i of a signal of n samples continued beyond both ends as its mirror image, the end samples not repeated.
inline ptrdiff_t Mirrored(ptrdiff_t i, ptrdiff_t n) {
  while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
  return i;
}

// Turns samples into `pairs` low-pass and high-pass values. `low` holds the even and `high` the odd samples; both reach
// kLiftMargin pairs further to either side, mirrored where the signal ends, and are spoilt.
void LiftForward97(const WaveletKernels& kernels, double* low, double* high, double* outLow, double* outHigh,
                   size_t pairs);

// Turns low-pass and high-pass values into `pairs` even and odd samples. The values reach kLiftMargin pairs further to
// either side; so do the outputs, which are spoilt there, and one more high one on the left.
void LiftInverse97(const WaveletKernels& kernels, const double* low, const double* high, double* outLow,
                   double* outHigh, size_t pairs);

// The same lifting down the columns, rows coming one after the other. Eight rows are kept in a ring; scaling is left to
// the caller.
class ColumnLift {
 public:
  static constexpr size_t kRows = 8;

  // `rows` holds kRows rows of `length` values, `stride` apart.
  ColumnLift(const WaveletKernels& kernels, const double* steps, double* rows, size_t stride, size_t length,
             ptrdiff_t height)
      : kernels_(kernels), steps_(steps), rows_(rows), stride_(stride), length_(length), height_(height) {}

  double* Row(ptrdiff_t y) const { return rows_ + static_cast<size_t>(y) % kRows * stride_; }

  // Takes in row y and the one before it. Rows y - 3 and y - 4 are then what the transform makes of them; row y - 3 may
  // be read but not changed. To be called for every other y in ascending order, and beyond the last row until all are
  // done: from 0 on for the forward transform, from 1 on for the inverse.
  void Take(ptrdiff_t y) const;

 private:
  const WaveletKernels& kernels_;
  const double* steps_;
  double* rows_;
  size_t stride_, length_;
  ptrdiff_t height_;
};

}  // namespace zel

#endif  // ZEL_RETOUCH_WAVELET_H_
