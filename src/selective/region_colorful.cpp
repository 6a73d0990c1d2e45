#include "selective/region_colorful.h"

#include <algorithm>

#include "color/color_lattice.h"
#include "color/hue_saturation.h"
#include "core/rounding.h"
#include "filter/blurred_rows.h"
#include "filter/gaussian_blur.h"
#include "selective/mask.h"
#include "selective/region_points.h"
#include "tone/gamma.h"

namespace zel {

namespace {

constexpr int32_t kMaskMaximum = 192;

int32_t Tolerance(int32_t base, int32_t amount) {
  return amount > 85 ? base + (amount - 85) / 3 : base;
}

// Weight from which a pixel belongs to the area that is measured.
int64_t Threshold(int32_t amount) {
  return amount < 85 ? 96 : 96 + (85 - static_cast<int64_t>(amount)) * 48 / 15;
}

// A lattice that only adds saturation.
struct SaturationLattice {
  explicit SaturationLattice(int64_t increase) {
    FillIdentityLattice(nodes);
    const int64_t limited = std::min<int64_t>(std::max<int64_t>(increase, -100), 100);
    AdjustLatticeHueSaturation(nodes, 0, static_cast<int32_t>(limited));
  }
  uint8_t nodes[kLatticeSamples];
};

// The raised colour of the source's pixels in the rectangle, and around it what the destination holds there.
class RaisedColour final : public BlurredRows<uint8_t>::Rows {
 public:
  RaisedColour(const View<const uint8_t>& source, const View<const uint8_t>& destination, const Region& region,
               int64_t increase)
      : source_(source),
        destination_(destination),
        region_(region),
        lattice_(increase),
        map_(lattice_.nodes, static_cast<int64_t>(region.Width()) * region.Height()) {
    // The gamma operation leaves its table in a row of all levels.
    const float gamma = static_cast<float>(ToSingle(1.0 + static_cast<double>(increase) * static_cast<double>(0.001f)));
    const float gammas[3] = {gamma, gamma, gamma};
    FillIdentity(Curves<uint8_t>{curve_, 1});
    const View<uint8_t> levels = PackedView(curve_, 256, 1, 1);
    GammaCorrectRaw(levels, levels, levels.Whole(), gammas);
  }

  void Fill(int32_t y, int32_t left, uint8_t* samples, int32_t pixels) const override {
    const auto copy = [&](int32_t from, int32_t to) {
      std::copy(destination_.At(from, y), destination_.At(to, y), samples + static_cast<size_t>(from - left) * 3);
    };
    const int32_t right = left + pixels;
    if (y < region_.top || y >= region_.bottom) return copy(left, right);
    copy(left, region_.left);
    copy(region_.right, right);
    uint8_t* const own = samples + static_cast<size_t>(region_.left - left) * 3;
    const size_t inside = region_.Width();
    map_.Map(source_.At(region_.left, y), own, inside, source_.blueFirst);
    mapBytes_(own, own, 3 * inside, curve_);
  }

