#include "color/hue_weight_mask.h"

namespace zel {

bool BuildHueWeightMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, int32_t ceiling) {
  return WithImageAndMask(source, mask, [&](const auto& image, const auto& weights) {
    uint16_t byHue[360];
    MakeHueWeights<std::remove_pointer_t<decltype(weights.data)>>(ceiling, byHue);
    return FillHueMask(image, weights, ClampedRegion(rect, image.Whole()), byHue);
  });
}

}  // namespace zel
