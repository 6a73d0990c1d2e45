#include "color/hue_mask.h"

#include <algorithm>

namespace zel {

HueWeights::HueWeights(const uint16_t weights[360], int32_t shift) {
  for (size_t h = 0; h < kHueWeights; ++h) entries_[h] = h < 360 ? static_cast<uint8_t>(weights[h] >> shift) : 0;
}

void HueWeights::Weigh(const void* source, const Geometry& geometry, size_t sample, uint8_t* out, size_t pixels) const {
  const HueKernels& kernels = ActiveKernels().hue;
  if (geometry.bits == 8) {
    kernels.WeighHuesOfBytes(static_cast<const uint8_t*>(source) + sample, out, pixels, entries_, geometry.blueFirst);
  } else {
    kernels.WeighHuesOfWords(static_cast<const uint16_t*>(source) + sample, out, pixels, entries_, geometry.blueFirst);
  }
}

bool FillHueMask(const void* source, const Geometry& geometry, void* mask, const Geometry& maskGeometry,
                 const ZelRect* rect, const uint16_t weights[360]) {
  if (source == nullptr || mask == nullptr || !geometry.DescribesMemory() || !maskGeometry.DescribesMemory()) {
    return false;
  }
  const int32_t channels = maskGeometry.channels;
  if (geometry.width != maskGeometry.width || geometry.height != maskGeometry.height || geometry.channels != 3 ||
      (channels != 1 && channels != 3)) {
    return false;
  }
  const Region region = ClampedRegion(rect, geometry.width, geometry.height);
  if (region.IsEmpty()) return true;
  const HueWeights low(weights), high(weights, 8);
  constexpr int32_t kStrip = 256;
  uint8_t lowBytes[kStrip], highBytes[kStrip];
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const size_t sourceRow = geometry.RowOffset(y), maskRow = maskGeometry.RowOffset(y);
    if (maskGeometry.bits == 8 && channels == 1) {
      low.Weigh(source, geometry, sourceRow + static_cast<size_t>(region.left) * 3,
                static_cast<uint8_t*>(mask) + maskRow + region.left, region.Width());
      continue;
    }
    for (int32_t x = region.left; x < region.right; x += kStrip) {
      const size_t pixels = std::min(kStrip, region.right - x);
      const size_t first = sourceRow + static_cast<size_t>(x) * 3;
      size_t sample = maskRow + static_cast<size_t>(x) * channels;
      low.Weigh(source, geometry, first, lowBytes, pixels);
      if (maskGeometry.bits == 16) high.Weigh(source, geometry, first, highBytes, pixels);
      for (size_t p = 0; p < pixels; ++p) {
        for (int32_t k = 0; k < channels; ++k, ++sample) {
          if (maskGeometry.bits == 8) {
            static_cast<uint8_t*>(mask)[sample] = lowBytes[p];
          } else {
            static_cast<uint16_t*>(mask)[sample] = static_cast<uint16_t>(highBytes[p] << 8 | lowBytes[p]);
          }
        }
      }
    }
  }
  return true;
}

}  // namespace zel
