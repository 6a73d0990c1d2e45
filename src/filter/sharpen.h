// Sharpening, and the general 3 x 3 convolution behind it.
#ifndef ZEL_FILTER_SHARPEN_H_
#define ZEL_FILTER_SHARPEN_H_

#include "core/image.h"

namespace zel {

// Convolves with nine weights, row by row from the top left one, and divides by the divisor: every sample becomes the
// weighted sum of itself and its eight neighbours in the same channel; the image's edge is repeated beyond it. Divisors
// up to 256 are folded into weights in 1024ths, each truncated; larger ones divide the sum. Writes the rectangle grown
// by one pixel on each side. The records agree in width, height and format, each with its own stride; they may be the
// same image. 1 and 3 channels, 8 bits. False, with nothing written, on other images, a divisor below 1 or without
// memory.
bool Convolve3x3(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const int32_t kernel[9],
                 int32_t divisor);

// Pushes each sample away from its four neighbours; 100 is strong. An odd amount brightens flat areas by about two per
// cent, because the neighbours' weights are halved with truncation. Amounts beyond a billion count as a billion.
bool Sharpen(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount);

}  // namespace zel

#endif  // ZEL_FILTER_SHARPEN_H_
