// Removal of a colour cast: found by the library itself, or pointed out by the user.
#ifndef ZEL_SELECTIVE_COLOR_CAST_H_
#define ZEL_SELECTIVE_COLOR_CAST_H_

#include "selective/cast_curves.h"

namespace zel {

// Fills three 8-bit tables that move the cast found on a point-sampled copy of the image towards grey by `strength` per
// cent. `family` is 0 for the strongest family of hues or 1 to 6 for one of them, `filter` a sum of CastFilter flags.
// The identity, with success, when nothing was found. False for an image that is not 8 bits and three channels, for
// which the block becomes the identity, and without pixels or block, when nothing is written.
bool CorrectCast(const ImageDesc* source, int32_t family, int32_t filter, int32_t strength, uint8_t* block);

// Applies such tables to the rectangle: those of the strongest family, an unchanged picture where none was found.
bool RemoveCast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect);

// The same to the whole image for one colour of cast: 0 for any, 1 red, 2 yellow, 3 green, 4 cyan, 5 blue, 6 magenta.
// Other colours, and images in which no cast is looked for, are refused.
bool RemoveCastOfColour(const ImageDesc* source, const ImageDesc* destination, int32_t colour, int32_t strength);

// Applies to the whole image the curves that move the source colour, as measured in the area, to the target colour.
// When there is no such curve (red below 2, or not three channels) the source is copied. Row ends behind the last pixel
// are copied too.
bool ApplyCastCorrection(const View<const uint8_t>& source, const View<uint8_t>& destination, const CastArea& area,
                         const Rgb& from, const Rgb& to);

// The cast is the mean colour of the rectangle, which becomes grey by `strength` per cent. 8 bits; images of other than
// three channels are copied. False, with nothing written, when the images differ or cannot be processed.
bool CorrectMarkedCast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect);

}  // namespace zel

#endif  // ZEL_SELECTIVE_COLOR_CAST_H_
