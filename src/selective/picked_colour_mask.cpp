#include "selective/picked_colour_mask.h"

#include <algorithm>
#include <cstring>

#include "color/rgb_to_hsl.h"
#include "core/pixel.h"
#include "core/scratch.h"
#include "selective/weight_lattice.h"
#include "simd/prepare.h"

namespace zel {

namespace {

// Mean of the pixel and those of its eight neighbours that lie inside the image.
Rgb MeanColourAround(const View<const uint8_t>& image, const ZelPoint& point) {
  const Region region = Grown({point.x, point.y, point.x + 1, point.y + 1}, 1, image.Whole());
  Rgb sum{0, 0, 0};
  for (int32_t y = region.top; y < region.bottom; ++y) {
    for (int32_t x = region.left; x < region.right; ++x) {
      const Rgb c = ColourAt(image, x, y);
      sum = {sum.red + c.red, sum.green + c.green, sum.blue + c.blue};
    }
  }
  const int32_t count = region.Width() * region.Height();
  return {sum.red / count, sum.green / count, sum.blue / count};
}

// Weights on the slopes below and above a full band around `centre`.
struct Slopes {
  PickTolerance::Band band;
  int64_t centre, maximum;
  uint8_t Below(int64_t v) const {
    return static_cast<uint8_t>((band.full + band.ramp - centre + v) * maximum / band.ramp);
  }
  uint8_t Above(int64_t v) const {
    return static_cast<uint8_t>(maximum - (v - centre - band.full) * maximum / band.ramp);
  }
};

// A trapezoid, cut to 0..100.
void FillSaturationWeights(const Slopes& slopes, uint8_t weights[101]) {
  for (int32_t s = 0; s <= 100; ++s) {
    const int64_t distance = s - slopes.centre;
    const int64_t beyond = (distance < 0 ? -distance : distance) - slopes.band.full;
    weights[s] = beyond <= 0                 ? static_cast<uint8_t>(slopes.maximum)
                 : beyond > slopes.band.ramp ? 0
                 : distance < 0              ? slopes.Below(s)
                                             : slopes.Above(s);
  }
}

// A trapezoid wrapped round the circle once. Where its ends overlap, the rising slope wins over the full band and the
// falling one over both; what lies more than a turn outside is dropped.
void FillHueWeights(const Slopes& slopes, uint8_t weights[360]) {
  std::memset(weights, 0, 360);
  const auto fill = [&](int64_t from, int64_t to, auto weight) {
    for (int64_t h = std::max<int64_t>(from, -360); h <= std::min<int64_t>(to, 719); ++h) {
      weights[h < 0 ? h + 360 : h >= 360 ? h - 360 : h] = weight(h);
    }
  };
  const int64_t low = slopes.centre - slopes.band.full, high = slopes.centre + slopes.band.full;
  fill(low, high, [&](int64_t) { return static_cast<uint8_t>(slopes.maximum); });
  fill(low - slopes.band.ramp, low, [&](int64_t h) { return slopes.Below(h); });
  fill(high, high + slopes.band.ramp, [&](int64_t h) { return slopes.Above(h); });
}

void FillLattice(const HueSat& picked, int32_t maximum, const PickTolerance& tolerance, uint8_t* lattice) {
  uint8_t hueWeights[360], saturationWeights[101];
  FillHueWeights({tolerance.hue, picked.hue, maximum}, hueWeights);
  FillSaturationWeights({tolerance.saturation, picked.saturation, maximum}, saturationWeights);
  for (int32_t b = 0; b < kLatticeLevels; ++b) {
    for (int32_t g = 0; g < kLatticeLevels; ++g) {
      for (int32_t r = 0; r < kLatticeLevels; ++r) {
        const HueSat c = PixelHueSat(r * kLatticeStep, g * kLatticeStep, b * kLatticeStep);
        *lattice++ = static_cast<uint8_t>(hueWeights[c.hue] * saturationWeights[c.saturation] / maximum);
      }
    }
  }
}

bool BuildFromRecords(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, const ZelPoint& point,
                      int32_t maximum, const PickTolerance& tolerance) {
  return WithImageAndMask(source, mask, [&](const auto& image, const auto& weights) {
    return sizeof(*image.data) == sizeof(*weights.data) &&
           BuildPickedColourMaskRaw(image, weights, ClampedRegion(rect, image.Whole()), point, maximum, tolerance);
  });
}

}  // namespace

PickTolerance ScaledPickTolerance(int32_t tolerance) {
  const int64_t t = std::max(10, tolerance);
  return {{2 * t, t}, {t, t}};
}

bool BuildPickedColourMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, const ZelPoint& point,
                           int32_t maximum, int32_t tolerance) {
  return BuildFromRecords(source, mask, rect, point, maximum, ScaledPickTolerance(tolerance));
}

bool BuildPickedColourMaskFixed(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect,
                                const ZelPoint& point, int32_t maximum) {
  return BuildFromRecords(source, mask, rect, point, maximum, kFixedPickTolerance);
}

template <class T, class M>
bool BuildPickedColourMaskRaw(const View<const T>& image, const View<M>& mask, const Region& region,
                              const ZelPoint& point, int32_t maximum, const PickTolerance& tolerance) {
  if (image.width != mask.width || image.height != mask.height) return false;
  if (image.channels < 3 || !IsInside(point, image)) return false;
  if (maximum <= 0) {
    std::memset(mask.data, 0, mask.SampleCount() * sizeof(M));
    return true;
  }
  if constexpr (sizeof(T) == 1 && sizeof(M) == 1) {
    const size_t channels = static_cast<size_t>(mask.channels);
    Scratch<uint8_t> cells(kWeightCellBytes), spare(channels > 1 ? static_cast<size_t>(image.width) : 1);
    if (!cells || !spare) return false;
    uint8_t lattice[kLatticeEntries];
    const Rgb mean = MeanColourAround(image, point);
    FillLattice(PixelHueSat(mean.red, mean.green, mean.blue), std::min(maximum, 255), tolerance, lattice);
    PackWeightCells(lattice, image.blueFirst, cells.data());

    const Kernels& kernels = ActiveKernels();
    const size_t pixels = static_cast<size_t>(region.Width());
    for (int32_t y = region.top; y < region.bottom && !region.IsEmpty(); ++y) {
      uint8_t* const out = mask.At(region.left, y);
      uint8_t* const weights = channels > 1 ? spare.data() : out;
      kernels.weight.WeighPixels(image.At(region.left, y), weights, pixels, static_cast<size_t>(image.channels),
                                 cells.data());
      if (channels > 1) kernels.blend.SpreadMask(weights, out, pixels, channels);
    }
  }
  return sizeof(T) == 2 || sizeof(M) == 1;
}

template bool BuildPickedColourMaskRaw(const View<const uint8_t>&, const View<uint8_t>&, const Region&, const ZelPoint&,
                                       int32_t, const PickTolerance&);
template bool BuildPickedColourMaskRaw(const View<const uint16_t>&, const View<uint8_t>&, const Region&,
                                       const ZelPoint&, int32_t, const PickTolerance&);

}  // namespace zel
