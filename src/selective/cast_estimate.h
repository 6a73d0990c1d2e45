// The colour of a cast, found among the brightest pixels of a picture.
#ifndef ZEL_SELECTIVE_CAST_ESTIMATE_H_
#define ZEL_SELECTIVE_CAST_ESTIMATE_H_

#include "core/pixel.h"

namespace zel {

// The answer "no cast": it is its own grey, so nothing moves.
constexpr Rgb kNoCast = {128, 128, 128};

// Colours that are more likely a surface than the light on it: skin and sunsets, leaves, reds. Hue, saturation and
// lightness are those of RgbToHsl at 8 bits.
bool IsWarmBright(int32_t red, int32_t green, int32_t blue, int32_t saturation, int32_t lightness);
bool IsGreenish(int32_t red, int32_t green, int32_t blue, int32_t saturation);
bool IsRedHue(int32_t hue);

// What WhitePixelFilter drops; the flags add up.
enum CastFilter : int32_t { kKeepAll = 0, kDropRedHues = 1, kDropWarmBright = 2, kDropGreenish = 4 };

// Whether a pixel of the white zone may speak for the cast. Grey pixels always do.
bool WhitePixelFilter(int32_t flags, int32_t blue, int32_t green, int32_t red, int32_t hue, int32_t saturation,
                      int32_t lightness);

// Families of hues that casts are looked for in. The numbers are the user's choice of one; 0 takes the strongest.
constexpr int32_t kCastFamilies = 6;

// Finds the dominant family of hues in the white zone and the mean colour of its pixels. On return `mask` (one byte a
// pixel, zeroed by the caller) marks exactly the pixels that were averaged, unless the colour is kNoCast: too small or
// too colourless a zone, or no clear family.
//
// Three channels; `family` from 0 to kCastFamilies. False, with kNoCast, for other images.
bool EstimateCastColour(const View<const uint8_t>& image, int32_t family, int32_t filter, Rgb* colour, uint8_t* mask);

}  // namespace zel

#endif  // ZEL_SELECTIVE_CAST_ESTIMATE_H_
