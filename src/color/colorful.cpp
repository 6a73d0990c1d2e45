#include "color/colorful.h"

#include <algorithm>
#include <cmath>

#include "color/color_lattice.h"
#include "color/hue_mask.h"
#include "color/hue_saturation.h"
#include "color/hue_weight_mask.h"
#include "color/lab.h"
#include "core/blend.h"
#include "core/reduce.h"
#include "core/rounding.h"
#include "core/work_time.h"
#include "simd/kernels.h"

namespace zel {

namespace {

constexpr int32_t kMeasuredSize = 300;
constexpr double kFullChroma = 100.0;
constexpr double kMostGain = 1.4;
constexpr int32_t kStrip = 256;  // pixels whose working rows stay in the first-level cache

// The lattice followed by more saturation.
void AppendSaturation(uint8_t* lattice, int32_t saturation) {
  uint8_t saturated[kLatticeSamples];
  MakeColorLattice(saturated, 8);
  AdjustLatticeHueSaturation(saturated, 8, 0, saturation);
  ComposeColorLattices(lattice, 8, saturated, 8);
}

bool ApplyMasked(const ImageDesc& source, const ImageDesc& destination, const Region& region, int32_t strength,
                 const uint8_t* lattice) {
  const Geometry geometry = GeometryOf(source);
  const int64_t s = strength;
  const bool saturates = strength > 50;
  uint8_t saturated[kLatticeSamples];
  MakeColorLattice(saturated, 8);
  if (saturates) AdjustLatticeHueSaturation(saturated, 8, 0, Saturated(strength < 76 ? s - 50 : 2 * s - 125));
  uint16_t weights[360];
  MakeHueWeights(Saturated(std::min<int64_t>(2 * s, 100) * 192 / 100), 8, weights);

  const int64_t pixels = static_cast<int64_t>(region.Width()) * region.Height();
  const LatticeMap colorful(lattice, pixels), saturation(saturated, saturates ? pixels : 0);
  const HueWeights hueWeights(weights);
  const BlendKernels& kernels = ActiveKernels().blend;
  uint8_t effect[3 * kStrip], base[3 * kStrip], mask[kStrip], spread[3 * kStrip];
  for (int32_t y = region.top; y < region.bottom; ++y) {
    for (int32_t x = region.left; x < region.right; x += kStrip) {
      const size_t count = std::min(kStrip, region.right - x);
      const size_t first = geometry.RowOffset(y) + static_cast<size_t>(x) * 3;
      const uint8_t* const in = source.data + first;
      colorful.MapBytes(in, effect, count, geometry.blueFirst);
      if (saturates) saturation.MapBytes(in, base, count, geometry.blueFirst);
      hueWeights.Weigh(source.data, geometry, first, mask, count);
      kernels.SpreadMask(mask, spread, count, 3);
      kernels.MixBytes(effect, saturates ? base : in, spread, destination.data + first, 3 * count);
    }
  }
  return true;
}

}  // namespace

void RaiseLatticeChroma(uint8_t* lattice, double gain) {
  constexpr int32_t kNodes = 64;
  float l[kNodes], a[kNodes], b[kNodes];
  const Geometry nodes{kNodes, 1, 3, 8, 3 * kNodes, false};
  for (size_t first = 0; first < kLatticeSamples; first += 3 * kNodes) {
    RgbToLabPlanes(lattice + first, nodes, {l, a, b});
    for (int32_t i = 0; i < kNodes; ++i) {
      a[i] = static_cast<float>(a[i] * gain);
      b[i] = static_cast<float>(b[i] * gain);
    }
    LabPlanesToRgb({l, a, b}, lattice + first, nodes);
  }
}

bool EstimateColorfulLattice(const void* samples, const Geometry& geometry, const ZelRect* rect, uint8_t* lattice) {
  if (lattice == nullptr) return false;
  MakeColorLattice(lattice, 8);
  if (samples == nullptr || geometry.channels != 3 || !geometry.DescribesMemory()) return false;
  double squaredChroma;
  if (rect == nullptr && (geometry.width <= kMeasuredSize || geometry.height <= kMeasuredSize)) {
    squaredChroma = LargestSquaredChroma(samples, geometry, kFullChroma * kFullChroma);
  } else {
    SampledCopy copy;
    if (!PointSample(samples, geometry, rect, kMeasuredSize, &copy)) return false;
    squaredChroma = LargestSquaredChroma(copy.pixels.data(), copy.geometry, kFullChroma * kFullChroma);
  }
  const double chroma = std::sqrt(squaredChroma);
  const bool leave = chroma >= kFullChroma || chroma == 0.0;
  RaiseLatticeChroma(lattice, leave ? 1.0 : std::min(kFullChroma / chroma, kMostGain));
  return true;
}

bool ColorfulLattice(const ImageDesc* source, const ZelRect* rect, ColorfulStyle style, int32_t strength,
                     uint8_t* lattice) {
  if (strength == 0 || !IsUsable(source)) {
    MakeColorLattice(lattice, 8);
    return strength == 0;
  }
  if (!EstimateColorfulLattice(source->data, GeometryOf(*source), rect, lattice)) return false;
  const int64_t s = strength;
  if (style == ColorfulStyle::kMasked) {
    if (strength > 50) AppendSaturation(lattice, Saturated((s - 50) / 2));
    return true;
  }
  const int32_t percent = strength > 75 ? 150 : Saturated(2 * s);
  if (percent != 100) {
    uint8_t identity[kLatticeSamples];
    MakeColorLattice(identity, 8);
    PullTowards(lattice, identity, kLatticeSamples, percent);
  }
  if (strength > 75) AppendSaturation(lattice, Saturated(2 * s - 150));
  return true;
}

bool ApplyColorful(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, ColorfulStyle style,
                   int32_t strength, const uint8_t* lattice) {
  if (style == ColorfulStyle::kPlain) return ApplyColorLatticeToImage(source, destination, rect, lattice, 8);
  if (lattice == nullptr || !SameImageLayout(source, destination)) return false;
  if (ChannelsOf(source->format) != 3 || BitsOf(source->format) != 8) return false;
  return ApplyMasked(*source, *destination, ClampedRegion(rect, source->width, source->height), strength, lattice);
}

bool Colorful(const ImageDesc* source, const ImageDesc* destination, ColorfulStyle style, int32_t strength,
              const ZelRect* rect) {
  if (strength == 0) return true;
  const WorkTime time;
  uint8_t lattice[kLatticeSamples];
  if (!ColorfulLattice(source, nullptr, style, strength, lattice) ||
      !ApplyColorful(source, destination, rect, style, strength, lattice)) {
    CopyRefused(source, destination, rect);
    return false;
  }
  time.Report();
  return true;
}

}  // namespace zel
