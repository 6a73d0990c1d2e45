#include "retouch/skin_mask.h"

#include "color/hue_weight_mask.h"
#include "filter/gaussian_blur.h"
#include "selective/picked_colour_mask.h"

namespace zel {

bool SkinMask::Build(const void* source, const Geometry& geometry, const ZelRect* rect, const ZelPoint* point,
                     int32_t maximum, double sigma) {
  const Geometry layout = MaskGeometry(geometry.width, geometry.height);
  if (geometry.channels != 3 || !weights_.AllocateZeroed(layout.SampleCount())) return false;
  desc_ = Describe(weights_.data(), layout);
  const bool built = point == nullptr ? BuildHueWeightMaskRaw(source, geometry, weights_.data(), layout, rect, maximum)
                                      : BuildPickedColourMaskRaw(source, geometry, weights_.data(), layout, rect,
                                                                 *point, maximum, kFixedPickTolerance);
  return built && (sigma == 0.0 || GaussianBlurRaw(weights_.data(), weights_.data(), layout, rect, sigma));
}

}  // namespace zel
