// Contrast and brightness: one straight curve per channel, turned about mid-grey.
#ifndef ZEL_TONE_CONTRAST_BRIGHTNESS_H_
#define ZEL_TONE_CONTRAST_BRIGHTNESS_H_

#include "core/channel_lut.h"

namespace zel {

// Fills the tables, each by its own contrast and brightness (meant from -100 to 100).
template <class T>
void MakeContrastBrightnessLut(Curves<T> curves, const int32_t* contrast, const int32_t* brightness);

// `contrast` and `brightness` hold one entry per channel, red first. 1 and 3 channels, 8 and 16 bits. False, with
// nothing written, when the images differ or cannot be processed.
bool ContrastBrightness(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                        const int32_t* contrast, const int32_t* brightness);
template <class T>
bool ContrastBrightnessRaw(const Source<T>& source, const View<T>& destination, const Region& region,
                           const int32_t* contrast, const int32_t* brightness);

}  // namespace zel

#endif  // ZEL_TONE_CONTRAST_BRIGHTNESS_H_
