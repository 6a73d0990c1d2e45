#include "color/hue_mask.h"

#include <algorithm>

namespace zel {

HueWeights::HueWeights(const uint16_t weights[360], int32_t shift) {
  for (int32_t colour = 0; colour < 3; ++colour) {
    for (int32_t degrees = -60; degrees <= 60; ++degrees) {
      const int32_t hue = (120 * colour + degrees + 360) % 360;
      entries_[128 * colour + 60 + degrees] = static_cast<uint8_t>(weights[hue] >> shift);
    }
  }
}

template <class T, class M>
bool FillHueMask(const View<const T>& image, const View<M>& mask, const Region& region, const uint16_t weights[360]) {
  if (image.width != mask.width || image.height != mask.height || image.channels != 3) return false;
  if (mask.channels != 1 && mask.channels != 3) return false;
  if (region.IsEmpty()) return true;
  const HueWeights low(weights), high(weights, 8);
  constexpr int32_t kStrip = 256;
  uint8_t lowBytes[kStrip], highBytes[kStrip];
  for (int32_t y = region.top; y < region.bottom; ++y) {
    if constexpr (sizeof(M) == 1) {
      if (mask.channels == 1) {
        low.Weigh(image.At(region.left, y), image.blueFirst, mask.At(region.left, y), region.Width());
        continue;
      }
    }
    for (int32_t x = region.left; x < region.right; x += kStrip) {
      const size_t pixels = std::min(kStrip, region.right - x);
      M* out = mask.At(x, y);
      low.Weigh(image.At(x, y), image.blueFirst, lowBytes, pixels);
      if (sizeof(M) == 2) high.Weigh(image.At(x, y), image.blueFirst, highBytes, pixels);
      for (size_t p = 0; p < pixels; ++p) {
        const int32_t weight = sizeof(M) == 1 ? lowBytes[p] : highBytes[p] << 8 | lowBytes[p];
        for (int32_t k = 0; k < mask.channels; ++k) *out++ = static_cast<M>(weight);
      }
    }
  }
  return true;
}

template bool FillHueMask(const View<const uint8_t>&, const View<uint8_t>&, const Region&, const uint16_t*);
template bool FillHueMask(const View<const uint8_t>&, const View<uint16_t>&, const Region&, const uint16_t*);
template bool FillHueMask(const View<const uint16_t>&, const View<uint8_t>&, const Region&, const uint16_t*);
template bool FillHueMask(const View<const uint16_t>&, const View<uint16_t>&, const Region&, const uint16_t*);

}  // namespace zel
