// Masks by hue: every pixel weighed by a table over the hue circle.
#ifndef ZEL_COLOR_HUE_MASK_H_
#define ZEL_COLOR_HUE_MASK_H_

#include "core/view.h"
#include "simd/kernels.h"

namespace zel {

// A table over the hue circle made ready to weigh rows by one byte of its entries, the one at `shift`.
class HueWeights {
 public:
  explicit HueWeights(const uint16_t weights[360], int32_t shift = 0);

  // Weights of pixels of three channels.
  void Weigh(const uint8_t* in, bool blueFirst, uint8_t* out, size_t pixels) const {
    kernels_.WeighHuesOfBytes(in, out, pixels, entries_, blueFirst);
  }
  void Weigh(const uint16_t* in, bool blueFirst, uint8_t* out, size_t pixels) const {
    kernels_.WeighHuesOfWords(in, out, pixels, entries_, blueFirst);
  }

 private:
  const HueKernels& kernels_ = ActiveKernels().hue;
  uint8_t entries_[kHuePlaces] = {};
};

// Writes weights[hue] of every image pixel in the region into all channels of its mask pixel, in an 8-bit mask the low
// byte of it. Hue and saturation are those of RgbToHsl; a saturation of 0 gives 0 whatever the hue. Pixels outside the
// region keep their weights.
//
// Image of three channels, mask of one or three, 8 and 16 bits each. False, with nothing written, when they differ in
// size or cannot be processed.
template <class T, class M>
bool FillHueMask(const View<const T>& image, const View<M>& mask, const Region& region, const uint16_t weights[360]);

}  // namespace zel

#endif  // ZEL_COLOR_HUE_MASK_H_
