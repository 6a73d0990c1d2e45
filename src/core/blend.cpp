#include "core/blend.h"

#include <algorithm>
#include <cstring>

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
  if (mode != kMix && mode != kScreen && mode != kMultiply) return true;
  const auto view = [](const ImageDesc* image) { return ViewOf<uint8_t>(*image); };
  BlendThroughMask(view(effect), view(base), view(output), view(mask), static_cast<BlendMode>(mode),
                   GivenRegion(rect, view(effect).Whole()));
  return true;
}

void BlendThroughMask(const View<const uint8_t>& effect, const View<const uint8_t>& base, const View<uint8_t>& output,
                      const View<const uint8_t>& mask, BlendMode mode, const Region& region) {
  if (region.IsEmpty()) return;
  const RowBlend rows(mode, effect.channels);
  for (int32_t y = region.top; y < region.bottom; ++y) {
    rows.Row(effect.At(region.left, y), base.At(region.left, y), mask.At(region.left, y), output.At(region.left, y),
             static_cast<size_t>(region.Width()));
  }
}

bool StrengthBlend(const ImageDesc* effect, const ImageDesc* base, const ImageDesc* output, int32_t mode,
                   int32_t strength, const ZelRect* rect) {
  if (!IsUsable(effect) || !Fits(effect, base) || !Fits(effect, output) || BitsOf(effect->format) > 8) return false;
  const Region region = GivenRegion(rect, {0, 0, effect->width, effect->height});
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

RowBlend::RowBlend(BlendMode mode, int32_t channels) : channels_(static_cast<size_t>(channels)) {
  const BlendKernels& kernels = ActiveKernels().blend;
  blend_ = mode == kMix ? kernels.MixBytes : mode == kScreen ? kernels.ScreenBytes : kernels.MultiplyBytes;
  spread_ = kernels.SpreadMask;
}

void RowBlend::Row(const uint8_t* effect, const uint8_t* base, const uint8_t* weights, uint8_t* out,
                   size_t pixels) const {
  if (channels_ == 1) return blend_(effect, base, weights, out, pixels);
  uint8_t spread[kTile * 15];
  for (size_t first = 0; first < pixels; first += kTile) {
    const size_t count = std::min<size_t>(kTile, pixels - first), sample = first * channels_;
    spread_(weights + first, spread, count, channels_);
    blend_(effect + sample, base + sample, spread, out + sample, count * channels_);
  }
}

bool RowBlend::IsUnmasked(const uint8_t* weights, size_t pixels) {
  uint64_t any = 0, eight;
  size_t p = 0;
  for (; p + 8 <= pixels; p += 8) {
    std::memcpy(&eight, weights + p, 8);
    any |= eight;
  }
  for (; p < pixels; ++p) any |= weights[p];
  return any == 0;
}

}  // namespace zel
