// Restores a faded, yellowed photograph.
#ifndef ZEL_RETOUCH_AGED_PHOTO_H_
#define ZEL_RETOUCH_AGED_PHOTO_H_

#include "core/image.h"

namespace zel {

// Measures a reduced copy of the whole image and applies one curve per channel to the rectangle: the contrast of each
// faded dye comes back first, then black and white, as density where dyes have faded and as light where a veil lies
// over the picture. A picture that shows no age stays as it is, byte for byte. docs/aged-photo.md has the reasons and
// the measurements.
//
// `strength` counts from 0 to 100 (cut to it): up to 50 it leads to the measured curve, from there on the middle tones
// go up to a third as far beyond it and the ends stay. 1 and 3 channels, 8 and 16 bits (by an 8-bit curve). False, with
// nothing written, when the images differ or cannot be processed, or memory ran out.
bool RecoverAgedPhoto(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect);

// The same for a host's mode: 1 takes three quarters of the strength. Strength 0 copies the source.
bool AgedPhotoRecovered(const ImageDesc* source, const ImageDesc* destination, int32_t mode, int32_t strength,
                        const ZelRect* rect);

}  // namespace zel

#endif  // ZEL_RETOUCH_AGED_PHOTO_H_
