// Masks by hue: every pixel weighed by a table over the hue circle.
#ifndef ZEL_COLOR_HUE_MASK_H_
#define ZEL_COLOR_HUE_MASK_H_

#include "core/image.h"
#include "simd/kernels.h"

namespace zel {

// A table over the hue circle made ready to weigh rows by one byte of its entries, the one at `shift`.
class HueWeights {
 public:
  explicit HueWeights(const uint16_t weights[360], int32_t shift = 0);

  // Weights of the pixels from `sample` on in an image of three channels, 8 or 16 bits.
  void Weigh(const void* source, const Geometry& geometry, size_t sample, uint8_t* out, size_t pixels) const;

 private:
  uint8_t entries_[kHueWeights];
};

// Writes weights[hue] of every source pixel in the rectangle (reordered and cut) into all channels of its mask pixel,
// in an 8-bit mask the low byte of it. Hue and saturation are those of RgbToHsl; a saturation of 0 gives 0 whatever the
// hue. Pixels outside the rectangle keep their weights.
//
// Source of three channels, mask of one or three, 8 and 16 bits each. False, with nothing written, when the images
// differ in size or cannot be processed.
bool FillHueMask(const void* source, const Geometry& geometry, void* mask, const Geometry& maskGeometry,
                 const ZelRect* rect, const uint16_t weights[360]);

}  // namespace zel

#endif  // ZEL_COLOR_HUE_MASK_H_
