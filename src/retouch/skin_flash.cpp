#include "retouch/skin_flash.h"

#include "core/blend.h"
#include "core/rounding.h"
#include "retouch/skin_mask.h"
#include "selective/region_points.h"
#include "selective/region_tone.h"

namespace zel {

bool SkinFlashCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t strength,
                      double sigma) {
  if (!SameImageLayout(source, destination)) return false;
  const Geometry geometry = GeometryOf(*source);
  if (geometry.channels != 3) return false;
  if (geometry.bits != 8) return true;  // masks and blends of 16-bit images do not exist
  SkinMask mask;
  if (!mask.Build(source->data, geometry, rect, nullptr, static_cast<uint8_t>(MaskCeiling(strength)), sigma)) {
    return false;
  }
  MaskBlend(source, source, destination, &mask.desc(), kScreen, rect);
  return true;
}

bool SkinFlash(const ImageDesc* source, const ImageDesc* destination, int32_t mode, const ZelPoint* point,
               int32_t strength, const ZelRect* rect) {
  if (point == nullptr) return SkinFlashCorrect(source, destination, rect, strength, 3.0);
  if (!IsSkinPoint(source, point)) return CopySource(source, destination, rect);
  const int32_t amount = mode == 1 ? strength : Saturated(static_cast<int64_t>(strength) * 3 / 4);
  return SeededToneEnhance(source, destination, *point, amount, rect);
}

}  // namespace zel
