#include "core/blend.h"

#include <algorithm>

#include "simd/kernels.h"

namespace zel {

namespace {

constexpr FormatCode kMaskFormat = 0x00100810u;

// Both usable at 8 bits, same width, height and format as the effect.
bool Fits(const ImageDesc* effect, const ImageDesc* other) {
  return IsUsable(other) && SameImageGeometry(*effect, *other);
}

uint8_t* RowStart(const ImageDesc& image, int32_t x, int32_t y, int32_t channels) {
  return image.data + static_cast<size_t>(y) * image.stride + static_cast<size_t>(x) * channels;
}

// Parts of 127. A caller's strength may be anything, so the product is formed wide.
int64_t StrengthWeight(int32_t strength) {
  return static_cast<int64_t>(strength) * 127 / 100;
}

// The weight cut to what PullBytes takes. Exact: unequal samples are saturated long before the limit, and equal ones do
// not depend on the weight.
int32_t PullWeight(int32_t strength) {
  return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(StrengthWeight(strength), -32767), 32767));
}

}  // namespace

bool MaskBlend(const ImageDesc* effect, const ImageDesc* base, const ImageDesc* output, const ImageDesc* mask,
               int32_t mode, const ZelRect* rect) {
  if (!IsUsable(effect) || !Fits(effect, base) || !Fits(effect, output) || BitsOf(effect->format) > 8) return false;
  if (!IsUsable(mask) || mask->format != kMaskFormat || mask->width < effect->width || mask->height < effect->height) {
    return false;
  }
  const BlendKernels& kernels = ActiveKernels().blend;
  const auto blend = mode == kMix        ? kernels.MixBytes
                     : mode == kScreen   ? kernels.ScreenBytes
                     : mode == kMultiply ? kernels.MultiplyBytes
                                         : nullptr;
  const Region region = GivenRegion(rect, effect->width, effect->height);
  if (blend == nullptr || region.IsEmpty()) return true;

  const int32_t channels = ChannelsOf(effect->format);
  constexpr int32_t kStrip = 256;  // pixels whose spread mask stays in the first-level cache
  uint8_t spread[kStrip * 15];
  for (int32_t y = region.top; y < region.bottom; ++y) {
    for (int32_t x = region.left; x < region.right; x += kStrip) {
      const size_t pixels = std::min(kStrip, region.right - x);
      const uint8_t* weights = RowStart(*mask, x, y, 1);
      if (channels > 1) {
        kernels.SpreadMask(weights, spread, pixels, channels);
        weights = spread;
      }
      blend(RowStart(*effect, x, y, channels), RowStart(*base, x, y, channels), weights,
            RowStart(*output, x, y, channels), pixels * channels);
    }
  }
  return true;
}

bool StrengthBlend(const ImageDesc* effect, const ImageDesc* base, const ImageDesc* output, int32_t mode,
                   int32_t strength, const ZelRect* rect) {
  if (!IsUsable(effect) || !Fits(effect, base) || !Fits(effect, output) || BitsOf(effect->format) > 8) return false;
  const Region region = GivenRegion(rect, effect->width, effect->height);
  if (region.IsEmpty()) return true;
  const BlendKernels& kernels = ActiveKernels().blend;
  const int32_t channels = ChannelsOf(effect->format);
  const size_t samples = static_cast<size_t>(region.Width()) * channels;
  const int64_t w = StrengthWeight(strength);
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const uint8_t* e = RowStart(*effect, region.left, y, channels);
    const uint8_t* b = RowStart(*base, region.left, y, channels);
    uint8_t* out = RowStart(*output, region.left, y, channels);
    if (mode == kMix) {
      kernels.PullBytes(e, b, out, samples, PullWeight(strength));
    } else if (mode == kScreen || mode == kMultiply) {
      for (size_t i = 0; i < samples; ++i) {
        const int32_t combined = mode == kScreen ? 255 - ((255 - e[i]) * (255 - b[i]) >> 8) : e[i] * b[i] >> 8;
        out[i] = static_cast<uint8_t>((b[i] * (127 - w) + combined * w) >> 7);
      }
    }
  }
  return true;
}

void PullTowards(uint8_t* values, const uint8_t* neutral, size_t count, int32_t percent) {
  ActiveKernels().blend.PullBytes(values, neutral, values, count, PullWeight(percent));
}

}  // namespace zel
