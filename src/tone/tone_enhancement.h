// Automatic tone enhancement: seven styles of curve, each decided from the picture itself.
#ifndef ZEL_TONE_TONE_ENHANCEMENT_H_
#define ZEL_TONE_TONE_ENHANCEMENT_H_

#include "core/image.h"

namespace zel {

// Fills three 8-bit tables with the curve of a style (0 to 6), measured on the rectangle (styles 4 and 6 measure levels
// on the whole image). Styles 0, 1, 2, 3 and 5 equalise and need 8 bits and three channels; `flag` 1 gives them three
// quarters of the strength and makes style 0 the mid-tone style 3; strength 0 is the identity. Style 4 sets levels and
// gamma, style 6 also the contrast; 8 and 16 bits, three channels. Strength is meant from 0 to 100. False, with the
// identity in the block, on other styles and images or when memory ran out.
bool ToneEnhancementLut(const ImageDesc* source, int32_t flag, int32_t style, int32_t strength, const ZelRect* rect,
                        uint8_t* block);

// Measures the whole image and applies the curve to the rectangle.
bool ToneEnhancement(const ImageDesc* source, const ImageDesc* destination, int32_t flag, int32_t style,
                     int32_t strength, const ZelRect* rect);

}  // namespace zel

#endif  // ZEL_TONE_TONE_ENHANCEMENT_H_
