// The mask of reddish hues to which the colourful enhancement and the skin tools keep.
#ifndef ZEL_COLOR_HUE_WEIGHT_MASK_H_
#define ZEL_COLOR_HUE_WEIGHT_MASK_H_

#include "core/image.h"

namespace zel {

// The weights of all hues, up to `ceiling` limited to what a mask of 8 or 16 bits holds.
void MakeHueWeights(int32_t ceiling, int32_t maskBits, uint16_t weights[360]);

// Weights up to `ceiling`: all of it for hues of 0 to 20 degrees, falling to none at 45 and at 335, none for the other
// hues and for greys. The ceiling is limited to what a mask sample holds, negative ones to 0. Fills the rectangle
// (reordered and cut) of the mask, all its channels; the rest of the mask keeps its weights.
//
// Source of three channels, mask of one or three, 8 and 16 bits each. False, with nothing written, when the images
// differ in size or cannot be processed.
bool BuildHueWeightMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, int32_t ceiling);
bool BuildHueWeightMaskRaw(const void* source, const Geometry& geometry, void* mask, const Geometry& maskGeometry,
                           const ZelRect* rect, int32_t ceiling);

}  // namespace zel

#endif  // ZEL_COLOR_HUE_WEIGHT_MASK_H_
