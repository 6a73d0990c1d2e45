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

constexpr double kFullChroma = 100.0;
constexpr double kMostGain = 1.4;

// The lattice followed by more saturation.
void AppendSaturation(uint8_t* lattice, int32_t saturation) {
  uint8_t saturated[kLatticeSamples];
  FillIdentityLattice(saturated);
  AdjustLatticeHueSaturation(saturated, 0, saturation);
  ComposeColorLattices(lattice, saturated);
}

void ApplyMasked(const View<const uint8_t>& source, const View<uint8_t>& destination, const Region& region,
                 int32_t strength, const uint8_t* lattice) {
  const int64_t s = strength;
  const bool saturates = strength > 50;
  uint8_t saturated[kLatticeSamples];
  FillIdentityLattice(saturated);
  if (saturates) AdjustLatticeHueSaturation(saturated, 0, Saturated(strength < 76 ? s - 50 : 2 * s - 125));
  uint16_t weights[360];
  MakeHueWeights<uint8_t>(Saturated(std::min<int64_t>(2 * s, 100) * 192 / 100), weights);

  const int64_t pixels = static_cast<int64_t>(region.Width()) * region.Height();
  const LatticeMap colorful(lattice, pixels), saturation(saturated, saturates ? pixels : 0);
  const HueWeights hueWeights(weights);
  const RowBlend mix(kMix, 3);
  constexpr int32_t kStrip = RowBlend::kTile;
  uint8_t effect[3 * kStrip], base[3 * kStrip], mask[kStrip];
  for (int32_t y = region.top; y < region.bottom; ++y) {
    for (int32_t x = region.left; x < region.right; x += kStrip) {
      const size_t count = std::min(kStrip, region.right - x);
      const uint8_t* const in = source.At(x, y);
      colorful.Map(in, effect, count, source.blueFirst);
      if (saturates) saturation.Map(in, base, count, source.blueFirst);
      hueWeights.Weigh(in, source.blueFirst, mask, count);
      mix.Row(effect, saturates ? base : in, mask, destination.At(x, y), count);
    }
  }
}

}  // namespace

void RaiseLatticeChroma(uint8_t* lattice, double gain) {
  constexpr int32_t kNodes = 64;
  float l[kNodes], a[kNodes], b[kNodes];
  for (size_t first = 0; first < kLatticeSamples; first += 3 * kNodes) {
    const View<uint8_t> nodes = PackedView(lattice + first, kNodes, 1, 3);
    RgbToLabPlanes(View<const uint8_t>(nodes), {l, a, b});
    for (int32_t i = 0; i < kNodes; ++i) {
      a[i] = static_cast<float>(a[i] * gain);
      b[i] = static_cast<float>(b[i] * gain);
    }
    LabPlanesToRgb({l, a, b}, nodes);
  }
}

template <class T>
bool EstimateColorfulLattice(const View<const T>& image, const ZelRect* rect, uint8_t* lattice) {
  if (lattice == nullptr) return false;
  FillIdentityLattice(lattice);
  if (image.channels != 3) return false;
  double squaredChroma;
  if (rect == nullptr && (image.width <= kMeasuredExtent || image.height <= kMeasuredExtent)) {
    squaredChroma = LargestSquaredChroma(image, kFullChroma * kFullChroma);
  } else {
    SampledCopy<T> copy;
    if (!PointSample(image, ClampedRegion(rect, image.Whole()), kMeasuredExtent, &copy)) return false;
    squaredChroma = LargestSquaredChroma(View<const T>(copy.view), kFullChroma * kFullChroma);
  }
  const double chroma = std::sqrt(squaredChroma);
  const bool leave = chroma >= kFullChroma || chroma == 0.0;
  RaiseLatticeChroma(lattice, leave ? 1.0 : std::min(kFullChroma / chroma, kMostGain));
  return true;
}

template bool EstimateColorfulLattice(const View<const uint8_t>&, const ZelRect*, uint8_t*);
template bool EstimateColorfulLattice(const View<const uint16_t>&, const ZelRect*, uint8_t*);

bool ColorfulLattice(const ImageDesc* source, const ZelRect* rect, ColorfulStyle style, int32_t strength,
                     uint8_t* lattice) {
  FillIdentityLattice(lattice);
  if (strength == 0) return true;
  if (!WithView(source, [&](const auto& image) { return EstimateColorfulLattice(image, rect, lattice); })) return false;
  const int64_t s = strength;
  if (style == ColorfulStyle::kMasked) {
    if (strength > 50) AppendSaturation(lattice, Saturated((s - 50) / 2));
    return true;
  }
  const int32_t percent = strength > 75 ? 150 : Saturated(2 * s);
  if (percent != 100) {
    uint8_t identity[kLatticeSamples];
    FillIdentityLattice(identity);
    PullTowards(lattice, identity, kLatticeSamples, percent);
  }
  if (strength > 75) AppendSaturation(lattice, Saturated(2 * s - 150));
  return true;
}

bool ApplyColorful(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, ColorfulStyle style,
                   int32_t strength, const uint8_t* lattice) {
  if (style == ColorfulStyle::kPlain) return ApplyColorLatticeToImage(source, destination, rect, lattice, 8);
  if (lattice == nullptr) return false;
  return WithByteViews(source, destination, [&](const View<const uint8_t>& in, const View<uint8_t>& out) {
    if (in.channels == 3) ApplyMasked(in, out, ClampedRegion(rect, in.Whole()), strength, lattice);
    return in.channels == 3;
  });
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
