#include "retouch/skin_clear.h"

#include <algorithm>

#include "core/rounding.h"
#include "filter/blurred_rows.h"
#include "filter/gaussian_blur.h"
#include "selective/mask.h"
#include "tone/contrast_brightness.h"

namespace zel {

namespace {

// The blurred part of 127: 50 per cent, truncated.
constexpr int32_t kBlurredShare = 50 * 127 / 100;

// The source's rows through a curve for all channels, or as they are.
class Lift final : public BlurredRows<uint8_t>::Rows {
 public:
  Lift(const View<const uint8_t>& source, bool isOn) : source_(source), isOn_(isOn) {
    const int32_t contrast = 10, brightness = 0;
    MakeContrastBrightnessLut(Curves<uint8_t>{curve_, 1}, &contrast, &brightness);
  }

  void Fill(int32_t y, int32_t left, uint8_t* samples, int32_t pixels) const override {
    Apply(source_.At(left, y), samples, static_cast<size_t>(pixels) * static_cast<size_t>(source_.channels));
  }

  void Apply(const uint8_t* in, uint8_t* out, size_t count) const {
    if (isOn_) {
      mapBytes_(in, out, count, curve_);
    } else {
      std::copy(in, in + count, out);
    }
  }

 private:
  View<const uint8_t> source_;
  bool isOn_;
  decltype(LutKernels::MapBytes) mapBytes_ = ActiveKernels().lut.MapBytes;
  uint8_t curve_[kLutEntries8];
};

// Softens the region tile by tile: `put(y, first, offset, count, soften)` gets a tile's row, its place in the region's
// row and in the image, and a function that fills an array with its softened samples. `put` may write the tile, but no
// other, also to the source.
template <class Put>
bool ForEachSoftTile(const View<const uint8_t>& source, const Region& region, int32_t k, bool lifted, Put put) {
  if (source.channels != 1 && source.channels != 3) return false;
  if (region.IsEmpty()) return true;
  const Lift lift(source, lifted);
  const BlendKernels& kernels = ActiveKernels().blend;

  // A kernel of a single tap leaves the rows as they are.
  BlurWeights kernel;
  const bool blurs = MakeBlurWeights(k * 0.1, &kernel);
  BlurredRows<uint8_t> rows;
  if (blurs && !rows.Start(source, region, kernel, &lift)) return false;
  const size_t rowSamples = static_cast<size_t>(region.Width()) * static_cast<size_t>(source.channels);
  for (int32_t top = region.top; top < region.bottom;) {
    const int32_t ready = blurs ? rows.NextBlock() : 1;
    for (size_t first = 0; first < rowSamples; first += kBlurTile) {
      const size_t count = std::min(kBlurTile, rowSamples - first);
      uint8_t base[kBlurTile], blurred[2][kBlurTile];
      bool isBlurred = false;  // rows i and i + 1 for even i
      for (int32_t i = 0; i < ready; ++i) {
        const size_t offset = source.Offset(region.left, top + i) + first;
        if (i % 2 == 0) isBlurred = false;
        put(top + i, first, offset, count, [&](uint8_t* soft) {
          lift.Apply(source.data + offset, base, count);
          if (blurs && !isBlurred) {
            const int32_t even = i - i % 2;
            rows.Sum(even, first, count, blurred[0], even + 1 < ready ? blurred[1] : nullptr);
            isBlurred = true;
          }
          kernels.PullBytes(blurs ? blurred[i % 2] : base, base, soft, count, kBlurredShare);
        });
      }
    }
    top += ready;
  }
  return true;
}

bool SoftenInto(const View<const uint8_t>& source, const View<uint8_t>& output, const Region& region, int32_t k,
                bool lifted) {
  return ForEachSoftTile(source, region, k, lifted, [&](int32_t, size_t, size_t offset, size_t, const auto& soften) {
    soften(output.data + offset);
  });
}

// Tenths of a pixel for a level.
int32_t WidthOf(int32_t mode, int64_t level) {
  return Saturated(mode == 1 ? 6 * level / 5 : level < 51 ? 4 * level / 5 : (8 * level - 400) / 5 + 40);
}

}  // namespace

bool SkinClearCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t k,
                      const ZelPoint* point) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    if (in.channels != 1 && in.channels != 3) return false;
    if constexpr (sizeof(*in.data) == 1) {
      const Region region = GivenRegion(rect, in.Whole());
      Mask mask;
      if (mask.BuildSkin(in, region, point, 255, 1.5) && SkinClearBlend(in, out, region, mask.weights(), k))
        return true;
    }
    CopySamples(in, out);
    return false;
  });
}

bool SkinClear(const ImageDesc* source, const ImageDesc* destination, int32_t mode, const ZelPoint* point,
               int32_t level, const ZelRect* rect) {
  const int32_t k = WidthOf(mode, level);
  return k == 0 ? CopySource(source, destination, rect) : SkinClearCorrect(source, destination, rect, k, point);
}

bool SkinClearBlend(const View<const uint8_t>& source, const View<uint8_t>& destination, const Region& region,
                    const View<const uint8_t>& mask, int32_t k) {
  if (source.channels != 3) return false;
  const RowBlend mix(kMix, 3);
  return ForEachSoftTile(source, region, k, true,
                         [&](int32_t y, size_t first, size_t offset, size_t count, const auto& soften) {
                           mix.Tile(source.data + offset, mask.At(region.left, y) + first / 3,
                                    destination.data + offset, count / 3, soften);
                         });
}

bool SkinClearSmooth(const View<const uint8_t>& source, const View<uint8_t>& output, const Region& region, int32_t k) {
  return SoftenInto(source, output, region, k, true);
}

bool SkinClearSoften(const View<const uint8_t>& input, const View<uint8_t>& output, const Region& region, int32_t k) {
  return SoftenInto(input, output, region, k, false);
}

}  // namespace zel
