// The weights by which an adjustment keeps to a part of a picture.
#ifndef ZEL_SELECTIVE_MASK_H_
#define ZEL_SELECTIVE_MASK_H_

#include "core/blend.h"
#include "core/scratch.h"
#include "selective/picked_colour_mask.h"
#include "selective/region_hue_mask.h"

namespace zel {

// One byte for each pixel of an image. What is built keeps to its region; outside it the weights are 0. Images of 16
// bits are only asked whether a point lies in them: their weights are 0.
class Mask {
 public:
  // Weights up to `maximum` for the colour around `point`. False for images without three channels, for a point
  // outside the image and without memory.
  template <class T>
  bool BuildFromPoint(const View<const T>& image, const Region& region, const ZelPoint& point, int32_t maximum,
                      const PickTolerance& tolerance) {
    return Allocate(image.Whole(), region) &&
           BuildPickedColourMaskRaw(image, weights_, region_, point, maximum, tolerance);
  }

  // The same for the hues that are typical of foliage, sky or skin.
  bool BuildFromHues(const View<const uint8_t>& image, const Region& region, ColourRegion hues, int32_t tolerance,
                     int32_t maximum);

  // The same for skin: for the colour around `point`, or for skin-like hues without one, softened by `sigma` pixels.
  bool BuildSkin(const View<const uint8_t>& image, const Region& region, const ZelPoint* point, int32_t maximum,
                 double sigma);

  // By `sigma` pixels, or not at all for 0. False without memory.
  bool Blur(double sigma);

  // Screens the image with itself, which lifts shadows and mid-tones, where the weights are.
  void Screen(const View<const uint8_t>& image, const View<uint8_t>& output) const;

  const View<uint8_t>& weights() const { return weights_; }
  const uint8_t* At(int32_t x, int32_t y) const { return weights_.At(x, y); }

 private:
  bool Allocate(const Region& whole, const Region& region);

  Scratch<uint8_t> memory_;
  View<uint8_t> weights_;
  Region region_;
};

}  // namespace zel

#endif  // ZEL_SELECTIVE_MASK_H_
