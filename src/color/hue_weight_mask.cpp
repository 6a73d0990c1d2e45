#include "color/hue_weight_mask.h"

#include <algorithm>

#include "color/hue_mask.h"

namespace zel {

void MakeHueWeights(int32_t ceiling, int32_t maskBits, uint16_t weights[360]) {
  const int32_t w = std::min(std::max(ceiling, 0), maskBits == 8 ? 255 : 65535);
  for (int32_t h = 0; h < 360; ++h) {
    const int32_t parts = h <= 20 ? 25 : h < 45 ? 45 - h : h > 335 ? h - 335 : 0;
    weights[h] = static_cast<uint16_t>(w * parts / 25);
  }
}

bool BuildHueWeightMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, int32_t ceiling) {
  if (!IsUsable(source) || !IsUsable(mask)) return false;
  return BuildHueWeightMaskRaw(source->data, GeometryOf(*source), mask->data, GeometryOf(*mask), rect, ceiling);
}

bool BuildHueWeightMaskRaw(const void* source, const Geometry& geometry, void* mask, const Geometry& maskGeometry,
                           const ZelRect* rect, int32_t ceiling) {
  uint16_t weights[360];
  MakeHueWeights(ceiling, maskGeometry.bits, weights);
  return FillHueMask(source, geometry, mask, maskGeometry, rect, weights);
}

}  // namespace zel
