// Vivid: sharpening where a mask finds fine dark detail.
#ifndef ZEL_COLOR_VIVID_H_
#define ZEL_COLOR_VIVID_H_

#include "core/image.h"

namespace zel {

// Sharpens the source with amount 100 and mixes the result into it through a mask, which is strong where a pixel is
// darker than a ring around it. Amounts below 100 weaken the mask; from 100 on they soften it, by a blur of amount /
// 100 pixels.
//
// The picture is looked at in the rectangle widened by three pixels. The mix fills the rectangle as given (corners in
// order, otherwise it is empty); in a separate destination the up to four pixels around it hold the sharpened source.
// Even where the mask is 0 the mix darkens by up to one level, as MaskBlend does. Three channels, 8 bits; the
// destination may be the source. False, with nothing written, on other or differing images and without memory.
bool VividDetailBlend(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount);

// Mode 0 sharpens with strength * 4 / 5. Modes 1 and 2 blend in detail at low strengths (up to 30 and 40) and sharpen
// the whole rectangle, its neighbouring pixels included, at higher ones. Any other mode does nothing and answers
// whether there is a rectangle.
bool VividImage(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t mode,
                int32_t strength);

}  // namespace zel

#endif  // ZEL_COLOR_VIVID_H_
