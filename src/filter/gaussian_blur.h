// Gaussian blur in integer arithmetic.
#ifndef ZEL_FILTER_GAUSSIAN_BLUR_H_
#define ZEL_FILTER_GAUSSIAN_BLUR_H_

#include "core/view.h"
#include "simd/kernels.h"

namespace zel {

constexpr int32_t kMaxKernelLength = 2 * kMaxBlurReach + 1;

// Writes the symmetric weights of a Gaussian with the given standard deviation in pixels and returns how many they are:
// an odd number, at most kMaxKernelLength. They sum to about 1024, and the tails are cut where they stop to matter. A
// single weight of 1 below 0.1 and for not-a-number; the flat kernel of the greatest length for huge deviations and
// infinity. `weights` has room for kMaxKernelLength entries.
int32_t MakeGaussianKernel(int32_t* weights, double sigma);

// How many weights MakeGaussianKernel would write. No export comes here: for programs that plan how far a blur looks.
int32_t GaussianKernelLength(double sigma);

// The kernel as the row kernels want it: rescaled so that its sum comes near a power of two, which a shift then
// divides by. False when the kernel has a single weight, which means no blur.
bool MakeBlurWeights(double sigma, BlurWeights* weights);

// Blurs along rows, then along columns, each time rounded down to samples; beyond the image its edge is repeated. The
// rectangle (corners in any order) limits what is written, not what is looked at. When the kernel has a single weight
// the whole image is copied, whatever the rectangle. 1 and 3 channels, 8 and 16 bits; the destination may be the
// source. False, with nothing written, on images that differ or cannot be blurred and without memory.
bool GaussianBlur(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, double sigma);
template <class T>
bool GaussianBlurRaw(const Source<T>& source, const View<T>& destination, const Region& region, double sigma);

}  // namespace zel

#endif  // ZEL_FILTER_GAUSSIAN_BLUR_H_
