#include "selective/region_tone.h"

#include <algorithm>

#include "selective/mask.h"
#include "selective/region_points.h"

namespace zel {

int32_t MaskCeiling(int32_t strength) {
  const int64_t ceiling = static_cast<int64_t>(strength) * 192 / 100;
  return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(ceiling, INT32_MIN), 255));
}

bool SeededToneEnhance(const ImageDesc* source, const ImageDesc* destination, const ZelPoint& point, int32_t amount,
                       const ZelRect* rect) {
  if (amount == 0) return CopySource(source, destination, rect);
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return ToneEnhanceInRegion(in, out, GivenRegion(rect, in.Whole()), point, amount, 3.0);
  });
}

bool RegionTone(const ImageDesc* source, const ImageDesc* destination, ColourRegion region, const ZelPoint* point,
                int32_t amount, const ZelRect* rect) {
  if (point == nullptr) return false;
  return IsPointOf(region, source, point) ? SeededToneEnhance(source, destination, *point, amount, rect)
                                          : CopySource(source, destination, rect);
}

template <class T>
bool ToneEnhanceInRegion(const Source<T>& source, const View<T>& destination, const Region& region,
                         const ZelPoint& point, int32_t amount, double sigma) {
  if (source.channels != 3) return false;
  Mask mask;
  if (!mask.BuildFromPoint(source, region, point, MaskCeiling(amount), kFixedPickTolerance)) return false;
  if constexpr (sizeof(T) == 1) {  // neither mask nor blend go beyond 8 bits
    if (!mask.Blur(sigma)) return false;
    mask.Screen(source, destination);
  }
  return true;
}

template bool ToneEnhanceInRegion(const Source<uint8_t>&, const View<uint8_t>&, const Region&, const ZelPoint&, int32_t,
                                  double);
template bool ToneEnhanceInRegion(const Source<uint16_t>&, const View<uint16_t>&, const Region&, const ZelPoint&,
                                  int32_t, double);

}  // namespace zel
