// Fill flash on skin.
#ifndef ZEL_RETOUCH_SKIN_FLASH_H_
#define ZEL_RETOUCH_SKIN_FLASH_H_

#include "core/image.h"

namespace zel {

// Screens the image with itself, which lifts shadows and mid-tones, and mixes that in through a mask that is softened
// by 3 pixels: of skin-like hues, or of the skin around `point`. `strength` is in per cent: 100 mixes by 192 of 256,
// 133 and more by 255; of a negative one the low eight bits of the weight count. A reversed rectangle is empty. Three
// channels; a 16-bit image succeeds and is not written. False, with nothing written, for anything else, when the
// records differ and without memory.
//
// With a point RegionTone does the work: mode 2 takes three quarters of the strength, strengths up to 0 copy the
// source, and so does a point that does not look like skin.
bool SkinFlash(const ImageDesc* source, const ImageDesc* destination, int32_t mode, const ZelPoint* point,
               int32_t strength, const ZelRect* rect);

}  // namespace zel

#endif  // ZEL_RETOUCH_SKIN_FLASH_H_