 private:
  View<const uint8_t> source_, destination_;
  Region region_;
  SaturationLattice lattice_;
  LatticeMap map_;
  decltype(LutKernels::MapBytes) mapBytes_ = ActiveKernels().lut.MapBytes;
  uint8_t curve_[256];
};

bool MixRaisedColour(const View<const uint8_t>& source, const View<uint8_t>& destination, const Region& region,
                     const Mask& mask, int64_t increase) {
  BlurWeights kernel;
  MakeBlurWeights(0.5, &kernel);
  const RaisedColour raised(source, destination, region, increase);
  BlurredRows<uint8_t> rows;
  if (!rows.Start(destination, region, kernel, &raised)) return false;
  static_assert(kBlurTile == 3 * RowBlend::kTile, "tiles hold whole pixels");
  const RowBlend mix(kMix, 3);
  for (int32_t top = region.top; const int32_t ready = rows.NextBlock(); top += ready) {
    for (size_t first = 0; first < rows.RowSamples(); first += kBlurTile) {
      const size_t count = std::min(kBlurTile, rows.RowSamples() - first);
      for (int32_t i = 0; i < ready; ++i) {
        const size_t offset = rows.Offset(i) + first;
        mix.Tile(source.data + offset, mask.At(region.left, top + i) + first / 3, destination.data + offset, count / 3,
                 [&](uint8_t* effect) { rows.Sum(i, first, count, effect); });
      }
    }
  }
  return true;
}

// `buildMask` finds the area in the whole image.
template <class BuildMask>
bool Enhance(const ImageDesc* source, const ImageDesc* destination, int32_t amount, const ZelRect* rect,
             BuildMask buildMask) {
  if (amount == 0) return CopySource(source, destination, rect);
  return WithByteViews(source, destination, [&](const View<const uint8_t>& in, const View<uint8_t>& out) {
    Mask mask;
    if (in.channels != 3 || !buildMask(in, &mask)) return false;
    const Region region = GivenRegion(rect, in.Whole());
    if (region.IsEmpty()) return true;
    uint32_t histogram[101];
    MeasureSaturation(in, mask.weights(), Threshold(amount), histogram);
    return MixRaisedColour(in, out, region, mask, SaturationIncrease(histogram, amount));
  });
}

}  // namespace

void MeasureSaturation(const View<const uint8_t>& image, const View<uint8_t>& mask, int64_t threshold,
                       uint32_t histogram[101]) {
  // Neighbours count in different tables, so that equal ones need not wait for each other; 101 is for all others.
  uint32_t counts[4][102] = {};
  const int32_t least = static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(threshold, 0), 256));
  const auto count = [least](int32_t s, uint8_t& weight, uint32_t* bins) {
    int32_t m = weight;
    if (s > 75 && m >= least) weight = static_cast<uint8_t>(m = (100 - s) * m * 4 / 100);
    ++bins[m >= least ? s : 101];
  };
  const HueKernels& kernels = ActiveKernels().hue;
  constexpr int32_t kStrip = 256;
  uint8_t saturations[kStrip];
  for (int32_t y = 0; y < image.height; ++y) {
    for (int32_t x = 0; x < image.width; x += kStrip) {
      const int32_t pixels = std::min(kStrip, image.width - x);
      uint8_t* const weights = mask.At(x, y);
      if (threshold > 0 && RowBlend::IsUnmasked(weights, pixels)) continue;
      kernels.SaturationsOfBytes(image.At(x, y), saturations, pixels);
      int32_t p = 0;
      for (; p + 4 <= pixels; p += 4) {
        count(saturations[p], weights[p], counts[0]);
        count(saturations[p + 1], weights[p + 1], counts[1]);
        count(saturations[p + 2], weights[p + 2], counts[2]);
        count(saturations[p + 3], weights[p + 3], counts[3]);
      }
      for (; p < pixels; ++p) count(saturations[p], weights[p], counts[0]);
    }
  }
  for (int32_t s = 0; s <= 100; ++s) histogram[s] = counts[0][s] + counts[1][s] + counts[2][s] + counts[3][s];
}

int64_t SaturationIncrease(const uint32_t histogram[101], int32_t amount) {
  uint64_t count = 0;
  for (int32_t s = 0; s <= 100; ++s) count += histogram[s];
  // The saturation that the most saturated hundredth reaches could be this much higher.
  int64_t boost = 0;
  if (count != 0) {
    const uint64_t wanted = std::max<uint64_t>(1, count / 100);
    int32_t s = 99;
    for (uint64_t sum = histogram[s]; sum < wanted && s > 0;) sum += histogram[--s];
    if (s != 0) boost = std::max((100 - s) * 100 / s, 75);
  }
  return amount <= 50 ? boost * amount / 50 : boost + (static_cast<int64_t>(amount) - 50) / 2;
}

bool SeededColourfulEnhance(const ImageDesc* source, const ImageDesc* destination, const ZelPoint& point,
                            int32_t amount, const ZelRect* rect) {
  return Enhance(source, destination, amount, rect, [&](const View<const uint8_t>& image, Mask* mask) {
    return mask->BuildFromPoint(image, image.Whole(), point, kMaskMaximum, ScaledPickTolerance(Tolerance(20, amount)));
  });
}

bool RegionColourfulEnhance(const ImageDesc* source, const ImageDesc* destination, ColourRegion region, int32_t amount,
                            const ZelRect* rect) {
  const int32_t base = region == kFoliage ? 50 : region == kSky ? 60 : 20;
  return Enhance(source, destination, amount, rect, [&](const View<const uint8_t>& image, Mask* mask) {
    return mask->BuildFromHues(image, image.Whole(), region, Tolerance(base, amount), kMaskMaximum);
  });
}

bool RegionColourful(const ImageDesc* source, const ImageDesc* destination, ColourRegion region, const ZelPoint* point,
                     int32_t amount, const ZelRect* rect) {
  if (point == nullptr) return RegionColourfulEnhance(source, destination, region, amount, rect);
  return IsPointOf(region, source, point) ? SeededColourfulEnhance(source, destination, *point, amount, rect)
                                          : CopySource(source, destination, rect);
}

}  // namespace zel
