// Sharpening, and the general 3 x 3 convolution behind it.
#ifndef ZEL_FILTER_SHARPEN_H_
#define ZEL_FILTER_SHARPEN_H_

#include "core/scratch.h"
#include "core/view.h"
#include "simd/kernels.h"

namespace zel {

// Convolves with nine weights, row by row from the top left one, and divides by the divisor: every sample becomes the
// weighted sum of itself and its eight neighbours in the same channel; the image's edge is repeated beyond it. Divisors
// up to 256 are folded into weights in 1024ths, each truncated; larger ones divide the sum. Writes the rectangle grown
// by one pixel on each side. The records agree in width, height and format, each with its own stride; they may be the
// same image. 1 and 3 channels, 8 bits. False, with nothing written, on other images, a divisor below 1 or without
// memory.
bool Convolve3x3(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const int32_t kernel[9],
                 int32_t divisor);

// The same row by row, for operations that go on with the result at once. The source rows of a line are not read again
// by later ones, so the source may be overwritten with what Next wrote.
class ConvolvedRows {
 public:
  // Convolves a region inside the image; a divisor from 1. False without memory.
  bool Start(const View<const uint8_t>& source, const Region& region, const int32_t kernel[9], int32_t divisor);

  // Writes the region's part of the next row, from region top to bottom.
  void Next(uint8_t* out);

 private:
  uint8_t* Line(int32_t y) const { return lines_.data() + y % 3 * lineBytes_; }
  void Load(int32_t y);

  View<const uint8_t> source_;
  decltype(ConvolveKernels::Convolve3x3) convolve_ = nullptr;
  Region region_;
  int32_t y_ = 0;
  int64_t weights_[9] = {};        // in 1024ths when the divisor is folded in
  int32_t narrowWeights_[9] = {};  // the same for the row kernel
  int32_t divisor_ = 0;            // 0 when folded in
  bool narrow_ = false;            // whether the row kernel can count with these weights
  size_t lineBytes_ = 0;
  Scratch<uint8_t> lines_;  // three source rows with a pixel on each side, row y in line y % 3
};

// The kernel of an amount, for a divisor of kSharpenDivisor.
constexpr int32_t kSharpenDivisor = 100;
void MakeSharpenKernel(int32_t amount, int32_t kernel[9]);

// Pushes each sample away from its four neighbours; 100 is strong. An odd amount brightens flat areas by about two per
// cent, because the neighbours' weights are halved with truncation. Amounts beyond a billion count as a billion.
bool Sharpen(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount);

}  // namespace zel

#endif  // ZEL_FILTER_SHARPEN_H_
