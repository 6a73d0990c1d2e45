// Masks by hue: every pixel weighed by a table over the hue circle.
#ifndef ZEL_COLOR_HUE_MASK_H_
#define ZEL_COLOR_HUE_MASK_H_

#include "core/image.h"

namespace zel {

// Writes weights[hue] of every source pixel in the rectangle (reordered and cut) into all channels of its mask pixel,
// in an 8-bit mask the low byte of it. Hue and saturation are those of RgbToHsl; a saturation of 0 gives 0 whatever the
// hue. Pixels outside the rectangle keep their weights.
//
// Source of three channels, mask of one or three, 8 and 16 bits each. False, with nothing written, when the images
// differ in size or cannot be processed.
bool FillHueMask(const void* source, const Geometry& geometry, void* mask, const Geometry& maskGeometry,
                 const ZelRect* rect, const uint16_t weights[360]);

}  // namespace zel

#endif  // ZEL_COLOR_HUE_MASK_H_
