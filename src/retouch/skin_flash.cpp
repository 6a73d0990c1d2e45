#include "retouch/skin_flash.h"

#include "core/rounding.h"
#include "selective/mask.h"
#include "selective/region_points.h"
#include "selective/region_tone.h"

namespace zel {

bool SkinFlashCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t strength,
                      double sigma) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    if (in.channels != 3) return false;
    if constexpr (sizeof(*in.data) == 1) {  // masks and blends of 16-bit images do not exist
      const Region region = GivenRegion(rect, in);
      Mask mask;
      if (!mask.BuildSkin(in, region, nullptr, static_cast<uint8_t>(MaskCeiling(strength)), sigma)) return false;
      mask.Screen(in, out, region);
    }
    return true;
  });
}

bool SkinFlash(const ImageDesc* source, const ImageDesc* destination, int32_t mode, const ZelPoint* point,
               int32_t strength, const ZelRect* rect) {
  if (point == nullptr) return SkinFlashCorrect(source, destination, rect, strength, 3.0);
  if (!IsSkinPoint(source, point)) return CopySource(source, destination, rect);
  const int32_t amount = mode == 1 ? strength : Saturated(static_cast<int64_t>(strength) * 3 / 4);
  return SeededToneEnhance(source, destination, *point, amount, rect);
}

}  // namespace zel
