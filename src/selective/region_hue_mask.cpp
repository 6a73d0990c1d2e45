#include "selective/region_hue_mask.h"

#include <algorithm>

#include "color/hue_mask.h"

namespace zel {

namespace {

int32_t TypicalHue(ColourRegion region) {
  return region == kSkin ? 10 : region == kFoliage ? 105 : 240;
}

// A trapezoid wound round the hue circle as often as it is long. Later turns replace earlier ones, the rising slope
// replaces the full band and the falling one both, so only the last turn of each needs to be walked.
void FillWeights(int64_t centre, int64_t tolerance, int64_t maximum, uint16_t weights[360]) {
  const int64_t half = tolerance >> 1, low = centre - half, high = centre + half;
  const auto fill = [weights](int64_t from, int64_t end, auto weight) {
    for (int64_t h = std::max(from, end - 360); h < end; ++h) {
      weights[(h % 360 + 360) % 360] = static_cast<uint16_t>(weight(h));
    }
  };
  std::fill(weights, weights + 360, uint16_t{0});
  fill(low, high + 1, [&](int64_t) { return maximum; });
  fill(low - tolerance, low, [&](int64_t h) { return (h - (low - tolerance)) * maximum / tolerance; });
  fill(high, high + tolerance, [&](int64_t h) { return (tolerance - (h - high)) * maximum / tolerance; });
}

}  // namespace

bool BuildRegionHueMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, ColourRegion region,
                        int32_t tolerance, int32_t maximum) {
  return WithImageAndMask(source, mask, [&](const auto& image, const auto& weights) {
    return BuildRegionHueMaskRaw(image, weights, ClampedRegion(rect, image.Whole()), region, tolerance, maximum);
  });
}

template <class T, class M>
bool BuildRegionHueMaskRaw(const View<const T>& image, const View<M>& mask, const Region& region, ColourRegion hues,
                           int32_t tolerance, int32_t maximum) {
  if (hues != kSkin && hues != kFoliage && hues != kSky) return false;
  uint16_t weights[360];
  FillWeights(TypicalHue(hues), std::max(10, tolerance), std::min(std::max(maximum, 0), kLast<M>), weights);
  return FillHueMask(image, mask, region, weights);
}

template bool BuildRegionHueMaskRaw(const View<const uint8_t>&, const View<uint8_t>&, const Region&, ColourRegion,
                                    int32_t, int32_t);

}  // namespace zel
