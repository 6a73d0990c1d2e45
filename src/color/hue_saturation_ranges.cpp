#include "color/hue_saturation_ranges.h"

#include <algorithm>

#include "color/adjust_hsl.h"
#include "color/color_lattice.h"

namespace zel {

namespace {

// Sums of callers' values are formed in 64 bits.
int64_t Limited(int64_t value, int64_t low, int64_t high) {
  return std::min(std::max(value, low), high);
}

// The circle in twelve pieces of 30 degrees, plateaus and transitions in turn; the first plateau is red's, from 345.
struct Piece {
  explicit Piece(int32_t hue) {
    const int32_t turned = (hue + 15) % 360;
    lower = turned / 60 + 1;
    higher = lower % 6 + 1;
    isPlateau = turned / 30 % 2 == 0;
    t = turned % 30;
  }
  int64_t Value(const int32_t* settings) const {
    if (isPlateau) return settings[lower];
    return static_cast<int64_t>(settings[higher]) * t / 30 + static_cast<int64_t>(settings[lower]) * (30 - t) / 30;
  }
  int32_t lower, higher, t;
  bool isPlateau;
};

int32_t Lightened(int32_t c, int64_t t) {
  if (t < 0) return static_cast<int32_t>(Limited(((t + 100) * c + 50) / 100, 0, 255));
  if (t > 0) return static_cast<int32_t>(Limited(c + ((255 - c) * t + 50) / 100, 0, 255));
  return c;
}

}  // namespace

void AdjustRangesPixel(const uint8_t in[3], uint8_t out[3], const RangeSettings& settings) {
  AdjustHsl hsl = AnalyseHsl(in[0], in[1], in[2]);
  int64_t rangeLightness = 0;
  if (hsl.hue != kAchromatic) {
    const Piece piece(hsl.hue);
    rangeLightness = piece.Value(settings.lightness) * hsl.delta / 255;
    const int64_t change = Limited(settings.saturation[0] + piece.Value(settings.saturation), -100, 100);
    hsl.hue += NormalisedHueShift(settings.hue[0] + piece.Value(settings.hue));
    hsl.saturation = std::min(static_cast<int32_t>(change + 100) * hsl.saturation / 100, 100);
  }
  int32_t result[3];
  SynthesiseHsl(hsl, result);
  for (int32_t k = 0; k < 3; ++k) {
    out[k] = static_cast<uint8_t>(Lightened(result[k], rangeLightness + settings.lightness[0]));
  }
}

void AdjustLatticeRanges(uint8_t* lattice, const RangeSettings& settings) {
  uint8_t* node = lattice;
  for (size_t i = 0; i < kLatticeNodes; ++i, node += 3) {
    if (node[0] != node[1] || node[0] != node[2]) AdjustRangesPixel(node, node, settings);
  }
}

template <class T>
bool HueSaturationRangesSamples(const Source<T>& source, const View<T>& destination, const Region& region,
                                const RangeSettings& settings, bool throughLattice) {
  if (source.channels != 3) return false;
  if (throughLattice) {
    uint8_t lattice[kLatticeSamples];
    FillIdentityLattice(lattice);
    AdjustLatticeRanges(lattice, settings);
    return ApplyColorLattice(source, destination, region, lattice);
  }
  if constexpr (sizeof(T) == 1) {
    const int32_t red = source.PlaceOf(0), blue = source.PlaceOf(2);
    for (int32_t y = region.top; y < region.bottom; ++y) {
      const uint8_t* in = source.At(region.left, y);
      uint8_t* out = destination.At(region.left, y);
      for (int32_t x = region.left; x < region.right; ++x, in += 3, out += 3) {
        uint8_t pixel[3] = {in[red], in[1], in[blue]};
        AdjustRangesPixel(pixel, pixel, settings);
        out[red] = pixel[0];
        out[1] = pixel[1];
        out[blue] = pixel[2];
      }
    }
  }
  return sizeof(T) == 1;
}

bool ApplyHueSaturationRanges(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                              const RangeSettings& settings, bool throughLattice) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return HueSaturationRangesSamples(in, out, ClampedRegion(rect, in.Whole()), settings, throughLattice);
  });
}

template bool HueSaturationRangesSamples(const Source<uint8_t>&, const View<uint8_t>&, const Region&,
                                         const RangeSettings&, bool);
template bool HueSaturationRangesSamples(const Source<uint16_t>&, const View<uint16_t>&, const Region&,
                                         const RangeSettings&, bool);

}  // namespace zel
