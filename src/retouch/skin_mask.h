// The softened mask through which the skin tools work.
#ifndef ZEL_RETOUCH_SKIN_MASK_H_
#define ZEL_RETOUCH_SKIN_MASK_H_

#include "core/image.h"
#include "core/scratch.h"

namespace zel {

class SkinMask {
 public:
  // Weights up to `maximum` inside the rectangle (reordered and cut): for the colour around `point`, or for skin-like
  // hues without one; blurred by `sigma` pixels, or not at all for 0. 0 outside the rectangle. False for images without
  // three channels, for a point outside the image and without memory. A 16-bit image with a point has an empty mask.
  bool Build(const void* source, const Geometry& geometry, const ZelRect* rect, const ZelPoint* point, int32_t maximum,
             double sigma);

  const ImageDesc& desc() const { return desc_; }
  // Weights of row y from column x on.
  const uint8_t* Row(int32_t x, int32_t y) const {
    return weights_.data() + static_cast<size_t>(y) * static_cast<size_t>(desc_.width) + static_cast<size_t>(x);
  }

 private:
  Scratch<uint8_t> weights_;
  ImageDesc desc_{};
};

}  // namespace zel

#endif  // ZEL_RETOUCH_SKIN_MASK_H_
