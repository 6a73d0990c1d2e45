// Smooths skin.
#ifndef ZEL_RETOUCH_SKIN_CLEAR_H_
#define ZEL_RETOUCH_SKIN_CLEAR_H_

#include "core/view.h"

namespace zel {

// Everywhere here: `k` is the width of the smoothing in tenths of a pixel; below 3 nothing is blurred. A reversed
// rectangle is empty, and nothing outside the rectangle is written.

// Lifts the contrast by 10 and mixes the result half and half with its blur, in the skin around `point`, or in all
// skin-like hues without one. The mask is softened; where it is 0 the mix darkens samples by up to one level. 8 bits,
// three channels. False when the records differ, with nothing written, and for other images, a point outside the image
// or want of memory, with the whole source copied into a separate destination.
bool SkinClearCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t k,
                      const ZelPoint* point);

// The same for a host's mode and level: mode 2 starts gently and then catches up with mode 1. Level 0 copies the
// source.
bool SkinClear(const ImageDesc* source, const ImageDesc* destination, int32_t mode, const ZelPoint* point,
               int32_t level, const ZelRect* rect);

// The steps on samples; in place works. False, with nothing written, for other channels and without memory.
//
// Smoothing mixed into the source by a mask of the image's size; three channels.
bool SkinClearBlend(const View<const uint8_t>& source, const View<uint8_t>& destination, const Region& region,
                    const View<const uint8_t>& mask, int32_t k);
// Contrast and softening; one or three channels. No export comes here or to the next, which is its second half: for
// programs that smooth without a mask.
bool SkinClearSmooth(const View<const uint8_t>& source, const View<uint8_t>& output, const Region& region, int32_t k);
// 64 parts of the input and 63 of its blur, divided by 128; one or three channels.
bool SkinClearSoften(const View<const uint8_t>& input, const View<uint8_t>& output, const Region& region, int32_t k);

}  // namespace zel

#endif  // ZEL_RETOUCH_SKIN_CLEAR_H_
