#include "retouch/skin_flash.h"

#include "core/rounding.h"
#include "selective/mask.h"
#include "selective/region_tone.h"

namespace zel {

bool SkinFlash(const ImageDesc* source, const ImageDesc* destination, int32_t mode, const ZelPoint* point,
               int32_t strength, const ZelRect* rect) {
  if (point != nullptr) {
    const int32_t amount = mode == 1 ? strength : Saturated(static_cast<int64_t>(strength) * 3 / 4);
    return RegionTone(source, destination, kSkin, point, amount, rect);
  }
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    if (in.channels != 3) return false;
    if constexpr (sizeof(*in.data) == 1) {  // masks and blends of 16-bit images do not exist
      const uint8_t ceiling = static_cast<uint8_t>(MaskCeiling(strength));
      Mask mask;
      if (!mask.BuildSkin(in, GivenRegion(rect, in.Whole()), nullptr, ceiling, 3.0)) return false;
      mask.Screen(in, out);
    }
    return true;
  });
}

}  // namespace zel
