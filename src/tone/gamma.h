// Gamma: out = in ^ (1 / gamma), one value per channel.
#ifndef ZEL_TONE_GAMMA_H_
#define ZEL_TONE_GAMMA_H_

#include "core/channel_lut.h"

namespace zel {

// Fills 1 or 3 tables from `gamma`, one value per table. Above 1 brightens; a negative gamma counts as 1, and so does
// one that is not a number. The ends of a curve stay where they are. False, with nothing written, on other counts or a
// null pointer.
template <class T>
bool MakeGammaLut(Curves<T> curves, const float* gamma);

// Corrects the rectangle. `gamma` holds three values, red first, even for one channel: above 10 counts as 10, 0 and
// below as 1. 1 and 3 channels, 8 and 16 bits. False, with nothing written, on images that differ or cannot be
// processed. Also false when memory runs out; then a separate destination has received the source's first height x
// stride bytes.
bool GammaCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const float* gamma);
template <class T>
bool GammaCorrectRaw(const Source<T>& source, const View<T>& destination, const Region& region, const float* gamma);

}  // namespace zel

#endif  // ZEL_TONE_GAMMA_H_
