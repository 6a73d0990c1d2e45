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

void AdjustLatticeHueSaturation(uint8_t* lattice, int32_t hue, int32_t saturation) {
  AdjustRow(lattice, lattice, kLatticeNodes, false, hue, saturation);
}

template <class T>
bool HueSaturationSamples(const Source<T>& source, const View<T>& destination, const Region& region, int32_t hue,
                          int32_t saturation, bool throughLattice) {
  if (source.channels != 3) return false;
  if (throughLattice) {
    uint8_t lattice[kLatticeSamples];
    FillIdentityLattice(lattice);
    AdjustLatticeHueSaturation(lattice, hue, saturation);
    return ApplyColorLattice(source, destination, region, lattice);
  }
  const size_t first = static_cast<size_t>(region.left) * (sizeof(T) == 1 ? 3 : 1);
  for (int32_t y = region.top; y < region.bottom && !region.IsEmpty(); ++y) {
    const size_t offset = source.RowOffset(y) + first;
    AdjustRow(source.data + offset, destination.data + offset, region.Width(), source.blueFirst, hue, saturation);
  }
  return true;
}

bool ApplyHueSaturation(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t hue,
                        int32_t saturation, bool throughLattice) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return HueSaturationSamples(in, out, ClampedRegion(rect, in.Whole()), hue, saturation, throughLattice);
  });
}

template bool HueSaturationSamples(const Source<uint8_t>&, const View<uint8_t>&, const Region&, int32_t, int32_t, bool);
template bool HueSaturationSamples(const Source<uint16_t>&, const View<uint16_t>&, const Region&, int32_t, int32_t,
                                   bool);

}  // namespace zel
