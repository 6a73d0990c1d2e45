// Mixing an effect into an image tile by tile, without a second image for the effect.
#ifndef ZEL_SELECTIVE_MIX_TILE_H_
#define ZEL_SELECTIVE_MIX_TILE_H_

#include <cstring>

#include "filter/blurred_rows.h"
#include "simd/kernels.h"

namespace zel {

// Whether no pixel of a tile takes part.
inline bool IsUnmasked(const uint8_t* weights, size_t pixels) {
  uint64_t any = 0, eight;
  size_t p = 0;
  for (; p + 8 <= pixels; p += 8) {
    std::memcpy(&eight, weights + p, 8);
    any |= eight;
  }
  for (; p < pixels; ++p) any |= weights[p];
  return any == 0;
}

// ((255 - m) * base + m * effect) >> 8 for three-channel pixels, at most kBlurTile / 3 of them. `makeEffect` fills the
// array it is given with the effect's 3 x pixels samples; it is not asked where all weights are 0. `out` may be `base`.
template <class MakeEffect>
void MixTile(const uint8_t* base, uint8_t* out, const uint8_t* weights, size_t pixels, MakeEffect makeEffect) {
  const BlendKernels& kernels = ActiveKernels().blend;
  uint8_t effect[kBlurTile], spread[kBlurTile];
  const bool isUnmasked = IsUnmasked(weights, pixels);
  if (!isUnmasked) makeEffect(effect);
  kernels.SpreadMask(weights, spread, pixels, 3);
  // With a weight of 0 the effect does not matter, but the mix still lowers the base.
  kernels.MixBytes(isUnmasked ? base : effect, base, spread, out, 3 * pixels);
}

}  // namespace zel

#endif  // ZEL_SELECTIVE_MIX_TILE_H_
