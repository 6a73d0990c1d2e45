#include "retouch/wavelet.h"

namespace zel {

void LiftForward97(const WaveletKernels& kernels, double* low, double* high, double* outLow, double* outHigh,
                   size_t pairs) {
  kernels.LiftThenScale(low, high, kForwardSteps, kForwardScales, outLow, outHigh, pairs);
}

void LiftInverse97(const WaveletKernels& kernels, const double* low, const double* high, double* outLow,
                   double* outHigh, size_t pairs) {
  // Seen from the high-pass value before it, a low-pass value is the odd sample of a pair.
  constexpr double kScales[2] = {kInverseScales[1], kInverseScales[0]};
  kernels.ScaleThenLift(high - 1, low, kInverseSteps, kScales, outHigh - 1, outLow, pairs + 1);
}

void ColumnLift::Take(ptrdiff_t y) const {
  if (y >= 5 && y < height_) {
    kernels_.LiftRows(Row(y - 5), Row(y - 4), Row(y - 3), Row(y - 2), Row(y - 1), Row(y), steps_, length_);
    return;
  }
  for (ptrdiff_t step = 0; step < 4; ++step) {
    const ptrdiff_t target = y - 1 - step;
    if (target < 0 || target >= height_) continue;
    kernels_.LiftOnce(Row(target), Row(Mirrored(target - 1, height_)), Row(Mirrored(target + 1, height_)), steps_[step],
                      length_);
  }
}

}  // namespace zel
