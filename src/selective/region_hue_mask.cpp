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
  if (!IsUsable(source) || !IsUsable(mask)) return false;
  return BuildRegionHueMaskRaw(source->data, GeometryOf(*source), mask->data, GeometryOf(*mask), rect, region,
                               tolerance, maximum);
}

bool BuildRegionHueMaskRaw(const void* source, const Geometry& geometry, void* mask, const Geometry& maskGeometry,
                           const ZelRect* rect, ColourRegion region, int32_t tolerance, int32_t maximum) {
  if (region != kSkin && region != kFoliage && region != kSky) return false;
  uint16_t weights[360];
  FillWeights(TypicalHue(region), std::max(10, tolerance),
              std::min(std::max(maximum, 0), maskGeometry.bits == 8 ? 255 : 65535), weights);
  return FillHueMask(source, geometry, mask, maskGeometry, rect, weights);
}

}  // namespace zel
