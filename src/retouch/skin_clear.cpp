#include "retouch/skin_clear.h"

#include <algorithm>

#include "core/channel_lut.h"
#include "core/rounding.h"
#include "filter/blurred_rows.h"
#include "filter/gaussian_blur.h"
#include "retouch/skin_mask.h"
#include "selective/mix_tile.h"
#include "tone/contrast_brightness.h"

namespace zel {

namespace {

// The blurred part of 127: 50 per cent, truncated.
constexpr int32_t kBlurredShare = 50 * 127 / 100;

// A curve for all channels, or none.
class Lift final : public BlurredRows<uint8_t>::RowChange {
 public:
  Lift(const Geometry& geometry, bool isOn) : channels_(geometry.channels), isOn_(isOn) {
    const int32_t contrast = 10, brightness = 0;
    MakeContrastBrightnessLut(curve_, 1, 8, &contrast, &brightness);
  }

  void Change(int32_t, int32_t, uint8_t* samples, int32_t pixels) const override {
    Apply(samples, samples, static_cast<size_t>(pixels) * static_cast<size_t>(channels_));
  }

  void Apply(const uint8_t* in, uint8_t* out, size_t count) const {
    if (isOn_) {
      ActiveKernels().lut.MapBytes(in, out, count, curve_);
    } else if (in != out) {
      std::copy(in, in + count, out);
    }
  }

 private:
  int32_t channels_;
  bool isOn_;
  uint8_t curve_[kLutEntries8];
};

// Softens the rectangle tile by tile: `put(y, offset, first, count, soften)` gets a tile's row, its place in the image
// and in the rectangle's row, and a function that fills an array with its softened samples. `put` may write the tile,
// but no other, also to the source.
template <class Put>
bool ForEachSoftTile(const uint8_t* source, const Geometry& geometry, const ZelRect* rect, int32_t k, bool lifted,
                     Put put) {
  if (source == nullptr || !geometry.DescribesMemory() || geometry.bits != 8) return false;
  if (geometry.channels != 1 && geometry.channels != 3) return false;
  const Region region = GivenRegion(rect, geometry.width, geometry.height);
  if (region.IsEmpty()) return true;
  const Lift lift(geometry, lifted);
  const BlendKernels& kernels = ActiveKernels().blend;

  // A kernel of a single tap leaves the rows as they are.
  BlurWeights kernel;
  const bool blurs = MakeBlurWeights(k * 0.1, &kernel);
  BlurredRows<uint8_t> rows;
  if (blurs && !rows.Start(source, geometry, region, kernel, &lift)) return false;
  const size_t rowSamples = static_cast<size_t>(region.Width()) * static_cast<size_t>(geometry.channels);
  for (int32_t top = region.top; top < region.bottom;) {
    const int32_t ready = blurs ? rows.NextBlock() : 1;
    for (size_t first = 0; first < rowSamples; first += kBlurTile) {
      const size_t count = std::min(kBlurTile, rowSamples - first);
      for (int32_t i = 0; i < ready; ++i) {
        const size_t offset = geometry.RowOffset(top + i) +
                              static_cast<size_t>(region.left) * static_cast<size_t>(geometry.channels) + first;
        put(top + i, offset, first, count, [&](uint8_t* soft) {
          uint8_t base[kBlurTile];
          lift.Apply(source + offset, base, count);
          if (blurs) rows.Sum(i, first, count, soft);
          kernels.PullBytes(blurs ? soft : base, base, soft, count, kBlurredShare);
        });
      }
    }
    top += ready;
  }
  return true;
}

bool SoftenInto(const void* source, void* output, const Geometry& geometry, const ZelRect* rect, int32_t k,
                bool lifted) {
  if (output == nullptr) return false;
  return ForEachSoftTile(
      static_cast<const uint8_t*>(source), geometry, rect, k, lifted,
      [&](int32_t, size_t offset, size_t, size_t, auto soften) { soften(static_cast<uint8_t*>(output) + offset); });
}

// Tenths of a pixel for a level.
int32_t WidthOf(int32_t mode, int64_t level) {
  return Saturated(mode == 1 ? 6 * level / 5 : level < 51 ? 4 * level / 5 : (8 * level - 400) / 5 + 40);
}

}  // namespace

bool SkinClearCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t k,
                      const ZelPoint* point) {
  if (!SameImageLayout(source, destination)) return false;
  const Geometry geometry = GeometryOf(*source);
  if (geometry.channels != 1 && geometry.channels != 3) return false;
  SkinMask mask;
  if (geometry.bits == 8 && mask.Build(source->data, geometry, rect, point, 255, 1.5) &&
      SkinClearBlend(source->data, destination->data, geometry, rect, mask.Row(0, 0), k)) {
    return true;
  }
  CopySamples(source->data, destination->data, geometry);
  return false;
}

bool SkinClear(const ImageDesc* source, const ImageDesc* destination, int32_t mode, const ZelPoint* point,
               int32_t level, const ZelRect* rect) {
  const int32_t k = WidthOf(mode, level);
  return k == 0 ? CopySource(source, destination, rect) : SkinClearCorrect(source, destination, rect, k, point);
}

bool SkinClearBlend(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                    const uint8_t* weights, int32_t k) {
  if (destination == nullptr || weights == nullptr || geometry.channels != 3) return false;
  const int32_t left = GivenRegion(rect, geometry.width, geometry.height).left;
  const uint8_t* const base = static_cast<const uint8_t*>(source);
  return ForEachSoftTile(
      base, geometry, rect, k, true, [&](int32_t y, size_t offset, size_t first, size_t count, auto soften) {
        const size_t pixel =
            static_cast<size_t>(y) * static_cast<size_t>(geometry.width) + static_cast<size_t>(left) + first / 3;
        MixTile(base + offset, static_cast<uint8_t*>(destination) + offset, weights + pixel, count / 3, soften);
      });
}

bool SkinClearSmooth(const void* source, void* output, const Geometry& geometry, const ZelRect* rect, int32_t k) {
  return SoftenInto(source, output, geometry, rect, k, true);
}

bool SkinClearSoften(const void* input, void* output, const Geometry& geometry, const ZelRect* rect, int32_t k) {
  return SoftenInto(input, output, geometry, rect, k, false);
}

}  // namespace zel
