// Takes the colour of the light out of a photograph.
#ifndef ZEL_SELECTIVE_LIGHT_CORRECT_H_
#define ZEL_SELECTIVE_LIGHT_CORRECT_H_

#include "core/image.h"

namespace zel {

// Red, green and blue in linear light: the colour in which a bright, neutral surface of the picture appears, each 0 to
// 1. A grey when nothing speaks for coloured light.
struct LightColour {
  double red, green, blue;
};

// Estimates the light on a packed 8-bit copy of three channels: the brightest pixels, as several measures see them,
// those trusted most that come nearest to neutral; then once more among the pixels that look neutral under that light.
// docs/light-correct.md has the reasons and the measurements.
LightColour EstimateLight(const uint8_t* pixels, const Geometry& geometry);

// Moves the light to its own grey by `strength` per cent (cut to 0..100), the whole image by one curve per channel.
// Strength 0 copies the source.
// 3 channels; 1 channel has no colour and is copied. 8 and 16 bits, both orders alike. False, with nothing written,
// when the images differ or cannot be processed, or memory ran out.
bool LightCorrect(const ImageDesc* source, const ImageDesc* destination, int32_t strength);

}  // namespace zel

#endif  // ZEL_SELECTIVE_LIGHT_CORRECT_H_
