// Mixing two images, through a mask or with one weight.
#ifndef ZEL_CORE_BLEND_H_
#define ZEL_CORE_BLEND_H_

#include "core/image.h"

namespace zel {

enum BlendMode : int32_t { kMix = 0, kScreen = 1, kMultiply = 2 };

// Mixes `effect` into `base` by the mask's weights, all channels of a pixel alike. Effect, base and output agree in
// width, height and format at 8 bits, each with its own stride; the mask has the format 0x00100810 and is at least as
// large. The rectangle is taken as given (a reversed one is empty) and cut to the image.
//
// Mix computes ((255 - m) * base + m * effect) >> 8 for every pixel: the shift divides by 256, so even a mask of 0
// darkens the base by up to one level. Screen and multiply leave pixels with a mask of 0 as they are. Any other mode
// writes nothing and succeeds. False, with nothing written, on images that do not fit.
bool MaskBlend(const ImageDesc* effect, const ImageDesc* base, const ImageDesc* output, const ImageDesc* mask,
               int32_t mode, const ZelRect* rect);

// Mixes `effect` into `base` with the same weight everywhere: w = strength * 127 / 100 against 127 - w, divided by 128,
// so that equal inputs come out slightly darker. Strengths above 100 extrapolate beyond the effect. In the modes screen
// and multiply the effect is first combined with the base and the low eight bits of the sum are stored; any other mode
// writes nothing and succeeds. 8 bits, rectangle as in MaskBlend. False, with nothing written, on images that do not
// fit.
bool StrengthBlend(const ImageDesc* effect, const ImageDesc* base, const ImageDesc* output, int32_t mode,
                   int32_t strength, const ZelRect* rect);

// values[i] = clamp((values[i] * w + neutral[i] * (127 - w)) >> 7) with w = percent * 127 / 100: pulls a table towards
// its identity, or beyond the table above 100 per cent.
void PullTowards(uint8_t* values, const uint8_t* neutral, size_t count, int32_t percent);

}  // namespace zel

#endif  // ZEL_CORE_BLEND_H_
