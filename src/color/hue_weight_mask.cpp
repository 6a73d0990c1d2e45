#include "color/hue_weight_mask.h"

namespace zel {

bool BuildHueWeightMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, int32_t ceiling) {
  return WithImageAndMask(source, mask, [&](const auto& image, const auto& weights) {
    return BuildHueWeightMaskRaw(image, weights, ClampedRegion(rect, image), ceiling);
  });
}

}  // namespace zel
