// Mixing two images, through a mask or with one weight.
#ifndef ZEL_CORE_BLEND_H_
#define ZEL_CORE_BLEND_H_

#include "core/view.h"
#include "simd/kernels.h"

namespace zel {

enum BlendMode : int32_t { kMix = 0, kScreen = 1, kMultiply = 2 };

// Mixes `effect` into `base` by the mask's weights, all channels of a pixel alike. Effect, base and output agree in
// width, height and format at 8 bits, each with its own stride; the mask has the format 0x00100810 and is at least as
// large. The rectangle is taken as given (a reversed one is empty) and cut to the image.
//
// Mix computes ((255 - m) * base + m * effect) >> 8 for every pixel: the shift divides by 256, so even a mask of 0
// darkens the base by up to one level. Screen and multiply leave pixels with a mask of 0 as they are. Any other mode
// writes nothing and succeeds. False, with nothing written, on images that do not fit. No export comes here: for
// programs that are linked with the static library; operations blend samples.
bool MaskBlend(const ImageDesc* effect, const ImageDesc* base, const ImageDesc* output, const ImageDesc* mask,
               int32_t mode, const ZelRect* rect);

// The same on samples: mask and images are of one size, the region lies inside them.
void BlendThroughMask(const View<const uint8_t>& effect, const View<const uint8_t>& base, const View<uint8_t>& output,
                      const View<const uint8_t>& mask, BlendMode mode, const Region& region);

// Mixes `effect` into `base` with the same weight everywhere: w = strength * 127 / 100 against 127 - w, divided by 128,
// so that equal inputs come out slightly darker. Strengths above 100 extrapolate beyond the effect. In the modes screen
// and multiply the effect is first combined with the base and the low eight bits of the sum are stored; any other mode
// writes nothing and succeeds. 8 bits, rectangle as in MaskBlend. False, with nothing written, on images that do not
// fit. No export comes here either; operations use PullTowards.
bool StrengthBlend(const ImageDesc* effect, const ImageDesc* base, const ImageDesc* output, int32_t mode,
                   int32_t strength, const ZelRect* rect);

// values[i] = clamp((values[i] * w + neutral[i] * (127 - w)) >> 7) with w = percent * 127 / 100: pulls a table towards
// its identity, or beyond the table above 100 per cent.
void PullTowards(uint8_t* values, const uint8_t* neutral, size_t count, int32_t percent);

// MaskBlend row by row, for operations whose effect exists only a row or a part of one at a time. Weights are one byte
// a pixel; `out` may be `base` or `effect`.
class RowBlend {
 public:
  static constexpr int32_t kTile = 256;  // pixels whose effect and weights stay in the first-level cache

  RowBlend(BlendMode mode, int32_t channels);

  void Row(const uint8_t* effect, const uint8_t* base, const uint8_t* weights, uint8_t* out, size_t pixels) const;

  // At most kTile pixels of three channels. `makeEffect` fills the array that it gets with the effect's samples; it is
  // not asked where all weights are 0.
  template <class MakeEffect>
  void Tile(const uint8_t* base, const uint8_t* weights, uint8_t* out, size_t pixels,
            const MakeEffect& makeEffect) const {
    uint8_t effect[3 * kTile];
    const bool isUnmasked = IsUnmasked(weights, pixels);
    if (!isUnmasked) makeEffect(effect);
    // With a weight of 0 the effect does not matter, but a mix still lowers the base.
    Row(isUnmasked ? base : effect, base, weights, out, pixels);
  }

  // Whether all weights are 0.
  static bool IsUnmasked(const uint8_t* weights, size_t pixels);

 private:
  decltype(BlendKernels::MixBytes) blend_;
  decltype(BlendKernels::SpreadMask) spread_;
  size_t channels_;
};

}  // namespace zel

#endif  // ZEL_CORE_BLEND_H_
