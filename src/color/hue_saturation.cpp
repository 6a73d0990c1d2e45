#include "color/hue_saturation.h"

#include <algorithm>

#include "color/adjust_hsl.h"
#include "color/color_lattice.h"

namespace zel {

namespace {

void Adjust(AdjustHsl* hsl, int32_t hue, int32_t saturation) {
  if (hsl->hue == kAchromatic) return;
  const int32_t change = std::min(std::max(saturation, -100), 100);
  hsl->hue += NormalisedHueShift(hue);
  hsl->saturation = std::min((change + 100) * hsl->saturation / 100, 100);
}

template <class T>
void AdjustRow(const T* in, T* out, int32_t pixels, bool blueFirst, int32_t hue, int32_t saturation) {
  const int32_t red = blueFirst ? 2 : 0, blue = 2 - red;
  for (int32_t p = 0; p < pixels; ++p, in += 3, out += 3) {
    T pixel[3] = {in[red], in[1], in[blue]};
    if constexpr (sizeof(T) == 1) {
      AdjustHueSaturationPixel(pixel, pixel, hue, saturation);
    } else {
      AdjustHueSaturationPixel16(pixel, pixel, hue, saturation);
    }
    out[red] = pixel[0];
    out[1] = pixel[1];
    out[blue] = pixel[2];
  }
}

}  // namespace

void AdjustHueSaturationPixel(const uint8_t in[3], uint8_t out[3], int32_t hue, int32_t saturation) {
  AdjustHsl hsl = AnalyseHsl(in[0], in[1], in[2]);
  Adjust(&hsl, hue, saturation);
  int32_t result[3];
  SynthesiseHsl(hsl, result);
  for (int32_t k = 0; k < 3; ++k) out[k] = static_cast<uint8_t>(result[k]);
}

void AdjustHueSaturationPixel16(const uint16_t in[3], uint16_t out[3], int32_t hue, int32_t saturation) {
  AdjustHsl hsl = AnalyseHsl16(in[0], in[1], in[2]);
  Adjust(&hsl, hue, saturation);
  int32_t result[3];
  SynthesiseHsl16(hsl, result);
  for (int32_t k = 0; k < 3; ++k) out[k] = static_cast<uint16_t>(result[k]);
}

bool AdjustLatticeHueSaturation(void* lattice, int32_t bits, int32_t hue, int32_t saturation) {
  if (lattice == nullptr || bits != 8) return false;
  uint8_t* const nodes = static_cast<uint8_t*>(lattice);
  AdjustRow(nodes, nodes, kLatticeNodes, false, hue, saturation);
  return true;
}

bool HueSaturationSamples(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                          int32_t hue, int32_t saturation, bool throughLattice) {
  if (source == nullptr || destination == nullptr || geometry.channels != 3 || !geometry.DescribesMemory()) {
    return false;
  }
  if (throughLattice) {
    uint8_t lattice[kLatticeSamples];
    MakeColorLattice(lattice, 8);
    AdjustLatticeHueSaturation(lattice, 8, hue, saturation);
    return ApplyColorLattice(source, destination, geometry, rect, lattice, 8);
  }
  const Region region = ClampedRegion(rect, geometry.width, geometry.height);
  if (region.IsEmpty()) return true;
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const size_t row = geometry.RowOffset(y), left = region.left;
    if (geometry.bits == 8) {
      AdjustRow(static_cast<const uint8_t*>(source) + row + 3 * left,
                static_cast<uint8_t*>(destination) + row + 3 * left, region.Width(), geometry.blueFirst, hue,
                saturation);
    } else {
      AdjustRow(static_cast<const uint16_t*>(source) + row + left, static_cast<uint16_t*>(destination) + row + left,
                region.Width(), geometry.blueFirst, hue, saturation);
    }
  }
  return true;
}

bool ApplyHueSaturation(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t hue,
                        int32_t saturation, bool throughLattice) {
  if (!SameImageLayout(source, destination)) return false;
  return HueSaturationSamples(source->data, destination->data, GeometryOf(*source), rect, hue, saturation,
                              throughLattice);
}

}  // namespace zel
