#include "selective/region_tone.h"

#include <algorithm>

#include "core/blend.h"
#include "core/scratch.h"
#include "filter/gaussian_blur.h"
#include "selective/picked_colour_mask.h"
#include "selective/region_points.h"

namespace zel {

int32_t MaskCeiling(int32_t strength) {
  const int64_t ceiling = static_cast<int64_t>(strength) * 192 / 100;
  return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(ceiling, INT32_MIN), 255));
}

bool SeededToneEnhance(const ImageDesc* source, const ImageDesc* destination, const ZelPoint& point, int32_t amount,
                       const ZelRect* rect) {
  if (amount == 0) return CopySource(source, destination, rect);
  if (!SameImageLayout(source, destination)) return false;
  return ToneEnhanceInRegion(source->data, destination->data, GeometryOf(*source), rect, point, amount, 3.0);
}

bool RegionTone(const ImageDesc* source, const ImageDesc* destination, ColourRegion region, const ZelPoint* point,
                int32_t amount, const ZelRect* rect) {
  if (point == nullptr) return false;
  return IsPointOf(region, source, point) ? SeededToneEnhance(source, destination, *point, amount, rect)
                                          : CopySource(source, destination, rect);
}

bool ToneEnhanceInRegion(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                         const ZelPoint& point, int32_t amount, double sigma) {
  if (!geometry.DescribesMemory() || (geometry.channels != 1 && geometry.channels != 3)) return false;
  const Geometry maskGeometry = MaskGeometry(geometry.width, geometry.height);
  // Zeroed, because the blur looks beyond the rectangle.
  Scratch<uint8_t> mask;
  if (!mask.AllocateZeroed(maskGeometry.SampleCount())) return false;
  if (!BuildPickedColourMaskRaw(source, geometry, mask.data(), maskGeometry, rect, point, MaskCeiling(amount),
                                kFixedPickTolerance)) {
    return false;
  }
  if (geometry.bits != 8) return true;  // neither mask nor blend go beyond 8 bits
  if (sigma != 0.0 && !GaussianBlurRaw(mask.data(), mask.data(), maskGeometry, rect, sigma)) return false;

  const ImageDesc from = Describe(source, geometry), to = Describe(destination, geometry);
  const ImageDesc weights = Describe(mask.data(), maskGeometry);
  MaskBlend(&from, &from, &to, &weights, kScreen, rect);
  return true;
}

}  // namespace zel
