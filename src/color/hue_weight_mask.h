// The mask of reddish hues to which the colourful enhancement and the skin tools keep.
#ifndef ZEL_COLOR_HUE_WEIGHT_MASK_H_
#define ZEL_COLOR_HUE_WEIGHT_MASK_H_

#include "color/hue_mask.h"

namespace zel {

// The weights of all hues, up to `ceiling` limited to what a sample of the mask holds.
template <class M>
void MakeHueWeights(int32_t ceiling, uint16_t weights[360]) {
  const int32_t w = ceiling < 0 ? 0 : ceiling > kLast<M> ? kLast<M> : ceiling;
  for (int32_t h = 0; h < 360; ++h) {
    const int32_t parts = h <= 20 ? 25 : h < 45 ? 45 - h : h > 335 ? h - 335 : 0;
    weights[h] = static_cast<uint16_t>(w * parts / 25);
  }
}

// Weights up to `ceiling`: all of it for hues of 0 to 20 degrees, falling to none at 45 and at 335, none for the other
// hues and for greys. The ceiling is limited to what a mask sample holds, negative ones to 0. Fills the rectangle
// (reordered and cut) of the mask, all its channels; the rest of the mask keeps its weights.
//
// Source of three channels, mask of one or three, 8 and 16 bits each. False, with nothing written, when the images
// differ in size or cannot be processed.
// No export comes here, the tools build their masks from views: for programs that keep masks in records.
bool BuildHueWeightMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, int32_t ceiling);

}  // namespace zel

#endif  // ZEL_COLOR_HUE_WEIGHT_MASK_H_
