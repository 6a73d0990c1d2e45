// The curves behind the automatic tone enhancement: the picture's luminance spread more evenly.
#ifndef ZEL_TONE_EQUALIZE_TONE_H_
#define ZEL_TONE_EQUALIZE_TONE_H_

#include "core/channel_lut.h"

namespace zel {

// Which part of the range is equalised in fine steps; the rest follows in long straight ones.
enum ToneCore : int32_t {
  kToneChosen = 0,  // one of the others by the picture's exposure
  kToneLight = 1,   // the middle lights, after a gamma that darkens
  kToneNormal = 2,  // the shadows
  kToneMiddle = 3,  // the mid-tones
  kToneDark = 4,    // the shadows, then the measured black points are stretched
};

// Fills a block with the curve for the rectangle of an image, measured on at most 500 x 500 of its pixels. As many
// tables as the image has channels, at its depth. `exponent` (0.5) moderates how much crowded tones are spread,
// `strength` from 0 to 100 per cent how much of the curve is used. False, with the identity in the block, when the
// image cannot be measured, a setting is unknown or memory ran out.
template <class B>
bool AutoToneCurve(const ImageDesc* source, const ZelRect* rect, double exponent, int32_t strength, int32_t core,
                   Curves<B> curves);
template <class T>
bool AutoToneCurveRaw(const View<const T>& image, const Region& region, double exponent, int32_t strength, int32_t core,
                      Curves<T> curves);

// kToneDark when in more than half of the channels most samples lie in the darkest quarter of the range, kToneLight
// when in more than half of the channels hardly any do, else kToneNormal. -1 when the image cannot be measured.
// No export comes here, AutoToneCurve has the histogram already: for programs that want to know the class alone.
template <class T>
int32_t ClassifyExposure(const View<const T>& image);

// The curve for exactly the samples of a region: levels, equalisation, a slight darkening. At 16 bits the levels alone.
template <class T>
bool EqualizeToneCurve(const View<const T>& image, const Region& region, double exponent, int32_t strength,
                       int32_t core, Curves<T> curves);

}  // namespace zel

#endif  // ZEL_TONE_EQUALIZE_TONE_H_
